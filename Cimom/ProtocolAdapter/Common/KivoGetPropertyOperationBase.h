// The base class of the GetProperty operation: it stores the instance and
// property to read and the value found, names the operation "GetProperty" and
// hands it to the handler's handleGetProperty.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace, instance path and
// property name, hands the object to process, and reads the result with
// getPropertyValue in writeResponse.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation,
// and the handler stores its result on that thread before process calls
// writeResponse.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoGetPropertyOperation.h"

class KivoGetPropertyOperationBase : public IKivoGetPropertyOperation, public KivoOperationBase {
public:
    explicit KivoGetPropertyOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOSmrPtr<IKivoInstanceName> getInstanceName() const override;
    KVOString getPropertyName() const override;
    void setPropertyValue(KVOSmrPtr<IKivoValue> propertyValue) override;
    ~KivoGetPropertyOperationBase() override;
    // Sets the InstanceName parameter, sharing the path.
    virtual void setInstanceName(KVOSmrPtr<IKivoInstanceName> instanceName);
    // Sets the PropertyName parameter.
    virtual void setPropertyName(KVOString const& propertyName);
    // The value the handler stored last (another reference to it); null if it
    // stored none.
    virtual KVOSmrPtr<IKivoValue> getPropertyValue();

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoInstanceName> instanceName;
    KVOString propertyName;
    KVOSmrPtr<IKivoValue> propertyValue;

private:
    KivoGetPropertyOperationBase(KivoGetPropertyOperationBase const&);
    KivoGetPropertyOperationBase& operator=(KivoGetPropertyOperationBase const&);
};
