#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"

#include "Cimom/ProtocolAdapter/Common/AdapterException.h"
#include "support/LogCapture.h"
#include "support/TestHandler.h"
#include "support/TestStreams.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using kivo_test::LogCapture;
using kivo_test::TestHandlerContext;
using kivo_test::TestOperation;

KVOString const kWho("KivoOperationBase::process()");

struct Expected {
    KivoTraceLog::Severity severity;
    std::string message;
};

// Every record of the driver: who, verbosity 2, CIMOMLOG, and the given
// severities and texts in this order.
void expectRecords(LogCapture const& log, std::vector<Expected> const& expected) {
    auto records = log.records();
    ASSERT_EQ(records.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE("record " + std::to_string(i));
        EXPECT_EQ(records[i].who, kWho);
        EXPECT_EQ(records[i].message.str(), expected[i].message);
        EXPECT_EQ(records[i].severity, expected[i].severity);
        EXPECT_EQ(records[i].verbosity, 2);
        EXPECT_EQ(records[i].category, KVOLog::CIMOMLOG);
    }
}

constexpr auto TRACE = KivoTraceLog::KIVO_TRACE;
constexpr auto ERROR = KivoTraceLog::KIVO_ERROR;

class ProcessTest : public ::testing::Test {
protected:
    KVOSmrPtr<KivoOperationBase> make(IKivoOperationHandlerContext* ctx) {
        op = new TestOperation(ctx);
        holder = KVOSmrPtr<KivoOperationBase>(op);
        return holder;
    }
    void run() { holder->process(kivo_test::nullOStream(), holder); }

    TestHandlerContext ctx;
    TestOperation* op = nullptr;
    KVOSmrPtr<KivoOperationBase> holder;
    LogCapture log;
};

// What the driver makes of each way a request can go: the status, whether
// the handler ran, and its records, byte for byte. Whatever happened, the
// response is written and completion signalled once; only the code of a
// thrown exception reaches the operation, its texts go to the log.
TEST_F(ProcessTest, EachOutcomeGivesItsStatusAndItsRecords) {
    std::string const invoking = "Invoking OperationHandler for GetClass";
    std::string const written = "writeResponse() returned normally for GetClass";
    auto returned = [](int status) {
        return "OperationHandler returned normally for GetClass with status " + std::to_string(status);
    };
    auto threw = [](int code) {
        return "OperationHandler threw CIMException for GetClass.  Code: " + std::to_string(code) +
               "; Msg: no such class";
    };
    auto raise = [](int code) {
        return [code](std::string const&) {
            throw KivoBaseException("CIMException", "where", "who", "no such class", code);
        };
    };
    struct Case {
        char const* name;
        bool withContext;  // without one, validity and the handler are skipped
        bool valid;
        int preset;        // a status set before processing
        std::function<void(std::string const&)> action;
        int status;
        std::size_t handlerCalls;
        std::vector<Expected> records;
    };
    std::vector<Case> const cases = {
        {"no context", false, true, 0, nullptr, 0, 0, {{TRACE, invoking}, {TRACE, returned(0)}, {TRACE, written}}},
        {"invalid request keeps its status silently", true, false, 4, nullptr, 4, 0,
         {{TRACE, invoking}, {TRACE, returned(4)}, {TRACE, written}}},
        {"handler sets a code", true, true, 0, [this](std::string const&) { op->setErrorCode(6); }, 6, 1,
         {{TRACE, invoking}, {TRACE, returned(6)}, {TRACE, written}}},
        {"handler throws code 6", true, true, 0, raise(6), 6, 1, {{TRACE, invoking}, {ERROR, threw(6)}, {TRACE, written}}},
        {"handler throws code 0", true, true, 0, raise(0), 1, 1, {{TRACE, invoking}, {ERROR, threw(0)}, {TRACE, written}}},
        {"handler throws something else", true, true, 0, [](std::string const&) { throw std::runtime_error("boom"); },
         1, 1, {{TRACE, invoking}, {ERROR, "OperationHandler threw unknown exception for GetClass"}, {TRACE, written}}},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        log.clear();
        ctx.handler.clear();
        ctx.handler.action = c.action;
        make(c.withContext ? &ctx : nullptr);
        op->valid = c.valid;
        if (c.preset != 0) op->setErrorCode(c.preset);
        run();
        EXPECT_EQ(op->getErrorCode(), c.status);
        EXPECT_EQ(ctx.handler.calls().size(), c.handlerCalls);
        EXPECT_EQ(op->isValidCalls, c.withContext ? 1 : 0);
        EXPECT_EQ(op->writeCalls, 1);
        EXPECT_EQ(op->signalCalls, 1);
        if (c.records[1].message.rfind("OperationHandler threw CIMException", 0) == 0) {
            ASSERT_FALSE(op->getErrorContext().isNull());
            EXPECT_EQ(op->getErrorContext()->getMessage(), "");
        }
        expectRecords(log, c.records);
    }
}

TEST_F(ProcessTest, ContextSetBeforeThrowingKeepsItsTexts) {
    make(&ctx);
    ctx.handler.action = [this](std::string const&) {
        op->setErrorContext(KivoBaseException("T", "W", "H", "kept", 5));
        throw KivoBaseException("T2", "", "", "other", 9);
    };
    run();
    EXPECT_EQ(op->getErrorCode(), 9);
    EXPECT_EQ(op->getErrorContext()->getMessage(), "kept");
}

TEST_F(ProcessTest, WriteResponseFailureReachesTheCallerWithoutCompletion) {
    make(&ctx);
    op->onWrite = [] { throw KivoBaseException("", "", "", "socket gone", 0); };
    EXPECT_THROW(run(), KivoBaseException);
    EXPECT_EQ(op->signalCalls, 0);
    expectRecords(log, {{TRACE, "Invoking OperationHandler for GetClass"},
                        {TRACE, "OperationHandler returned normally for GetClass with status 0"}});
}

TEST(ErrorSlotTest, NewOperationHasNothingSet) {
    TestOperation op(nullptr);
    EXPECT_EQ(op.getErrorCode(), 0);
    EXPECT_TRUE(op.getErrorContext().isNull());
    EXPECT_TRUE(op.getClientInfo().isNull());
    EXPECT_TRUE(op.getContext().isNull());
    EXPECT_TRUE(op.getAuthorization().isNull());
    EXPECT_EQ(op.getProviderTimeout(), 0);
}

TEST(ErrorSlotTest, CodesAndContextsFollowTheSlotRules) {
    TestOperation op(nullptr);
    op.setErrorCode(5);
    EXPECT_EQ(op.getErrorCode(), 5);
    EXPECT_EQ(op.getErrorContext()->getMessage(), "");
    EXPECT_EQ(op.getErrorContext()->getType(), "");

    op.setErrorContext(KivoBaseException("T", "W", "H", "M", 5));
    op.setErrorCode(7);
    EXPECT_EQ(op.getErrorCode(), 7);
    EXPECT_EQ(op.getErrorContext()->getType(), "T");
    EXPECT_EQ(op.getErrorContext()->getWhere(), "W");
    EXPECT_EQ(op.getErrorContext()->getWho(), "H");
    EXPECT_EQ(op.getErrorContext()->getMessage(), "M");

    op.setErrorContext(KivoBaseException("T", "", "", "zero", 0));
    EXPECT_EQ(op.getErrorCode(), 1);
    EXPECT_EQ(op.getErrorContext()->getMessage(), "zero");

    op.setErrorCode(0);  // cannot clear: failed, with empty texts
    EXPECT_EQ(op.getErrorCode(), 1);
    EXPECT_EQ(op.getErrorContext()->getMessage(), "");
}

TEST(ErrorSlotTest, AdapterExceptionIsStoredAsAPlainCopy) {
    TestOperation op(nullptr);
    AdapterException e("AT", "AW", "AH", "AM", 0);
    EXPECT_EQ(e.getCode(), 0) << "the exception itself keeps code 0";
    op.setErrorContext(e);
    auto stored = op.getErrorContext();
    EXPECT_EQ(dynamic_cast<AdapterException*>(stored.get()), nullptr);
    EXPECT_EQ(stored->getType(), "AT");
    EXPECT_EQ(stored->getMessage(), "AM");
    EXPECT_EQ(stored->getCode(), 1);
    EXPECT_TRUE(stored == op.getErrorContext()) << "the getter shares the stored context";
}

TEST(CompletionTest, WaitTimesOutUnlessTheEventIsSet) {
    TestOperation op(nullptr);
    EXPECT_FALSE(op.waitForProcessCompletion(0));
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(op.waitForProcessCompletion(2));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1900));
    op._processingComplete.set();
    EXPECT_TRUE(op.waitForProcessCompletion(0));
}

}  // namespace
