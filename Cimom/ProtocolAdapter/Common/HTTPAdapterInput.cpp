#include "Cimom/ProtocolAdapter/Common/HTTPAdapterInput.h"

#include "KivoUtilities/KVOHTTPCodes.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOLog.h"
#include "KivoUtilities/QORAConfigManager.h"

#include <cstdint>
#include <string>

namespace qora::pa::common {

namespace {

char const* const BODY_LOG_WHO = "cimxmlpa::CIMXMLAdapter::processOperation";
char const* const TOO_LARGE_CODE = "413";
char const* const TOO_LARGE_TEXT = "Request Entity Too Large";

// Longest chunk-size line read, and the largest chunk size taken as one.
unsigned const CHUNK_SIZE_LINE_LENGTH = 128;
KVOuint32 const LARGEST_CHUNK_SIZE = 4294967293u;

void logTooLarge(long long requested, std::size_t limit) {
    KVOLog::log(BODY_LOG_WHO,
                "Rejecting request that exceeds maximum supported size. Max = " +
                    KVOString::itoa(static_cast<long long>(limit)) + "; Request = " + KVOString::itoa(requested),
                KivoTraceLog::KIVO_ERROR, 2, 0, KVOLog::CIMOMLOG);
}

// Answers with the status and reason set on `response` and an empty body, and
// throws. What is left of the request body stays unread.
[[noreturn]] void answerAndThrow(KVOHTTPRequest const& request, KVOHTTPResponse& response,
                                 KVOGenericHTTPOStream& ostr) {
    ostr.setStreamType(KVOGenericHTTPStreamBuf::NotEncoded);
    response.setContentLength(0);
    if (request.getProtocolEnum() == KVOHTTPRequest::HTTP_1_1) response.setConnection("close", false);
    response.writeResponseTo(ostr);
    ostr.flush();
    throw KVOHTTPException("MSAAdapter::rejectConnection", "Input stream may have data remaining", 4);
}

bool isCSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

int hexDigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Converts a chunk-size line as sscanf's "%x" does: leading white space, an
// optional sign (a negative value wraps modulo 2^32), an optional 0x, then
// hexadecimal digits up to the first other byte. False when nothing converts
// ("0x" alone converts to 0). Digits whose value does not fit 32 bits give
// 0xFFFFFFFF, which is above every size that is read.
bool parseChunkSize(std::string const& line, KVOuint32& size) {
    std::size_t i = 0;
    std::size_t const n = line.size();
    while (i < n && isCSpace(line[i])) ++i;
    bool negative = false;
    if (i < n && (line[i] == '+' || line[i] == '-')) negative = line[i++] == '-';
    bool converted = false;
    if (i + 1 < n && line[i] == '0' && (line[i + 1] == 'x' || line[i + 1] == 'X')) {
        converted = true;
        i += 2;
    }
    std::uint64_t magnitude = 0;
    for (; i < n && hexDigitValue(line[i]) >= 0; ++i) {
        converted = true;
        if (magnitude <= 0xFFFFFFFFu) magnitude = magnitude * 16 + static_cast<unsigned>(hexDigitValue(line[i]));
    }
    if (!converted) return false;
    if (magnitude > 0xFFFFFFFFu) {
        size = 0xFFFFFFFFu;
    } else {
        auto value = static_cast<KVOuint32>(magnitude);
        size = negative ? static_cast<KVOuint32>(0u - value) : value;
    }
    return true;
}

}  // namespace

HTTPAdapterInput::HTTPAdapterInput(HTTPAdapterInputData& p_data)
    : data(p_data),
      request(p_data.getKVOHTTPRequest()),
      response(p_data.getKVOHTTPResponse()),
      istr(p_data.getKVOGenericHTTPIStream()),
      ostr(p_data.getKVOGenericHTTPOStream()),
      securityToken(p_data.getISecurityToken()),
      persistConnection(p_data.getPersistConnection()),
      clientStreamsImported(p_data.getClientStreamsImported()),
      context(p_data.getContext()) {}

KVOString HTTPAdapterInput::getHttpPayload() {
    KVOString result;
    logTrace("Request received");
    KVOSocket* sock = istr.getSocket();
    bool const chunked = isChunkedResponse(request);
    setOutputStreamType(chunked, request, ostr);
    setCloseSocketOption(chunked, request, sock);
    context.registerRequest();
    bool const isLoopBack = sock != nullptr && sock->isLoopback();
    assertCimomIsInitialized(isLoopBack, context);
    if (isChunkedRequest(request)) {
        result = readChunkedHttp(istr);
    } else {
        result = readHttp(request, istr);
    }
    return result;
}

void HTTPAdapterInput::rejectConnection(KVOHTTPRequest const& request, KVOHTTPResponse& response,
                                        KVOGenericHTTPOStream& ostr) {
    answerAndThrow(request, response, ostr);
}

void HTTPAdapterInput::rejectConnection(KVOHTTPRequest const& request, KVOHTTPResponse& response,
                                        KVOGenericHTTPOStream& ostr, KVOString const& httpCode,
                                        KVOString const& httpMessage) {
    response.setReasonPhrase(httpMessage);
    response.setStatus(httpCode);
    rejectConnection(request, response, ostr);
}

bool HTTPAdapterInput::isChunkedRequest(KVOHTTPRequest const& request) const {
    return request.getProtocolEnum() == KVOHTTPRequest::HTTP_1_1 &&
           (request.getHeaderField("TE") != nullptr || request.getHeaderField("Transfer-Encoding") != nullptr) &&
           static_cast<KVOsint32>(request.getContentLength()) <= 0;
}

KVOString HTTPAdapterInput::readChunkedHttp(KVOGenericHTTPIStream& istr) const {
    std::string body;
    std::size_t received = 0;
    for (;;) {
        KVOString const line = KVOString::readLine(istr, KVOHTTPCodes::CRLF, CHUNK_SIZE_LINE_LENGTH);
        KVOuint32 size = 0;
        if (!parseChunkSize(line.str(), size) || size == 0 || size > LARGEST_CHUNK_SIZE) break;
        if (size > MAX_REQUEST_BYTES - received) {
            // Refused before a byte of the chunk is read, as an oversized
            // Content-Length is (a const reader cannot call rejectConnection,
            // so it answers through the same mechanism directly).
            logTooLarge(static_cast<long long>(received) + size, MAX_REQUEST_BYTES);
            response.setReasonPhrase(TOO_LARGE_TEXT);
            response.setStatus(TOO_LARGE_CODE);
            answerAndThrow(request, response, ostr);
        }
        received += static_cast<std::size_t>(istr.readAppend(body, static_cast<long>(size)));
        char lineEnd[2];
        istr.read(lineEnd, sizeof lineEnd);
    }
    std::size_t const zero = body.find('\0');
    if (zero != std::string::npos) body.resize(zero);
    return KVOString(std::move(body));
}

KVOString HTTPAdapterInput::readHttp(KVOHTTPRequest const& request, KVOGenericHTTPIStream& istr) {
    auto const contentLength = static_cast<KVOsint32>(request.getContentLength());
    long count = 0;
    if (contentLength != -1 && static_cast<KVOuint32>(contentLength) > MAX_REQUEST_BYTES) {
        logTooLarge(contentLength, MAX_REQUEST_BYTES);
        rejectConnection(request, response, ostr, TOO_LARGE_CODE, TOO_LARGE_TEXT);
    }
    std::string body;
    if (contentLength > 0) count = istr.readAppend(body, contentLength, '\0');
    if (KVOSocket* sock = istr.getSocket()) sock->endRequestBody();
    if (count >= contentLength) return KVOString(std::move(body));
    KVOLog::log(BODY_LOG_WHO,
                "Content Length mismatch:  Expected " + KVOString::itoa(contentLength) + " bytes; Received " +
                    KVOString::itoa(count),
                KivoTraceLog::KIVO_WARNING, 2, 0, KVOLog::CIMOMLOG);
    rejectConnection(request, response, ostr, "400", "Bad Request");
}

void HTTPAdapterInput::setOutputStreamType(bool isRequestChunked, KVOHTTPRequest const& request,
                                           KVOGenericHTTPOStream& ostr) {
    switch (request.getProtocolEnum()) {
    case KVOHTTPRequest::HTTP_1_1:
        if (isRequestChunked) {
            ostr.setStreamType(KVOGenericHTTPStreamBuf::Chunked);
        } else if (persistConnection || request.isKeepAlive()) {
            ostr.setStreamType(KVOGenericHTTPStreamBuf::Full);
        } else {
            ostr.setStreamType(KVOGenericHTTPStreamBuf::NotEncoded);
        }
        break;
    case KVOHTTPRequest::HTTP_1_0:
        ostr.setStreamType(KVOGenericHTTPStreamBuf::NotEncoded);
        break;
    default:
        break;
    }
}

void HTTPAdapterInput::setCloseSocketOption(bool isRequestChunked, KVOHTTPRequest const& request, KVOSocket* sock) {
    int const protocol = request.getProtocolEnum();
    bool const close = protocol == KVOHTTPRequest::HTTP_1_0 || (protocol == KVOHTTPRequest::HTTP_1_1 && !isRequestChunked);
    if (close && sock != nullptr) sock->setCloseSocketOption(30);
}

void HTTPAdapterInput::assertCimomIsInitialized(bool isLoopBack, IKivoOperationHandlerContext& context) const {
    IKivoOperationHandlerContext::State const state = context.getCurrentState();
    if (isLoopBack || isCimomFullyInitialized()) return;
    context.deRegisterRequest();
    bool const leaving = state == IKivoOperationHandlerContext::STARTED ||
                         state == IKivoOperationHandlerContext::SHUTTING_DOWN ||
                         state == IKivoOperationHandlerContext::SHUT_DOWN;
    logTrace(leaving ? "A request was thrown out, the CIMOM is shutting down."
                     : "A non loopback request was thrown out, the CIMOM is not started.");
    throw KVOHTTPException("MSAAdapter::processInput", "The CIMOM is not fully initialized or shutting down.", 4);
}

bool HTTPAdapterInput::isCimomFullyInitialized() const {
    return context.getCurrentState() == IKivoOperationHandlerContext::STARTED;
}

void HTTPAdapterInput::logTrace(char const* msg) const {
    KVOLog::log("HTTPAdapterInput", msg, KivoTraceLog::KIVO_TRACE, 2, 0, KVOLog::CIMOMLOG);
}

bool HTTPAdapterInput::isChunkedResponse(KVOHTTPRequest const& request) const {
    if (request.getProtocolEnum() != KVOHTTPRequest::HTTP_1_1) return false;
    KVOString value;
    QORAConfigManager::getInstance()->getString("QORA", "HTTPTransferEncoding", value);
    if (value.equalsIgnoreCase("Chunked") || value.equalsIgnoreCase("Auto")) return true;
    if (value.isEmpty()) return true;
    if (value.equalsIgnoreCase("ConditionalChunked")) {
        if (request.getHeaderField("TE") != nullptr) return true;
        return request.getHeaderField("Transfer-Encoding") != nullptr;
    }
    return false;
}

}  // namespace qora::pa::common
