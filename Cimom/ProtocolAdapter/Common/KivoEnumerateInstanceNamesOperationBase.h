// The base class of the EnumerateInstanceNames operation: it stores the
// request's parameters, names the operation "EnumerateInstanceNames" and hands
// it to the handler's handleEnumerateInstanceNames; the paths of the instances
// found stream through the collection of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object with the capacity of its result
// collection (`bounds`, 0 for none), sets the class name and namespace, hands
// the object to process, and in writeResponse takes the results out with
// hasNext and next until there are none.
//
// Not copyable. The parameters are not locked: they are set before process and
// only read afterwards. With `bounds` above 0 the handler's producers must run
// on threads other than the adapter's.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateInstanceNamesOperation.h"

class KivoEnumerateInstanceNamesOperationBase : public IKivoEnumerateInstanceNamesOperation,
                                                public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoInstanceName> > {
public:
    KivoEnumerateInstanceNamesOperationBase(IKivoOperationHandlerContext* opHandlerContext, unsigned int bounds);
    ~KivoEnumerateInstanceNamesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    KivoEnumerateInstanceNamesOperationBase(KivoEnumerateInstanceNamesOperationBase const&);
    KivoEnumerateInstanceNamesOperationBase& operator=(KivoEnumerateInstanceNamesOperationBase const&);
};
