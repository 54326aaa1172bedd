// The head of one HTTP request (request line and header fields), parsed from
// a connection's KVOGenericHTTPIStream.
//
// The HTTP server reads one per request with readFrom(); the request intake
// of the adapters asks it for the protocol version, the content length, header
// fields and keep-alive. After readFrom() the stream stands at the first byte
// of the body.
//
// Parsing is strict where leniency would let two readers disagree about where
// a message ends: header field names must be tokens followed directly by the
// colon, folded lines, bare CRs and control bytes are refused, and a
// Content-Length that is not a plain decimal number (or that repeats with
// another value) is marked invalid rather than guessed. Lines may end in CRLF
// or LF. Memory is bounded: a request line or field line of at most
// MAX_LINE_LENGTH bytes, at most MAX_FIELDS fields and MAX_HEAD_LENGTH bytes
// of head in all. Header field names are matched without regard to case.
// A value type; not synchronised.
#pragma once

#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOTypes.h"

#include <cstddef>
#include <utility>
#include <vector>

class KVOGenericHTTPIStream;

class KVOHTTPRequest {
public:
    // Values of getProtocolEnum().
    enum Protocol { HTTP_OTHER = 0, HTTP_1_0 = 1, HTTP_1_1 = 2 };
    // Values of getContentLength() that are not lengths.
    static constexpr KVOsint32 CONTENT_LENGTH_ABSENT = -1;
    static constexpr KVOsint32 CONTENT_LENGTH_INVALID = -2;

    static constexpr std::size_t MAX_LINE_LENGTH = 8192;
    static constexpr std::size_t MAX_FIELDS = 100;
    static constexpr std::size_t MAX_HEAD_LENGTH = 65536;
    // Empty lines skipped before a request line (what a previous message may
    // have left, such as the line that ends a chunked body).
    static constexpr int MAX_LEADING_EMPTY_LINES = 8;

    KVOHTTPRequest() = default;

    // Reads the request line and the header fields up to and including the
    // empty line that ends them, replacing what this object held. Returns false
    // when the stream ends before a request begins (a persistent connection
    // closed between requests). Throws KVOHTTPException whose code is the HTTP
    // status to answer: 400 for malformed or truncated heads, 414 for an
    // over-long request line, 431 for over-long or too many header fields.
    bool readFrom(KVOGenericHTTPIStream& istr);

    KVOString const& getMethod() const { return _method; }
    KVOString const& getRequestURI() const { return _target; }
    // The version text of the request line, for example "HTTP/1.1".
    KVOString const& getProtocol() const { return _protocol; }
    // HTTP_1_0 (1), HTTP_1_1 (2), or HTTP_OTHER (0) for any other version.
    int getProtocolEnum() const;

    // The body length the request announces: 0..2147483647;
    // CONTENT_LENGTH_ABSENT (-1) without a Content-Length field;
    // CONTENT_LENGTH_INVALID (-2) when a Content-Length field is not a decimal
    // number, does not fit 31 bits, or disagrees with another one. The intake
    // refuses every negative length other than -1 as too large, so a request
    // whose length cannot be trusted is answered and its connection closed
    // instead of being read with a guessed length.
    KVOsint32 getContentLength() const { return _contentLength; }

    // The value of the first field of that name (case ignored), or null.
    KVOString const* getHeaderField(KVOString const& name) const;
    // True when some field of that name lists `token` among its
    // comma-separated elements (case ignored), as in "Connection: close".
    bool hasHeaderToken(KVOString const& name, KVOString const& token) const;
    // All fields in the order received.
    std::vector<std::pair<KVOString, KVOString>> const& getHeaderFields() const { return _fields; }

    // Whether the client asks for the connection to persist after the
    // response: for HTTP/1.1 unless a Connection field lists "close"; for
    // HTTP/1.0 only when a Connection field lists "keep-alive" (and none
    // "close"); never for other versions.
    bool isKeepAlive() const;

private:
    void parseRequestLine(std::string const& line);
    void parseFieldLine(std::string const& line);
    void parseContentLength(std::string const& value);

    KVOString _method;
    KVOString _target;
    KVOString _protocol;
    std::vector<std::pair<KVOString, KVOString>> _fields;
    KVOsint32 _contentLength = CONTENT_LENGTH_ABSENT;
};
