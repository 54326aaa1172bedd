// The base class of the EnumerateClassNames operation: it stores the request's
// parameters, names the operation "EnumerateClassNames" and hands it to the
// handler's handleEnumerateClassNames; the class names found stream through the
// collection of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object (its result collection is unbounded),
// sets the class name, namespace and DeepInheritance if the request has it,
// hands the object to process, and in writeResponse takes the results out with
// hasNext and next until there are none. DeepInheritance starts false: the
// default of the request.
//
// Not copyable. The parameters are not locked: they are set before process and
// only read afterwards. The collection is unbounded, so the handler may also
// fill it on the adapter's thread before its entry returns.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoDeeplyInheritedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateClassNamesOperation.h"

class KivoEnumerateClassNamesOperationBase : public IKivoEnumerateClassNamesOperation,
                                             public KivoMultiResponseOperationBase<KVOString>,
                                             public KivoDeeplyInheritedOperationBase {
public:
    explicit KivoEnumerateClassNamesOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~KivoEnumerateClassNamesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    KivoEnumerateClassNamesOperationBase(KivoEnumerateClassNamesOperationBase const&);
    KivoEnumerateClassNamesOperationBase& operator=(KivoEnumerateClassNamesOperationBase const&);
};
