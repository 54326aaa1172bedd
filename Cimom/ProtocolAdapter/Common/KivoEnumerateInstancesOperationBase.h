// The base class of the EnumerateInstances operation: it stores the request's
// parameters, names the operation "EnumerateInstances" and hands it to the
// handler's handleEnumerateInstances; the instances found stream through the
// collection of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object with the capacity of its result
// collection (`bounds`, 0 for none), sets the class name, namespace and the
// parameters present in the request, hands the object to process, and in
// writeResponse takes the results out with hasNext and next until there are
// none. DeepInheritance starts true, IncludeClassOrigin false and PropertyList
// null: the defaults of the request.
//
// Not copyable. The parameters are not locked: they are set before process and
// only read afterwards. With `bounds` above 0 the handler's producers must run
// on threads other than the adapter's.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoClassOriginatedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeeplyInheritedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoPropertyListOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateInstancesOperation.h"

class KivoEnumerateInstancesOperationBase : public IKivoEnumerateInstancesOperation,
                                            public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> >,
                                            public KivoPropertyListOperationBase,
                                            public KivoDeeplyInheritedOperationBase,
                                            public KivoClassOriginatedOperationBase {
public:
    KivoEnumerateInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext, unsigned int bounds);
    ~KivoEnumerateInstancesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    KivoEnumerateInstancesOperationBase(KivoEnumerateInstancesOperationBase const&);
    KivoEnumerateInstancesOperationBase& operator=(KivoEnumerateInstancesOperationBase const&);
};
