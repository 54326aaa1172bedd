// The base class of the filter query facet: it stores the filter (or query)
// of a request and the string map that travels beside it.
//
// OpenOperationBase derives from it virtually (the constructor of the
// object's most-derived class builds it; the default argument "" is the
// filter an operation starts with when that class names no other), and
// ExecQueryOperationBase directly. The adapter sets the values with
// setFilterQuery and setFilterMap, the handler reads them through
// IFilterQuery. The map is shared, never copied: the pointer given to
// setFilterMap is the one getFilterMap hands out. Not copyable; not locked.
#pragma once

#include "Cimom/ProtocolAdapter/FilterQuery.h"

class FilterQueryOperationBase : public virtual IFilterQuery {
public:
    // The filter map starts null.
    explicit FilterQueryOperationBase(KVOString const& query = KVOString());
    KVOString getFilterQuery() const override;
    KVOSmrPtr<KVOValMap<KVOString, KVOString> > getFilterMap() const override;
    ~FilterQueryOperationBase() override;
    virtual void setFilterQuery(KVOString const& filterQuery);
    // Releases the stored map and shares filterMap (null accepted).
    virtual void setFilterMap(KVOSmrPtr<KVOValMap<KVOString, KVOString> > filterMap);

protected:
    KVOString filterQuery;
    KVOSmrPtr<KVOValMap<KVOString, KVOString> > filterMap;

private:
    FilterQueryOperationBase(FilterQueryOperationBase const&);
    FilterQueryOperationBase& operator=(FilterQueryOperationBase const&);
};
