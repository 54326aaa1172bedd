// The base class of the DeleteQualifier operation: it stores the name of the
// qualifier declaration to delete, names the operation "DeleteQualifier" and
// hands it to the handler's handleDeleteQualifier.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace and the qualifier
// name, and hands the object to process; the response carries only the
// status.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation
// before process, and the handler only reads it.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoDeleteQualifierOperation.h"

class KivoDeleteQualifierOperationBase : public IKivoDeleteQualifierOperation, public KivoOperationBase {
public:
    explicit KivoDeleteQualifierOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOString getQualifierName() const override;
    ~KivoDeleteQualifierOperationBase() override;
    // Sets the QualifierName parameter.
    virtual void setQualifierName(KVOString name);

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOString _qualifierName;

private:
    KivoDeleteQualifierOperationBase(KivoDeleteQualifierOperationBase const&);
    KivoDeleteQualifierOperationBase& operator=(KivoDeleteQualifierOperationBase const&);
};
