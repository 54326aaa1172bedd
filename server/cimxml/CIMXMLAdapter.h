// The CIM-XML protocol adapter: serves one DSP0200 request (CIM operations
// over HTTP) whose head the HTTP listener has read.
//
// For each request it
// 0. takes the principal the HTTP front end authenticated (ClientAddress::
//    principal; the front end's gate refuses requests without valid
//    credentials before they reach an adapter thread). A named principal's
//    operation carries a UserToken naming it; an empty one is anonymous and
//    its operation's token is null;
// 1. takes the body through the library's intake
//    (qora::pa::common::HTTPAdapterInput::getHttpPayload), which also fixes
//    the response framing, counts the request in with the object manager and
//    refuses what the object manager may not serve;
// 2. checks the DSP0200 header fields and the body (parsed with pugixml) and
//    answers what it cannot serve with an HTTP status, an empty body and the
//    CIMError header field:
//      CIMOperation missing or not MethodCall          400 unsupported-operation
//      CIMMethod or CIMObject missing, invalid, or
//        disagreeing with the body                     400 header-mismatch
//      CIMBatch, or a MULTIREQ body                    501 multiple-requests-unsupported
//      CIMProtocolVersion or PROTOCOLVERSION not 1.x   501 unsupported-protocol-version
//      CIMVERSION not 2.x                              501 unsupported-cim-version
//      DTDVERSION not 2.x                              501 unsupported-dtd-version
//      a body that is not well-formed XML              400 request-not-well-formed
//      well-formed, but not a valid request            400 request-not-valid
//    and a method other than POST with 405 (M-POST with 501).
//    A request whose body came in chunks is answered with "Connection:
//    close": the intake's chunked reader ends a body at a size line it cannot
//    parse without reporting it, so the rest of the connection cannot be
//    trusted to start at the next request. So is a request that carries both
//    Transfer-Encoding and a positive Content-Length (read by its length, but
//    the framings disagree: the shape of request smuggling);
//    content the request parser refuses (CIMXMLRequest.h: text that is not
//    UTF-8, references nested deeper than
//    Options::operations.request.maxNesting, default 8, or whose text would
//    outgrow the request) is answered CIM_ERR_INVALID_PARAMETER before any
//    operation exists;
// 3. builds the operation object (CIMXMLOperations.h) with the namespace,
//    class name, authorization, client information and parameters, and runs
//    it with process(), whose writeResponse answers in DSP0201.
//
// Whatever happens, the request is taken off the object manager's count of
// requests in progress when processRequest returns: the intake registers it,
// and a per-request registration deregisters whatever the intake left
// registered. A response that fails half way (the client went away) still
// tells the operation's result collection that its consumer is done, so that
// providers stop waiting.
//
// Log records (AdapterUtils::log, who "cimxmlpa::CIMXMLAdapter::processRequest";
// every text the client chose is quoted through text::forLog, escaped and cut
// at 256 bytes):
//   KIVO_ERROR        an operation that ended in CIM_ERR_FAILED (a fault of
//                     the server or of a provider)
//   KIVO_WARNING      a response that could not be written (I/O failure)
//   KIVO_INFORMATION  every other request: the status it got, including the
//                     errors the request itself caused (400, 401, 405, 413,
//                     501, CIM_ERR_NOT_FOUND, CIM_ERR_INVALID_PARAMETER, ...)
// (The library's process() adds its own record of every exception a handler
// throws.)
//
// One adapter serves all adapter threads; processRequest keeps its state on
// the calling thread's stack, and the object manager's context is
// thread-safe.
#pragma once

#include "UserToken.h"
#include "CIMXMLOperations.h"

#include <memory>
#include <string>

class IKivoOperationHandlerContext;
class KVOHTTPRequest;
class KVOGenericHTTPIStream;
class KVOGenericHTTPOStream;

namespace cimxmlpa {

// Both ends of the request's connection.
struct ClientAddress {
    std::string localAddress;
    std::string localPort;
    std::string peerAddress;
    std::string peerPort;
    std::string principal;  // the authenticated user; empty: anonymous
};

class CIMXMLAdapter {
public:
    struct Options {
        // The adapter's persistent-connection flag for the intake: HTTP/1.1
        // responses that are not chunked are framed by length (Full), so the
        // connection can carry the next request.
        bool persistConnections = true;
        OperationSettings operations;
    };

    CIMXMLAdapter(IKivoOperationHandlerContext& context, Options options);

    // Serves the request whose head is `request`; its body is next in `istr`.
    // Returns true when the connection may carry another request.
    bool processRequest(KVOHTTPRequest& request, KVOGenericHTTPIStream& istr, KVOGenericHTTPOStream& ostr,
                        ClientAddress const& client);

private:
    IKivoOperationHandlerContext& _context;
    Options const _options;
};

}  // namespace cimxmlpa
