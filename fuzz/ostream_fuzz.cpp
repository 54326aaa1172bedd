// Fuzz target of the response framing: a script of writes, flushes, heads,
// trailers and message ends drives a KVOGenericHTTPOStream of each stream
// type with any buffer size, and every finished message is decoded from the
// wire and compared with what was written: Full must carry the exact length,
// Chunked must decode (size lines, data, line ends, last chunk, trailers) to
// the body, NotEncoded must be the bytes as written.
//
// Input: byte 0 selects the stream type, byte 1 the buffer size; then
// operations of one byte each (some followed by a length and data).
#include "KivoUtilities/KVOGenericHTTPOStream.h"

#include "KivoUtilities/KVOMemorySocket.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

// Decodes one chunked body from `wire` at `at`; returns the body and moves
// `at` past the empty line that ends the trailers.
std::string decodeChunked(std::string const& wire, std::size_t& at, std::string& trailers) {
    std::string body;
    for (;;) {
        std::size_t eol = wire.find("\r\n", at);
        check(eol != std::string::npos && eol > at);
        std::size_t size = 0;
        for (std::size_t i = at; i < eol; ++i) {
            char c = wire[i];
            check((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'));
            size = size * 16 + static_cast<std::size_t>(c <= '9' ? c - '0' : c - 'a' + 10);
        }
        at = eol + 2;
        if (size == 0) break;
        check(wire.size() >= at + size + 2 && wire.compare(at + size, 2, "\r\n") == 0);
        body.append(wire, at, size);
        at += size + 2;
    }
    std::size_t end = wire.find("\r\n\r\n", at - 2);
    check(end != std::string::npos);
    trailers = wire.substr(at, end + 2 - at);
    at = end + 4;
    return body;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 2) return 0;
    auto const type = static_cast<KVOGenericHTTPStreamBuf::StreamType>(data[0] % 3);
    KVOMemorySocket sock;
    KVOGenericHTTPOStream ostr(sock, 16 + data[1]);
    ostr.setStreamType(type);

    std::string head, body, trailerFields;
    std::vector<std::pair<std::string, std::string>> trailers;
    std::size_t messageStart = 0;  // where the current message begins on the wire
    std::size_t i = 2;
    auto finish = [&] {
        ostr.endMessage();
        std::string const& wire = sock.output();
        std::string expectedTrailers;
        for (auto const& [n, v] : trailers) expectedTrailers += n + ": " + v + "\r\n";
        if (type == KVOGenericHTTPStreamBuf::NotEncoded) {
            check(wire.substr(messageStart) == (head.empty() ? "" : head + "\r\n") + body);
        } else if (type == KVOGenericHTTPStreamBuf::Full) {
            std::string expected = body;
            if (!head.empty()) {
                expected = head + expectedTrailers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
            }
            check(wire.substr(messageStart) == expected);
        } else if (!head.empty() || !body.empty()) {
            std::size_t at = messageStart;
            if (!head.empty()) {
                std::string const chunkedHead = head + "Transfer-Encoding: chunked\r\n\r\n";
                check(wire.compare(at, chunkedHead.size(), chunkedHead) == 0);
                at += chunkedHead.size();
            }
            std::string gotTrailers;
            check(decodeChunked(wire, at, gotTrailers) == body);
            check(gotTrailers == expectedTrailers);
            check(at == wire.size());
        } else {
            check(wire.size() == messageStart);
        }
        messageStart = wire.size();
        head.clear();
        body.clear();
        trailers.clear();
    };
    while (i < size) {
        std::uint8_t const op = data[i++];
        switch (op % 5) {
        case 0: {  // write
            std::size_t n = i < size ? data[i++] : 0;
            n = std::min(n, size - i);
            ostr.write(reinterpret_cast<char const*>(data + i), static_cast<std::streamsize>(n));
            body.append(reinterpret_cast<char const*>(data + i), n);
            i += n;
            break;
        }
        case 1:
            ostr.flush();
            check(type != KVOGenericHTTPStreamBuf::NotEncoded || sock.output().size() - messageStart ==
                                                                     (head.empty() ? 0 : head.size() + 2) + body.size());
            break;
        case 2: {  // trailer, replacing one of the same name
            std::string name = (op & 8) ? "CIMStatusCode" : "CIMError";
            std::string value(1, static_cast<char>('a' + op % 26));
            ostr.setTrailer(name, value);
            bool replaced = false;
            for (auto& t : trailers) {
                if (t.first == name) {
                    t.second = value;
                    replaced = true;
                }
            }
            if (!replaced) trailers.emplace_back(name, value);
            break;
        }
        case 3:
            finish();
            break;
        case 4:  // a head, where one may stand
            if (head.empty() && body.empty()) {
                head = "HTTP/1.1 200 OK\r\nX-Op: " + std::to_string(op) + "\r\n";
                ostr.writeHead(head);
            }
            break;
        }
    }
    finish();
    return 0;
}
