#include "Cimom/ProtocolAdapter/Common/FilterQueryOperationBase.h"

#include <utility>

FilterQueryOperationBase::FilterQueryOperationBase(KVOString const& query) : filterQuery(query), filterMap() {}
FilterQueryOperationBase::~FilterQueryOperationBase() = default;

KVOString FilterQueryOperationBase::getFilterQuery() const { return filterQuery; }
KVOSmrPtr<KVOValMap<KVOString, KVOString> > FilterQueryOperationBase::getFilterMap() const { return filterMap; }
void FilterQueryOperationBase::setFilterQuery(KVOString const& value) { filterQuery = value; }
void FilterQueryOperationBase::setFilterMap(KVOSmrPtr<KVOValMap<KVOString, KVOString> > value) {
    filterMap = std::move(value);
}
