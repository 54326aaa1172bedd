// Building, naming and viewing instances: the rules every provider and the
// object manager share.
//
// A complete instance has one property for every property of its class, in
// the class's order, typed as the class declares it (value converted), with
// the class origin and propagated flag of the class's property and no
// qualifiers; its path carries the namespace, the class name and the key
// properties' values in the class's order. Pure functions over immutable
// objects: safe from any thread.
#pragma once

#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoObject.h"

#include <memory>
#include <utility>
#include <vector>

namespace kivo::om {

using PropertyValues = std::vector<std::pair<KVOString, KVOSmrPtr<IKivoValue>>>;

// A complete instance of `cls`: the named values (converted to the declared
// types) over the class's defaults. An unknown name raises
// CIM_ERR_NO_SUCH_PROPERTY, a value that does not convert or a key without a
// value CIM_ERR_INVALID_PARAMETER.
KVOSmrPtr<IKivoObject> buildInstance(KVOString const& nameSpace, IKivoClass const& cls, PropertyValues const& values);

// What buildInstance does, for providers that make many instances of one
// class: the class is looked at once, and each instance is a row of values in
// the class's property order, filled by column over the class's defaults.
// Immutable once made: one maker serves any number of threads.
class InstanceMaker {
public:
    using Row = CKivoPackedObject::Values;

    InstanceMaker(KVOString nameSpace, IKivoClass const& cls);
    ~InstanceMaker();

    // The column of property `name` (without regard to case); an unknown name
    // raises CIM_ERR_NO_SUCH_PROPERTY.
    std::size_t column(KVOString const& name) const;
    // A row holding the class's defaults.
    Row row() const;
    // Puts `value`, converted to the declared type, at `column` of `row`; a
    // value that does not convert raises CIM_ERR_INVALID_PARAMETER.
    void set(Row& row, std::size_t column, KVOSmrPtr<IKivoValue> const& value) const;
    // The complete instance of a row; a key without a value raises
    // CIM_ERR_INVALID_PARAMETER.
    KVOSmrPtr<IKivoObject> make(Row row) const;

private:
    struct Shape;
    // The class's shape, from a cache shared by every maker.
    static std::shared_ptr<Shape const> shapeOf(IKivoClass const& cls);

    KVOString const _nameSpace;
    std::shared_ptr<Shape const> const _shape;
};
// The values of an instance's properties, in its order.
PropertyValues valuesOf(IKivoObject const& instance);

// Whether two paths have the same keys with the same values (names without
// regard to case); class names and namespaces are not compared.
bool sameKeys(IKivoInstanceName const& a, IKivoInstanceName const& b);
// Whether every key of `partial` is a key of `full` with the same value.
bool keysWithin(IKivoInstanceName const& partial, IKivoInstanceName const& full);

// Which part of an instance a response carries.
struct InstanceView {
    bool includeClassOrigin = false;
    // Null: every property; otherwise only those named (without regard to case).
    KVOSmrPtr<KVOValSlist<KVOString>> propertyList;
    // When set, only the properties this class also has (DeepInheritance
    // false on an enumeration of this class).
    KVOSmrPtr<IKivoClass> limitTo;
};

// The instance as the view shows it (same path).
KVOSmrPtr<IKivoObject> viewOf(IKivoObject const& instance, InstanceView const& view);

// viewOf for a stream of instances: what the view keeps of a property table is
// worked out once per table met, so instances of one class come out sharing
// one table (and a writer prepares its XML once). One per producer: not
// thread-safe.
class InstanceViewer {
public:
    explicit InstanceViewer(InstanceView view);
    KVOSmrPtr<IKivoObject> operator()(IKivoObject const& instance);

private:
    // Whether the view shows a property of this name.
    bool shown(KVOString const& name) const;

    InstanceView const _view;
    std::vector<KVOSmrPtr<IKivoProperty>> const _limit;  // limitTo's properties
    // The tables met so far and what the view makes of each (few: one per
    // class of the stream); the source is held so its address stays its own.
    std::vector<std::pair<std::shared_ptr<CKivoPropertyTable const>, std::shared_ptr<CKivoPropertyTable const>>>
        _tables;
};

// Whether `name` is in the list (without regard to case); a null list holds
// every name.
bool listed(KVOSmrPtr<KVOValSlist<KVOString>> const& list, KVOString const& name);

}  // namespace kivo::om
