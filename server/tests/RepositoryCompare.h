// Test helper: whether two class repositories, classes, qualifier
// declarations or instances hold the same CIM content, as an export to MOF and
// an import back must keep it. Each function answers a description of the
// first difference it finds ("class CIM_X: property Name: qualifier Key:
// flavors differ"), or an empty string when there is none.
//
// What counts: qualifier declarations by name, type, array-ness, default,
// scopes and flavors; classes by name, superclass, qualifiers (in order, with
// values, flavors and propagated flags), properties (type, array-ness and
// size, default, class origin, propagated, reference class, qualifiers) and
// methods (return type, class origin, propagated, qualifiers, parameters with
// their type, array-ness, reference class and qualifiers), members in order;
// instances by class name, path and property values in order. Values compare
// with IKivoValue::sameValue and the same type; embedded instances compare
// recursively.
//
// Used by the MOF writer's round-trip suite and the repository's
// export/import tests. Pure functions over immutable objects; any thread.
#pragma once

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoObject.h"
#include "KivoUtilities/IQualifierDef.h"
#include "objectmanager/ClassRepository.h"

#include <string>

namespace kivo::test {

std::string sameQualifierDecl(qora::IQualifierDef const& a, qora::IQualifierDef const& b);
std::string sameClass(IKivoClass const& a, IKivoClass const& b);
std::string sameInstance(IKivoObject const& a, IKivoObject const& b);
// Two values, either of which may be null.
std::string sameValue(KVOSmrPtr<IKivoValue> const& a, KVOSmrPtr<IKivoValue> const& b);

// The qualifier declarations of `nameSpace` (in order) and its classes (in
// declaration order) in both repositories.
std::string sameRepository(om::ClassRepository const& a, om::ClassRepository const& b, KVOString const& nameSpace);

}  // namespace kivo::test
