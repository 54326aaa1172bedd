// The base class of the ReferenceNames operation: it stores the request's
// parameters, names the operation "ReferenceNames" and hands it to the
// handler's handleReferenceNames; the paths of the association objects found
// stream through the collection of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object with the capacity of its result
// collection (`bounds`, 0 for none), sets the namespace and the parameters
// present in the request, hands the object to process, and in writeResponse
// takes the results out with hasNext and next until there are none. The source
// instance starts null and the other traversal parameters empty.
//
// Not copyable. The parameters are not locked: they are set before process and
// only read afterwards. With `bounds` above 0 the handler's producers must run
// on threads other than the adapter's.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferencesBase.h"
#include "Cimom/ProtocolAdapter/KivoReferenceNamesOperation.h"

class KivoReferenceNamesOperationBase : public IKivoReferenceNamesOperation,
                                        public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoInstanceName> >,
                                        public KivoReferencesBase {
public:
    KivoReferenceNamesOperationBase(IKivoOperationHandlerContext* opHandlerContext, unsigned int bounds);
    ~KivoReferenceNamesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    KivoReferenceNamesOperationBase(KivoReferenceNamesOperationBase const&);
    KivoReferenceNamesOperationBase& operator=(KivoReferenceNamesOperationBase const&);
};
