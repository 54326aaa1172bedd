// The filter query facet: the object manager's view of the filter (or query)
// that a request carries, with a string-to-string map that travels beside it.
//
// A virtual base of IOpenOperation and IExecQueryOperation;
// FilterQueryOperationBase stores both and offers the setters to the
// adapter. The handler only reads them. The library neither fills nor reads
// the map: only the adapter that sets it and the handler that reads it give
// its entries a meaning. Not locked.
#pragma once

#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOValMap.h"

class IFilterQuery {
public:
    // "" when the request carried no filter.
    virtual KVOString getFilterQuery() const = 0;
    // Shares the map that the adapter set (changes through either pointer are
    // seen through the other); null when none was set.
    virtual KVOSmrPtr<KVOValMap<KVOString, KVOString> > getFilterMap() const = 0;
    virtual ~IFilterQuery() = default;
};
