#include "Cimom/ProtocolAdapter/Common/QueryResponseCollection.h"

#include "Cimom/ProtocolAdapter/Common/AdapterUtils.h"
#include "Cimom/ProtocolAdapter/Common/QueryResponseWriter.h"
#include "KivoUtilities/KVOCIMUtils.h"

#include <utility>

namespace qora {

KVOSmrPtr<QueryResponseCollection> QueryResponseCollection::newCollection(int idleTimeout) {
    return KVOSmrPtr<QueryResponseCollection>(new QueryResponseCollection(idleTimeout));
}

QueryResponseCollection::QueryResponseCollection(int idleTimeout)
    : columnNames(new KVOValSlist<KVOString>),
      responses(MultiResponseCollection<QueryRow>::newCollection(static_cast<unsigned int>(idleTimeout), -1)),
      // A second, independent count on this object: see the class comment.
      _smartThis(this) {}

QueryResponseCollection::~QueryResponseCollection() {
    _smartThis.detach();
    _smartThis = nullptr;
    responses = nullptr;
    columnNames = nullptr;
}

KVOSmrPtr<KVOValSlist<KVOString>> QueryResponseCollection::getColumnNames() const { return columnNames; }

void QueryResponseCollection::setColumnNames(KVOSmrPtr<KVOValSlist<KVOString>> names) {
    columnNames = std::move(names);
}

char const* QueryResponseCollection::refusalOf(QueryRow const& row) const {
    KVOSmrPtr<KVOValSlist<KVOString>> const columns = columnNames;
    if (!columns) return "setColumnNames() must be called before call to add()";
    if (!row) return "NULL rows are not permitted";
    if (row->entries() != columns->entries()) return "row column count does not match number defined by setColumnNames()";
    auto column = columns->begin();
    for (KVOSmrPtr<IKivoProperty> const& property : *row) {
        if (property->getName() != *column) return "row column names do not match those defined by setColumnNames()";
        ++column;
    }
    return nullptr;
}

bool QueryResponseCollection::add(QueryRow row, bool throwOnAbort) {
    if (char const* refusal = refusalOf(row)) {
        AdapterUtils::log("qora::QueryResponseCollection::add()", refusal, KivoTraceLog::KIVO_ERROR);
        return false;
    }
    return responses->add(std::move(row), throwOnAbort);
}

void QueryResponseCollection::setErrorCode(int ec) { responses->setErrorCode(ec); }
int QueryResponseCollection::getErrorCode() const { return responses->getErrorCode(); }
void QueryResponseCollection::registerWriter() { responses->registerWriter(); }
void QueryResponseCollection::unregisterWriter() { responses->unregisterWriter(); }
void QueryResponseCollection::allowComplete() { responses->allowComplete(); }
bool QueryResponseCollection::hasNext() { return responses->hasNext(); }
QueryRow QueryResponseCollection::next() { return responses->next(); }

KVOSmrPtr<IQueryResponse> QueryResponseCollection::getWriter() {
    if (responses->isComplete())
        throw KivoBaseException("", "qora::MultiResponseCollection::getWriter", "", "may only be if collection is incomplete.", 0);
    return KVOSmrPtr<IQueryResponse>(new QueryResponseWriter(_smartThis));
}

}  // namespace qora
