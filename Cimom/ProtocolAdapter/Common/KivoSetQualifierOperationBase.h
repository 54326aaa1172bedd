// The base class of the SetQualifier operation: it stores the qualifier
// declaration to set, names the operation "SetQualifier" and hands it to the
// handler's handleSetQualifier.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace and the
// declaration, and hands the object to process; the response carries only the
// status.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation
// before process, and the handler only reads it.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoSetQualifierOperation.h"

class KivoSetQualifierOperationBase : public IKivoSetQualifierOperation, public KivoOperationBase {
public:
    explicit KivoSetQualifierOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOSmrPtr<qora::IQualifierDef> getQualifierDef() const override;
    ~KivoSetQualifierOperationBase() override;
    // Sets the QualifierDeclaration parameter, sharing the declaration.
    virtual void setQualifierDef(KVOSmrPtr<qora::IQualifierDef> def);

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<qora::IQualifierDef> _qualifierDef;

private:
    KivoSetQualifierOperationBase(KivoSetQualifierOperationBase const&);
    KivoSetQualifierOperationBase& operator=(KivoSetQualifierOperationBase const&);
};
