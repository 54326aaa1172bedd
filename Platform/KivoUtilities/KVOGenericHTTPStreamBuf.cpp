#include "KivoUtilities/KVOGenericHTTPStreamBuf.h"

#include "KivoUtilities/KVOHTTPCodes.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOSocket.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// Room before and after the put area for a chunk's framing: the size line
// (at most 16 hex digits and CRLF) and the CRLF that ends the chunk.
constexpr std::size_t kSizeLineRoom = 18;
constexpr std::size_t kChunkEndRoom = 2;

}  // namespace

KVOGenericHTTPStreamBuf::KVOGenericHTTPStreamBuf(KVOSocket& sock, std::size_t bufferSize)
    : _sock(sock),
      _putSize(std::max<std::size_t>(bufferSize, 16)),
      _put(std::make_unique_for_overwrite<char[]>(kSizeLineRoom + _putSize + kChunkEndRoom)) {
    resetPutArea();
}

void KVOGenericHTTPStreamBuf::resetPutArea() {
    setp(_put.get() + kSizeLineRoom, _put.get() + kSizeLineRoom + _putSize);
}

KVOGenericHTTPStreamBuf::~KVOGenericHTTPStreamBuf() {
    try {
        drainPutArea();
        sendWire();
    } catch (...) {
        // A connection that fails while its stream goes away has nobody left
        // to tell; the bytes are lost with it.
    }
}

bool KVOGenericHTTPStreamBuf::isInMessage() const {
    return _type != NotEncoded && (_headWritten || _bodyStarted || pptr() != pbase());
}

void KVOGenericHTTPStreamBuf::setStreamType(StreamType type) {
    if (type == _type) return;
    if (isInMessage()) {
        throw KVOHTTPException("KVOGenericHTTPOStream::setStreamType",
                               "The stream type cannot change inside a Full or Chunked message", 0);
    }
    drainPutArea();  // raw bytes written so far keep their place on the wire
    _type = type;
}

void KVOGenericHTTPStreamBuf::writeHead(KVOString const& head) {
    if (isInMessage()) {
        throw KVOHTTPException("KVOGenericHTTPOStream::writeHead",
                               "The message already has a head or body bytes", 0);
    }
    drainPutArea();
    switch (_type) {
    case NotEncoded:
        _wire += head.str();
        _wire += KVOHTTPCodes::CRLF.str();
        break;
    case Chunked:
        _wire += head.str();
        _wire += "Transfer-Encoding: chunked\r\n\r\n";
        _headWritten = true;
        break;
    case Full:
        _fullHead = head.str();
        _headWritten = true;
        break;
    }
}

void KVOGenericHTTPStreamBuf::setTrailer(KVOString const& name, KVOString const& value) {
    for (auto& field : _trailers) {
        if (field.first.equalsIgnoreCase(name)) {
            field.second = value;
            return;
        }
    }
    _trailers.emplace_back(name, value);
}

void KVOGenericHTTPStreamBuf::appendFields(std::string& out,
                                           std::vector<std::pair<KVOString, KVOString>> const& fields) {
    for (auto const& field : fields) {
        out += field.first.str();
        out += ": ";
        out += field.second.str();
        out += KVOHTTPCodes::CRLF.str();
    }
}

void KVOGenericHTTPStreamBuf::endMessage() {
    drainPutArea();
    if (isInMessage()) {
        if (_type == Chunked) {
            _wire += "0\r\n";
            appendFields(_wire, _trailers);
            _wire += KVOHTTPCodes::CRLF.str();
        } else if (_type == Full && _headWritten) {
            _wire += _fullHead;
            appendFields(_wire, _trailers);
            _wire += "Content-Length: " + std::to_string(_fullBody.size()) + "\r\n\r\n";
        }
    }
    std::string body;
    body.swap(_fullBody);
    _fullHead.clear();
    _trailers.clear();
    _headWritten = false;
    _bodyStarted = false;
    sendWire();
    if (!body.empty()) _sock.send(body.data(), body.size());
}

void KVOGenericHTTPStreamBuf::emitBody(char const* s, std::size_t n) {
    if (n == 0) return;
    switch (_type) {
    case NotEncoded:
        _wire.append(s, n);
        break;
    case Chunked: {
        char sizeLine[24];
        int len = std::snprintf(sizeLine, sizeof sizeLine, "%zx\r\n", n);
        _wire.append(sizeLine, static_cast<std::size_t>(len));
        _wire.append(s, n);
        _wire += KVOHTTPCodes::CRLF.str();
        _bodyStarted = true;
        break;
    }
    case Full:
        _fullBody.append(s, n);
        _bodyStarted = true;
        break;
    }
}

void KVOGenericHTTPStreamBuf::drainPutArea() {
    std::size_t n = static_cast<std::size_t>(pptr() - pbase());
    // Reset first: a failure while framing must not leave the bytes to be sent twice.
    resetPutArea();
    emitBody(pbase(), n);
}

void KVOGenericHTTPStreamBuf::sendPutArea() {
    std::size_t const n = static_cast<std::size_t>(pptr() - pbase());
    if (_type != Chunked || !_wire.empty() || n == 0) {
        drainPutArea();
        sendWire();
        return;
    }
    // The full put area goes out as one chunk framed where it lies: the size
    // line in the room before it, CRLF after it, one send and no copy.
    char sizeLine[kSizeLineRoom + 1];
    int const len = std::snprintf(sizeLine, sizeof sizeLine, "%zx\r\n", n);
    char* const begin = pbase() - len;
    std::memcpy(begin, sizeLine, static_cast<std::size_t>(len));
    std::memcpy(pbase() + n, "\r\n", kChunkEndRoom);
    resetPutArea();
    _bodyStarted = true;
    _sock.send(begin, static_cast<std::size_t>(len) + n + kChunkEndRoom);
}

void KVOGenericHTTPStreamBuf::sendWire() {
    if (_wire.empty()) return;
    std::string pending;
    pending.swap(_wire);
    _sock.send(pending.data(), pending.size());
    pending.clear();
    _wire.swap(pending);  // keep the capacity for the next bytes
}

KVOGenericHTTPStreamBuf::int_type KVOGenericHTTPStreamBuf::overflow(int_type ch) {
    sendPutArea();
    if (!traits_type::eq_int_type(ch, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(ch);
        pbump(1);
    }
    return traits_type::not_eof(ch);
}

std::streamsize KVOGenericHTTPStreamBuf::xsputn(char const* s, std::streamsize n) {
    if (n <= 0) return 0;
    auto count = static_cast<std::size_t>(n);
    if (count <= static_cast<std::size_t>(epptr() - pptr())) {
        std::memcpy(pptr(), s, count);
        pbump(static_cast<int>(count));
        return n;
    }
    if (count >= _putSize) {
        drainPutArea();
        emitBody(s, count);
        sendWire();
        return n;
    }
    // Fill the put area, send it whole, keep the rest: chunks stay the size of
    // the buffer however the writes fall.
    std::size_t const fits = static_cast<std::size_t>(epptr() - pptr());
    std::memcpy(pptr(), s, fits);
    pbump(static_cast<int>(fits));
    sendPutArea();
    std::memcpy(pptr(), s + fits, count - fits);
    pbump(static_cast<int>(count - fits));
    return n;
}

int KVOGenericHTTPStreamBuf::sync() {
    sendPutArea();
    return 0;
}
