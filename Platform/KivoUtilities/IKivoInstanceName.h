// A CIM instance path: optional host, namespace, class name and key bindings.
//
// Each key binding has a typed value: a string, boolean or numeric value, or a
// reference (a value whose getReference() is another path). Immutable once
// made, shared through KVOSmrPtr; any thread may read it.
//
// Namespace, class name and the textual key bindings are pure; getKeys()
// defaults to the textual bindings as string values, getHost() to none.
#pragma once

#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

#include <utility>
#include <vector>

// One key binding of a path: the key property's name and its (non-null) value.
struct KVOKeyBinding {
    KVOString name;
    KVOSmrPtr<IKivoValue> value;
};

class IKivoInstanceName {
public:
    virtual ~IKivoInstanceName() = default;
    virtual KVOString getNameSpace() const = 0;
    virtual KVOString getClassName() const = 0;
    // Key name and value text (IKivoValue::toString), in order.
    virtual std::vector<std::pair<KVOString, KVOString>> getKeyBindings() const = 0;

    // The typed key bindings, in order.
    virtual std::vector<KVOKeyBinding> getKeys() const;
    // The host part of a full path; empty for a local path.
    virtual KVOString getHost() const { return KVOString(); }

    // The value of the key named `name` (without regard to ASCII case), or null.
    KVOSmrPtr<IKivoValue> getKey(KVOString const& name) const;

    // The path's string form: "//host/namespace:Class.Key=value,..." with the
    // host part only when there is one, the namespace part only when there is
    // one, string and reference values in double quotes (backslash and double
    // quote escaped with a backslash), booleans TRUE/FALSE, numbers as they
    // are. Keys appear in their order.
    KVOString toString() const;

    // Whether both name the same instance: class names equal without regard
    // to ASCII case, the same number of keys, and for every key of this path
    // a key of the other of the same name (without regard to case) with the
    // same value (IKivoValue::sameValue). Namespaces are compared (without
    // regard to case) only when both paths have one; hosts are not compared.
    bool sameAs(IKivoInstanceName const& other) const;
};
