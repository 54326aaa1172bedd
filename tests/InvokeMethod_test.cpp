#include "Cimom/ProtocolAdapter/Common/KivoInvokeMethodOperationBase.h"

#include "KivoUtilities/CKivoData.h"
#include "support/LogCapture.h"
#include "support/TestHandler.h"
#include "support/TestStreams.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using kivo_test::Concrete;
using kivo_test::TestHandlerContext;
using ParameterList = KVOValSlist<KVOSmrPtr<IKivoActualParameter>>;
using InvokeMethod = Concrete<KivoInvokeMethodOperationBase>;

KVOSmrPtr<IKivoActualParameter> parameter(char const* name, char const* value) {
    return KVOSmrPtr<IKivoActualParameter>(
        new CKivoActualParameter(name, KVOSmrPtr<IKivoValue>(new CKivoValue(value))));
}

// A handler whose handleInvokeMethod records the call and then runs `script`
// on the operation it received, the way the object manager's handler would.
class ScriptedHandler : public kivo_test::RecordingHandler {
public:
    void handleInvokeMethod(KVOSmrPtr<IKivoInvokeMethodOperation> const& op) override {
        RecordingHandler::handleInvokeMethod(op);
        if (script) script(op);
    }
    std::function<void(KVOSmrPtr<IKivoInvokeMethodOperation> const&)> script;
};

class InvokeMethodTest : public ::testing::Test {
protected:
    InvokeMethodTest() {
        ctx.setHandler(&handler);
        op->setNameSpace("root/cimv2");
        op->setClassName("Kivo_Service");
        op->setOperationName("StartService");
        op->setInstanceName(target);
        op->setInputParameters(input);
    }

    void process() { holder->process(kivo_test::nullOStream(), holder); }

    kivo_test::LogCapture log;  // keeps the driver's records off standard error
    TestHandlerContext ctx;
    ScriptedHandler handler;
    InvokeMethod* op = new InvokeMethod(&ctx);
    KVOSmrPtr<KivoOperationBase> holder{op};
    KVOSmrPtr<IKivoInstanceName> target{
        new CKivoInstanceName("root/cimv2", "Kivo_Service", {{"Name", "sshd"}})};
    KVOSmrPtr<ParameterList> input{new ParameterList{parameter("Timeout", "30")}};
};

// The method name is the operation name, as the most-derived class answers it.
TEST(InvokeMethodOperation, MethodNameIsTheOperationName) {
    InvokeMethod op(nullptr);
    EXPECT_EQ(op.getMethodName(), "");
    op.setOperationName("RequestStateChange");
    EXPECT_EQ(op.getMethodName(), "RequestStateChange");

    struct Renamed : InvokeMethod {
        Renamed() : InvokeMethod(nullptr) {}
        KVOString getOperationName() const override { return "Renamed"; }
    } renamed;
    renamed.setOperationName("Ignored");
    EXPECT_EQ(static_cast<IKivoInvokeMethodOperation const&>(renamed).getMethodName(), "Renamed");
}

TEST_F(InvokeMethodTest, HandlerReadsTheCallAndItsResultsReachWriteResponse) {
    KVOSmrPtr<ParameterList> output(new ParameterList{parameter("State", "Running")});
    KVOSmrPtr<IKivoValue> returned(new CKivoValue("0"));
    handler.script = [&](KVOSmrPtr<IKivoInvokeMethodOperation> const& call) {
        EXPECT_EQ(call->getMethodName(), "StartService");
        EXPECT_EQ(call->getNameSpace(), "root/cimv2");
        EXPECT_EQ(call->getClassName(), "Kivo_Service");
        EXPECT_EQ(call->getInstanceName(), target);
        EXPECT_EQ(call->getInputParameters(), input);
        call->setOutputParameters(output);
        call->setReturn(returned);
    };
    op->onWrite = [&] {
        EXPECT_EQ(op->getOutputParameters(), output);
        EXPECT_EQ(op->getReturn(), returned);
    };
    process();

    auto calls = handler.calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].entry, "handleInvokeMethod");
    EXPECT_EQ(calls[0].op, static_cast<IKivoInvokeMethodOperation*>(op));
    EXPECT_EQ(op->writeCalls, 1);
    EXPECT_EQ(op->getErrorCode(), 0);
    EXPECT_EQ(op->getOutputParameters(), output);
    EXPECT_EQ(op->getReturn(), returned);
}

}  // namespace
