// The base class of the ModifyInstance operation: it stores the modified
// instance, its path and the PropertyList, names the operation "ModifyInstance"
// and hands it to the handler's handleModifyInstance.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object (PropertyList null: the default of the
// request), sets the namespace, the instance, its path and a PropertyList if
// the request has one, and hands the object to process; the response carries
// only the status.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation
// before process, and the handler only reads it.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoPropertyListOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoModifyInstanceOperation.h"

class KivoModifyInstanceOperationBase : public IKivoModifyInstanceOperation,
                                        public KivoOperationBase,
                                        public KivoPropertyListOperationBase {
public:
    explicit KivoModifyInstanceOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOSmrPtr<IKivoInstanceName> getInstanceName() const override;
    KVOSmrPtr<IKivoObject> getInstance() const override;
    ~KivoModifyInstanceOperationBase() override;
    // Sets the ModifiedInstance parameter, sharing the instance.
    virtual void setInstance(KVOSmrPtr<IKivoObject> instance);
    // Sets the path of the modified instance, sharing it.
    virtual void setInstanceName(KVOSmrPtr<IKivoInstanceName> instanceName);

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoObject> instance;
    KVOSmrPtr<IKivoInstanceName> instanceName;

private:
    KivoModifyInstanceOperationBase(KivoModifyInstanceOperationBase const&);
    KivoModifyInstanceOperationBase& operator=(KivoModifyInstanceOperationBase const&);
};
