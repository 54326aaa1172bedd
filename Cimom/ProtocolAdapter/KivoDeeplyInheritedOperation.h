// The DeepInheritance facet: the object manager's view of the DeepInheritance
// parameter of a request.
//
// A virtual base of the interfaces of the operations that accept the parameter,
// so an operation holds it once; KivoDeeplyInheritedOperationBase stores it.
// The adapter sets it before processing and the handler only reads it; not
// locked.
#pragma once

class IKivoDeeplyInheritedOperation {
public:
    // The request's DeepInheritance, or the operation's default when the
    // request carried none.
    virtual bool getDeepInheritance() const = 0;
    virtual ~IKivoDeeplyInheritedOperation() = default;
};
