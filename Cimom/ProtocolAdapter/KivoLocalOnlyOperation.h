// The LocalOnly facet: the object manager's view of the LocalOnly parameter of
// a request.
//
// A virtual base of the interfaces of the operations that accept the parameter,
// so an operation holds it once; KivoLocalOnlyOperationBase stores it. The
// adapter sets it before processing and the handler only reads it; not locked.
#pragma once

class IKivoLocalOnlyOperation {
public:
    // The request's LocalOnly, or the operation's default when the request
    // carried none.
    virtual bool getLocalOnly() const = 0;
    virtual ~IKivoLocalOnlyOperation() = default;
};
