// The base class of the ModifyClass operation: it stores the modified class,
// names the operation "ModifyClass" and hands it to the handler's
// handleModifyClass.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace and the class, and
// hands the object to process; the response carries only the status.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation
// before process, and the handler only reads it.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoModifyClassOperation.h"

class KivoModifyClassOperationBase : public IKivoModifyClassOperation, public KivoOperationBase {
public:
    explicit KivoModifyClassOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOSmrPtr<IKivoClass> getClass() const override;
    ~KivoModifyClassOperationBase() override;
    // Sets the ModifiedClass parameter, sharing the class.
    virtual void setClass(KVOSmrPtr<IKivoClass> cls);

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoClass> cls;

private:
    KivoModifyClassOperationBase(KivoModifyClassOperationBase const&);
    KivoModifyClassOperationBase& operator=(KivoModifyClassOperationBase const&);
};
