#include "objectmanager/HandlerContext.h"

namespace kivo::om {

HandlerContext::HandlerContext(ModelSettings settings, Options options)
    : _settings(settings), _om(options.instanceStore ? ObjectManager(options.instanceStore) : ObjectManager(options.store)), _handler(_om, options.enumerations, options.streamThreads) {}

HandlerContext::~HandlerContext() = default;

void HandlerContext::setState(State state) {
    std::lock_guard guard(_lock);
    _state = state;
}

void HandlerContext::start() {
    start([this](ObjectManager& om) { loadDefaultModel(om, _settings); });
}

void HandlerContext::start(std::function<void(ObjectManager&)> const& load) {
    setState(STARTING);
    load(_om);
    setState(STARTED);
}

void HandlerContext::shutdown() { shutdown(std::chrono::milliseconds::max()); }

bool HandlerContext::shutdown(std::chrono::milliseconds limit) {
    std::unique_lock held(_lock);
    _state = SHUTTING_DOWN;
    auto const drained = [this] { return _inFlight == 0; };
    if (limit == std::chrono::milliseconds::max()) _drained.wait(held, drained);
    else if (!_drained.wait_for(held, limit, drained)) return false;
    held.unlock();
    // Every request is over: producers still running have lost their consumer.
    _handler.releaseProducers();
    _handler.waitIdle();
    setState(SHUT_DOWN);
    return true;
}

int HandlerContext::requestsInFlight() const {
    std::lock_guard guard(_lock);
    return _inFlight;
}

void HandlerContext::setPortInfo(PortInfo const& ports) { _ports = ports; }

IKivoOperationHandlerContext::State HandlerContext::getCurrentState() {
    std::lock_guard guard(_lock);
    return _state;
}

void HandlerContext::registerRequest() {
    std::lock_guard guard(_lock);
    ++_inFlight;
}

void HandlerContext::deRegisterRequest() {
    std::lock_guard guard(_lock);
    if (_inFlight > 0) --_inFlight;
    if (_inFlight == 0) _drained.notify_all();
}

KVOSmrPtr<IKivoClass> HandlerContext::getClass(KVOString const& nameSpace, KVOString const& className) {
    return _om.repository().getClass(nameSpace, className);
}

}  // namespace kivo::om
