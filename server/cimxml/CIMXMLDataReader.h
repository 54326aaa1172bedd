// Reads the DSP0201 elements that requests carry into the platform's CIM data
// objects: class names, instance names and paths with typed keys, instances
// (with their typed properties), classes and qualifier declarations (the
// schema operations), values and arrays, references, property lists and
// booleans.
//
// Used by the parameter tables of the operations (CIMXMLParams.h). Each
// function takes the element itself (for example the INSTANCENAME element) and
// the namespace that local paths belong to. Content that does not fit its
// element throws AdapterException with code 4 (CIM_ERR_INVALID_PARAMETER)
// and a message naming the element, so that the operation answers it as an
// invalid parameter. Pure functions of the document; safe from any thread.
#pragma once

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoObject.h"
#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOValSlist.h"
#include "KivoUtilities/IQualifierDef.h"

#include <pugixml.hpp>

#include <string>

namespace cimxmlpa::reader {

// Throws the invalid-parameter exception with `message`.
[[noreturn]] void invalid(std::string const& message);

// CLASSNAME: its NAME.
KVOString className(pugi::xml_node classNameElement);

// INSTANCENAME (in namespace `nameSpace`), INSTANCEPATH or LOCALINSTANCEPATH.
// KEYVALUE keys are typed by their TYPE attribute when present, else by
// VALUETYPE: strings stay strings, booleans are read as such, numerics are
// left untyped for the object manager to compare with the key's own type.
KVOSmrPtr<IKivoInstanceName> instancePath(pugi::xml_node element, KVOString const& nameSpace);

// VALUE.REFERENCE: a reference value to the instance path it holds.
KVOSmrPtr<IKivoValue> reference(pugi::xml_node valueReference, KVOString const& nameSpace);

// INSTANCE: an instance with the given path (may be null), its PROPERTY,
// PROPERTY.ARRAY and PROPERTY.REFERENCE children typed by their TYPE.
KVOSmrPtr<IKivoObject> instance(pugi::xml_node instanceElement, KVOSmrPtr<IKivoInstanceName> const& path,
                                KVOString const& nameSpace);

// VALUE.NAMEDINSTANCE: the instance with its path.
KVOSmrPtr<IKivoObject> namedInstance(pugi::xml_node namedInstance, KVOString const& nameSpace);

// CLASS: its SUPERCLASS, QUALIFIERs (typed by TYPE, with their flavors and
// PROPAGATED), properties (PROPERTY, PROPERTY.ARRAY with ARRAYSIZE,
// PROPERTY.REFERENCE with REFERENCECLASS; EmbeddedObject strings as instance
// or class values; defaults typed by TYPE), METHODs and their parameters, as
// a class without superclass object; CLASSORIGIN and PROPAGATED are kept.
KVOSmrPtr<IKivoClass> classDeclaration(pugi::xml_node classElement);
// QUALIFIER.DECLARATION: name, TYPE, ISARRAY, ARRAYSIZE (ignored), flavors,
// SCOPE and the default (VALUE or VALUE.ARRAY).
KVOSmrPtr<qora::IQualifierDef> qualifierDeclaration(pugi::xml_node element);

// The value a parameter element holds (IPARAMVALUE, PARAMVALUE): VALUE,
// VALUE.ARRAY, VALUE.REFERENCE or VALUE.REFARRAY; null when it holds none
// (CIM NULL). `typeName` types the value when not empty (PARAMVALUE's
// PARAMTYPE); otherwise VALUE text stays untyped for the object manager to
// convert to the declared type.
KVOSmrPtr<IKivoValue> parameterValue(pugi::xml_node parameter, std::string const& typeName, KVOString const& nameSpace);

// A boolean parameter: one VALUE holding TRUE or FALSE (any case).
bool booleanValue(pugi::xml_node parameter);
// A string parameter: one VALUE.
KVOString stringValue(pugi::xml_node parameter);
// A PropertyList parameter: a VALUE.ARRAY of VALUEs (an empty array names no
// property); null when the parameter holds no value.
KVOSmrPtr<KVOValSlist<KVOString>> stringList(pugi::xml_node parameter);

}  // namespace cimxmlpa::reader
