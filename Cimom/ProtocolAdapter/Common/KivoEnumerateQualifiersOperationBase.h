// The base class of the EnumerateQualifiers operation: it stores the list of
// qualifier declarations found, names the operation "EnumerateQualifiers" and
// hands it to the handler's handleEnumerateQualifiers.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace (the request's only
// parameter), hands the object to process, and reads the result with
// getQualifierList in writeResponse. The list is shared with the handler and
// freed with its last reference; the declarations in it belong to the object
// manager and must stay valid until the response has been written.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation,
// and the handler stores its result on that thread before process calls
// writeResponse.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateQualifiersOperation.h"

class KivoEnumerateQualifiersOperationBase : public IKivoEnumerateQualifiersOperation, public KivoOperationBase {
public:
    explicit KivoEnumerateQualifiersOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    void setQualifierList(KVOSmrPtr<QualifierList> qualList) override;
    ~KivoEnumerateQualifiersOperationBase() override;
    // The list the handler stored last (another reference to it); null if it
    // stored none, empty if it found no declaration.
    virtual KVOSmrPtr<QualifierList> const getQualifierList();

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<QualifierList> _qualifierList;

private:
    KivoEnumerateQualifiersOperationBase(KivoEnumerateQualifiersOperationBase const&);
    KivoEnumerateQualifiersOperationBase& operator=(KivoEnumerateQualifiersOperationBase const&);
};
