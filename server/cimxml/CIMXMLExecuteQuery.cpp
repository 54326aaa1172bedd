#include "CIMXMLExecuteQuery.h"

#include "CIMXMLParams.h"
#include "CIMXMLText.h"

#include "Cimom/ProtocolAdapter/Common/AdapterException.h"
#include "Cimom/ProtocolAdapter/Common/AdapterUtils.h"
#include "Cimom/ProtocolAdapter/Common/KivoExecuteQueryOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "KivoUtilities/CKivoData.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace cimxmlpa {

namespace {

char const kWho[] = "cimxmlpa::ExecuteQuery";

QueryRowSource& rowSource() {
    static QueryRowSource source;
    return source;
}

// The ExecuteQuery operation of the adapter: parameters from the request,
// rows from the row source, written as instances of the FROM class.
class RowQueryOperation final : public KivoExecuteQueryOperationBase {
public:
    RowQueryOperation(ResponseChannel& channel, IKivoOperationHandlerContext* context, unsigned bound)
        : KivoExecuteQueryOperationBase(context), _channel(channel), _bound(std::max(bound, 1u)) {}

    ~RowQueryOperation() override { stopProducer(); }

    // A parameter the request got wrong is stored in KivoOperationBase's
    // error slot (the build step's setErrorContext), which the row
    // collection's status does not show.
    bool isValid() const override { return KivoOperationBase::getErrorCode() == 0; }

    void writeResponse(KVOGenericHTTPOStream&) override;

    // The consumer's side of the rows, as the response channel streams them:
    // nothing unless the producer was started.
    bool hasRow() const { return _started && response->hasNext(); }
    qora::QueryRow take() {
        qora::QueryRow row = response->next();
        {
            std::lock_guard<std::mutex> lock(_mutex);
            --_queued;
        }
        _room.notify_one();
        return row;
    }
    KVOString const& className() const { return _className; }

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    // Waits until fewer than _bound rows are queued; false once told to stop.
    bool reserveSlot() {
        std::unique_lock<std::mutex> lock(_mutex);
        _room.wait(lock, [this] { return _stop || _queued < _bound; });
        if (_stop) return false;
        ++_queued;
        return true;
    }

    void stopProducer() {
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _stop = true;
        }
        _room.notify_all();
        if (_producer.joinable()) _producer.join();
    }

    ResponseChannel& _channel;
    unsigned const _bound;
    KVOString _className;
    bool _started = false;  // the producer runs; the adapter's thread only
    std::thread _producer;

    std::mutex _mutex;
    std::condition_variable _room;  // signalled when a row is taken or on stop
    unsigned _queued = 0;           // rows added and not yet taken; guarded by _mutex
    bool _stop = false;             // guarded by _mutex
};

void RowQueryOperation::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    KivoExecuteQueryOperationBase::callHandler(opBase);
    QueryRowSet set;
    try {
        QueryRowSource const& source = rowSource();
        if (!source) throw AdapterException("CIMException", kWho, "", "queries are not served here", 7);
        set = source(getNameSpace(), getQueryLanguage(), getQuery());
    } catch (KivoBaseException const& e) {
        // Both slots: the code for the collection (the status the response
        // shows), the context for its description.
        KivoOperationBase::setErrorContext(e);
        setErrorCode(e.getCode() != 0 ? e.getCode() : 1);
        return;
    }
    _className = set.className;
    KVOSmrPtr<KVOValSlist<KVOString>> columns(new KVOValSlist<KVOString>());
    for (KVOString const& c : set.columns) columns->append(c);
    setColumnNames(columns);
    KVOSmrPtr<qora::IQueryResponse> writer = getResponse();
    response->allowComplete();
    _started = true;
    _producer = std::thread([this, rows = std::move(set.rows), writer]() mutable {
        try {
            if (rows) rows([&](qora::QueryRow const& row) { return reserveSlot() && writer->add(row, false); });
        } catch (KivoBaseException const& e) {
            // A status other than CIM_ERR_FAILED is the query's own fault (an invalid query, ...).
            AdapterUtils::log(kWho, "the query's rows failed: " + text::forLog(e.getMessage().str()),
                              e.getCode() == 0 || e.getCode() == 1 ? KivoTraceLog::KIVO_ERROR
                                                                   : KivoTraceLog::KIVO_INFORMATION);
            writer->setErrorCode(e.getCode() != 0 ? e.getCode() : 1);
        } catch (std::exception const& e) {
            AdapterUtils::log(kWho, "the query's rows failed: " + text::forLog(e.what()), KivoTraceLog::KIVO_ERROR);
            writer->setErrorCode(1);
        }
        writer = nullptr;  // the last writer gone, the collection completes
    });
}

// The rows as the response channel streams results: a multi-response
// operation whose hasNext/next are the query operation's and whose status is
// the query's. It carries nothing of its own.
class RowCursor final : public KivoMultiResponseOperationBase<qora::QueryRow> {
public:
    explicit RowCursor(RowQueryOperation& query)
        : KivoMultiResponseOperationBase<qora::QueryRow>(nullptr, 0), _query(query) {}

    bool hasNext() const override { return _query.hasRow(); }
    qora::QueryRow next() const override { return _query.take(); }
    int getErrorCode() const override {
        int const parameters = _query.KivoOperationBase::getErrorCode();
        return parameters != 0 ? parameters : _query.getErrorCode();
    }
    KVOSmrPtr<KivoBaseException> getErrorContext() const override { return _query.getErrorContext(); }

    bool isValid() const override { return false; }
    void writeResponse(KVOGenericHTTPOStream&) override {}

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const&) override {}

private:
    RowQueryOperation& _query;
};

void RowQueryOperation::writeResponse(KVOGenericHTTPOStream&) {
    RowCursor cursor(*this);
    KVOString const className = _className;
    try {
        _channel.writeStream(cursor, [&](std::string& out, qora::QueryRow const& row) {
            KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
            if (row) {
                for (KVOSmrPtr<IKivoProperty> const& p : *row) properties.append(p);
            }
            out += "<VALUE.OBJECT>";
            _channel.dataWriter().writeInstance(out, CKivoObject(className, properties));
            out += "</VALUE.OBJECT>";
        });
    } catch (...) {
        stopProducer();
        throw;
    }
    stopProducer();
}

// The parameters of ExecQuery.
std::vector<ParamSpec<RowQueryOperation>> const& params() {
    using Op = RowQueryOperation;
    static std::vector<ParamSpec<Op>> const table = {
        {"QueryLanguage", Required,
         [](Op& op, pugi::xml_node p, KVOString const&) { op.setQueryLanguage(reader::stringValue(p)); }},
        {"Query", Required, [](Op& op, pugi::xml_node p, KVOString const&) { op.setQuery(reader::stringValue(p)); }},
    };
    return table;
}

}  // namespace

void setQueryRowSource(QueryRowSource source) { rowSource() = std::move(source); }

bool isRowQuery(CIMXMLRequest const& request) {
    if (!request.isIntrinsic() || !text::equalsIgnoreCase(request.methodName(), "ExecQuery")) return false;
    for (pugi::xml_node p : request.params()) {
        if (!text::equalsIgnoreCase(p.attribute("NAME").value(), "Query")) continue;
        std::string query;
        try {
            query = reader::stringValue(p).str();
        } catch (KivoBaseException const&) {
            return false;  // the handler's ExecQuery refuses the parameter
        }
        std::size_t i = query.find_first_not_of(" \t\r\n");
        if (i == std::string::npos || !text::equalsIgnoreCase(std::string_view(query).substr(i, 6), "SELECT")) return true;
        i = query.find_first_not_of(" \t\r\n", i + 6);
        return i == std::string::npos || query[i] != '*';
    }
    return false;
}

KVOSmrPtr<KivoOperationBase> buildExecuteQuery(CIMXMLRequest const& request, ResponseChannel& channel,
                                               IKivoOperationHandlerContext* context, OperationSettings const& settings) {
    auto* op = new RowQueryOperation(channel, context, settings.streamBound);
    KVOSmrPtr<KivoOperationBase> held(static_cast<KivoOperationBase*>(op));
    op->setNameSpace(request.nameSpace());
    try {
        bindParams<RowQueryOperation>(*op, params(), request.params(), request.nameSpace());
    } catch (KivoBaseException const& e) {
        op->setErrorContext(e);
    } catch (std::exception const& e) {
        op->setErrorContext(AdapterException("CIM_ERR_FAILED", "cimxmlpa", "CIMXMLAdapter", e.what(), 1));
    }
    return held;
}

}  // namespace cimxmlpa
