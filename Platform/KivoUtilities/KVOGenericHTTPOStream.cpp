#include "KivoUtilities/KVOGenericHTTPOStream.h"

KVOGenericHTTPOStream::KVOGenericHTTPOStream(KVOSocket& sock, std::size_t bufferSize)
    : std::ostream(nullptr), _buf(sock, bufferSize) {
    rdbuf(&_buf);
    exceptions(std::ios::badbit);
}

KVOGenericHTTPOStream::~KVOGenericHTTPOStream() = default;

void KVOGenericHTTPOStream::endMessage() { _buf.endMessage(); }
