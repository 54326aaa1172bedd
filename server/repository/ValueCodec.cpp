#include "repository/ValueCodec.h"

#include "objectmanager/CimStatus.h"

#include "KivoUtilities/CKivoData.h"

#include <cstring>

namespace kivo::repo::codec {

namespace {

char const kWhere[] = "DiskInstanceStore";
constexpr unsigned char kArray = 0x80;
constexpr unsigned char kRowFormat = 1;
constexpr int kLastType = static_cast<int>(KVOCIMType::Class);

// ---- Writing ----

void putVarint(std::string& out, std::uint64_t v) {
    while (v >= 0x80) {
        out += static_cast<char>((v & 0x7f) | 0x80);
        v >>= 7;
    }
    out += static_cast<char>(v);
}

void putText(std::string& out, std::string const& text) {
    putVarint(out, text.size());
    out += text;
}

void putObject(std::string& out, IKivoObject const& object, unsigned depth);
void putValue(std::string& out, IKivoValue const* value, unsigned depth);

void putPath(std::string& out, IKivoInstanceName const& path, unsigned depth) {
    putText(out, path.getHost().str());
    putText(out, path.getNameSpace().str());
    putText(out, path.getClassName().str());
    std::vector<KVOKeyBinding> const keys = path.getKeys();
    putVarint(out, keys.size());
    for (KVOKeyBinding const& k : keys) {
        putText(out, k.name.str());
        putValue(out, k.value.get(), depth);
    }
}

void putScalar(std::string& out, KVOCIMType type, IKivoValue const& v, unsigned depth) {
    switch (type) {
        case KVOCIMType::Boolean: out += static_cast<char>(v.getBoolean() ? 1 : 0); return;
        case KVOCIMType::Real32:
        case KVOCIMType::Real64: {
            double const d = v.getReal();
            std::uint64_t bits = 0;
            std::memcpy(&bits, &d, sizeof bits);
            for (int i = 0; i < 8; ++i) out += static_cast<char>((bits >> (8 * i)) & 0xff);
            return;
        }
        case KVOCIMType::Reference: {
            KVOSmrPtr<IKivoInstanceName> path = v.getReference();
            if (!path) om::raise(om::CIM_ERR_FAILED, kWhere, "a reference value without a path cannot be stored");
            putPath(out, *path, depth);
            return;
        }
        case KVOCIMType::Instance: {
            KVOSmrPtr<IKivoObject> object = v.getInstance();
            if (!object) om::raise(om::CIM_ERR_FAILED, kWhere, "an instance value without an instance cannot be stored");
            putObject(out, *object, depth);
            return;
        }
        case KVOCIMType::Class:
            om::raise(om::CIM_ERR_NOT_SUPPORTED, kWhere, "a class carried as a value cannot be stored");
        default: break;
    }
    if (KVOCIMTypes::isUnsigned(type)) {
        putVarint(out, v.getUnsigned());
    } else if (KVOCIMTypes::isSigned(type)) {
        std::int64_t const s = v.getSigned();
        putVarint(out, (static_cast<std::uint64_t>(s) << 1) ^ static_cast<std::uint64_t>(s >> 63));
    } else {
        putText(out, v.toString().str());  // string, char16, datetime
    }
}

void putValue(std::string& out, IKivoValue const* value, unsigned depth) {
    if (!value) {
        out += '\0';
        return;
    }
    if (depth >= kMaxNesting) {
        om::raise(om::CIM_ERR_NOT_SUPPORTED, kWhere,
                  "values nested deeper than " + std::to_string(kMaxNesting) + " levels cannot be stored");
    }
    KVOCIMType const type = value->getCIMType();
    unsigned char const tag = static_cast<unsigned char>(static_cast<int>(type) + 1);
    if (!value->isArray()) {
        out += static_cast<char>(tag);
        putScalar(out, type, *value, depth + 1);
        return;
    }
    out += static_cast<char>(tag | kArray);
    std::vector<KVOSmrPtr<IKivoValue>> const elements = value->getElements();
    putVarint(out, elements.size());
    for (KVOSmrPtr<IKivoValue> const& e : elements) putValue(out, e.get(), depth + 1);
}

void putObject(std::string& out, IKivoObject const& object, unsigned depth) {
    putText(out, object.getClassName().str());
    KVOSmrPtr<IKivoInstanceName> path = object.getInstanceName();
    out += static_cast<char>(path ? 1 : 0);
    if (path) putPath(out, *path, depth);
    KVOValSlist<KVOSmrPtr<IKivoProperty>> const properties = object.getProperties();
    putVarint(out, properties.entries());
    for (KVOSmrPtr<IKivoProperty> const& p : properties) {
        putText(out, p->getName().str());
        out += static_cast<char>(p->getCIMType());
        out += static_cast<char>(p->isArray() ? 1 : 0);
        putText(out, p->getClassOrigin().str());
        out += static_cast<char>(p->isPropagated() ? 1 : 0);
        putValue(out, p->getValue().get(), depth);
    }
}

// ---- Reading ----

[[noreturn]] void damaged(std::string const& what) {
    om::raise(om::CIM_ERR_FAILED, kWhere, "a stored value is damaged: " + what);
}

struct Reader {
    std::string_view& in;

    unsigned char byte() {
        if (in.empty()) damaged("it ends early");
        auto const b = static_cast<unsigned char>(in.front());
        in.remove_prefix(1);
        return b;
    }
    bool flag() {
        unsigned char const b = byte();
        if (b > 1) damaged("a flag is " + std::to_string(b));
        return b == 1;
    }
    std::uint64_t varint() {
        std::uint64_t v = 0;
        for (unsigned shift = 0;; shift += 7) {
            unsigned char const b = byte();
            if (shift == 63 && b > 1) damaged("an integer is too long");
            v |= static_cast<std::uint64_t>(b & 0x7f) << shift;
            if (!(b & 0x80)) return v;
            if (shift >= 63) damaged("an integer is too long");
        }
    }
    // A count of items that each take at least one byte.
    std::size_t count() {
        std::uint64_t const n = varint();
        if (n > in.size()) damaged("a count of " + std::to_string(n) + " passes its end");
        return static_cast<std::size_t>(n);
    }
    KVOString text() {
        std::uint64_t const n = varint();
        if (n > in.size()) damaged("a text of " + std::to_string(n) + " bytes passes its end");
        KVOString out(in.data(), static_cast<std::size_t>(n));
        in.remove_prefix(static_cast<std::size_t>(n));
        return out;
    }
    KVOCIMType type(unsigned char number) {
        if (number > kLastType) damaged("unknown type " + std::to_string(number));
        return static_cast<KVOCIMType>(number);
    }

    KVOSmrPtr<IKivoInstanceName> path(unsigned depth) {
        KVOString host = text(), nameSpace = text(), className = text();
        std::size_t const n = count();
        std::vector<KVOKeyBinding> keys;
        keys.reserve(n);
        for (std::size_t i = 0; i < n; ++i) {
            KVOString name = text();
            KVOSmrPtr<IKivoValue> v = value(depth);
            if (!v) damaged("key " + name.str() + " has no value");
            keys.push_back({std::move(name), std::move(v)});
        }
        return KVOSmrPtr<IKivoInstanceName>(
            new CKivoInstanceName(std::move(nameSpace), std::move(className), std::move(keys), std::move(host)));
    }

    KVOSmrPtr<IKivoObject> object(unsigned depth) {
        KVOString className = text();
        KVOSmrPtr<IKivoInstanceName> name = flag() ? path(depth) : nullptr;
        std::size_t const n = count();
        KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
        for (std::size_t i = 0; i < n; ++i) {
            KVOString propertyName = text();
            KVOCIMType const t = type(byte());
            bool const isArray = flag();
            KVOString origin = text();
            bool const propagated = flag();
            KVOSmrPtr<IKivoValue> v = value(depth);
            properties.append(KVOSmrPtr<IKivoProperty>(
                new CKivoProperty(std::move(propertyName), t, isArray, std::move(v), {}, std::move(origin), propagated)));
        }
        return KVOSmrPtr<IKivoObject>(new CKivoObject(std::move(className), std::move(properties), std::move(name)));
    }

    KVOSmrPtr<IKivoValue> scalar(KVOCIMType t, unsigned depth) {
        switch (t) {
            case KVOCIMType::String: return CKivoValue::makeString(text());
            case KVOCIMType::Char16: return CKivoValue::makeChar16(text());
            case KVOCIMType::DateTime: return CKivoValue::makeDateTime(text());
            case KVOCIMType::Boolean: return CKivoValue::makeBoolean(flag());
            case KVOCIMType::Real32:
            case KVOCIMType::Real64: {
                if (in.size() < 8) damaged("it ends early");
                std::uint64_t bits = 0;
                for (int i = 0; i < 8; ++i) bits |= static_cast<std::uint64_t>(static_cast<unsigned char>(in[i])) << (8 * i);
                in.remove_prefix(8);
                double d = 0;
                std::memcpy(&d, &bits, sizeof d);
                return CKivoValue::makeReal(t, d);
            }
            case KVOCIMType::Reference: return CKivoValue::makeReference(path(depth));
            case KVOCIMType::Instance: return CKivoValue::makeInstance(object(depth));
            case KVOCIMType::Class: damaged("it holds a class");
            default: break;
        }
        std::uint64_t const u = varint();
        if (KVOCIMTypes::isUnsigned(t)) return CKivoValue::makeUnsigned(t, u);
        auto const s = static_cast<std::int64_t>((u >> 1) ^ (~(u & 1) + 1));
        return CKivoValue::makeSigned(t, s);
    }

    KVOSmrPtr<IKivoValue> value(unsigned depth) {
        unsigned char const tag = byte();
        if (tag == 0) return nullptr;
        if (depth >= kMaxNesting) damaged("values nest deeper than " + std::to_string(kMaxNesting) + " levels");
        KVOCIMType const t = type(static_cast<unsigned char>((tag & ~kArray) - 1));
        if (!(tag & kArray)) return scalar(t, depth + 1);
        std::size_t const n = count();
        std::vector<KVOSmrPtr<IKivoValue>> elements;
        elements.reserve(n);
        for (std::size_t i = 0; i < n; ++i) {
            KVOSmrPtr<IKivoValue> e = value(depth + 1);
            if (!e || e->isArray() || e->getCIMType() != t) damaged("an array holds an element that is not a " +
                                                                    KVOCIMTypes::name(t).str());
            elements.push_back(std::move(e));
        }
        return CKivoValue::makeArray(t, std::move(elements));
    }
};

// Runs a read; a value the factories refuse (bytes that decode to no valid
// value) is damage too.
template <class F>
auto guarded(F&& read) {
    try {
        return read();
    } catch (KivoBaseException const& e) {
        if (e.getCode() == om::CIM_ERR_FAILED) throw;
        damaged(e.getMessage().str());
    }
}

}  // namespace

void writeValue(std::string& out, IKivoValue const* value) { putValue(out, value, 0); }

KVOSmrPtr<IKivoValue> readValue(std::string_view& in) {
    return guarded([&] { return Reader{in}.value(0); });
}

std::string writeRow(IKivoObject const& instance) {
    std::string out;
    out += static_cast<char>(kRowFormat);
    KVOValSlist<KVOSmrPtr<IKivoProperty>> const properties = instance.getProperties();
    putVarint(out, properties.entries());
    for (KVOSmrPtr<IKivoProperty> const& p : properties) {
        putText(out, p->getName().str());
        putValue(out, p->getValue().get(), 0);
    }
    return out;
}

om::PropertyValues readRow(std::string_view in) {
    return guarded([&] {
        Reader r{in};
        if (r.byte() != kRowFormat) damaged("unknown row format");
        std::size_t const n = r.count();
        om::PropertyValues out;
        out.reserve(n);
        for (std::size_t i = 0; i < n; ++i) {
            KVOString name = r.text();
            out.emplace_back(std::move(name), r.value(0));
        }
        if (!in.empty()) damaged(std::to_string(in.size()) + " bytes follow its end");
        return out;
    });
}

}  // namespace kivo::repo::codec
