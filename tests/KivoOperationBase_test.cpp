#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"

#include "Cimom/ProtocolAdapter/Common/AdapterException.h"
#include "support/LogCapture.h"
#include "support/TestHandler.h"
#include "support/TestStreams.h"

#include <gtest/gtest.h>

#include <chrono>
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

TEST_F(ProcessTest, NullContextSkipsValidityAndHandlerButWritesTheResponse) {
    make(nullptr);
    run();
    EXPECT_EQ(op->isValidCalls, 0);
    EXPECT_EQ(op->writeCalls, 1);
    EXPECT_EQ(op->signalCalls, 1);
    EXPECT_TRUE(ctx.handler.calls().empty());
    expectRecords(log, {{TRACE, "Invoking OperationHandler for GetClass"},
                        {TRACE, "OperationHandler returned normally for GetClass with status 0"},
                        {TRACE, "writeResponse() returned normally for GetClass"}});
}

TEST_F(ProcessTest, HandlerReceivesTheVeryObjectProcessed) {
    make(&ctx);
    run();
    auto calls = ctx.handler.calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].entry, "callHandler");
    EXPECT_EQ(calls[0].op, static_cast<KivoOperationBase*>(op));
    EXPECT_EQ(op->isValidCalls, 1);
}

TEST_F(ProcessTest, InvalidRequestKeepsEarlierStatusSilently) {
    make(&ctx);
    op->valid = false;
    op->setErrorCode(4);
    run();
    EXPECT_TRUE(ctx.handler.calls().empty());
    EXPECT_EQ(op->getErrorCode(), 4);
    EXPECT_EQ(op->writeCalls, 1);
    expectRecords(log, {{TRACE, "Invoking OperationHandler for GetClass"},
                        {TRACE, "OperationHandler returned normally for GetClass with status 4"},
                        {TRACE, "writeResponse() returned normally for GetClass"}});
}

TEST_F(ProcessTest, HandlerSettingACodeIsReportedWithoutAnErrorRecord) {
    make(&ctx);
    ctx.handler.action = [this](std::string const&) { op->setErrorCode(6); };
    run();
    EXPECT_EQ(op->getErrorCode(), 6);
    expectRecords(log, {{TRACE, "Invoking OperationHandler for GetClass"},
                        {TRACE, "OperationHandler returned normally for GetClass with status 6"},
                        {TRACE, "writeResponse() returned normally for GetClass"}});
}

TEST_F(ProcessTest, ThrownBaseExceptionBecomesTheStatusAndAnErrorRecord) {
    struct Case {
        int thrown;
        int status;
    } const cases[] = {{6, 6}, {0, 1}};
    for (auto const& c : cases) {
        SCOPED_TRACE(c.thrown);
        log.clear();
        make(&ctx);
        ctx.handler.action = [&](std::string const&) {
            throw KivoBaseException("CIMException", "where", "who", "no such class", c.thrown);
        };
        run();
        EXPECT_EQ(op->getErrorCode(), c.status);
        // Only the code reaches the operation; the texts go to the log.
        EXPECT_EQ(op->getErrorContext()->getMessage(), "");
        EXPECT_EQ(op->writeCalls, 1);
        EXPECT_EQ(op->signalCalls, 1);
        expectRecords(log, {{TRACE, "Invoking OperationHandler for GetClass"},
                            {ERROR, "OperationHandler threw CIMException for GetClass.  Code: " +
                                        std::to_string(c.thrown) + "; Msg: no such class"},
                            {TRACE, "writeResponse() returned normally for GetClass"}});
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

TEST_F(ProcessTest, UnknownExceptionGivesStatusOne) {
    make(&ctx);
    ctx.handler.action = [](std::string const&) { throw std::runtime_error("boom"); };
    run();
    EXPECT_EQ(op->getErrorCode(), 1);
    expectRecords(log, {{TRACE, "Invoking OperationHandler for GetClass"},
                        {ERROR, "OperationHandler threw unknown exception for GetClass"},
                        {TRACE, "writeResponse() returned normally for GetClass"}});
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

TEST(OperationBaseTest, SettersReplaceAndSharedValuesAreShared) {
    TestOperation op(nullptr);
    op.setProviderTimeout(-1);
    EXPECT_EQ(op.getProviderTimeout(), -1);
    op.setNameSpace("root/cimv2");
    op.setClassName("CIM_Foo");
    EXPECT_EQ(op.getNameSpace(), "root/cimv2");
    EXPECT_EQ(op.getClassName(), "CIM_Foo");
    KVOSmrPtr<IKivoOperationContext> context(new IKivoOperationContext);
    op.setContext(context);
    EXPECT_TRUE(op.getContext() == context);
    op.setContext(nullptr);
    EXPECT_TRUE(op.getContext().isNull());
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
