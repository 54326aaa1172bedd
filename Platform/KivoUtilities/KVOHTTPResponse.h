// The head of one HTTP response: status line, header fields, the length of an
// unframed body and the connection header, written to a connection's
// KVOGenericHTTPOStream.
//
// The request intake fills one to refuse a request (status, reason, length 0,
// "close"); the HTTP server and the adapters fill one for every answer. The
// framing of the body is the output stream's: writeResponseTo() writes the
// Content-Length set here only on a NotEncoded stream, since a Full stream
// supplies the length of the body it holds and a Chunked stream its
// Transfer-Encoding. Values are checked when set, so a head cannot carry a
// line break (or a control byte) into the wire. A value type; not synchronised.
#pragma once

#include "KivoUtilities/KVOString.h"

#include <utility>
#include <vector>

class KVOGenericHTTPOStream;

class KVOHTTPResponse {
public:
    // "HTTP/1.1 200 OK", no header fields, no length, no connection header,
    // connection persisting.
    KVOHTTPResponse() = default;

    // The version text of the status line.
    void setProtocol(KVOString const& protocol);
    KVOString const& getProtocol() const { return _protocol; }
    // The three-digit status code, for example "413".
    void setStatus(KVOString const& status);
    KVOString const& getStatus() const { return _status; }
    void setReasonPhrase(KVOString const& reason);
    KVOString const& getReasonPhrase() const { return _reason; }

    // The length of a body sent NotEncoded; negative: no Content-Length field.
    void setContentLength(long long length) { _contentLength = length; }
    long long getContentLength() const { return _contentLength; }

    // The value of the Connection field (empty: no field), and whether the
    // connection is to persist after this response, which the server reads
    // back with getPersistConnection() to decide whether to read another
    // request or close.
    void setConnection(KVOString const& value, bool persist);
    KVOString const& getConnection() const { return _connection; }
    bool getPersistConnection() const { return _persist; }

    // Sets a header field, replacing every field of that name (case ignored);
    // addHeaderField appends one more. Content-Length, Transfer-Encoding and
    // Connection are not header fields here: they follow from the setters
    // above and from the stream type, and are refused.
    void setHeaderField(KVOString const& name, KVOString const& value);
    void addHeaderField(KVOString const& name, KVOString const& value);
    void removeHeaderField(KVOString const& name);
    // The value of the first field of that name (case ignored), or null.
    KVOString const* getHeaderField(KVOString const& name) const;
    std::vector<std::pair<KVOString, KVOString>> const& getHeaderFields() const { return _fields; }

    // Begins the response on `ostr`: status line, header fields in the order
    // set, then Content-Length (NotEncoded streams, when set) and Connection
    // (when set); the stream adds its framing field and the empty line. The
    // body follows through the stream; KVOGenericHTTPOStream::endMessage ends it.
    void writeResponseTo(KVOGenericHTTPOStream& ostr) const;

private:
    KVOString _protocol{"HTTP/1.1"};
    KVOString _status{"200"};
    KVOString _reason{"OK"};
    long long _contentLength = -1;
    KVOString _connection;
    bool _persist = true;
    std::vector<std::pair<KVOString, KVOString>> _fields;
};
