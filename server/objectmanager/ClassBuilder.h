// A fluent declaration of one class, added to a ClassRepository by commit():
//
//     ClassBuilder(repo, "root/cimv2", "KIVO_DiskDrive", "KIVO_LogicalDevice")
//         .qualifier("Description", "A disk drive")
//         .property("Capacity", KVOCIMType::UInt64).qualifier("Units", "Bytes")
//         .method("Resize", KVOCIMType::UInt32)
//         .in("NewCapacity", KVOCIMType::UInt64)
//         .out("OldCapacity", KVOCIMType::UInt64)
//         .commit();
//
// qualifier() applies to the element declared last (the class before any
// member). Its text is read as the type of the namespace's declaration of
// that qualifier (a string when there is none) and it takes the declaration's
// flavors. Used on one thread while the repository is being filled.
#pragma once

#include "objectmanager/ClassRepository.h"

#include <deque>
#include <vector>

namespace kivo::om {

class ClassBuilder {
public:
    ClassBuilder(ClassRepository& repository, KVOString nameSpace, KVOString name, KVOString superClass = KVOString());

    ClassBuilder& qualifier(KVOString const& name, KVOString const& value = "true");
    ClassBuilder& property(KVOString const& name, KVOCIMType type, KVOSmrPtr<IKivoValue> defaultValue = nullptr);
    ClassBuilder& arrayProperty(KVOString const& name, KVOCIMType elementType);
    // A property with the Key qualifier.
    ClassBuilder& key(KVOString const& name, KVOCIMType type);
    // A reference property to `referenceClass`, a key when `isKey`.
    ClassBuilder& reference(KVOString const& name, KVOString const& referenceClass, bool isKey = true);
    ClassBuilder& method(KVOString const& name, KVOCIMType returnType);
    // Parameters of the method declared last: IN only, OUT only.
    ClassBuilder& in(KVOString const& name, KVOCIMType type, bool isArray = false);
    ClassBuilder& out(KVOString const& name, KVOCIMType type, bool isArray = false);

    // Adds the class (ClassRepository::addClass raises what it raises).
    void commit();

private:
    struct Qualified {
        std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers;
    };
    struct PropertyDraft : Qualified {
        KVOString name;
        KVOCIMType type;
        bool isArray;
        KVOSmrPtr<IKivoValue> value;
        KVOString referenceClass;
    };
    struct ParameterDraft : Qualified {
        KVOString name;
        KVOCIMType type;
        bool isArray;
    };
    struct MethodDraft : Qualified {
        KVOString name;
        KVOCIMType returnType;
        std::deque<ParameterDraft> parameters;
    };

    ClassBuilder& parameter(KVOString const& name, KVOCIMType type, bool isArray, char const* direction);
    KVOSmrPtr<IKivoQualifier> makeQualifier(KVOString const& name, KVOString const& value) const;

    ClassRepository& _repository;
    KVOString const _nameSpace;
    KVOString const _name;
    KVOString const _superClass;
    Qualified _class;
    std::deque<PropertyDraft> _properties;  // deques: _last stays valid as they grow
    std::deque<MethodDraft> _methods;
    Qualified* _last;  // the element qualifier() applies to
};

}  // namespace kivo::om
