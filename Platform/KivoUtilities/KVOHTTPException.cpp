#include "KivoUtilities/KVOHTTPException.h"

#include <utility>

KVOHTTPException::KVOHTTPException(KVOString who, KVOString message, int code)
    : KivoBaseException("KVOHTTPException", "", std::move(who), std::move(message), code) {}
