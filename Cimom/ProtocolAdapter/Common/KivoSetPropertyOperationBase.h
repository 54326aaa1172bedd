// The base class of the SetProperty operation: it stores the instance and
// property to write and the value to write, names the operation "SetProperty"
// and hands it to the handler's handleSetProperty.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace, instance path,
// property name and new value, and hands the object to process; the response
// carries only the status.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation
// before process, and the handler only reads it.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoSetPropertyOperation.h"

class KivoSetPropertyOperationBase : public IKivoSetPropertyOperation, public KivoOperationBase {
public:
    explicit KivoSetPropertyOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOSmrPtr<IKivoInstanceName> getInstanceName() const override;
    KVOString getPropertyName() const override;
    KVOSmrPtr<IKivoValue> getPropertyValue() override;
    ~KivoSetPropertyOperationBase() override;
    // Sets the InstanceName parameter, sharing the path.
    virtual void setInstanceName(KVOSmrPtr<IKivoInstanceName> instanceName);
    // Sets the PropertyName parameter.
    virtual void setPropertyName(KVOString const& propertyName);
    // Sets the NewValue parameter, sharing the value.
    virtual void setPropertyValue(KVOSmrPtr<IKivoValue> propertyValue);

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoInstanceName> instanceName;
    KVOString propertyName;
    KVOSmrPtr<IKivoValue> propertyValue;

private:
    KivoSetPropertyOperationBase(KivoSetPropertyOperationBase const&);
    KivoSetPropertyOperationBase& operator=(KivoSetPropertyOperationBase const&);
};
