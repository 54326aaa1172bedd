// The base class of the filter query language facet: it stores the name of
// the language of a filter query.
//
// OpenOperationBase derives from it virtually (the constructor of the
// object's most-derived class builds it; the default argument "" is the
// language an operation starts with when that class names no other), and
// ExecQueryOperationBase directly. The adapter sets the language with
// setFilterQueryLanguage, the handler reads it through IFilterQueryLanguage.
// Stored unchanged, "" included. Not copyable; not locked.
#pragma once

#include "Cimom/ProtocolAdapter/FilterQueryLanguage.h"

class FilterQueryLanguageOperationBase : public virtual IFilterQueryLanguage {
public:
    explicit FilterQueryLanguageOperationBase(KVOString const& language = KVOString());
    KVOString getFilterQueryLanguage() const override;
    ~FilterQueryLanguageOperationBase() override;
    virtual void setFilterQueryLanguage(KVOString const& filterQueryLanguage);

protected:
    KVOString filterQueryLanguage;

private:
    FilterQueryLanguageOperationBase(FilterQueryLanguageOperationBase const&);
    FilterQueryLanguageOperationBase& operator=(FilterQueryLanguageOperationBase const&);
};
