#include "support/TestHandler.h"

namespace kivo_test {

void RecordingHandler::record(char const* entry, void const* op) {
    {
        std::lock_guard<std::mutex> guard(_lock);
        _calls.push_back({entry, op});
    }
    if (action) action(entry);
}

std::vector<RecordingHandler::Call> RecordingHandler::calls() const {
    std::lock_guard<std::mutex> guard(_lock);
    return _calls;
}

std::vector<std::string> RecordingHandler::entries() const {
    std::vector<std::string> out;
    for (auto const& c : calls()) out.push_back(c.entry);
    return out;
}

void RecordingHandler::clear() {
    std::lock_guard<std::mutex> guard(_lock);
    _calls.clear();
}

#define KIVO_TEST_DEFINE_ENTRY(entry, iface) \
    void RecordingHandler::entry(KVOSmrPtr<iface> const& op) { record(#entry, op.get()); }
KIVO_TEST_HANDLER_ENTRIES(KIVO_TEST_DEFINE_ENTRY)
#undef KIVO_TEST_DEFINE_ENTRY

void TestHandlerContext::note(char const* event) {
    std::lock_guard<std::mutex> guard(_lock);
    _events.emplace_back(event);
}

std::vector<std::string> TestHandlerContext::events() const {
    std::lock_guard<std::mutex> guard(_lock);
    return _events;
}

IKivoOperationHandlerContext::State TestHandlerContext::getCurrentState() {
    note("getCurrentState");
    return _state.load();
}

void TestHandlerContext::registerRequest() {
    note("registerRequest");
    ++_registered;
}

void TestHandlerContext::deRegisterRequest() {
    note("deRegisterRequest");
    ++_deregistered;
}

IKivoOperationHandler& TestHandlerContext::getOperationHandler() {
    note("getOperationHandler");
    return _handler ? *_handler : handler;
}

void TestOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    auto* ctx = getOperationHandlerContext();
    auto& h = dynamic_cast<RecordingHandler&>(ctx->getOperationHandler());
    h.record("callHandler", opBase.get());
}

}  // namespace kivo_test
