// The output buffer of an HTTP connection: frames the bytes of a response
// body for the wire and hands them to the connection's KVOSocket.
//
// KVOGenericHTTPOStream owns one and is the interface the adapters use; the
// operations are documented there. One message (a response) is a head given
// with writeHead(), the body written through the std::streambuf interface,
// and endMessage(). How the body goes on the wire is the stream type:
//
//   Full        the whole body is held until endMessage(), then the head is
//               sent with "Content-Length: <body size>" (trailer fields set
//               meanwhile become header fields), followed by the body.
//   Chunked     the head is sent with "Transfer-Encoding: chunked"; each
//               flush, and each filling of the buffer, sends the pending body
//               bytes as one chunk; endMessage() sends the last chunk "0",
//               the trailer fields and the empty line.
//   NotEncoded  head and body go out as written; trailer fields are dropped.
//               A head written here carries whatever length its writer put
//               in it (or none, and the body ends with the connection).
//
// A stream that has not begun a message (no head, no body bytes since the last
// endMessage) may change its type freely; changing the type of a Full or
// Chunked message under way throws. One thread at a time.
#pragma once

#include "KivoUtilities/KVOString.h"

#include <cstddef>
#include <memory>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

class KVOSocket;

class KVOGenericHTTPStreamBuf : public std::streambuf {
public:
    enum StreamType { Full = 0, Chunked = 1, NotEncoded = 2 };
    // Large enough that streaming a big body costs few system calls.
    static constexpr std::size_t DEFAULT_BUFFER_SIZE = 64 * 1024;

    // `bufferSize` is the size of the put area, hence of the chunks sent when
    // a Chunked body is written without flushing: each such chunk is framed in
    // place and handed to the socket in one send. A new buffer is NotEncoded.
    explicit KVOGenericHTTPStreamBuf(KVOSocket& sock, std::size_t bufferSize = DEFAULT_BUFFER_SIZE);
    ~KVOGenericHTTPStreamBuf() override;
    KVOGenericHTTPStreamBuf(KVOGenericHTTPStreamBuf const&) = delete;
    KVOGenericHTTPStreamBuf& operator=(KVOGenericHTTPStreamBuf const&) = delete;

    StreamType getStreamType() const { return _type; }
    void setStreamType(StreamType type);
    void writeHead(KVOString const& head);
    void setTrailer(KVOString const& name, KVOString const& value);
    void endMessage();
    bool isInMessage() const;
    KVOSocket& getSocket() const { return _sock; }

protected:
    int_type overflow(int_type ch) override;
    std::streamsize xsputn(char const* s, std::streamsize n) override;
    int sync() override;

private:
    // Hands the bytes waiting in the put area to the framing.
    void drainPutArea();
    // Sends what is waiting: framed bytes and the put area's bytes.
    void sendPutArea();
    void resetPutArea();
    // Frames body bytes according to the stream type.
    void emitBody(char const* s, std::size_t n);
    // Sends the framed bytes waiting for the socket.
    void sendWire();
    static void appendFields(std::string& out, std::vector<std::pair<KVOString, KVOString>> const& fields);

    KVOSocket& _sock;
    StreamType _type = NotEncoded;
    std::size_t const _putSize;
    // The put area, with room for a chunk's framing around it; left
    // uninitialised (one per response: zeroing it cost more than a small
    // answer's whole writing).
    std::unique_ptr<char[]> _put;
    std::string _wire;       // framed bytes not yet sent
    bool _headWritten = false;
    bool _bodyStarted = false;
    std::string _fullHead;   // Full: the head, sent at endMessage
    std::string _fullBody;   // Full: the body, sent at endMessage
    std::vector<std::pair<KVOString, KVOString>> _trailers;
};
