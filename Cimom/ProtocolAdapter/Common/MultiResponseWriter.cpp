#include "Cimom/ProtocolAdapter/Common/MultiResponseWriter.h"

namespace qora {

#define QORA_INSTANTIATE_WRITER(T) template class MultiResponseWriter<T>;
QORA_MULTI_RESPONSE_RESULT_TYPES(QORA_INSTANTIATE_WRITER)
#undef QORA_INSTANTIATE_WRITER

}  // namespace qora
