// The base class of the GetQualifier operation: it stores the name of the
// qualifier declaration to get and a pointer to the declaration found, names
// the operation "GetQualifier" and hands it to the handler's
// handleGetQualifier.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace and qualifier name,
// hands the object to process, and reads the result with getQualifierDef in
// writeResponse. The declaration belongs to the object manager: the operation
// never copies or frees it, and it must stay valid until the response has been
// written.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation,
// and the handler stores its result on that thread before process calls
// writeResponse.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoGetQualifierOperation.h"

class KivoGetQualifierOperationBase : public IKivoGetQualifierOperation, public KivoOperationBase {
public:
    explicit KivoGetQualifierOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOString getQualifierName() const override;
    void setQualifierDef(const qora::IQualifierDef* def) override;
    ~KivoGetQualifierOperationBase() override;
    // Sets the QualifierName parameter.
    virtual void setQualifierName(KVOString name);
    // The declaration the handler stored last; null if it stored none.
    virtual const qora::IQualifierDef* getQualifierDef() const;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOString _qualifierName;
    const qora::IQualifierDef* _qualifierDef;  // not owned

private:
    KivoGetQualifierOperationBase(KivoGetQualifierOperationBase const&);
    KivoGetQualifierOperationBase& operator=(KivoGetQualifierOperationBase const&);
};
