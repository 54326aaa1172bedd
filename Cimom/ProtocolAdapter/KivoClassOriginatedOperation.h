// The class-origin facet: the object manager's view of the IncludeClassOrigin
// parameter of a request.
//
// A virtual base of the interfaces of the operations that accept the parameter,
// so an operation holds it once; KivoClassOriginatedOperationBase stores it.
// The adapter sets it before processing and the handler only reads it; not
// locked.
#pragma once

class IKivoClassOriginatedOperation {
public:
    // The request's IncludeClassOrigin, or the operation's default when the
    // request carried none.
    virtual bool getClassOrigin() const = 0;
    virtual ~IKivoClassOriginatedOperation() = default;
};
