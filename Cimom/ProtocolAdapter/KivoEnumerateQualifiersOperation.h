// The EnumerateQualifiers operation as the object manager's handler sees it:
// the slot for the list of the namespace's qualifier declarations.
//
// Implemented by KivoEnumerateQualifiersOperationBase; the handler receives it
// in handleEnumerateQualifiers. The namespace is the operation's
// (IKivoOperation); the request has no other parameter. The handler stores the
// result before its entry returns, on the adapter's thread; nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/IQualifierDef.h"

#include <list>
#include <memory>

class IKivoEnumerateQualifiersOperation : public virtual IKivoOperation {
public:
    // The declarations are only pointed to; the object manager owns them.
    typedef std::list<const qora::IQualifierDef*, std::allocator<const qora::IQualifierDef*> > QualifierList;

    // Stores the list, sharing it (it is freed with its last reference, the
    // declarations in it are not). The declarations must stay valid until the
    // response has been written. May be called again; the adapter writes the
    // list stored last, and a null list if none was stored (an empty list means
    // no declaration).
    virtual void setQualifierList(KVOSmrPtr<QualifierList> qualList) = 0;
    ~IKivoEnumerateQualifiersOperation() override = default;
};
