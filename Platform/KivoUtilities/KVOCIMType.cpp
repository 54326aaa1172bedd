#include "KivoUtilities/KVOCIMType.h"

#include <limits>

namespace {

// One row per type: its name and, for integers, its range.
struct TypeInfo {
    KVOCIMType type;
    char const* name;
    std::int64_t minSigned;
    std::uint64_t max;
};

template <class I>
constexpr TypeInfo integer(KVOCIMType type, char const* name) {
    return {type, name, static_cast<std::int64_t>(std::numeric_limits<I>::min()),
            static_cast<std::uint64_t>(std::numeric_limits<I>::max())};
}

constexpr TypeInfo kTypes[] = {
    {KVOCIMType::String, "string", 0, 0},
    {KVOCIMType::Boolean, "boolean", 0, 0},
    {KVOCIMType::Char16, "char16", 0, 0},
    integer<std::uint8_t>(KVOCIMType::UInt8, "uint8"),
    integer<std::int8_t>(KVOCIMType::SInt8, "sint8"),
    integer<std::uint16_t>(KVOCIMType::UInt16, "uint16"),
    integer<std::int16_t>(KVOCIMType::SInt16, "sint16"),
    integer<std::uint32_t>(KVOCIMType::UInt32, "uint32"),
    integer<std::int32_t>(KVOCIMType::SInt32, "sint32"),
    integer<std::uint64_t>(KVOCIMType::UInt64, "uint64"),
    integer<std::int64_t>(KVOCIMType::SInt64, "sint64"),
    {KVOCIMType::Real32, "real32", 0, 0},
    {KVOCIMType::Real64, "real64", 0, 0},
    {KVOCIMType::DateTime, "datetime", 0, 0},
    {KVOCIMType::Reference, "reference", 0, 0},
    {KVOCIMType::Instance, "instance", 0, 0},
    {KVOCIMType::Class, "class", 0, 0},
};

TypeInfo const& info(KVOCIMType type) {
    for (TypeInfo const& t : kTypes)
        if (t.type == type) return t;
    return kTypes[0];
}

}  // namespace

KVOString KVOCIMTypes::name(KVOCIMType type) { return info(type).name; }

bool KVOCIMTypes::fromName(KVOString const& name, KVOCIMType& type) {
    for (TypeInfo const& t : kTypes) {
        if (name.equalsIgnoreCase(t.name)) {
            type = t.type;
            return true;
        }
    }
    return false;
}

bool KVOCIMTypes::isUnsigned(KVOCIMType type) {
    return type == KVOCIMType::UInt8 || type == KVOCIMType::UInt16 || type == KVOCIMType::UInt32 ||
           type == KVOCIMType::UInt64;
}

bool KVOCIMTypes::isSigned(KVOCIMType type) {
    return type == KVOCIMType::SInt8 || type == KVOCIMType::SInt16 || type == KVOCIMType::SInt32 ||
           type == KVOCIMType::SInt64;
}

bool KVOCIMTypes::isText(KVOCIMType type) {
    return type == KVOCIMType::String || type == KVOCIMType::Char16 || type == KVOCIMType::DateTime;
}

std::uint64_t KVOCIMTypes::maxUnsigned(KVOCIMType type) { return isUnsigned(type) ? info(type).max : 0; }

std::int64_t KVOCIMTypes::minSigned(KVOCIMType type) { return isSigned(type) ? info(type).minSigned : 0; }

std::int64_t KVOCIMTypes::maxSigned(KVOCIMType type) {
    return isSigned(type) ? static_cast<std::int64_t>(info(type).max) : 0;
}
