// Concrete CIM data objects: simple immutable implementations of the CIM data
// interfaces, enough for tests and for an in-memory object manager.
#pragma once

#include "KivoUtilities/IKivoActualParameter.h"
#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoObject.h"
#include "KivoUtilities/IKivoProperty.h"
#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/IQualifierDef.h"

#include <utility>
#include <vector>

// A value held as its string form.
class CKivoValue : public IKivoValue {
public:
    explicit CKivoValue(KVOString value) : _value(std::move(value)) {}
    KVOString toString() const override { return _value; }

private:
    KVOString const _value;
};

class CKivoProperty : public IKivoProperty {
public:
    CKivoProperty(KVOString name, KVOSmrPtr<IKivoValue> value) : _name(std::move(name)), _value(std::move(value)) {}
    KVOString getName() const override { return _name; }
    KVOSmrPtr<IKivoValue> getValue() const override { return _value; }

private:
    KVOString const _name;
    KVOSmrPtr<IKivoValue> const _value;
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

class CKivoClass : public IKivoClass {
public:
    CKivoClass(KVOString name, KVOSmrPtr<IKivoClass> superClass, std::vector<KVOString> propertyNames)
        : _name(std::move(name)), _superClass(std::move(superClass)), _propertyNames(std::move(propertyNames)) {}
    KVOString getName() const override { return _name; }
    KVOSmrPtr<IKivoClass> getSuperClass() const override { return _superClass; }
    CI_AutoPtr_U<qora::Iterator<KVOString>> getPropertyNames(int includeInherited) const override;

private:
    KVOString const _name;
    KVOSmrPtr<IKivoClass> const _superClass;
    std::vector<KVOString> const _propertyNames;
};

class CKivoInstanceName : public IKivoInstanceName {
public:
    CKivoInstanceName(KVOString nameSpace, KVOString className,
                      std::vector<std::pair<KVOString, KVOString>> keyBindings = {})
        : _nameSpace(std::move(nameSpace)), _className(std::move(className)), _keys(std::move(keyBindings)) {}
    KVOString getNameSpace() const override { return _nameSpace; }
    KVOString getClassName() const override { return _className; }
    std::vector<std::pair<KVOString, KVOString>> getKeyBindings() const override { return _keys; }

private:
    KVOString const _nameSpace;
    KVOString const _className;
    std::vector<std::pair<KVOString, KVOString>> const _keys;
};

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

class CKivoQualifierDef : public qora::IQualifierDef {
public:
    CKivoQualifierDef(KVOString name, KVOString type, KVOString defaultValue = KVOString())
        : _name(std::move(name)), _type(std::move(type)), _default(std::move(defaultValue)) {}
    KVOString getName() const override { return _name; }
    KVOString getType() const override { return _type; }
    KVOString getDefaultValue() const override { return _default; }

private:
    KVOString const _name;
    KVOString const _type;
    KVOString const _default;
};
