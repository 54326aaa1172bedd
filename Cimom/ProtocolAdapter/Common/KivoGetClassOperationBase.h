// The base class of the GetClass operation: it stores the request's parameters
// and the class found, names the operation "GetClass" and hands it to the
// handler's handleGetClass.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object (LocalOnly and IncludeQualifiers start
// true, IncludeClassOrigin false, PropertyList null: the defaults of the
// request), sets the class name, namespace and the parameters present in the
// request, hands the object to process, and reads the result with getClass in
// writeResponse.
//
// Not copyable. Nothing is locked: the adapter's thread fills the operation,
// and the handler stores its result on that thread before process calls
// writeResponse.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoClassOriginatedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoIncludeQualifiersOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoLocalOnlyOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoPropertyListOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoGetClassOperation.h"

class KivoGetClassOperationBase : public IKivoGetClassOperation,
                                  public KivoOperationBase,
                                  public KivoLocalOnlyOperationBase,
                                  public KivoIncludeQualifiersOperationBase,
                                  public KivoPropertyListOperationBase,
                                  public KivoClassOriginatedOperationBase {
public:
    explicit KivoGetClassOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    void setClass(KVOSmrPtr<IKivoClass> cls) override;
    ~KivoGetClassOperationBase() override;
    // The class the handler stored last (another reference to it); null if it
    // stored none.
    virtual KVOSmrPtr<IKivoClass> getClass() const;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoClass> cls;

private:
    KivoGetClassOperationBase(KivoGetClassOperationBase const&);
    KivoGetClassOperationBase& operator=(KivoGetClassOperationBase const&);
};
