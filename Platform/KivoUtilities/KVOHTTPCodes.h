// Constants of the HTTP wire format shared by the HTTP classes and the
// adapters: the line end and the status codes the adapters answer with.
#pragma once

#include "KivoUtilities/KVOString.h"

struct KVOHTTPCodes {
    // The line end of the request line, header fields and chunk-size lines.
    static inline KVOString const CRLF{"\r\n"};

    static constexpr int SC_OK = 200;
    static constexpr int SC_BAD_REQUEST = 400;
    static constexpr int SC_REQUEST_ENTITY_TOO_LARGE = 413;
    static constexpr int SC_URI_TOO_LONG = 414;
    static constexpr int SC_HEADER_FIELDS_TOO_LARGE = 431;
    static constexpr int SC_NOT_IMPLEMENTED = 501;
    static constexpr int SC_VERSION_NOT_SUPPORTED = 505;
};
