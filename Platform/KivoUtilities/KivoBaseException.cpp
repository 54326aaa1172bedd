#include "KivoUtilities/KivoBaseException.h"

#include <utility>

KivoBaseException::KivoBaseException(KVOString type, KVOString where, KVOString who, KVOString message, int code)
    : _type(std::move(type)), _where(std::move(where)), _who(std::move(who)), _message(std::move(message)), _code(code) {}

KivoBaseException::~KivoBaseException() = default;

KVONullPointerException::KVONullPointerException(char const* op)
    : KivoBaseException("KVONullPointerException", KVOString("KVOSmrPtr::") + op, "KVOSmrPtr",
                        KVOString("Null pointer dereferenced in ") + op, 0) {}

KVOBoundsException::KVOBoundsException(KVOString const& where)
    : KivoBaseException("KVOBoundsException", where, "", "Out of Bounds", 0) {}
