// Concrete CIM data objects: simple immutable implementations of the CIM data
// interfaces, used by the adapters to carry what clients send and by the
// object manager to hold its classes, instances and qualifier declarations.
//
// Every object is complete once constructed and never changes; to "change"
// one, build a new one (the static `with...` helpers copy with one change).
// They are meant to be shared through KVOSmrPtr, and any number of threads may
// read one at once. Constructors and factories that check their input throw
// KivoBaseException with code 4 (CIM_ERR_INVALID_PARAMETER) when it does not
// fit.
#pragma once

#include "KivoUtilities/IKivoActualParameter.h"
#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoMethod.h"
#include "KivoUtilities/IKivoObject.h"
#include "KivoUtilities/IKivoParameter.h"
#include "KivoUtilities/IKivoProperty.h"
#include "KivoUtilities/IKivoQualifier.h"
#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/IQualifierDef.h"
#include "KivoUtilities/KVOCIMType.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

// A typed CIM value (never NULL; see IKivoValue).
//
// CKivoValue(text) makes an untyped string value, as a client's VALUE element
// without a type gives it. The static factories make typed values and check
// them: an integer must fit its type, a char16 must be one character, a
// datetime must have the DMTF form (25 characters, timestamp or interval),
// array elements must be scalars of the element type.
class CKivoValue : public IKivoValue {
public:
    explicit CKivoValue(KVOString value);

    static KVOSmrPtr<IKivoValue> makeString(KVOString value);
    static KVOSmrPtr<IKivoValue> makeBoolean(bool value);
    static KVOSmrPtr<IKivoValue> makeChar16(KVOString value);
    static KVOSmrPtr<IKivoValue> makeDateTime(KVOString value);
    // `type` is one of the unsigned (signed, real) types.
    static KVOSmrPtr<IKivoValue> makeUnsigned(KVOCIMType type, std::uint64_t value);
    static KVOSmrPtr<IKivoValue> makeSigned(KVOCIMType type, std::int64_t value);
    static KVOSmrPtr<IKivoValue> makeReal(KVOCIMType type, double value);
    // Each of these takes a non-null object.
    static KVOSmrPtr<IKivoValue> makeReference(KVOSmrPtr<IKivoInstanceName> path);
    static KVOSmrPtr<IKivoValue> makeInstance(KVOSmrPtr<IKivoObject> instance);
    static KVOSmrPtr<IKivoValue> makeClass(KVOSmrPtr<IKivoClass> theClass);
    static KVOSmrPtr<IKivoValue> makeArray(KVOCIMType elementType, std::vector<KVOSmrPtr<IKivoValue>> elements);

    // The value of `type` that `text` spells in CIM-XML (booleans without
    // regard to case; integers in decimal, or hexadecimal with 0x; reals in
    // decimal or exponent form). Reference, instance and class values cannot
    // be spelled as text.
    static KVOSmrPtr<IKivoValue> parse(KVOCIMType type, KVOString const& text);
    static KVOSmrPtr<IKivoValue> parseArray(KVOCIMType elementType, std::vector<KVOString> const& texts);
    // `value` as a value of `type` with the same array-ness: the value itself
    // when it already has that type, a number moved to another numeric type
    // when it fits, text parsed. Null stays null.
    static KVOSmrPtr<IKivoValue> convert(KVOSmrPtr<IKivoValue> const& value, KVOCIMType type);

    KVOString toString() const override;
    KVOCIMType getCIMType() const override { return _type; }
    bool isArray() const override { return std::holds_alternative<Elements>(_data); }
    std::vector<KVOSmrPtr<IKivoValue>> getElements() const override;
    bool getBoolean() const override;
    std::uint64_t getUnsigned() const override;
    std::int64_t getSigned() const override;
    double getReal() const override;
    KVOSmrPtr<IKivoInstanceName> getReference() const override;
    KVOSmrPtr<IKivoObject> getInstance() const override;
    KVOSmrPtr<IKivoClass> getClass() const override;

private:
    using Elements = std::vector<KVOSmrPtr<IKivoValue>>;
    using Data = std::variant<KVOString, bool, std::uint64_t, std::int64_t, double, KVOSmrPtr<IKivoInstanceName>,
                              KVOSmrPtr<IKivoObject>, KVOSmrPtr<IKivoClass>, Elements>;

    // Builds the alternative in place: moving a whole variant that may hold
    // a vector trips a false "may be used uninitialized" warning in
    // optimised sanitizer builds.
    template <class V>
    CKivoValue(KVOCIMType type, V&& value) : _type(type), _data(std::forward<V>(value)) {}

    KVOCIMType const _type;
    Data const _data;
};

// A qualifier attached to an element.
class CKivoQualifier : public IKivoQualifier {
public:
    CKivoQualifier(KVOString name, KVOCIMType type, KVOSmrPtr<IKivoValue> value,
                   KVOQualifierFlavors flavors = KVOQualifierFlavors(), bool propagated = false)
        : _name(std::move(name)), _type(type), _value(std::move(value)), _flavors(flavors), _propagated(propagated) {}
    // The type is the (non-null) value's.
    CKivoQualifier(KVOString name, KVOSmrPtr<IKivoValue> value, KVOQualifierFlavors flavors = KVOQualifierFlavors(),
                   bool propagated = false)
        : CKivoQualifier(name, value->getCIMType(), value, flavors, propagated) {}

    KVOString getName() const override { return _name; }
    KVOCIMType getCIMType() const override { return _type; }
    KVOSmrPtr<IKivoValue> getValue() const override { return _value; }
    KVOQualifierFlavors getFlavors() const override { return _flavors; }
    bool isPropagated() const override { return _propagated; }

    // A copy of `q` marked propagated (or not).
    static KVOSmrPtr<IKivoQualifier> withPropagated(IKivoQualifier const& q, bool propagated);

private:
    KVOString const _name;
    KVOCIMType const _type;
    KVOSmrPtr<IKivoValue> const _value;
    KVOQualifierFlavors const _flavors;
    bool const _propagated;
};

// A property of a class or instance.
//
// CKivoProperty(name, value) makes a plain property whose type and
// array-ness are its value's (a string scalar without a value); the full
// constructor states everything. A value given to the full constructor is
// not converted: pass one of the stated type (CKivoValue::convert).
class CKivoProperty : public IKivoProperty {
public:
    CKivoProperty(KVOString name, KVOSmrPtr<IKivoValue> value);
    CKivoProperty(KVOString name, KVOCIMType type, bool isArray, KVOSmrPtr<IKivoValue> value,
                  std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers = {}, KVOString classOrigin = KVOString(),
                  bool propagated = false, KVOString referenceClass = KVOString(), unsigned arraySize = 0);

    KVOString getName() const override { return _name; }
    KVOSmrPtr<IKivoValue> getValue() const override { return _value; }
    KVOCIMType getCIMType() const override { return _type; }
    bool isArray() const override { return _isArray; }
    std::vector<KVOSmrPtr<IKivoQualifier>> getQualifiers() const override { return _qualifiers; }
    KVOString getClassOrigin() const override { return _classOrigin; }
    bool isPropagated() const override { return _propagated; }
    KVOString getReferenceClass() const override { return _referenceClass; }
    unsigned getArraySize() const override { return _arraySize; }

    // Copies of `p` with one thing changed.
    static KVOSmrPtr<IKivoProperty> withValue(IKivoProperty const& p, KVOSmrPtr<IKivoValue> value);
    static KVOSmrPtr<IKivoProperty> withQualifiers(IKivoProperty const& p,
                                                   std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers);
    static KVOSmrPtr<IKivoProperty> withOrigin(IKivoProperty const& p, KVOString classOrigin, bool propagated);

private:
    KVOString const _name;
    KVOCIMType const _type;
    bool const _isArray;
    KVOSmrPtr<IKivoValue> const _value;
    std::vector<KVOSmrPtr<IKivoQualifier>> const _qualifiers;
    KVOString const _classOrigin;
    bool const _propagated;
    KVOString const _referenceClass;
    unsigned const _arraySize = 0;
};

class CKivoActualParameter : public IKivoActualParameter {
public:
    CKivoActualParameter(KVOString name, KVOSmrPtr<IKivoValue> value)
        : _name(std::move(name)), _value(std::move(value)) {}
    KVOString getName() const override { return _name; }
    KVOSmrPtr<IKivoValue> getValue() const override { return _value; }

private:
    KVOString const _name;
    KVOSmrPtr<IKivoValue> const _value;
};

// The declaration of a method parameter.
class CKivoParameter : public IKivoParameter {
public:
    CKivoParameter(KVOString name, KVOCIMType type, bool isArray = false,
                   std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers = {}, KVOString referenceClass = KVOString(),
                   unsigned arraySize = 0)
        : _name(std::move(name)),
          _type(type),
          _isArray(isArray),
          _qualifiers(std::move(qualifiers)),
          _referenceClass(std::move(referenceClass)),
          _arraySize(arraySize) {}

    KVOString getName() const override { return _name; }
    KVOCIMType getCIMType() const override { return _type; }
    bool isArray() const override { return _isArray; }
    KVOString getReferenceClass() const override { return _referenceClass; }
    std::vector<KVOSmrPtr<IKivoQualifier>> getQualifiers() const override { return _qualifiers; }
    unsigned getArraySize() const override { return _arraySize; }

private:
    KVOString const _name;
    KVOCIMType const _type;
    bool const _isArray;
    std::vector<KVOSmrPtr<IKivoQualifier>> const _qualifiers;
    KVOString const _referenceClass;
    unsigned const _arraySize;
};

// The declaration of a method.
class CKivoMethod : public IKivoMethod {
public:
    CKivoMethod(KVOString name, KVOCIMType returnType, std::vector<KVOSmrPtr<IKivoParameter>> parameters = {},
                std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers = {}, KVOString classOrigin = KVOString(),
                bool propagated = false)
        : _name(std::move(name)),
          _returnType(returnType),
          _parameters(std::move(parameters)),
          _qualifiers(std::move(qualifiers)),
          _classOrigin(std::move(classOrigin)),
          _propagated(propagated) {}

    KVOString getName() const override { return _name; }
    KVOCIMType getReturnType() const override { return _returnType; }
    std::vector<KVOSmrPtr<IKivoParameter>> getParameters() const override { return _parameters; }
    std::vector<KVOSmrPtr<IKivoQualifier>> getQualifiers() const override { return _qualifiers; }
    KVOString getClassOrigin() const override { return _classOrigin; }
    bool isPropagated() const override { return _propagated; }

    // Copies of `m` with one thing changed.
    static KVOSmrPtr<IKivoMethod> withQualifiers(IKivoMethod const& m, std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers);
    static KVOSmrPtr<IKivoMethod> withOrigin(IKivoMethod const& m, KVOString classOrigin, bool propagated);

private:
    KVOString const _name;
    KVOCIMType const _returnType;
    std::vector<KVOSmrPtr<IKivoParameter>> const _parameters;
    std::vector<KVOSmrPtr<IKivoQualifier>> const _qualifiers;
    KVOString const _classOrigin;
    bool const _propagated;
};

// A class.
//
// CKivoClass(name, superClass, propertyNames) makes a class that declares
// untyped properties of those names; CKivoClass(name, members) states
// everything. getPropertyNames(0) answers the names of the carried
// properties that are not propagated.
class CKivoClass : public IKivoClass {
public:
    struct Members {
        KVOSmrPtr<IKivoClass> superClass;
        // Only needed when the superclass object is not at hand; otherwise
        // the superclass's name is used.
        KVOString superClassName;
        std::vector<KVOSmrPtr<IKivoProperty>> properties;
        std::vector<KVOSmrPtr<IKivoMethod>> methods;
        std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers;
    };

    CKivoClass(KVOString name, KVOSmrPtr<IKivoClass> superClass, std::vector<KVOString> propertyNames);
    CKivoClass(KVOString name, Members members);

    KVOString getName() const override { return _name; }
    KVOSmrPtr<IKivoClass> getSuperClass() const override { return _members.superClass; }
    CI_AutoPtr_U<qora::Iterator<KVOString>> getPropertyNames(int includeInherited) const override;
    KVOString getSuperClassName() const override;
    std::vector<KVOSmrPtr<IKivoProperty>> getProperties() const override { return _members.properties; }
    std::vector<KVOSmrPtr<IKivoMethod>> getMethods() const override { return _members.methods; }
    std::vector<KVOSmrPtr<IKivoQualifier>> getQualifiers() const override { return _members.qualifiers; }

private:
    KVOString const _name;
    Members const _members;
};

// An instance path.
//
// CKivoInstanceName(namespace, class, textual bindings) makes string-typed
// keys; the four-argument constructor takes typed keys and a host (which may
// be empty).
class CKivoInstanceName : public IKivoInstanceName {
public:
    CKivoInstanceName(KVOString nameSpace, KVOString className,
                      std::vector<std::pair<KVOString, KVOString>> keyBindings = {});
    CKivoInstanceName(KVOString nameSpace, KVOString className, std::vector<KVOKeyBinding> keys, KVOString host);

    KVOString getNameSpace() const override { return _nameSpace; }
    KVOString getClassName() const override { return _className; }
    std::vector<std::pair<KVOString, KVOString>> getKeyBindings() const override;
    std::vector<KVOKeyBinding> getKeys() const override { return _keys; }
    KVOString getHost() const override { return _host; }
    // The keys without a copy, for writers that know this class.
    std::vector<KVOKeyBinding> const& keys() const { return _keys; }

    // A copy of `path` in another namespace (the host is kept).
    static KVOSmrPtr<IKivoInstanceName> withNameSpace(IKivoInstanceName const& path, KVOString nameSpace);

private:
    KVOString const _nameSpace;
    KVOString const _className;
    std::vector<KVOKeyBinding> const _keys;
    KVOString const _host;
};

// An instance.
class CKivoObject : public IKivoObject {
public:
    explicit CKivoObject(KVOString className, KVOValSlist<KVOSmrPtr<IKivoProperty>> properties = {},
                         KVOSmrPtr<IKivoInstanceName> instanceName = nullptr)
        : _className(std::move(className)), _properties(std::move(properties)), _instanceName(std::move(instanceName)) {}
    KVOString getClassName() const override { return _className; }
    KVOSmrPtr<IKivoInstanceName> getInstanceName() const override { return _instanceName; }
    KVOValSlist<KVOSmrPtr<IKivoProperty>> getProperties() const override { return _properties; }

private:
    KVOString const _className;
    KVOValSlist<KVOSmrPtr<IKivoProperty>> const _properties;
    KVOSmrPtr<IKivoInstanceName> const _instanceName;
};

// The class-level half of packed instances: the declarations of their
// properties (name, type, array-ness, class origin, propagated flag,
// reference class; no qualifiers) in order, each naming the slot of its value
// in an instance's value block. Immutable; shared through std::shared_ptr by
// every instance made with it, and read from any thread.
class CKivoPropertyTable {
public:
    struct Column {
        KVOString name;
        KVOCIMType type = KVOCIMType::String;
        bool isArray = false;
        KVOString classOrigin;
        bool propagated = false;
        KVOString referenceClass;
        std::size_t slot = 0;  // index of the value in the value block
    };

    // Use makePropertyTable (select() needs the table's owner).
    CKivoPropertyTable(KVOString className, std::vector<Column> columns);

    KVOString const& className() const { return _className; }
    std::vector<Column> const& columns() const { return _columns; }

    // A table of the columns for which `keep` answers true (an empty `keep`
    // keeps every column), over the same value slots; without class origins
    // unless `keepOrigins`. Answers this table itself when nothing changes,
    // and the one table without origins made with it when only they go.
    std::shared_ptr<CKivoPropertyTable const> select(std::vector<bool> const& keep, bool keepOrigins) const;

private:
    KVOString const _className;
    std::vector<Column> _columns;
    std::weak_ptr<CKivoPropertyTable const> _self;            // set by makePropertyTable
    std::shared_ptr<CKivoPropertyTable const> _withoutOrigins;  // set by makePropertyTable when it differs
    friend std::shared_ptr<CKivoPropertyTable const> makePropertyTable(KVOString, std::vector<CKivoPropertyTable::Column>);
};

// A table whose columns' values lie in their own positions of the block.
std::shared_ptr<CKivoPropertyTable const> makePropertyTable(KVOString className,
                                                            std::vector<CKivoPropertyTable::Column> columns);

// An instance whose property values sit in one block beside a shared
// CKivoPropertyTable: no object per property. getProperties() makes the
// CKivoProperty objects when asked; writers that know this class read the
// table and the values directly. Views of one instance (other tables over the
// same block) share the block.
class CKivoPackedObject : public IKivoObject {
public:
    using Values = std::vector<KVOSmrPtr<IKivoValue>>;

    // `values` holds a slot for every column of `table`; a null value is NULL.
    CKivoPackedObject(std::shared_ptr<CKivoPropertyTable const> table, std::shared_ptr<Values const> values,
                      KVOSmrPtr<IKivoInstanceName> instanceName)
        : _table(std::move(table)), _values(std::move(values)), _instanceName(std::move(instanceName)) {}

    KVOString getClassName() const override { return _table->className(); }
    KVOSmrPtr<IKivoInstanceName> getInstanceName() const override { return _instanceName; }
    KVOValSlist<KVOSmrPtr<IKivoProperty>> getProperties() const override;

    CKivoPropertyTable const& table() const { return *_table; }
    std::shared_ptr<CKivoPropertyTable const> const& sharedTable() const { return _table; }
    // The value of column `column` of the table.
    KVOSmrPtr<IKivoValue> const& value(std::size_t column) const { return (*_values)[_table->columns()[column].slot]; }

    // The same instance seen through `table`, a selection of this one's
    // (CKivoPropertyTable::select).
    KVOSmrPtr<IKivoObject> withTable(std::shared_ptr<CKivoPropertyTable const> table) const {
        return KVOSmrPtr<IKivoObject>(new CKivoPackedObject(std::move(table), _values, _instanceName));
    }

private:
    std::shared_ptr<CKivoPropertyTable const> const _table;
    std::shared_ptr<Values const> const _values;
    KVOSmrPtr<IKivoInstanceName> const _instanceName;
};

// A qualifier declaration.
//
// The three-argument constructor takes the type and default as text (an
// unknown type name reads as string); the full one states everything.
class CKivoQualifierDef : public qora::IQualifierDef {
public:
    CKivoQualifierDef(KVOString name, KVOString type, KVOString defaultValue = KVOString());
    CKivoQualifierDef(KVOString name, KVOCIMType type, bool isArray, KVOSmrPtr<IKivoValue> defaultValue,
                      unsigned scopes, KVOQualifierFlavors flavors = KVOQualifierFlavors());

    KVOString getName() const override { return _name; }
    KVOString getType() const override { return KVOCIMTypes::name(_type); }
    KVOString getDefaultValue() const override { return _default ? _default->toString() : KVOString(); }
    KVOCIMType getCIMType() const override { return _type; }
    bool isArray() const override { return _isArray; }
    KVOSmrPtr<IKivoValue> getDefault() const override { return _default; }
    unsigned getScopes() const override { return _scopes; }
    KVOQualifierFlavors getFlavors() const override { return _flavors; }

private:
    KVOString const _name;
    KVOCIMType const _type;
    bool const _isArray;
    KVOSmrPtr<IKivoValue> const _default;
    unsigned const _scopes;
    KVOQualifierFlavors const _flavors;
};
