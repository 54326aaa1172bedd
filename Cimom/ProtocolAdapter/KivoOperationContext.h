// Whatever per-operation state a protocol adapter wants to keep with an
// operation. The library stores and returns it and never calls it.
#pragma once

class IKivoOperationContext {
public:
    virtual ~IKivoOperationContext() = default;
};
