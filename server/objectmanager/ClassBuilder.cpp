#include "objectmanager/ClassBuilder.h"

#include "objectmanager/CimStatus.h"

namespace kivo::om {

ClassBuilder::ClassBuilder(ClassRepository& repository, KVOString nameSpace, KVOString name, KVOString superClass)
    : _repository(repository),
      _nameSpace(std::move(nameSpace)),
      _name(std::move(name)),
      _superClass(std::move(superClass)),
      _last(&_class) {}

KVOSmrPtr<IKivoQualifier> ClassBuilder::makeQualifier(KVOString const& name, KVOString const& value) const {
    qora::IQualifierDef const* decl = _repository.getQualifierDecl(_nameSpace, name);
    if (!decl) return KVOSmrPtr<IKivoQualifier>(new CKivoQualifier(name, CKivoValue::makeString(value)));
    KVOSmrPtr<IKivoValue> v = CKivoValue::parse(decl->getCIMType(), value);
    if (decl->isArray()) v = CKivoValue::makeArray(decl->getCIMType(), {v});
    return KVOSmrPtr<IKivoQualifier>(new CKivoQualifier(decl->getName(), decl->getCIMType(), v, decl->getFlavors()));
}

ClassBuilder& ClassBuilder::qualifier(KVOString const& name, KVOString const& value) {
    _last->qualifiers.push_back(makeQualifier(name, value));
    return *this;
}

ClassBuilder& ClassBuilder::property(KVOString const& name, KVOCIMType type, KVOSmrPtr<IKivoValue> defaultValue) {
    PropertyDraft p;
    p.name = name;
    p.type = type;
    p.isArray = defaultValue ? defaultValue->isArray() : false;
    p.value = CKivoValue::convert(defaultValue, type);
    _properties.push_back(std::move(p));
    _last = &_properties.back();
    return *this;
}

ClassBuilder& ClassBuilder::arrayProperty(KVOString const& name, KVOCIMType elementType) {
    property(name, elementType);
    _properties.back().isArray = true;
    return *this;
}

ClassBuilder& ClassBuilder::key(KVOString const& name, KVOCIMType type) { return property(name, type).qualifier("Key"); }

ClassBuilder& ClassBuilder::reference(KVOString const& name, KVOString const& referenceClass, bool isKey) {
    property(name, KVOCIMType::Reference);
    _properties.back().referenceClass = referenceClass;
    if (isKey) qualifier("Key");
    return *this;
}

ClassBuilder& ClassBuilder::method(KVOString const& name, KVOCIMType returnType) {
    MethodDraft m;
    m.name = name;
    m.returnType = returnType;
    _methods.push_back(std::move(m));
    _last = &_methods.back();
    return *this;
}

ClassBuilder& ClassBuilder::parameter(KVOString const& name, KVOCIMType type, bool isArray, char const* direction) {
    if (_methods.empty()) raise(CIM_ERR_FAILED, "ClassBuilder", "parameter " + name + " outside a method");
    ParameterDraft p;
    p.name = name;
    p.type = type;
    p.isArray = isArray;
    _methods.back().parameters.push_back(std::move(p));
    _last = &_methods.back().parameters.back();
    qualifier("IN", KVOString(direction) == "IN" ? "true" : "false");
    if (KVOString(direction) == "OUT") qualifier("OUT");
    return *this;
}

ClassBuilder& ClassBuilder::in(KVOString const& name, KVOCIMType type, bool isArray) {
    return parameter(name, type, isArray, "IN");
}

ClassBuilder& ClassBuilder::out(KVOString const& name, KVOCIMType type, bool isArray) {
    return parameter(name, type, isArray, "OUT");
}

void ClassBuilder::commit() {
    CKivoClass::Members members;
    members.superClassName = _superClass;
    members.qualifiers = _class.qualifiers;
    for (PropertyDraft const& p : _properties) {
        members.properties.push_back(KVOSmrPtr<IKivoProperty>(new CKivoProperty(
            p.name, p.type, p.isArray, p.value, p.qualifiers, _name, false, p.referenceClass)));
    }
    for (MethodDraft const& m : _methods) {
        std::vector<KVOSmrPtr<IKivoParameter>> parameters;
        for (ParameterDraft const& p : m.parameters)
            parameters.push_back(KVOSmrPtr<IKivoParameter>(new CKivoParameter(p.name, p.type, p.isArray, p.qualifiers)));
        members.methods.push_back(
            KVOSmrPtr<IKivoMethod>(new CKivoMethod(m.name, m.returnType, std::move(parameters), m.qualifiers, _name)));
    }
    _repository.addClass(_nameSpace, _name, std::move(members));
}

}  // namespace kivo::om
