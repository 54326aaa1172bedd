#include "Cimom/ProtocolAdapter/Common/ClassOriginDictionary.h"

#include "KivoUtilities/KVOCIMUtils.h"

#include <cctype>

namespace cimxmlpa {

namespace {

// The map's key for a property name: the name lower-cased byte by byte with
// the C library's tolower.
std::string keyOf(std::string name) {
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name;
}

}  // namespace

ClassOriginDictionary::ClassOriginDictionary(KVOSmrPtr<IKivoClass> const& theClass) : startingClass(theClass) {
    for (KVOSmrPtr<IKivoClass> current = theClass; current; current = current->getSuperClass()) {
        CI_AutoPtr_U<qora::Iterator<KVOString>> names = current->getPropertyNames(0);
        std::string const origin = current->getName().str();
        while (names->hasNext()) {
            // emplace leaves an existing entry alone: the class nearest to
            // theClass keeps the name.
            propertyOriginMap.emplace(keyOf(names->next().str()), origin);
        }
    }
}

ClassOriginDictionary::~ClassOriginDictionary() = default;

KVOString ClassOriginDictionary::getPropertyOrigin(std::string const& propertyName) {
    auto found = propertyOriginMap.find(keyOf(propertyName));
    return found == propertyOriginMap.end() ? KVOString() : KVOString(found->second);
}

KVOString ClassOriginDictionary::getPropertyOrigin(KVOString const& propertyName) {
    return getPropertyOrigin(std::string(propertyName.c_str()));
}

KVOSmrPtr<IKivoClass> ClassOriginDictionary::getClass() const { return startingClass; }

}  // namespace cimxmlpa
