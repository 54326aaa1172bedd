#include "CoreServices/CI_Event.h"

void CI_ManualEvent::set() {
    {
        std::lock_guard<std::mutex> guard(_lock);
        _signalled = true;
    }
    _cv.notify_all();
}

void CI_ManualEvent::reset() {
    std::lock_guard<std::mutex> guard(_lock);
    _signalled = false;
}

bool CI_ManualEvent::isSet() const {
    std::lock_guard<std::mutex> guard(_lock);
    return _signalled;
}

int CI_ManualEvent::wait(CI_RelTime const& timeout) {
    std::unique_lock<std::mutex> guard(_lock);
    bool signalled = _cv.wait_for(guard, timeout.toDuration(), [this] { return _signalled; });
    return signalled ? 1 : 0;
}
