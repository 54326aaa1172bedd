#include "Cimom/ProtocolAdapter/Common/AdapterUtils.h"

#include "KivoUtilities/KVOLog.h"

void AdapterUtils::log(KVOString const& who, KVOString const& what, KivoTraceLog::Severity severity) {
    KVOLog::log(who, what, severity, 2, 0, KVOLog::CIMOMLOG);
}
