// The output stream of an HTTP connection: a std::ostream whose bytes are
// framed for the wire by its KVOGenericHTTPStreamBuf (Full, Chunked or
// NotEncoded) and sent through the connection's KVOSocket.
//
// The request intake chooses the stream type; the response writer then writes
// the head (KVOHTTPResponse::writeResponseTo, or writeHead directly), the body
// with the usual ostream operations, and calls endMessage(). flush() pushes
// what can go out already: everything in NotEncoded, the pending bytes as a
// chunk in Chunked, nothing in Full (a Full body waits for its length).
//
// Errors of the socket are raised from the write or flush that meets them
// (the stream's exception mask includes badbit). The destructor sends what
// flush() would and swallows errors; call endMessage() to finish a response.
// One thread at a time. The socket must outlive the stream.
//
// Over memory, for tests:
//     KVOMemorySocket sock;
//     KVOGenericHTTPOStream ostr(sock);
//     ostr << "bytes";
//     ostr.flush();              // sock.output() == "bytes"
#pragma once

#include "KivoUtilities/KVOGenericHTTPStreamBuf.h"

#include <ostream>

class KVOGenericHTTPOStream : public std::ostream {
public:
    using StreamType = KVOGenericHTTPStreamBuf::StreamType;

    explicit KVOGenericHTTPOStream(KVOSocket& sock,
                                   std::size_t bufferSize = KVOGenericHTTPStreamBuf::DEFAULT_BUFFER_SIZE);
    ~KVOGenericHTTPOStream() override;

    // A new stream is NotEncoded. Changing the type of a Full or Chunked
    // message under way throws KVOHTTPException.
    void setStreamType(StreamType type) { _buf.setStreamType(type); }
    StreamType getStreamType() const { return _buf.getStreamType(); }

    // Begins a message with its head: the status line and header fields, each
    // ending in CRLF, without the empty line that ends the head. The stream
    // adds its framing field (Full, Chunked) and the empty line. Throws
    // KVOHTTPException if the current message already has a head or body bytes.
    void writeHead(KVOString const& head) { _buf.writeHead(head); }
    // Sets a trailer field of the current message, replacing one of the same
    // name (case ignored). Chunked sends trailers after the last chunk, Full
    // sends them as header fields, NotEncoded drops them.
    void setTrailer(KVOString const& name, KVOString const& value) { _buf.setTrailer(name, value); }
    // Ends the current message: frames and sends everything held back (last
    // chunk and trailers, or the Full head with its length and the body).
    // Afterwards the stream is ready for the next message on the connection.
    void endMessage();
    // True between the first head or body byte of a Full or Chunked message
    // and its endMessage().
    bool isInMessage() const { return _buf.isInMessage(); }

    KVOSocket& getSocket() const { return _buf.getSocket(); }

private:
    KVOGenericHTTPStreamBuf _buf;
};
