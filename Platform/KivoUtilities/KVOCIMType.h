// The CIM data types a value, property, parameter or qualifier can have, with
// their DSP0201 names and the range checks that typed values rely on.
//
// Instance and Class are not types a property can be declared with: they mark
// a value that carries a whole instance or class (the objects returned by
// association operations, or an embedded object). Everything here is pure
// functions over constants, safe from any thread.
#pragma once

#include "KivoUtilities/KVOString.h"

#include <cstdint>

enum class KVOCIMType {
    String,
    Boolean,
    Char16,
    UInt8,
    SInt8,
    UInt16,
    SInt16,
    UInt32,
    SInt32,
    UInt64,
    SInt64,
    Real32,
    Real64,
    DateTime,
    Reference,
    Instance,
    Class,
};

struct KVOCIMTypes {
    // The DSP0201 name: "string", "boolean", "char16", "uint8" ... "real64",
    // "datetime", "reference"; "instance" and "class" for the object kinds.
    static KVOString name(KVOCIMType type);
    // The type named `name` (without regard to ASCII case); false, leaving
    // `type` alone, for an unknown name.
    static bool fromName(KVOString const& name, KVOCIMType& type);

    static bool isUnsigned(KVOCIMType type);  // uint8 .. uint64
    static bool isSigned(KVOCIMType type);    // sint8 .. sint64
    static bool isInteger(KVOCIMType type) { return isUnsigned(type) || isSigned(type); }
    static bool isReal(KVOCIMType type) { return type == KVOCIMType::Real32 || type == KVOCIMType::Real64; }
    static bool isNumeric(KVOCIMType type) { return isInteger(type) || isReal(type); }
    // Whether a value of the type is text (string, char16, datetime).
    static bool isText(KVOCIMType type);

    // Largest value of an unsigned type, smallest and largest of a signed one
    // (0 for other types).
    static std::uint64_t maxUnsigned(KVOCIMType type);
    static std::int64_t minSigned(KVOCIMType type);
    static std::int64_t maxSigned(KVOCIMType type);
};
