// A fluent declaration of one plain class, added to a ClassRepository by
// commit(), for classes a test or a tool makes in code (the server's model
// comes from MOF):
//
//     ClassBuilder(repo, "root/cimv2", "Test_Counted").key("Id", KVOCIMType::UInt32)
//         .property("Even", KVOCIMType::Boolean).commit();
//
// A key takes the Key qualifier with the namespace's declared flavors. Used on
// one thread while the repository is being filled.
#pragma once

#include "objectmanager/ClassRepository.h"

#include <vector>

namespace kivo::om {

class ClassBuilder {
public:
    ClassBuilder(ClassRepository& repository, KVOString nameSpace, KVOString name, KVOString superClass = KVOString());

    ClassBuilder& property(KVOString const& name, KVOCIMType type, KVOSmrPtr<IKivoValue> defaultValue = nullptr);
    // A property with the Key qualifier.
    ClassBuilder& key(KVOString const& name, KVOCIMType type);

    // Adds the class (ClassRepository::addClass raises what it raises).
    void commit();

private:
    ClassRepository& _repository;
    KVOString const _nameSpace;
    KVOString const _name;
    KVOString const _superClass;
    std::vector<KVOSmrPtr<IKivoProperty>> _properties;
};

}  // namespace kivo::om
