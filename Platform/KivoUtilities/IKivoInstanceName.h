// A CIM instance path: namespace, class name and key bindings.
#pragma once

#include "KivoUtilities/KVOString.h"

#include <utility>
#include <vector>

class IKivoInstanceName {
public:
    virtual ~IKivoInstanceName() = default;
    virtual KVOString getNameSpace() const = 0;
    virtual KVOString getClassName() const = 0;
    // Key name and value text, in order.
    virtual std::vector<std::pair<KVOString, KVOString>> getKeyBindings() const = 0;
};
