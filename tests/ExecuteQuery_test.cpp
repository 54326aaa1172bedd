#include "Cimom/ProtocolAdapter/Common/KivoExecuteQueryOperationBase.h"

#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/KVOCIMStrings.h"
#include "support/LogCapture.h"
#include "support/TestHandler.h"
#include "support/TestStreams.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using kivo_test::TestHandlerContext;
using qora::QueryRow;

KVOSmrPtr<KVOValSlist<KVOString>> columns(std::vector<char const*> const& names) {
    KVOSmrPtr<KVOValSlist<KVOString>> list(new KVOValSlist<KVOString>);
    for (char const* n : names) list->append(n);
    return list;
}

QueryRow row(char const* name, char const* value) {
    QueryRow r(new KVOValSlist<KVOSmrPtr<IKivoProperty>>);
    r->append(KVOSmrPtr<IKivoProperty>(new CKivoProperty(name, KVOSmrPtr<IKivoValue>(new CKivoValue(value)))));
    return r;
}

// An adapter's ExecuteQuery: the rows come from `engine`, run from its own
// callHandler after the base's (which calls nothing); once the engine holds
// its writers the adapter allows completion, and writeResponse takes the rows
// out of the collection the way a CIM-XML writer would.
class QueryOperation : public kivo_test::Concrete<KivoExecuteQueryOperationBase> {
public:
    using Concrete::Concrete;
    using KivoExecuteQueryOperationBase::response;

    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override {
        KivoExecuteQueryOperationBase::callHandler(opBase);
        if (engine) engine(*this);
        response->allowComplete();
    }
    void writeResponse(KVOGenericHTTPOStream& ostr) override {
        Concrete::writeResponse(ostr);
        written = getColumnNames();
        while (response->hasNext()) rows.push_back(response->next());
        status = getErrorCode();
    }

    std::function<void(IKivoExecuteQueryOperation&)> engine;
    KVOSmrPtr<KVOValSlist<KVOString>> written;
    std::vector<QueryRow> rows;
    int status = -1;
};

class ExecuteQueryTest : public ::testing::Test {
protected:
    void process() { holder->process(kivo_test::nullOStream(), holder); }

    kivo_test::LogCapture log;  // keeps the driver's records off standard error
    TestHandlerContext ctx;
    QueryOperation* op = new QueryOperation(&ctx);
    KVOSmrPtr<KivoOperationBase> holder{op};
};

TEST_F(ExecuteQueryTest, StartsWithItsNameAndAnEmptyColumnList) {
    EXPECT_EQ(op->getQuery(), "");
    EXPECT_EQ(op->getQueryLanguage(), "");
    EXPECT_EQ(op->getOperationName(), KVOCIMStrings::EXECUTEQUERY);
    ASSERT_FALSE(op->getColumnNames().isNull());
    EXPECT_EQ(op->getColumnNames()->entries(), 0u);
    EXPECT_EQ(op->getColumnNames(), op->response->getColumnNames());
}

TEST_F(ExecuteQueryTest, StatusLivesInTheCollection) {
    struct Case {
        char const* what;
        bool rowFirst;  // a row accepted before the code is set
        std::vector<int> codes;
        int status;
    };
    std::vector<Case> const cases{
        {"one code", false, {6}, 6},
        {"first code wins", false, {5, 7}, 5},
        {"0 is ignored", false, {0}, 0},
        {"after a row", true, {6}, 0},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        QueryOperation query(nullptr);
        auto writer = query.getResponse();
        if (c.rowFirst) {
            ASSERT_TRUE(writer->add(QueryRow(new KVOValSlist<KVOSmrPtr<IKivoProperty>>), true));
        }
        for (int code : c.codes) query.setErrorCode(code);
        EXPECT_EQ(query.getErrorCode(), c.status);
        EXPECT_EQ(query.response->getErrorCode(), c.status);
        // The error slot of the root base is not touched.
        EXPECT_EQ(query.KivoOperationBase::getErrorCode(), 0);
        EXPECT_TRUE(query.getErrorContext().isNull());
    }
}

TEST_F(ExecuteQueryTest, ProcessingCallsNoHandlerEntry) {
    process();
    EXPECT_TRUE(ctx.handler.calls().empty());
    for (auto const& event : ctx.events()) EXPECT_NE(event, "getOperationHandler");
    EXPECT_EQ(op->writeCalls, 1);
    EXPECT_EQ(log.messages().at(1), "OperationHandler returned normally for ExecQuery with status 0");
}

TEST_F(ExecuteQueryTest, RowsFromTwoWritersReachWriteResponseUnderTheDeclaredColumns) {
    auto names = columns({"Name"});
    op->engine = [&](IKivoExecuteQueryOperation& query) {
        query.setColumnNames(names);
        auto first = query.getResponse();
        auto second = query.getResponse();
        EXPECT_NE(first, second);
        EXPECT_EQ(first->getColumnNames(), names);
        EXPECT_TRUE(first->add(row("Name", "sshd"), true));
        EXPECT_TRUE(second->add(row("Name", "cron"), true));
        EXPECT_FALSE(second->add(row("Size", "4"), true));  // refused by the row check
    };
    process();
    EXPECT_EQ(op->written, names);
    ASSERT_EQ(op->rows.size(), 2u);
    EXPECT_EQ(op->rows[0]->first()->getValue()->toString(), "sshd");
    EXPECT_EQ(op->rows[1]->first()->getValue()->toString(), "cron");
    EXPECT_EQ(op->status, 0);
}

TEST_F(ExecuteQueryTest, AFailureThatProcessCatchesIsWhatTheConsumerSees) {
    op->engine = [&](IKivoExecuteQueryOperation& query) {
        auto writer = query.getResponse();
        throw KivoBaseException("CIMException", "", "", "invalid query", 15);
    };
    process();
    EXPECT_TRUE(op->rows.empty());
    EXPECT_EQ(op->status, 15);
    EXPECT_EQ(op->response->getErrorCode(), 15);
    EXPECT_TRUE(op->getErrorContext().isNull());
}

TEST_F(ExecuteQueryTest, WritersKeepTheRowsAliveAfterTheOperationIsGone) {
    op->setColumnNames(columns({"Name"}));
    auto writer = op->getResponse();
    auto rows = op->response;
    holder = nullptr;
    EXPECT_EQ(writer->getColumnNames()->first(), "Name");
    rows = nullptr;  // the writer is now the collection's only owner
    EXPECT_TRUE(writer->add(row("Name", "sshd"), true));
    EXPECT_EQ(writer->getColumnNames()->first(), "Name");
}

}  // namespace
