// The base class of the DeleteInstance operation: it stores the path of the
// instance to delete, names the operation "DeleteInstance" and hands it to the
// handler's handleDeleteInstance.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace and the path, and
// hands the object to process; the response carries only the status.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation
// before process, and the handler only reads it.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoDeleteInstanceOperation.h"

class KivoDeleteInstanceOperationBase : public IKivoDeleteInstanceOperation, public KivoOperationBase {
public:
    explicit KivoDeleteInstanceOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOSmrPtr<IKivoInstanceName> getInstanceName() const override;
    ~KivoDeleteInstanceOperationBase() override;
    // Sets the InstanceName parameter, sharing the path.
    virtual void setInstanceName(KVOSmrPtr<IKivoInstanceName> instanceName);

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoInstanceName> instanceName;

private:
    KivoDeleteInstanceOperationBase(KivoDeleteInstanceOperationBase const&);
    KivoDeleteInstanceOperationBase& operator=(KivoDeleteInstanceOperationBase const&);
};
