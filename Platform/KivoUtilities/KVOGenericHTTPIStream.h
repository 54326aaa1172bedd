// The input stream of an HTTP connection: a buffered reader over the
// connection's KVOSocket, from which the request line, header fields and body
// are read.
//
// The request parser (KVOHTTPRequest), KVOString::readLine and the request
// intake of the adapters read through it. Single bytes come from an inline
// get() that touches the socket only when the buffer is empty; bodies are
// taken with the bulk operations read() and readAppend(), which copy runs of
// bytes (and stop at a given byte exactly where a loop of get() would).
//
// End of stream is sticky: once the socket has reported it (or a receive
// timeout, which reads the same), no further receive is attempted, so a peer
// that stops sending ends every read in progress instead of hanging it (on a
// real socket, once a receive timeout is set). One thread at a time; the
// socket must outlive the stream.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

class KVOSocket;

class KVOGenericHTTPIStream {
public:
    // What get() and peek() return at end of stream.
    static constexpr int END_OF_STREAM = -1;

    explicit KVOGenericHTTPIStream(KVOSocket& sock, std::size_t bufferSize = 65536);
    KVOGenericHTTPIStream(KVOGenericHTTPIStream const&) = delete;
    KVOGenericHTTPIStream& operator=(KVOGenericHTTPIStream const&) = delete;

    // The next byte as 0..255, or END_OF_STREAM (and eof() becomes true).
    int get() {
        if (_next != _end) return static_cast<unsigned char>(*_next++);
        return fillThenGet();
    }
    // The next byte without taking it, or END_OF_STREAM. Does not set eof().
    int peek() {
        if (_next != _end || fill()) return static_cast<unsigned char>(*_next);
        return END_OF_STREAM;
    }
    // True once a read has asked for a byte past the end of the stream.
    bool eof() const { return _eof; }

    // Copies up to `n` bytes to `dst`, waiting until `n` are there or the stream
    // ends, and returns how many were copied (eof() is true when fewer).
    // Large reads go from the socket straight to `dst`.
    long read(char* dst, long n);

    // The fast bulk path: appends up to `maxBytes` bytes to `out`, stopping
    // early at end of stream or, when `stopByte` is 0..255, after taking that
    // byte, which is consumed but not appended. Returns the number of bytes
    // appended. It takes from the stream exactly what a loop of get() that
    // appends each byte until the count, the stop byte or the end would take,
    // and sets eof() the same way. `out` grows only by bytes actually received.
    long readAppend(std::string& out, long maxBytes, int stopByte = -1);

    // Bytes received from the socket and not yet read.
    std::size_t buffered() const { return static_cast<std::size_t>(_end - _next); }
    // The connection's socket.
    KVOSocket* getSocket() const { return &_sock; }

private:
    // Refills the empty buffer; false at end of stream (without setting eof()).
    bool fill();
    int fillThenGet();

    KVOSocket& _sock;
    std::size_t _capacity;
    std::unique_ptr<char[]> _buffer;
    char* _next;
    char* _end;
    bool _eof = false;
    bool _socketEnded = false;
};
