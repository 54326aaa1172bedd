#include "Cimom/ProtocolAdapter/Common/MultiResponseCollection.h"

#include "KivoUtilities/QORAConfigManager.h"

namespace qora {

namespace detail {

void raiseCollectionError(char const* where, char const* message, int code) {
    throw KivoBaseException("", where, "", message, code);
}

KVOsint32 readTransactionTimeout() {
    constexpr KVOsint32 kDefaultSeconds = 600;
    constexpr KVOsint32 kNoPracticalLimit = 2147483647;
    KVOsint32 seconds = kDefaultSeconds;
    QORAConfigManager* config = QORAConfigManager::getInstance();
    if (!config || !config->getSint32("QORA", "CimTransactionTimeout", seconds)) return kDefaultSeconds;
    return seconds >= 1 ? seconds : kNoPracticalLimit;
}

}  // namespace detail

#define QORA_INSTANTIATE_COLLECTION(T) template class MultiResponseCollection<T>;
QORA_MULTI_RESPONSE_RESULT_TYPES(QORA_INSTANTIATE_COLLECTION)
#undef QORA_INSTANTIATE_COLLECTION

}  // namespace qora
