// The rules a class declaration must keep before it enters the repository,
// written once for the two ways classes arrive: the MOF compiler (which calls
// the single rules as it reads, so that its errors point at the text) and the
// object manager's CreateClass and ModifyClass (which check a whole class
// with checkClass).
//
// The rules: the superclass exists; every qualifier is declared, allowed on
// its element, given once, and its value has the declared type; a qualifier
// with the DisableOverride flavor keeps the inherited value; Override names an
// inherited member of the same name, and a member that redeclares an
// inherited one says Override and keeps its type; keys are scalar, and a
// subclass of a class with keys adds none; references are scalar and name
// existing classes; defaults have the property's type; no property, method or
// parameter is declared twice.
//
// Each single rule answers its problem as a message, or an empty string.
// Pure functions of their arguments and of repository reads; any thread.
#pragma once

#include "objectmanager/ClassRepository.h"

#include <optional>
#include <string>

namespace kivo::om::checks {

// "class", "association", "property", ... for a KVOQualifierScope bit.
char const* scopeWord(unsigned scope);
// The scope of a class: ASSOCIATION or INDICATION when it carries (or
// inherits) the qualifier with a true value, else CLASS.
unsigned classScope(bool association, bool indication);
// Two values, scalar or array, with the same text.
bool sameValue(KVOSmrPtr<IKivoValue> const& a, KVOSmrPtr<IKivoValue> const& b);
// The qualifiers of `qs` that pass to subclasses (the ToSubclass flavor).
std::vector<KVOSmrPtr<IKivoQualifier>> passedOn(std::vector<KVOSmrPtr<IKivoQualifier>> const& qs);

// Qualifier `name` used on an element of `scope`; `decl` its declaration or null.
std::string qualifierUse(qora::IQualifierDef const* decl, std::string const& name, unsigned scope);
// Qualifier `name` given `value` where `inherited` (passed on from the
// superclass's element) may hold it with the DisableOverride flavor.
std::string disabledOverride(std::vector<KVOSmrPtr<IKivoQualifier>> const& inherited, std::string const& name,
                             KVOSmrPtr<IKivoValue> const& value);
// A member `name` (`what`: "property" or "method") with an Override
// qualifier naming `target` (nullopt: no Override), where `inherited` is
// whether a superclass declares a member of that name.
std::string overrideUse(std::optional<std::string> const& target, std::string const& name, bool inherited,
                        char const* what);
// A key property `name`; `base` the property it overrides (or null), `super`
// the superclass (or null).
std::string keyUse(std::string const& name, bool isArray, IKivoProperty const* base, IKivoClass const* super);

// Checks a class declared with `declared` (own members only: the object
// manager drops the members and qualifiers marked propagated before it
// calls) against the repository. Raises CIM_ERR_INVALID_SUPERCLASS for an
// unknown superclass and CIM_ERR_INVALID_PARAMETER naming the first other
// problem.
void checkClass(ClassRepository const& repository, KVOString const& nameSpace, KVOString const& name,
                CKivoClass::Members const& declared);

}  // namespace kivo::om::checks
