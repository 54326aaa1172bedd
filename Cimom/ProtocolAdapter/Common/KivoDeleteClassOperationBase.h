// The base class of the DeleteClass operation: it names the operation
// "DeleteClass" and hands it to the handler's handleDeleteClass. The class to
// delete is the operation's class name (setClassName), as for GetClass, so the
// base stores nothing of its own.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object, sets the namespace and the class name,
// and hands the object to process; the response carries only the status.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation
// before process, and the handler only reads it.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoDeleteClassOperation.h"

class KivoDeleteClassOperationBase : public IKivoDeleteClassOperation, public KivoOperationBase {
public:
    explicit KivoDeleteClassOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~KivoDeleteClassOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    KivoDeleteClassOperationBase(KivoDeleteClassOperationBase const&);
    KivoDeleteClassOperationBase& operator=(KivoDeleteClassOperationBase const&);
};
