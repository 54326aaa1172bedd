// The base class of the CreateInstance operation: it stores the instance to
// create and the path of the created instance, names the operation
// "CreateInstance" and hands it to the handler's handleCreateInstance.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace and the new
// instance, hands the object to process, and reads the result with
// getInstanceName in writeResponse.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation,
// and the handler stores its result on that thread before process calls
// writeResponse.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoCreateInstanceOperation.h"

class KivoCreateInstanceOperationBase : public IKivoCreateInstanceOperation, public KivoOperationBase {
public:
    explicit KivoCreateInstanceOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOSmrPtr<IKivoObject> getInstance() const override;
    void setInstanceName(KVOSmrPtr<IKivoInstanceName> instanceName) override;
    ~KivoCreateInstanceOperationBase() override;
    // Sets the NewInstance parameter, sharing the instance.
    virtual void setInstance(KVOSmrPtr<IKivoObject> instance);
    // The path the handler stored last (another reference to it); null if it
    // stored none.
    virtual KVOSmrPtr<IKivoInstanceName> getInstanceName() const;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoObject> instance;
    KVOSmrPtr<IKivoInstanceName> instanceName;

private:
    KivoCreateInstanceOperationBase(KivoCreateInstanceOperationBase const&);
    KivoCreateInstanceOperationBase& operator=(KivoCreateInstanceOperationBase const&);
};
