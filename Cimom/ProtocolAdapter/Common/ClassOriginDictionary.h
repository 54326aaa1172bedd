// The class origins of one CIM class: for every property name met along the
// class's inheritance chain, the class that the property comes from.
//
// Offered to adapters that write CIM-XML with class origins (IncludeClassOrigin);
// nothing else in the library uses it. The dictionary walks the class and its
// superclasses once, in its constructor, and afterwards answers lookups by
// property name without regard to ASCII case. It never changes after
// construction, so a constructed dictionary may be read from several threads
// at once; the walk itself calls the class objects on the constructing thread.
#pragma once

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

#include <map>
#include <string>

namespace cimxmlpa {

class ClassOriginDictionary {
public:
    // Walks theClass and its superclasses (up to the null superclass of the
    // root), asking each class for the properties it declares itself
    // (getPropertyNames(0)), and records for every name the first class of the
    // chain, counting from theClass upward, that yields it. A null class gives
    // an empty dictionary. What the class objects throw during the walk passes
    // out of the constructor.
    explicit ClassOriginDictionary(KVOSmrPtr<IKivoClass> const& theClass);
    virtual ~ClassOriginDictionary();

    // The name of the class that propertyName comes from, found without regard
    // to case; empty when the name is unknown.
    KVOString getPropertyOrigin(std::string const& propertyName);
    KVOString getPropertyOrigin(KVOString const& propertyName);

    // The class the dictionary was built for (shared, not copied); null for a
    // dictionary built from a null class.
    KVOSmrPtr<IKivoClass> getClass() const;

private:
    ClassOriginDictionary(ClassOriginDictionary const&);
    ClassOriginDictionary& operator=(ClassOriginDictionary const&);

    KVOSmrPtr<IKivoClass> startingClass;
    // Lower-cased property name -> origin class name. Filled by the
    // constructor and only read afterwards.
    std::map<std::string, std::string> propertyOriginMap;
};

}  // namespace cimxmlpa
