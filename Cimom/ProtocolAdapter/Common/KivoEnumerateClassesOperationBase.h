// The base class of the EnumerateClasses operation: it stores the request's
// parameters, names the operation "EnumerateClasses" and hands it to the
// handler's handleEnumerateClasses; the classes found stream through the
// collection of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// Per request it constructs one object (its result collection is unbounded),
// sets the class name, namespace and the parameters present in the request,
// hands the object to process, and in writeResponse takes the results out with
// hasNext and next until there are none. DeepInheritance starts false,
// LocalOnly and IncludeQualifiers true, IncludeClassOrigin false: the defaults
// of the request.
//
// Not copyable. The parameters are not locked: they are set before process and
// only read afterwards. The collection is unbounded, so the handler may also
// fill it on the adapter's thread before its entry returns.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoClassOriginatedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeeplyInheritedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoIncludeQualifiersOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoLocalOnlyOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateClassesOperation.h"

class KivoEnumerateClassesOperationBase : public IKivoEnumerateClassesOperation,
                                          public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoClass> >,
                                          public KivoDeeplyInheritedOperationBase,
                                          public KivoLocalOnlyOperationBase,
                                          public KivoIncludeQualifiersOperationBase,
                                          public KivoClassOriginatedOperationBase {
public:
    explicit KivoEnumerateClassesOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~KivoEnumerateClassesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    KivoEnumerateClassesOperationBase(KivoEnumerateClassesOperationBase const&);
    KivoEnumerateClassesOperationBase& operator=(KivoEnumerateClassesOperationBase const&);
};
