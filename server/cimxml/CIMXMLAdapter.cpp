#include "CIMXMLAdapter.h"

#include "CIMXMLText.h"

#include "Cimom/ProtocolAdapter/Common/AdapterUtils.h"
#include "Cimom/ProtocolAdapter/Common/HTTPAdapterInput.h"
#include "Cimom/ProtocolAdapter/Common/HTTPAdapterInputData.h"
#include "Cimom/ProtocolAdapter/Common/QORAClientInfo.h"
#include "Cimom/ProtocolAdapter/KivoOperationHandlerContext.h"
#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOHTTPRequest.h"
#include "KivoUtilities/KVOHTTPResponse.h"
#include "KivoUtilities/KVOSocket.h"

#include <algorithm>

namespace cimxmlpa {

namespace {

char const* const WHO = "cimxmlpa::CIMXMLAdapter::processRequest";

// The object manager's context as the intake of one request sees it: every
// call goes to the object manager, and the registrations the intake makes are
// counted, so that the destructor can take off whatever is left, whichever
// way the request ended.
class RequestRegistration final : public IKivoOperationHandlerContext {
public:
    explicit RequestRegistration(IKivoOperationHandlerContext& inner) : _inner(inner) {}
    ~RequestRegistration() override {
        for (; _registered > 0; --_registered) _inner.deRegisterRequest();
    }
    RequestRegistration(RequestRegistration const&) = delete;
    RequestRegistration& operator=(RequestRegistration const&) = delete;

    State getCurrentState() override { return _inner.getCurrentState(); }
    void registerRequest() override {
        _inner.registerRequest();
        ++_registered;
    }
    void deRegisterRequest() override {
        if (_registered == 0) return;
        --_registered;
        _inner.deRegisterRequest();
    }
    bool logRequest() override { return _inner.logRequest(); }
    IKivoOperationHandler& getOperationHandler() override { return _inner.getOperationHandler(); }
    IQORAServer& getQORAServer() const override { return _inner.getQORAServer(); }
    KVOString getLogDirectory() override { return _inner.getLogDirectory(); }
    bool isMatchForInternalOrSystemDigest(KVOString const* digest) override {
        return _inner.isMatchForInternalOrSystemDigest(digest);
    }
    PortInfo const& getPortInfo() const override { return _inner.getPortInfo(); }
    KVOSmrPtr<IKivoClass> getClass(KVOString const& nameSpace, KVOString const& className) override {
        return _inner.getClass(nameSpace, className);
    }
    KVOSmrPtr<IIndicationManager> getIndicationManager() override { return _inner.getIndicationManager(); }

private:
    IKivoOperationHandlerContext& _inner;
    int _registered = 0;  // the adapter's thread only
};

std::string headerValue(KVOHTTPRequest const& request, char const* name) {
    KVOString const* v = request.getHeaderField(name);
    return v != nullptr ? v->str() : std::string();
}

// "1", "1.0", "1.4" have the major version 1.
bool isProtocolVersion1(std::string const& v) {
    return v.substr(0, v.find('.')) == "1";
}

// The checks DSP0200 makes of the header fields before the body.
RequestRejection checkHeaders(KVOHTTPRequest const& request) {
    std::string const method = request.getMethod().str();
    if (method == "M-POST") return {501, "", "M-POST is not supported"};
    if (method != "POST") return {405, "", "method " + method};
    KVOString const* operation = request.getHeaderField("CIMOperation");
    if (operation == nullptr || !text::equalsIgnoreCase(operation->str(), "MethodCall")) {
        return {400, cimerror::UNSUPPORTED_OPERATION, "CIMOperation missing or not MethodCall"};
    }
    KVOString const* protocol = request.getHeaderField("CIMProtocolVersion");
    if (protocol != nullptr && !isProtocolVersion1(protocol->str())) {
        return {501, cimerror::UNSUPPORTED_PROTOCOL_VERSION, "CIMProtocolVersion " + protocol->str()};
    }
    if (request.getHeaderField("CIMBatch") != nullptr) {
        return {501, cimerror::MULTIPLE_REQUESTS_UNSUPPORTED, "CIMBatch"};
    }
    KVOString const* cimMethod = request.getHeaderField("CIMMethod");
    KVOString const* cimObject = request.getHeaderField("CIMObject");
    if (cimMethod == nullptr || cimMethod->isEmpty() || cimObject == nullptr || cimObject->isEmpty()) {
        return {400, cimerror::HEADER_MISMATCH, "CIMMethod or CIMObject missing"};
    }
    return {};
}

char const* reasonFor(int status) {
    switch (status) {
        case 400: return "Bad Request";
        case 405: return "Method Not Allowed";
        case 501: return "Not Implemented";
        default: return "Error";
    }
}

// The answer to a request that is not served as an operation: the status, the
// CIMError field, an empty body.
void answerRejection(KVOHTTPResponse& response, KVOGenericHTTPOStream& ostr, RequestRejection const& rejection) {
    response.setStatus(KVOString::itoa(rejection.httpStatus));
    response.setReasonPhrase(reasonFor(rejection.httpStatus));
    if (!rejection.cimError.empty()) response.setHeaderField("CIMError", rejection.cimError);
    if (rejection.httpStatus == 405) response.setHeaderField("Allow", "POST");
    response.setContentLength(0);
    ostr.setStreamType(KVOGenericHTTPOStream::StreamType::NotEncoded);
    response.writeResponseTo(ostr);
    ostr.flush();
}

void log(KVOString const& message, KivoTraceLog::Severity severity) {
    AdapterUtils::log(WHO, message, severity);
}

}  // namespace

CIMXMLAdapter::CIMXMLAdapter(IKivoOperationHandlerContext& context, Options options)
    : _context(context), _options(options) {}

bool CIMXMLAdapter::processRequest(KVOHTTPRequest& request, KVOGenericHTTPIStream& istr, KVOGenericHTTPOStream& ostr,
                                   ClientAddress const& client) {
    std::string const peer = client.peerAddress + ":" + client.peerPort;
    KVOSmrPtr<qora::security::ISecurityToken> const token =
        client.principal.empty() ? KVOSmrPtr<qora::security::ISecurityToken>()
                                 : KVOSmrPtr<qora::security::ISecurityToken>(new UserToken(client.principal));

    RequestRegistration registration(_context);
    bool const http10 = request.getProtocolEnum() == KVOHTTPRequest::HTTP_1_0;
    KVOHTTPResponse response;
    response.setProtocol(http10 ? "HTTP/1.0" : "HTTP/1.1");
    bool persistConnection = _options.persistConnections;
    bool clientStreamsImported = false;

    KVOString body;
    try {
        qora::pa::common::HTTPAdapterInputData data(request, response, istr, ostr, token, persistConnection,
                                                    clientStreamsImported, registration);
        qora::pa::common::HTTPAdapterInput input(data);
        body = input.getHttpPayload();
    } catch (KivoBaseException const& e) {
        // Answered by the intake (413, 400) or thrown out by its state gate;
        // either way the rest of the body is unread: the connection closes.
        log("Request from " + peer + " refused by the intake: " + text::forLog(e.getMessage().str()),
            KivoTraceLog::KIVO_INFORMATION);
        return false;
    }

    // The intake reads a body in chunks when the request names a transfer
    // coding and no length; its reader ends such a body at the first size line
    // it cannot parse, without error, so where the body really ended is not
    // known. A request with both Transfer-Encoding and a positive
    // Content-Length is read by its length, but the two framings disagree
    // (an intermediary may have taken the other one): the shape of request
    // smuggling. Either way the connection closes after the response rather
    // than reading what follows as another request.
    bool const hasTransferEncoding = request.getHeaderField("Transfer-Encoding") != nullptr;
    bool const chunkedBody = (hasTransferEncoding || request.getHeaderField("TE") != nullptr) &&
                             request.getContentLength() <= 0;
    bool const ambiguousFraming = hasTransferEncoding && request.getContentLength() > 0;
    bool const keepAlive = !http10 && request.isKeepAlive() && persistConnection && !chunkedBody && !ambiguousFraming;
    if (!keepAlive) response.setConnection("close", false);

    CIMXMLRequest parsed;
    RequestRejection rejection = checkHeaders(request);
    if (!rejection) rejection = parsed.parse(std::move(body.str()), _options.operations.request);
    body = KVOString();
    if (!rejection) rejection = parsed.matchesHeaders(headerValue(request, "CIMMethod"), headerValue(request, "CIMObject"));
    if (rejection) {
        log("Request from " + peer + " answered " + std::to_string(rejection.httpStatus) + " " + rejection.cimError +
                ": " + text::forLog(rejection.detail),
            KivoTraceLog::KIVO_INFORMATION);
        answerRejection(response, ostr, rejection);
        return keepAlive;
    }

    KVOSocket* socket = istr.getSocket();
    bool const loopback = socket != nullptr && socket->isLoopback();
    std::string host = headerValue(request, "Host");
    if (host.empty() || !text::isValidUtf8(host)) host = client.localAddress + ":" + client.localPort;
    CIMXMLDataWriter writer(host, parsed.nameSpace(), &_context, false);
    ResponseChannel channel(response, ostr, parsed.messageId(), parsed.methodName(), parsed.isIntrinsic(), writer);
    std::string const what = text::forLog(parsed.methodName()) + " " + text::forLog(parsed.nameSpace());

    if (!parsed.contentError().empty()) {
        log("Request from " + peer + ": " + what + " refused: " + parsed.contentError(), KivoTraceLog::KIVO_INFORMATION);
        parsed.release();
        channel.writeErrorOnly(4, parsed.contentError());
        return keepAlive && channel.finished() && !channel.closesConnection();
    }
    KVOSmrPtr<KivoOperationBase> op = buildOperation(parsed, channel, &_context, _options.operations);
    parsed.release();  // the operation holds what it read
    if (!op) {
        log("Request from " + peer + ": " + what + " is not supported", KivoTraceLog::KIVO_INFORMATION);
        channel.writeErrorOnly(7, "the operation " + parsed.methodName() + " is not supported");
        return keepAlive && channel.finished() && !channel.closesConnection();
    }
    op->setAuthorization(token);
    op->setClientInfo(KVOSmrPtr<IQORAClientInfo>(new QORAClientInfo(
        client.localAddress, client.localPort, client.peerAddress, client.peerPort, false, loopback, KVOString(),
        nullptr, &ostr, &clientStreamsImported)));
    try {
        op->process(ostr, op);
    } catch (std::exception const& e) {
        // The response could not be written (usually: the client went away).
        // Tell the result collection that nobody consumes any more.
        op->signalProcessCompletion();
        log("Response to " + peer + " for " + what + " failed: " + text::forLog(e.what()), KivoTraceLog::KIVO_WARNING);
        return false;
    }
    int const status = op->getErrorCode();
    log("Request from " + peer + ": " + what + " -> status " + std::to_string(status),
        status == 1 ? KivoTraceLog::KIVO_ERROR : KivoTraceLog::KIVO_INFORMATION);
    return keepAlive && channel.finished() && !channel.closesConnection();
}

}  // namespace cimxmlpa
