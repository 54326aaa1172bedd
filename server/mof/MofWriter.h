// The MOF writer: a class repository's content, and instances, written as
// MOF that MofCompiler reads back into an equal repository (the same
// qualifier declarations, the same resolved classes with the same
// qualifiers, flavors, defaults, class origins and propagated flags, and
// instances with the same property values).
//
// Classes are written in their declared form: own properties, methods and
// qualifiers (those not marked propagated), the superclass by name, and
// Override where a member is redeclared. A qualifier's flavors are written
// when they differ from what its declaration would give it. Strings are
// escaped as DSP0221 spells them; reals are written in the shortest form
// that reads back the same value.
//
// References are written as their paths in a string ("ns:Class.Key=..."),
// embedded instances as "instance of Class { ... }" in place of the value.
//
// What MOF cannot carry raises CIM_ERR_NOT_SUPPORTED (KivoBaseException)
// naming it: NaN and infinite reals (the compiler reads no literal for them),
// class values, a reference property or parameter without a reference class,
// a qualifier declaration without a scope. The Translatable and ToInstance
// flavors can only be added in MOF, not taken away: a qualifier that lacks
// one its declaration has reads back with it.
//
// Who calls it: the on-disk repository (one class, declaration or instance at
// a time), the export command, tests. Threading: pure functions over
// immutable objects and a repository that locks each call; any thread.
#pragma once

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoObject.h"
#include "KivoUtilities/IQualifierDef.h"
#include "objectmanager/ClassRepository.h"
#include "objectmanager/InstanceProvider.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace kivo::mof {

// "Qualifier Name : type = default, Scope(...), Flavor(...);" and a newline.
void writeQualifierDecl(std::string& out, qora::IQualifierDef const& decl);

// The declared form of the resolved class `cls` of `nameSpace` in
// `repository` (which supplies the qualifier declarations, to decide which
// flavors must be written), ending with "};" and a newline.
void writeClass(std::string& out, IKivoClass const& cls, om::ClassRepository const& repository,
                KVOString const& nameSpace);

// "instance of Class { Prop = value; ... };": every property that has a
// value (NULL ones are left out), embedded instances written inline.
void writeInstance(std::string& out, IKivoObject const& instance);
// The same, and "Prop = NULL;" for a NULL property whose default in `cls`
// (the instance's class) is not NULL, which the compiler would otherwise
// give it. writeNamespace writes instances so.
void writeInstance(std::string& out, IKivoObject const& instance, IKivoClass const& cls);

// The classes of `nameSpace` in an order the compiler accepts: each class
// after its superclass, otherwise in declaration order.
std::vector<KVOSmrPtr<IKivoClass>> compileOrder(om::ClassRepository const& repository, KVOString const& nameSpace);

// Every instance to write for one namespace, handed to the sink in order.
using InstanceSource = std::function<void(om::Sink<KVOSmrPtr<IKivoObject>> const&)>;

// One namespace as a MOF file: "#pragma namespace", its qualifier
// declarations, its classes (compileOrder), then the instances `instances`
// hands out (none when empty).
void writeNamespace(std::ostream& out, om::ClassRepository const& repository, KVOString const& nameSpace,
                    InstanceSource const& instances = {});

}  // namespace kivo::mof
