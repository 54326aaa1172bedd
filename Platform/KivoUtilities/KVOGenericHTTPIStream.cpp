#include "KivoUtilities/KVOGenericHTTPIStream.h"

#include "KivoUtilities/KVOSocket.h"
#include "KivoUtilities/KVOString.h"

#include <algorithm>
#include <cstring>

KVOGenericHTTPIStream::KVOGenericHTTPIStream(KVOSocket& sock, std::size_t bufferSize)
    : _sock(sock),
      _capacity(std::max<std::size_t>(bufferSize, 16)),
      _buffer(new char[_capacity]),
      _next(_buffer.get()),
      _end(_buffer.get()) {}

bool KVOGenericHTTPIStream::fill() {
    if (_socketEnded) return false;
    std::size_t n = _sock.receive(_buffer.get(), _capacity);
    if (n == 0) {
        _socketEnded = true;
        return false;
    }
    _next = _buffer.get();
    _end = _next + n;
    return true;
}

int KVOGenericHTTPIStream::fillThenGet() {
    if (!fill()) {
        _eof = true;
        return END_OF_STREAM;
    }
    return static_cast<unsigned char>(*_next++);
}

long KVOGenericHTTPIStream::read(char* dst, long n) {
    long done = 0;
    while (done < n) {
        if (_next == _end) {
            auto want = static_cast<std::size_t>(n - done);
            if (want >= _capacity && !_socketEnded) {
                std::size_t got = _sock.receive(dst + done, want);
                if (got == 0) {
                    _socketEnded = true;
                } else {
                    done += static_cast<long>(got);
                    continue;
                }
            }
            if (!fill()) {
                _eof = true;
                break;
            }
        }
        auto take = std::min(static_cast<std::size_t>(_end - _next), static_cast<std::size_t>(n - done));
        std::memcpy(dst + done, _next, take);
        _next += take;
        done += static_cast<long>(take);
    }
    return done;
}

long KVOGenericHTTPIStream::readAppend(std::string& out, long maxBytes, int stopByte) {
    long done = 0;
    while (done < maxBytes) {
        if (_next == _end && !fill()) {
            _eof = true;
            break;
        }
        auto take = std::min(static_cast<std::size_t>(_end - _next), static_cast<std::size_t>(maxBytes - done));
        if (stopByte >= 0) {
            if (auto const* stop = static_cast<char const*>(std::memchr(_next, stopByte, take))) {
                auto run = static_cast<std::size_t>(stop - _next);
                out.append(_next, run);
                _next += run + 1;
                return done + static_cast<long>(run);
            }
        }
        out.append(_next, take);
        _next += take;
        done += static_cast<long>(take);
    }
    return done;
}

namespace {

// Length of the longest prefix of `delim` that ends `s`.
std::size_t partialDelimiter(std::string const& s, std::string const& delim) {
    for (std::size_t m = std::min(s.size(), delim.size()); m > 0; --m) {
        if (s.compare(s.size() - m, m, delim, 0, m) == 0) return m;
    }
    return 0;
}

}  // namespace

KVOString KVOString::readLine(KVOGenericHTTPIStream& istr, KVOString const& delimiter, unsigned maxLength) {
    std::string const& delim = delimiter.str();
    std::string line;
    for (;;) {
        if (!delim.empty() && line.size() >= delim.size() &&
            line.compare(line.size() - delim.size(), delim.size(), delim) == 0) {
            line.resize(line.size() - delim.size());
            break;
        }
        if (line.size() >= maxLength) {
            // Past the limit a byte is taken only if it continues a delimiter
            // that begins within the limit.
            int c = istr.peek();
            if (c == KVOGenericHTTPIStream::END_OF_STREAM) {
                istr.get();  // sets eof() as reading on would
                break;
            }
            line += static_cast<char>(c);
            if (line.size() - partialDelimiter(line, delim) > maxLength) {
                line.pop_back();
                break;
            }
            istr.get();
            continue;
        }
        int c = istr.get();
        if (c == KVOGenericHTTPIStream::END_OF_STREAM) break;
        line += static_cast<char>(c);
    }
    return KVOString(std::move(line));
}
