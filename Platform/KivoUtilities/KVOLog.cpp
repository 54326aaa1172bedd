#include "KivoUtilities/KVOLog.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace {

std::atomic<int> g_threshold{KivoTraceLog::KIVO_WARNING};

char const* severityName(KivoTraceLog::Severity s) {
    switch (s) {
        case KivoTraceLog::KIVO_CRITICAL: return "CRITICAL";
        case KivoTraceLog::KIVO_ERROR: return "ERROR";
        case KivoTraceLog::KIVO_WARNING: return "WARNING";
        case KivoTraceLog::KIVO_INFORMATION: return "INFO";
        case KivoTraceLog::KIVO_TRACE: return "TRACE";
        default: return "-";
    }
}

void defaultSink(KVOLogRecord const& r) {
    int threshold = g_threshold.load(std::memory_order_relaxed);
    if (threshold < 0 || static_cast<int>(r.severity) > threshold) return;
    std::fprintf(stderr, "[%s] %s: %s\n", severityName(r.severity), r.who.c_str(), r.message.c_str());
}

struct State {
    std::mutex lock;
    KVOLog::Sink sink = defaultSink;
};

State& state() {
    static State s;  // never destroyed before last use: function-local static
    return s;
}

}  // namespace

void KVOLog::log(KVOString const& who, KVOString const& message, KivoTraceLog::Severity severity, int verbosity,
                 int /*reserved*/, Category category) {
    KVOLogRecord record{who, message, severity, verbosity, category};
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.sink(record);
}

KVOLog::Sink KVOLog::setSink(Sink sink) {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    Sink previous = std::move(s.sink);
    s.sink = sink ? std::move(sink) : Sink(defaultSink);
    return previous;
}

void KVOLog::setStderrThreshold(KivoTraceLog::Severity severity) {
    g_threshold.store(static_cast<int>(severity), std::memory_order_relaxed);
}
