#include "KivoUtilities/KVOCIMType.h"

#include <limits>

namespace {

struct TypeName {
    KVOCIMType type;
    char const* name;
};

constexpr TypeName kNames[] = {
    {KVOCIMType::String, "string"},     {KVOCIMType::Boolean, "boolean"},   {KVOCIMType::Char16, "char16"},
    {KVOCIMType::UInt8, "uint8"},       {KVOCIMType::SInt8, "sint8"},       {KVOCIMType::UInt16, "uint16"},
    {KVOCIMType::SInt16, "sint16"},     {KVOCIMType::UInt32, "uint32"},     {KVOCIMType::SInt32, "sint32"},
    {KVOCIMType::UInt64, "uint64"},     {KVOCIMType::SInt64, "sint64"},     {KVOCIMType::Real32, "real32"},
    {KVOCIMType::Real64, "real64"},     {KVOCIMType::DateTime, "datetime"}, {KVOCIMType::Reference, "reference"},
    {KVOCIMType::Instance, "instance"}, {KVOCIMType::Class, "class"},
};

}  // namespace

KVOString KVOCIMTypes::name(KVOCIMType type) {
    for (TypeName const& t : kNames)
        if (t.type == type) return t.name;
    return "string";
}

bool KVOCIMTypes::fromName(KVOString const& name, KVOCIMType& type) {
    for (TypeName const& t : kNames) {
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

std::uint64_t KVOCIMTypes::maxUnsigned(KVOCIMType type) {
    switch (type) {
        case KVOCIMType::UInt8: return std::numeric_limits<std::uint8_t>::max();
        case KVOCIMType::UInt16: return std::numeric_limits<std::uint16_t>::max();
        case KVOCIMType::UInt32: return std::numeric_limits<std::uint32_t>::max();
        case KVOCIMType::UInt64: return std::numeric_limits<std::uint64_t>::max();
        default: return 0;
    }
}

std::int64_t KVOCIMTypes::minSigned(KVOCIMType type) {
    switch (type) {
        case KVOCIMType::SInt8: return std::numeric_limits<std::int8_t>::min();
        case KVOCIMType::SInt16: return std::numeric_limits<std::int16_t>::min();
        case KVOCIMType::SInt32: return std::numeric_limits<std::int32_t>::min();
        case KVOCIMType::SInt64: return std::numeric_limits<std::int64_t>::min();
        default: return 0;
    }
}

std::int64_t KVOCIMTypes::maxSigned(KVOCIMType type) {
    switch (type) {
        case KVOCIMType::SInt8: return std::numeric_limits<std::int8_t>::max();
        case KVOCIMType::SInt16: return std::numeric_limits<std::int16_t>::max();
        case KVOCIMType::SInt32: return std::numeric_limits<std::int32_t>::max();
        case KVOCIMType::SInt64: return std::numeric_limits<std::int64_t>::max();
        default: return 0;
    }
}
