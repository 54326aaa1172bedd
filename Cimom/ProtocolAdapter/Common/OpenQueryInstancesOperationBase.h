// The base class of the OpenQueryInstances operation: a query over the open
// values, named "OpenQueryInstances" and handed to the handler's
// handleOpenQueryInstances; the instances that answer it stream through the
// collection of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// It stores the query and its language with setFilterQuery and
// setFilterQueryLanguage, the other open values through their facet bases
// and the request's flag with setReturnQueryResultClass, calls process, and
// in writeResponse consumes the instances and reads back the enumeration
// context, the end-of-sequence flag and, if one was stored, the query result
// class (whoever holds this base stores it with setQueryResultClass: the
// library does not, and a handler holding only the interface cannot).
//
// The adapter class is the most-derived class, so it builds the facets and
// the pull and open layers (all virtual bases); unless it names other values
// they start at the request defaults: context "", end of sequence false,
// count 0, no filter, no timeout, continue-on-error false. The query result
// class starts null and its flag false. The collection is unbounded. Not
// copyable; the values are not locked.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PulledEnumOpenOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/QueryResultClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/ReturnQueryResultClassOperationBase.h"
#include "Cimom/ProtocolAdapter/OpenQueryInstancesOperation.h"

class OpenQueryInstancesOperationBase : public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> >,
                                        public IOpenQueryInstancesOperation,
                                        public PulledEnumOpenOperationBase,
                                        public QueryResultClassOperationBase,
                                        public ReturnQueryResultClassOperationBase {
public:
    explicit OpenQueryInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~OpenQueryInstancesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    OpenQueryInstancesOperationBase(OpenQueryInstancesOperationBase const&);
    OpenQueryInstancesOperationBase& operator=(OpenQueryInstancesOperationBase const&);
};
