// Fuzz target of the request intake over raw request bytes: the request head
// is parsed from a memory connection and getHttpPayload reads the body, for a
// loopback or remote peer, in any state of the object manager, under any
// transfer-encoding setting, with the bytes arriving whole or in small pieces.
// Then the parser reads whatever requests follow on the connection.
//
// Input: byte 0 selects peer (bit 0), state (bits 1-3), setting (bits 4-6)
// and the persistent-connection flag (bit 7); byte 1 limits the bytes per
// receive (0: none); the rest is what the client sends.
#include "Cimom/ProtocolAdapter/Common/HTTPAdapterInput.h"

#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOLog.h"
#include "KivoUtilities/KVOMemorySocket.h"
#include "KivoUtilities/QORAConfigManager.h"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

class FuzzContext : public IKivoOperationHandlerContext {
public:
    explicit FuzzContext(State state) : _state(state) {}
    State getCurrentState() override { return _state; }
    void registerRequest() override { ++registered; }
    void deRegisterRequest() override { --registered; }
    bool logRequest() override { return false; }
    IKivoOperationHandler& getOperationHandler() override { throw std::logic_error("no handler"); }
    IQORAServer& getQORAServer() const override { return const_cast<IQORAServer&>(_server); }
    KVOString getLogDirectory() override { return KVOString(); }
    bool isMatchForInternalOrSystemDigest(KVOString const*) override { return false; }
    PortInfo const& getPortInfo() const override { return _ports; }
    KVOSmrPtr<IKivoClass> getClass(KVOString const&, KVOString const&) override { return nullptr; }
    KVOSmrPtr<IIndicationManager> getIndicationManager() override { return nullptr; }

    int registered = 0;

private:
    State _state;
    IQORAServer _server;
    PortInfo _ports;
};

IKivoOperationHandlerContext::State const STATES[] = {
    IKivoOperationHandlerContext::INITIALIZING, IKivoOperationHandlerContext::STARTING,
    IKivoOperationHandlerContext::POST_STARTING, IKivoOperationHandlerContext::STARTED,
    IKivoOperationHandlerContext::SHUTTING_DOWN, IKivoOperationHandlerContext::SHUT_DOWN,
    IKivoOperationHandlerContext::UNDEFINED, IKivoOperationHandlerContext::STARTED,
};
char const* const SETTINGS[] = {nullptr, "Chunked", "auto", "", "ConditionalChunked", "identity", "CHUNKED", "x"};

void check(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static bool const quiet = [] {
        KVOLog::setSink([](KVOLogRecord const&) {});
        return true;
    }();
    (void)quiet;
    if (size < 2) return 0;
    std::uint8_t const flags = data[0];
    std::size_t const perReceive = data[1];
    auto* config = QORAConfigManager::getInstance();
    if (char const* setting = SETTINGS[(flags >> 4) & 7]) {
        config->setValue("QORA", "HTTPTransferEncoding", setting);
    } else {
        config->removeValue("QORA", "HTTPTransferEncoding");
    }

    KVOMemorySocket sock(std::string(reinterpret_cast<char const*>(data) + 2, size - 2),
                         (flags & 1) ? KVOMemorySocket::Loopback : KVOMemorySocket::Remote, perReceive);
    KVOGenericHTTPIStream istr(sock, 128);
    KVOGenericHTTPOStream ostr(sock, 64);
    FuzzContext context(STATES[(flags >> 1) & 7]);
    KVOHTTPRequest request;
    KVOHTTPResponse response;
    bool persist = (flags & 0x80) != 0;
    bool imported = false;
    try {
        if (!request.readFrom(istr)) return 0;
    } catch (KVOHTTPException const& e) {
        check(e.getCode() >= 400 && e.getCode() < 600);
        return 0;
    }
    qora::pa::common::HTTPAdapterInputData bundle(request, response, istr, ostr, nullptr, persist, imported, context);
    qora::pa::common::HTTPAdapterInput intake(bundle);
    try {
        KVOString body = intake.getHttpPayload();
        check(body.length() <= 52428800);
        check(body.str().find('\0') == std::string::npos);
        check(sock.output().empty());
        check(context.registered == 1);
    } catch (KVOHTTPException const& e) {
        check(e.getCode() == 4);
        std::string const& out = sock.output();
        if (e.getWho() == "MSAAdapter::rejectConnection") {
            check(out.rfind("HTTP/1.1 413 Request Entity Too Large\r\nContent-Length: 0\r\n", 0) == 0 ||
                  out.rfind("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n", 0) == 0);
            check(context.registered == 1);
        } else {
            check(out.empty());
            check(context.registered == 0);
        }
    }
    // The rest of the connection, as a persistent connection would read it.
    for (int i = 0; i < 4; ++i) {
        try {
            if (!request.readFrom(istr)) break;
        } catch (KVOHTTPException const&) {
            break;
        }
    }
    return 0;
}
