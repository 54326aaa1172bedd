#include "support/LogCapture.h"

namespace kivo_test {

LogCapture::LogCapture() {
    _previous = KVOLog::setSink([this](KVOLogRecord const& r) {
        std::lock_guard<std::mutex> guard(_lock);
        _records.push_back(r);
    });
}

LogCapture::~LogCapture() { KVOLog::setSink(_previous); }

std::vector<KVOLogRecord> LogCapture::records() const {
    std::lock_guard<std::mutex> guard(_lock);
    return _records;
}

std::vector<KVOLogRecord> LogCapture::recordsFrom(KVOString const& who) const {
    std::vector<KVOLogRecord> out;
    for (auto const& r : records())
        if (r.who == who) out.push_back(r);
    return out;
}

std::vector<std::string> LogCapture::messages() const {
    std::vector<std::string> out;
    for (auto const& r : records()) out.push_back(r.message.str());
    return out;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> guard(_lock);
    _records.clear();
}

}  // namespace kivo_test
