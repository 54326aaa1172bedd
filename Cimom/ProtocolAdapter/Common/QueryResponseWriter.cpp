#include "Cimom/ProtocolAdapter/Common/QueryResponseWriter.h"

#include "KivoUtilities/KVOCIMUtils.h"

#include <utility>

namespace qora {

QueryResponseWriter::QueryResponseWriter(KVOSmrPtr<QueryResponseCollection> const& coll) : collection(coll) {
    collection->registerWriter();
}

void QueryResponseWriter::Close() {}

QueryResponseWriter::~QueryResponseWriter() {
    if (collection) {
        try {
            collection->unregisterWriter();
        } catch (...) {
            // Only reachable when the writer count was driven to 0 behind this
            // writer's back; there is nothing left to unregister.
        }
    }
    collection = nullptr;
}

bool QueryResponseWriter::add(QueryRow row, bool throwOnAbort) { return collection->add(std::move(row), throwOnAbort); }
void QueryResponseWriter::setErrorCode(int errorCode) { collection->setErrorCode(errorCode); }
KVOSmrPtr<KVOValSlist<KVOString>> QueryResponseWriter::getColumnNames() const { return collection->getColumnNames(); }

}  // namespace qora
