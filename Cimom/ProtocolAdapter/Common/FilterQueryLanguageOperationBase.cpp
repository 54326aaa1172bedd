#include "Cimom/ProtocolAdapter/Common/FilterQueryLanguageOperationBase.h"

FilterQueryLanguageOperationBase::FilterQueryLanguageOperationBase(KVOString const& language)
    : filterQueryLanguage(language) {}
FilterQueryLanguageOperationBase::~FilterQueryLanguageOperationBase() = default;

KVOString FilterQueryLanguageOperationBase::getFilterQueryLanguage() const { return filterQueryLanguage; }
void FilterQueryLanguageOperationBase::setFilterQueryLanguage(KVOString const& value) { filterQueryLanguage = value; }
