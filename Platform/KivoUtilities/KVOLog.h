// The object manager's log: one process-wide sink that receives every record.
//
// The default sink writes records whose severity is at or above a threshold
// (KIVO_WARNING unless changed with setStderrThreshold) to standard error.
// Tests and servers install their own sink with setSink. log() may be called
// from any thread; sinks are called one at a time under a lock, so a sink must
// not log itself.
#pragma once

#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KivoTraceLog.h"

#include <functional>

struct KVOLogRecord;

class KVOLog {
public:
    enum Category {
        CIMOMLOG = 0,
        SECURITYLOG = 1,
        HTTPLOG = 2,
    };
    using Sink = std::function<void(KVOLogRecord const&)>;

    static void log(KVOString const& who, KVOString const& message, KivoTraceLog::Severity severity, int verbosity,
                    int reserved, Category category);

    // Installs a sink (an empty function restores the default one) and returns
    // the previous sink.
    static Sink setSink(Sink sink);
    // Severity at or above which the default sink prints (KIVO_NO_SEVERITY: nothing).
    static void setStderrThreshold(KivoTraceLog::Severity severity);
};

struct KVOLogRecord {
    KVOString who;
    KVOString message;
    KivoTraceLog::Severity severity;
    int verbosity;
    KVOLog::Category category;
};
