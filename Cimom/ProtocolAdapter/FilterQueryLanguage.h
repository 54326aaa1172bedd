// The filter query language facet: the object manager's view of the name of
// the language of a filter query.
//
// A virtual base of IOpenOperation and IExecQueryOperation;
// FilterQueryLanguageOperationBase stores it and offers the setter to the
// adapter. The handler only reads it. Not locked.
#pragma once

#include "KivoUtilities/KVOString.h"

class IFilterQueryLanguage {
public:
    // "" when the request named no language.
    virtual KVOString getFilterQueryLanguage() const = 0;
    virtual ~IFilterQueryLanguage() = default;
};
