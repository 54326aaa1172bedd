#include "KivoUtilities/CKivoData.h"

#include "KivoUtilities/KVOCIMText.h"

#include <algorithm>
#include <cmath>

// ---- CKivoValue ----

namespace {

char const kValueWhere[] = "CKivoValue";

KVOSmrPtr<IKivoValue> own(IKivoValue* v) { return KVOSmrPtr<IKivoValue>(v); }

// The number of characters of a UTF-8 text (bytes that do not continue one).
std::size_t characters(KVOString const& s) {
    std::size_t n = 0;
    for (char c : s.str())
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++n;
    return n;
}

}  // namespace

CKivoValue::CKivoValue(KVOString value) : _type(KVOCIMType::String), _data(std::move(value)) {}

KVOSmrPtr<IKivoValue> CKivoValue::makeString(KVOString value) { return own(new CKivoValue(std::move(value))); }

KVOSmrPtr<IKivoValue> CKivoValue::makeBoolean(bool value) { return own(new CKivoValue(KVOCIMType::Boolean, value)); }

KVOSmrPtr<IKivoValue> CKivoValue::makeChar16(KVOString value) {
    if (characters(value) != 1) KVOCIMText::invalid(kValueWhere, "a char16 value is one character");
    return own(new CKivoValue(KVOCIMType::Char16, std::move(value)));
}

KVOSmrPtr<IKivoValue> CKivoValue::makeDateTime(KVOString value) {
    if (!KVOCIMText::isDateTime(value)) KVOCIMText::invalid(kValueWhere, "not a datetime value: " + value);
    return own(new CKivoValue(KVOCIMType::DateTime, std::move(value)));
}

KVOSmrPtr<IKivoValue> CKivoValue::makeUnsigned(KVOCIMType type, std::uint64_t value) {
    if (!KVOCIMTypes::isUnsigned(type)) KVOCIMText::invalid(kValueWhere, KVOCIMTypes::name(type) + " is not unsigned");
    if (value > KVOCIMTypes::maxUnsigned(type))
        KVOCIMText::invalid(kValueWhere, "value out of range of " + KVOCIMTypes::name(type));
    return own(new CKivoValue(type, value));
}

KVOSmrPtr<IKivoValue> CKivoValue::makeSigned(KVOCIMType type, std::int64_t value) {
    if (!KVOCIMTypes::isSigned(type)) KVOCIMText::invalid(kValueWhere, KVOCIMTypes::name(type) + " is not signed");
    if (value < KVOCIMTypes::minSigned(type) || value > KVOCIMTypes::maxSigned(type))
        KVOCIMText::invalid(kValueWhere, "value out of range of " + KVOCIMTypes::name(type));
    return own(new CKivoValue(type, value));
}

KVOSmrPtr<IKivoValue> CKivoValue::makeReal(KVOCIMType type, double value) {
    if (!KVOCIMTypes::isReal(type)) KVOCIMText::invalid(kValueWhere, KVOCIMTypes::name(type) + " is not real");
    if (type == KVOCIMType::Real32) value = static_cast<double>(static_cast<float>(value));
    return own(new CKivoValue(type, value));
}

KVOSmrPtr<IKivoValue> CKivoValue::makeReference(KVOSmrPtr<IKivoInstanceName> path) {
    if (!path) KVOCIMText::invalid(kValueWhere, "a reference needs a path");
    return own(new CKivoValue(KVOCIMType::Reference, std::move(path)));
}

KVOSmrPtr<IKivoValue> CKivoValue::makeInstance(KVOSmrPtr<IKivoObject> instance) {
    if (!instance) KVOCIMText::invalid(kValueWhere, "an instance value needs an instance");
    return own(new CKivoValue(KVOCIMType::Instance, std::move(instance)));
}

KVOSmrPtr<IKivoValue> CKivoValue::makeClass(KVOSmrPtr<IKivoClass> theClass) {
    if (!theClass) KVOCIMText::invalid(kValueWhere, "a class value needs a class");
    return own(new CKivoValue(KVOCIMType::Class, std::move(theClass)));
}

KVOSmrPtr<IKivoValue> CKivoValue::makeArray(KVOCIMType elementType, std::vector<KVOSmrPtr<IKivoValue>> elements) {
    for (KVOSmrPtr<IKivoValue> const& e : elements) {
        if (!e || e->isArray() || e->getCIMType() != elementType)
            KVOCIMText::invalid(kValueWhere, "array elements must be " + KVOCIMTypes::name(elementType) + " scalars");
    }
    return own(new CKivoValue(elementType, std::move(elements)));
}

KVOSmrPtr<IKivoValue> CKivoValue::parse(KVOCIMType type, KVOString const& text) {
    switch (type) {
        case KVOCIMType::String: return makeString(text);
        case KVOCIMType::Char16: return makeChar16(text);
        case KVOCIMType::DateTime: return makeDateTime(text);
        case KVOCIMType::Boolean: {
            bool b = false;
            if (!KVOCIMText::parseBoolean(text, b)) KVOCIMText::invalid(kValueWhere, "not a boolean: " + text);
            return makeBoolean(b);
        }
        case KVOCIMType::Real32:
        case KVOCIMType::Real64: {
            double d = 0;
            if (!KVOCIMText::parseReal(text, d)) KVOCIMText::invalid(kValueWhere, "not a real number: " + text);
            return makeReal(type, d);
        }
        default: break;
    }
    if (KVOCIMTypes::isUnsigned(type)) {
        std::uint64_t u = 0;
        if (!KVOCIMText::parseUnsigned(text, u)) KVOCIMText::invalid(kValueWhere, "not an unsigned integer: " + text);
        return makeUnsigned(type, u);
    }
    if (KVOCIMTypes::isSigned(type)) {
        std::int64_t s = 0;
        if (!KVOCIMText::parseSigned(text, s)) KVOCIMText::invalid(kValueWhere, "not an integer: " + text);
        return makeSigned(type, s);
    }
    KVOCIMText::invalid(kValueWhere, "a " + KVOCIMTypes::name(type) + " value cannot be read from text");
}

KVOSmrPtr<IKivoValue> CKivoValue::parseArray(KVOCIMType elementType, std::vector<KVOString> const& texts) {
    std::vector<KVOSmrPtr<IKivoValue>> elements;
    elements.reserve(texts.size());
    for (KVOString const& t : texts) elements.push_back(parse(elementType, t));
    return makeArray(elementType, std::move(elements));
}

namespace {

KVOSmrPtr<IKivoValue> convertScalar(KVOSmrPtr<IKivoValue> const& v, KVOCIMType type) {
    KVOCIMType const from = v->getCIMType();
    if (from == type) return v;
    if (KVOCIMTypes::isNumeric(from) && KVOCIMTypes::isNumeric(type)) {
        if (KVOCIMTypes::isReal(type)) return CKivoValue::makeReal(type, v->getReal());
        if (KVOCIMTypes::isReal(from)) {
            double const d = v->getReal();
            if (d != std::floor(d)) KVOCIMText::invalid(kValueWhere, "not an integer: " + v->toString());
        }
        if (KVOCIMTypes::isUnsigned(type)) {
            if (KVOCIMTypes::isSigned(from) && v->getSigned() < 0)
                KVOCIMText::invalid(kValueWhere, "negative value for " + KVOCIMTypes::name(type));
            return CKivoValue::makeUnsigned(type, KVOCIMTypes::isReal(from) ? static_cast<std::uint64_t>(v->getReal())
                                                                            : v->getUnsigned());
        }
        return CKivoValue::makeSigned(type, KVOCIMTypes::isReal(from) ? static_cast<std::int64_t>(v->getReal())
                                                                      : v->getSigned());
    }
    if (KVOCIMTypes::isText(from) || KVOCIMTypes::isText(type)) return CKivoValue::parse(type, v->toString());
    KVOCIMText::invalid(kValueWhere, "a " + KVOCIMTypes::name(from) + " value is not a " + KVOCIMTypes::name(type));
}

}  // namespace

KVOSmrPtr<IKivoValue> CKivoValue::convert(KVOSmrPtr<IKivoValue> const& value, KVOCIMType type) {
    if (!value) return value;
    if (!value->isArray()) return convertScalar(value, type);
    if (value->getCIMType() == type) return value;
    std::vector<KVOSmrPtr<IKivoValue>> elements;
    for (KVOSmrPtr<IKivoValue> const& e : value->getElements()) elements.push_back(convertScalar(e, type));
    return makeArray(type, std::move(elements));
}

KVOString CKivoValue::toString() const {
    return std::visit(
        [this](auto const& d) -> KVOString {
            using D = std::decay_t<decltype(d)>;
            if constexpr (std::is_same_v<D, KVOString>) return d;
            else if constexpr (std::is_same_v<D, bool>) return d ? "TRUE" : "FALSE";
            else if constexpr (std::is_same_v<D, std::uint64_t>) return KVOString(std::to_string(d));
            else if constexpr (std::is_same_v<D, std::int64_t>) return KVOString::itoa(d);
            else if constexpr (std::is_same_v<D, double>) return KVOCIMText::formatReal(d, _type == KVOCIMType::Real32);
            else if constexpr (std::is_same_v<D, KVOSmrPtr<IKivoInstanceName>>) return d->toString();
            else if constexpr (std::is_same_v<D, KVOSmrPtr<IKivoObject>>) return d->getClassName();
            else if constexpr (std::is_same_v<D, KVOSmrPtr<IKivoClass>>) return d->getName();
            else {
                KVOString out;
                for (std::size_t i = 0; i < d.size(); ++i) {
                    if (i) out += ',';
                    out += d[i]->toString();
                }
                return out;
            }
        },
        _data);
}

std::vector<KVOSmrPtr<IKivoValue>> CKivoValue::getElements() const {
    if (Elements const* e = std::get_if<Elements>(&_data)) return *e;
    return {};
}

bool CKivoValue::getBoolean() const {
    if (bool const* b = std::get_if<bool>(&_data)) return *b;
    if (std::holds_alternative<KVOString>(_data)) return IKivoValue::getBoolean();
    KVOCIMText::invalid(kValueWhere, "not a boolean value");
}

std::uint64_t CKivoValue::getUnsigned() const {
    if (std::uint64_t const* u = std::get_if<std::uint64_t>(&_data)) return *u;
    if (std::int64_t const* s = std::get_if<std::int64_t>(&_data)) {
        if (*s >= 0) return static_cast<std::uint64_t>(*s);
        KVOCIMText::invalid(kValueWhere, "negative value");
    }
    if (std::holds_alternative<KVOString>(_data)) return IKivoValue::getUnsigned();
    KVOCIMText::invalid(kValueWhere, "not an integer value");
}

std::int64_t CKivoValue::getSigned() const {
    if (std::int64_t const* s = std::get_if<std::int64_t>(&_data)) return *s;
    if (std::uint64_t const* u = std::get_if<std::uint64_t>(&_data)) {
        if (*u <= static_cast<std::uint64_t>(KVOCIMTypes::maxSigned(KVOCIMType::SInt64)))
            return static_cast<std::int64_t>(*u);
        KVOCIMText::invalid(kValueWhere, "value out of range of sint64");
    }
    if (std::holds_alternative<KVOString>(_data)) return IKivoValue::getSigned();
    KVOCIMText::invalid(kValueWhere, "not an integer value");
}

double CKivoValue::getReal() const {
    if (double const* d = std::get_if<double>(&_data)) return *d;
    if (std::uint64_t const* u = std::get_if<std::uint64_t>(&_data)) return static_cast<double>(*u);
    if (std::int64_t const* s = std::get_if<std::int64_t>(&_data)) return static_cast<double>(*s);
    if (std::holds_alternative<KVOString>(_data)) return IKivoValue::getReal();
    KVOCIMText::invalid(kValueWhere, "not a numeric value");
}

KVOSmrPtr<IKivoInstanceName> CKivoValue::getReference() const {
    auto const* p = std::get_if<KVOSmrPtr<IKivoInstanceName>>(&_data);
    return p ? *p : nullptr;
}

KVOSmrPtr<IKivoObject> CKivoValue::getInstance() const {
    auto const* p = std::get_if<KVOSmrPtr<IKivoObject>>(&_data);
    return p ? *p : nullptr;
}

KVOSmrPtr<IKivoClass> CKivoValue::getClass() const {
    auto const* p = std::get_if<KVOSmrPtr<IKivoClass>>(&_data);
    return p ? *p : nullptr;
}

// ---- CKivoQualifier ----

KVOSmrPtr<IKivoQualifier> CKivoQualifier::withPropagated(IKivoQualifier const& q, bool propagated) {
    return KVOSmrPtr<IKivoQualifier>(
        new CKivoQualifier(q.getName(), q.getCIMType(), q.getValue(), q.getFlavors(), propagated));
}

// ---- CKivoProperty ----

CKivoProperty::CKivoProperty(KVOString name, KVOSmrPtr<IKivoValue> value)
    : _name(std::move(name)),
      _type(value ? value->getCIMType() : KVOCIMType::String),
      _isArray(value ? value->isArray() : false),
      _value(std::move(value)),
      _propagated(false) {}

CKivoProperty::CKivoProperty(KVOString name, KVOCIMType type, bool isArray, KVOSmrPtr<IKivoValue> value,
                             std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers, KVOString classOrigin, bool propagated,
                             KVOString referenceClass, unsigned arraySize)
    : _name(std::move(name)),
      _type(type),
      _isArray(isArray),
      _value(std::move(value)),
      _qualifiers(std::move(qualifiers)),
      _classOrigin(std::move(classOrigin)),
      _propagated(propagated),
      _referenceClass(std::move(referenceClass)),
      _arraySize(arraySize) {}

KVOSmrPtr<IKivoProperty> CKivoProperty::withValue(IKivoProperty const& p, KVOSmrPtr<IKivoValue> value) {
    return KVOSmrPtr<IKivoProperty>(new CKivoProperty(p.getName(), p.getCIMType(), p.isArray(), std::move(value),
                                                      p.getQualifiers(), p.getClassOrigin(), p.isPropagated(),
                                                      p.getReferenceClass(), p.getArraySize()));
}

KVOSmrPtr<IKivoProperty> CKivoProperty::withQualifiers(IKivoProperty const& p,
                                                       std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers) {
    return KVOSmrPtr<IKivoProperty>(new CKivoProperty(p.getName(), p.getCIMType(), p.isArray(), p.getValue(),
                                                      std::move(qualifiers), p.getClassOrigin(), p.isPropagated(),
                                                      p.getReferenceClass(), p.getArraySize()));
}

KVOSmrPtr<IKivoProperty> CKivoProperty::withOrigin(IKivoProperty const& p, KVOString classOrigin, bool propagated) {
    return KVOSmrPtr<IKivoProperty>(new CKivoProperty(p.getName(), p.getCIMType(), p.isArray(), p.getValue(),
                                                      p.getQualifiers(), std::move(classOrigin), propagated,
                                                      p.getReferenceClass(), p.getArraySize()));
}

// ---- CKivoPropertyTable, CKivoPackedObject ----

CKivoPropertyTable::CKivoPropertyTable(KVOString className, std::vector<Column> columns)
    : _className(std::move(className)), _columns(std::move(columns)) {}

std::shared_ptr<CKivoPropertyTable const> makePropertyTable(KVOString className,
                                                            std::vector<CKivoPropertyTable::Column> columns) {
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i].slot = i;
    auto table = std::make_shared<CKivoPropertyTable>(std::move(className), std::move(columns));
    table->_self = table;
    // The view most responses ask for (every property, no class origins) is
    // made once, here, rather than once per instance.
    std::vector<CKivoPropertyTable::Column> bare = table->_columns;
    bool hasOrigins = false;
    for (auto& c : bare) {
        hasOrigins = hasOrigins || !c.classOrigin.isEmpty();
        c.classOrigin = KVOString();
    }
    if (hasOrigins) {
        auto withoutOrigins = std::make_shared<CKivoPropertyTable>(table->_className, std::move(bare));
        withoutOrigins->_self = withoutOrigins;
        table->_withoutOrigins = std::move(withoutOrigins);
    }
    return table;
}

std::shared_ptr<CKivoPropertyTable const> CKivoPropertyTable::select(std::vector<bool> const& keep,
                                                                     bool keepOrigins) const {
    if (!keepOrigins && _withoutOrigins && std::all_of(keep.begin(), keep.end(), [](bool k) { return k; }))
        return _withoutOrigins;
    std::vector<Column> columns;
    bool changed = false;
    for (std::size_t i = 0; i < _columns.size(); ++i) {
        if (i < keep.size() && !keep[i]) {
            changed = true;
            continue;
        }
        columns.push_back(_columns[i]);
        if (!keepOrigins && !columns.back().classOrigin.isEmpty()) {
            columns.back().classOrigin = KVOString();
            changed = true;
        }
    }
    if (!changed) {
        if (auto self = _self.lock()) return self;
    }
    auto table = std::make_shared<CKivoPropertyTable>(_className, std::move(columns));
    table->_self = table;
    return table;
}

KVOValSlist<KVOSmrPtr<IKivoProperty>> CKivoPackedObject::getProperties() const {
    KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
    std::vector<CKivoPropertyTable::Column> const& columns = _table->columns();
    for (std::size_t i = 0; i < columns.size(); ++i) {
        CKivoPropertyTable::Column const& c = columns[i];
        properties.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty(c.name, c.type, c.isArray, value(i), {},
                                                                     c.classOrigin, c.propagated, c.referenceClass)));
    }
    return properties;
}

// ---- CKivoMethod ----

KVOSmrPtr<IKivoMethod> CKivoMethod::withQualifiers(IKivoMethod const& m,
                                                   std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers) {
    return KVOSmrPtr<IKivoMethod>(new CKivoMethod(m.getName(), m.getReturnType(), m.getParameters(),
                                                  std::move(qualifiers), m.getClassOrigin(), m.isPropagated()));
}

KVOSmrPtr<IKivoMethod> CKivoMethod::withOrigin(IKivoMethod const& m, KVOString classOrigin, bool propagated) {
    return KVOSmrPtr<IKivoMethod>(new CKivoMethod(m.getName(), m.getReturnType(), m.getParameters(),
                                                  m.getQualifiers(), std::move(classOrigin), propagated));
}

// ---- CKivoClass ----

namespace {

CKivoClass::Members namedMembers(KVOSmrPtr<IKivoClass> superClass, std::vector<KVOString> const& names) {
    CKivoClass::Members m;
    m.superClass = std::move(superClass);
    for (KVOString const& n : names) m.properties.push_back(KVOSmrPtr<IKivoProperty>(new CKivoProperty(n, nullptr)));
    return m;
}

void addOnce(std::vector<KVOString>& names, KVOString const& n) {
    if (std::find(names.begin(), names.end(), n) == names.end()) names.push_back(n);
}

}  // namespace

CKivoClass::CKivoClass(KVOString name, KVOSmrPtr<IKivoClass> superClass, std::vector<KVOString> propertyNames)
    : CKivoClass(std::move(name), namedMembers(std::move(superClass), propertyNames)) {}

CKivoClass::CKivoClass(KVOString name, Members members) : _name(std::move(name)), _members(std::move(members)) {}

KVOString CKivoClass::getSuperClassName() const {
    if (_members.superClass) return _members.superClass->getName();
    return _members.superClassName;
}

CI_AutoPtr_U<qora::Iterator<KVOString>> CKivoClass::getPropertyNames(int includeInherited) const {
    std::vector<KVOString> names;
    for (KVOSmrPtr<IKivoProperty> const& p : _members.properties)
        if (includeInherited || !p->isPropagated()) addOnce(names, p->getName());
    if (includeInherited) {
        for (KVOSmrPtr<IKivoClass> c = _members.superClass; c; c = c->getSuperClass()) {
            auto it = c->getPropertyNames(0);
            while (it->hasNext()) addOnce(names, it->next());
        }
    }
    return std::make_unique<qora::VectorIterator<KVOString>>(std::move(names));
}

// ---- CKivoInstanceName ----

namespace {

std::vector<KVOKeyBinding> textKeys(std::vector<std::pair<KVOString, KVOString>> const& bindings) {
    std::vector<KVOKeyBinding> keys;
    for (auto const& [name, text] : bindings) keys.push_back({name, CKivoValue::makeString(text)});
    return keys;
}

}  // namespace

CKivoInstanceName::CKivoInstanceName(KVOString nameSpace, KVOString className,
                                     std::vector<std::pair<KVOString, KVOString>> keyBindings)
    : CKivoInstanceName(std::move(nameSpace), std::move(className), textKeys(keyBindings), KVOString()) {}

CKivoInstanceName::CKivoInstanceName(KVOString nameSpace, KVOString className, std::vector<KVOKeyBinding> keys,
                                     KVOString host)
    : _nameSpace(std::move(nameSpace)), _className(std::move(className)), _keys(std::move(keys)), _host(std::move(host)) {
    for (KVOKeyBinding const& k : _keys)
        if (!k.value) KVOCIMText::invalid("CKivoInstanceName", "key binding " + k.name + " has no value");
}

std::vector<std::pair<KVOString, KVOString>> CKivoInstanceName::getKeyBindings() const {
    std::vector<std::pair<KVOString, KVOString>> out;
    for (KVOKeyBinding const& k : _keys) out.emplace_back(k.name, k.value->toString());
    return out;
}

KVOSmrPtr<IKivoInstanceName> CKivoInstanceName::withNameSpace(IKivoInstanceName const& path, KVOString nameSpace) {
    return KVOSmrPtr<IKivoInstanceName>(
        new CKivoInstanceName(std::move(nameSpace), path.getClassName(), path.getKeys(), path.getHost()));
}

// ---- CKivoQualifierDef ----

namespace {

KVOCIMType typeNamed(KVOString const& name) {
    KVOCIMType t = KVOCIMType::String;
    KVOCIMTypes::fromName(name, t);
    return t;
}

KVOSmrPtr<IKivoValue> defaultFromText(KVOCIMType type, KVOString const& text) {
    if (text.isEmpty()) return nullptr;
    try {
        return CKivoValue::parse(type, text);
    } catch (KivoBaseException const&) {
        return CKivoValue::makeString(text);
    }
}

}  // namespace

CKivoQualifierDef::CKivoQualifierDef(KVOString name, KVOString type, KVOString defaultValue)
    : CKivoQualifierDef(std::move(name), typeNamed(type), false, defaultFromText(typeNamed(type), defaultValue),
                        KVOQualifierScope::ANY) {}

CKivoQualifierDef::CKivoQualifierDef(KVOString name, KVOCIMType type, bool isArray, KVOSmrPtr<IKivoValue> defaultValue,
                                     unsigned scopes, KVOQualifierFlavors flavors)
    : _name(std::move(name)),
      _type(type),
      _isArray(isArray),
      _default(std::move(defaultValue)),
      _scopes(scopes),
      _flavors(flavors) {}
