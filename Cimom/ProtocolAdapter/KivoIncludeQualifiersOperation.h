// The IncludeQualifiers facet: the object manager's view of the
// IncludeQualifiers parameter of a request.
//
// A virtual base of the interfaces of the operations that accept the parameter,
// so an operation holds it once; KivoIncludeQualifiersOperationBase stores it.
// The adapter sets it before processing and the handler only reads it; not
// locked.
#pragma once

class IKivoIncludeQualifiersOperation {
public:
    // The request's IncludeQualifiers, or the operation's default when the
    // request carried none.
    virtual bool getIncludeQualifiers() const = 0;
    virtual ~IKivoIncludeQualifiersOperation() = default;
};
