// The base class of the GetInstance operation: it stores the path of the
// instance to get, the request's parameters and the instance found, names the
// operation "GetInstance" and hands it to the handler's handleGetInstance.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object (IncludeClassOrigin starts false and
// PropertyList null: the defaults of the request), sets the namespace, the path
// with setName and the parameters present in the request, hands the object to
// process, and reads the result with getInstance in writeResponse.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation,
// and the handler stores its result on that thread before process calls
// writeResponse.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoClassOriginatedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoPropertyListOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoGetInstanceOperation.h"

class KivoGetInstanceOperationBase : public IKivoGetInstanceOperation,
                                     public KivoOperationBase,
                                     public KivoPropertyListOperationBase,
                                     public KivoClassOriginatedOperationBase {
public:
    explicit KivoGetInstanceOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOSmrPtr<IKivoInstanceName> getName() const override;
    void setInstance(KVOSmrPtr<IKivoObject> instance) override;
    ~KivoGetInstanceOperationBase() override;
    // Sets the InstanceName parameter, sharing the path.
    virtual void setName(KVOSmrPtr<IKivoInstanceName> name);
    // The instance the handler stored last (another reference to it); null if
    // it stored none.
    virtual KVOSmrPtr<IKivoObject> getInstance() const;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoObject> instance;
    KVOSmrPtr<IKivoInstanceName> instanceName;

private:
    KivoGetInstanceOperationBase(KivoGetInstanceOperationBase const&);
    KivoGetInstanceOperationBase& operator=(KivoGetInstanceOperationBase const&);
};
