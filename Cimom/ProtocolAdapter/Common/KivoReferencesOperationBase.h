// The base class of the References operation: it stores the request's
// parameters, names the operation "References" and hands it to the handler's
// handleReferences; the association objects found stream through the collection
// of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object with the capacity of its result
// collection (`bounds`, 0 for none), sets the namespace and the parameters
// present in the request, hands the object to process, and in writeResponse
// takes the results out with hasNext and next until there are none.
// IncludeClassOrigin starts false and PropertyList null, the defaults of the
// request; the source instance starts null and the other traversal parameters
// empty.
//
// Not copyable. The parameters are not locked: they are set before process and
// only read afterwards. With `bounds` above 0 the handler's producers must run
// on threads other than the adapter's.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoClassOriginatedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoPropertyListOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferencesBase.h"
#include "Cimom/ProtocolAdapter/KivoReferencesOperation.h"

class KivoReferencesOperationBase : public IKivoReferencesOperation,
                                    public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoValue> >,
                                    public KivoPropertyListOperationBase,
                                    public KivoClassOriginatedOperationBase,
                                    public KivoReferencesBase {
public:
    KivoReferencesOperationBase(IKivoOperationHandlerContext* opHandlerContext, unsigned int bounds);
    ~KivoReferencesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    KivoReferencesOperationBase(KivoReferencesOperationBase const&);
    KivoReferencesOperationBase& operator=(KivoReferencesOperationBase const&);
};
