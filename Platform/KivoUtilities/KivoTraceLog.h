// Severities of the object manager's log, from most to least severe.
#pragma once

class KivoTraceLog {
public:
    enum Severity {
        KIVO_NO_SEVERITY = -1,
        KIVO_CRITICAL = 0,
        KIVO_ERROR = 1,
        KIVO_WARNING = 2,
        KIVO_INFORMATION = 3,
        KIVO_TRACE = 4,
    };
};
