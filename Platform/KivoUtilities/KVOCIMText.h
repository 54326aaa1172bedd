// The text forms of CIM scalar values as CIM-XML spells them: reading
// booleans, integers and reals from text, writing reals, checking datetimes
// and quoting strings inside a path. Shared by the value and path classes;
// pure functions, safe from any thread.
#pragma once

#include "KivoUtilities/KVOString.h"

#include <cstdint>

struct KVOCIMText {
    // "true"/"false" without regard to ASCII case, surrounding blanks allowed.
    static bool parseBoolean(KVOString const& text, bool& value);
    // A decimal integer with an optional sign, or a hexadecimal one ("0x"
    // after the optional sign); surrounding blanks allowed. False when the
    // text is not such a number or it does not fit.
    static bool parseUnsigned(KVOString const& text, std::uint64_t& value);
    static bool parseSigned(KVOString const& text, std::int64_t& value);
    // A decimal real with optional exponent, or a hexadecimal one; also INF,
    // -INF and NaN.
    static bool parseReal(KVOString const& text, double& value);
    // The shortest decimal text that reads back as the same value (of a
    // float when `single`).
    static KVOString formatReal(double value, bool single);
    // Whether the text is a DMTF datetime: 25 characters, a timestamp
    // "yyyymmddhhmmss.mmmmmmsutc" (s being + or -) or an interval
    // "ddddddddhhmmss.mmmmmm:000", digits possibly replaced by '*'.
    static bool isDateTime(KVOString const& text);
    // `text` in double quotes with backslash and double quote escaped by a
    // backslash.
    static KVOString quote(KVOString const& text);

    // Throws KivoBaseException with code 4 (CIM_ERR_INVALID_PARAMETER).
    [[noreturn]] static void invalid(KVOString const& where, KVOString const& message);
};
