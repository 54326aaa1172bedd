// The HTTP layer's exception: a KivoBaseException raised by the HTTP classes
// and by the request intake of the adapters.
//
// Its type is "KVOHTTPException" and its where is empty; who, message and code
// are the caller's. The code is what the raiser documents: the request intake
// uses CIM status codes, the request parser the HTTP status a server should
// answer with (400, 431, ...), the socket 0 for a failed send.
#pragma once

#include "KivoUtilities/KivoBaseException.h"

class KVOHTTPException : public KivoBaseException {
public:
    KVOHTTPException(KVOString who, KVOString message, int code);
};
