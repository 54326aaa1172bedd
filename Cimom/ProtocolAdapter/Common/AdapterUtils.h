// Static operations shared by the library and the protocol adapters: the one
// call for log records, and conversions between string lists and value lists.
//
// No fields and no instances; every operation is re-entrant.
#pragma once

#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KivoTraceLog.h"

class AdapterUtils {
public:
    AdapterUtils() = delete;

    // Writes one record to the object manager's log with verbosity 2 and the
    // category CIMOMLOG.
    static void log(KVOString const& who, KVOString const& what, KivoTraceLog::Severity severity);
};
