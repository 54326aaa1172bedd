// The base class of the CreateClass operation: it stores the class to create,
// names the operation "CreateClass" and hands it to the handler's
// handleCreateClass.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace and the class, and
// hands the object to process; the response carries only the status.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation
// before process, and the handler only reads it.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoCreateClassOperation.h"

class KivoCreateClassOperationBase : public IKivoCreateClassOperation, public KivoOperationBase {
public:
    explicit KivoCreateClassOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    KVOSmrPtr<IKivoClass> getClass() const override;
    ~KivoCreateClassOperationBase() override;
    // Sets the NewClass parameter, sharing the class.
    virtual void setClass(KVOSmrPtr<IKivoClass> cls);

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoClass> cls;

private:
    KivoCreateClassOperationBase(KivoCreateClassOperationBase const&);
    KivoCreateClassOperationBase& operator=(KivoCreateClassOperationBase const&);
};
