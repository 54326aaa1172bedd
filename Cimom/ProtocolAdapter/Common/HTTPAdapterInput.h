// The request intake of every protocol adapter: in one call, getHttpPayload,
// it fixes how the response will be framed, counts the request in with the
// object manager, throws the request out unless the object manager may serve
// it, and reads the request body.
//
// An adapter builds one over an HTTPAdapterInputData for each request, after
// the request head has been parsed and before any byte of the body has been
// read, and calls getHttpPayload once, on its own thread. It refers to the
// adapter's objects and must not outlive them. It keeps no state between
// calls and takes no lock; the handler context, the configuration manager and
// the log it uses are thread-safe.
//
// Effects of getHttpPayload, in order: trace "Request received"; set the
// output stream type and the socket's close option (even for a request that
// is then refused); registerRequest(); the state gate; read the body.
//
// Response framing (configuration section "QORA", key "HTTPTransferEncoding",
// read afresh for every HTTP/1.1 request, compared without regard to case):
// "Chunked", "Auto", empty or missing give a chunked response to HTTP/1.1;
// "ConditionalChunked" only when the request carries a TE or Transfer-Encoding
// field; any other value none. HTTP/1.0 is never answered chunked. An HTTP/1.1
// request answered chunked gets a Chunked stream and an untouched socket; one
// that is not gets a Full stream (persistent connection or keep-alive) or a
// NotEncoded one, and the close option 30; HTTP/1.0 gets NotEncoded and 30;
// other versions keep both as they were.
//
// The state gate: loopback requests pass in every state, others only while
// the object manager is STARTED. A refused request is deregistered, traced and
// thrown out with KVOHTTPException("MSAAdapter::processInput", "The CIMOM is
// not fully initialized or shutting down.", 4); the client gets no answer. The
// trace names the situation by the state the gate read first: "A request was
// thrown out, the CIMOM is shutting down." for STARTED (the object manager
// left it between the gate's two reads), SHUTTING_DOWN and SHUT_DOWN; "A non
// loopback request was thrown out, the CIMOM is not started." for
// INITIALIZING, STARTING, POST_STARTING and UNDEFINED.
//
// Bodies. An HTTP/1.1 request with a TE or Transfer-Encoding field (values not
// looked at) and a content length of 0 or less is read as chunked; a positive
// content length wins over a transfer-coding field; everything else is read
// by length.
//
// - By length: at most MAX_REQUEST_BYTES. A larger length, or a negative one
//   other than -1 (the request parser gives -2 for a Content-Length it cannot
//   trust), is answered 413 before a byte of the body is read. -1 (no
//   Content-Length) and 0 give an empty body without reading. Reading stops
//   at the length, at end of stream or at a zero byte (taken, not counted);
//   a short count is answered 400 with a "Content Length mismatch" warning.
//   Bytes past the length stay in the stream. Afterwards the socket's
//   endRequestBody() hook is called, whatever the count.
// - Chunked: chunk-size lines of at most 128 bytes are read as the C
//   library's "%x" would read them: leading white space, an optional sign
//   (a negative size wraps modulo 2^32), an optional 0x, hexadecimal digits up
//   to the first other byte (so chunk extensions are ignored). A line that
//   converts nothing, a size of 0, or a size above 4294967293 ends the body
//   without error; a size whose digits do not fit 32 bits counts as above
//   4294967293 (no overflow takes place). Chunk data are read in bounded
//   pieces: the body grows with the bytes that actually arrive, never with
//   the size a client announces, and a stream that ends inside a chunk adds
//   only what came. The two bytes after each chunk's data are skipped unseen.
//   The body in all is bounded by MAX_REQUEST_BYTES too: a chunk that would
//   take it further is answered 413, before its data are read, like an
//   oversized Content-Length (same record, giving the bytes so far plus the
//   announced size). After the last chunk nothing more is read: trailer
//   fields and the final empty line stay in the stream. The body is returned
//   up to, not including, its first zero byte.
//
// Refusals (413, 400) set the stream NotEncoded, the content length 0 and,
// for HTTP/1.1, "Connection: close"; write the status line and header fields
// with an empty body; flush; and throw KVOHTTPException("MSAAdapter::
// rejectConnection", "Input stream may have data remaining", 4), leaving the
// rest of the body unread. Such a request stays registered: deregistering it
// is the adapter's business, as it is for every request that passes the gate.
// Exceptions of the stream and string operations pass through unchanged.
//
// Records go to KVOLog with verbosity 2 and category CIMOMLOG: traces from
// "HTTPAdapterInput"; the 413 record (KIVO_ERROR) and the length mismatch
// (KIVO_WARNING) from "cimxmlpa::CIMXMLAdapter::processOperation".
#pragma once

#include "Cimom/ProtocolAdapter/Common/HTTPAdapterInputData.h"
#include "KivoUtilities/KVOSocket.h"
#include "KivoUtilities/KVOString.h"

#include <cstddef>

namespace qora::pa::common {

class HTTPAdapterInput {
public:
    // Keeps p_data and copies each of its members; does no input or output.
    explicit HTTPAdapterInput(HTTPAdapterInputData& p_data);

    // Returns the request body, or throws KVOHTTPException (after answering
    // the client where said above). Call once per request.
    KVOString getHttpPayload();

private:
    HTTPAdapterInput(HTTPAdapterInput const&);             // not provided
    HTTPAdapterInput& operator=(HTTPAdapterInput const&);  // not provided

    // The largest body accepted: 52428800 bytes (50 MiB), by Content-Length
    // and, in all, chunked.
    static std::size_t const MAX_REQUEST_BYTES = 52428800;

    HTTPAdapterInputData& data;
    KVOHTTPRequest& request;
    KVOHTTPResponse& response;
    KVOGenericHTTPIStream& istr;
    KVOGenericHTTPOStream& ostr;
    KVOSmrPtr<qora::security::ISecurityToken> securityToken;  // not consulted by the intake
    bool& persistConnection;                                   // read by setOutputStreamType
    bool& clientStreamsImported;                               // not consulted by the intake
    IKivoOperationHandlerContext& context;

    // Answers with the status and reason already set on `response`, then throws.
    [[noreturn]] void rejectConnection(KVOHTTPRequest const& request, KVOHTTPResponse& response,
                                       KVOGenericHTTPOStream& ostr);
    // Sets the reason phrase, then the status, and answers as above.
    [[noreturn]] void rejectConnection(KVOHTTPRequest const& request, KVOHTTPResponse& response,
                                       KVOGenericHTTPOStream& ostr, KVOString const& httpCode,
                                       KVOString const& httpMessage);
    bool isChunkedRequest(KVOHTTPRequest const& request) const;
    KVOString readChunkedHttp(KVOGenericHTTPIStream& istr) const;
    KVOString readHttp(KVOHTTPRequest const& request, KVOGenericHTTPIStream& istr);
    void setOutputStreamType(bool isRequestChunked, KVOHTTPRequest const& request, KVOGenericHTTPOStream& ostr);
    void setCloseSocketOption(bool isRequestChunked, KVOHTTPRequest const& request, KVOSocket* sock);
    void assertCimomIsInitialized(bool isLoopBack, IKivoOperationHandlerContext& context) const;
    bool isCimomFullyInitialized() const;
    void logTrace(char const* msg) const;
    bool isChunkedResponse(KVOHTTPRequest const& request) const;
};

}  // namespace qora::pa::common
