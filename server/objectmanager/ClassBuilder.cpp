#include "objectmanager/ClassBuilder.h"

namespace kivo::om {

ClassBuilder::ClassBuilder(ClassRepository& repository, KVOString nameSpace, KVOString name, KVOString superClass)
    : _repository(repository), _nameSpace(std::move(nameSpace)), _name(std::move(name)), _superClass(std::move(superClass)) {}

ClassBuilder& ClassBuilder::property(KVOString const& name, KVOCIMType type, KVOSmrPtr<IKivoValue> defaultValue) {
    bool const isArray = defaultValue ? defaultValue->isArray() : false;
    _properties.push_back(KVOSmrPtr<IKivoProperty>(
        new CKivoProperty(name, type, isArray, CKivoValue::convert(defaultValue, type), {}, _name, false, KVOString())));
    return *this;
}

ClassBuilder& ClassBuilder::key(KVOString const& name, KVOCIMType type) {
    KVOQualifierFlavors flavors{false, true, false, false};  // DisableOverride, ToSubclass
    if (qora::IQualifierDef const* decl = _repository.getQualifierDecl(_nameSpace, "Key")) flavors = decl->getFlavors();
    std::vector<KVOSmrPtr<IKivoQualifier>> const qualifiers{KVOSmrPtr<IKivoQualifier>(
        new CKivoQualifier("Key", KVOCIMType::Boolean, CKivoValue::makeBoolean(true), flavors))};
    _properties.push_back(
        KVOSmrPtr<IKivoProperty>(new CKivoProperty(name, type, false, nullptr, qualifiers, _name, false, KVOString())));
    return *this;
}

void ClassBuilder::commit() {
    CKivoClass::Members members;
    members.superClassName = _superClass;
    members.properties = _properties;
    _repository.addClass(_nameSpace, _name, std::move(members));
}

}  // namespace kivo::om
