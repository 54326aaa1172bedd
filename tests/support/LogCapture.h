// Captures log records for the lifetime of the object (restoring the previous
// sink afterwards), so tests can assert exact record texts and their order.
#pragma once

#include "KivoUtilities/KVOLog.h"

#include <mutex>
#include <vector>

namespace kivo_test {

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    std::vector<KVOLogRecord> records() const;
    // Records whose who equals `who`, in order.
    std::vector<KVOLogRecord> recordsFrom(KVOString const& who) const;
    // Messages only, in order.
    std::vector<std::string> messages() const;
    void clear();

private:
    mutable std::mutex _lock;
    std::vector<KVOLogRecord> _records;  // guarded by _lock
    KVOLog::Sink _previous;
};

}  // namespace kivo_test
