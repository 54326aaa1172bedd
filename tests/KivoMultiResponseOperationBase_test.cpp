#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"

#include "Cimom/ProtocolAdapter/Common/AdapterException.h"
#include "support/LogCapture.h"
#include "support/StreamingTestSupport.h"
#include "support/TestHandler.h"
#include "support/TestStreams.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using kivo_test::Async;
using kivo_test::Census;
using kivo_test::expectKivoError;
using kivo_test::TestHandlerContext;
using kivo_test::Tracked;

using Item = KVOSmrPtr<IKivoObject>;
using Interface = IKivoMultiResponseOperation<Item>;

// A multi-result operation base whose callHandler hands the operation, under
// its multi-result interface, to a scripted handler.
class StreamingOperationBase : public KivoMultiResponseOperationBase<Item> {
public:
    StreamingOperationBase(IKivoOperationHandlerContext* ctx, unsigned bounds)
        : KivoMultiResponseOperationBase<Item>(ctx, bounds) {
        setOperationName("EnumerateInstances");
    }

    std::function<void(KVOSmrPtr<Interface> const&)> handler;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override {
        handler(asInterface<Interface>(opBase));
    }
};

using StreamingOperation = kivo_test::Concrete<StreamingOperationBase>;

struct Fixture {
    explicit Fixture(unsigned bounds = 0) : op(new StreamingOperation(&ctx, bounds)), holder(op) {}

    std::vector<int> drain() {
        std::vector<int> out;
        while (op->hasNext()) {
            Item item = op->next();
            auto& t = dynamic_cast<Tracked&>(*item);
            t.markDelivered();
            out.push_back(t.sequence);
        }
        return out;
    }

    kivo_test::LogCapture log;  // the driver's records stay out of the test output
    Census census;
    TestHandlerContext ctx;
    StreamingOperation* op;
    KVOSmrPtr<KivoOperationBase> holder;
};

TEST(KivoMultiResponseOperationBase, EveryGetResponseIsANewWriterAndAllMustClose) {
    Fixture f;
    auto a = f.op->getResponse();
    auto b = f.op->getResponse();
    EXPECT_NE(a.get(), b.get());
    f.op->allowComplete();
    a->add(Tracked::make(f.census, 0, 1), true);
    a->Close();
    Async<bool> consumer([&f] { return f.op->hasNext() && f.op->hasNext(); });
    ASSERT_TRUE(consumer.waitFor(10s));
    EXPECT_TRUE(consumer.get());  // the result is there; b is still open
    f.op->next();
    b = nullptr;  // released without Close
    EXPECT_FALSE(f.op->hasNext());
    EXPECT_EQ(f.op->getErrorCode(), 0);
}

TEST(KivoMultiResponseOperationBase, GetResponseAfterCompletionRaisesAndRegistersNothing) {
    Fixture f;
    f.op->allowComplete();
    expectKivoError([&] { f.op->getResponse(); }, "MultiResponseCollection::registerWriter",
                    "Writers may be registered only while collection is incomplete.", 0);
    expectKivoError([&] { f.op->allowComplete(); }, "MultiResponseCollection::allowComplete",
                    "allowComplete() may only be called once.", 0);
    EXPECT_FALSE(f.op->hasNext());
}

TEST(KivoMultiResponseOperationBase, ErrorContextPassesItsCodeUnchanged) {
    struct Case {
        char const* name;
        int code;
        bool resultFirst;
        int expectedStatus;
    };
    for (Case k : {Case{"code 7", 7, false, 7}, Case{"code 0", 0, false, 0}, Case{"after a result", 7, true, 0}}) {
        SCOPED_TRACE(k.name);
        Fixture f;
        auto w = f.op->getResponse();
        if (k.resultFirst) w->add(Tracked::make(f.census), true);
        AdapterException e("type", "place", "who", "the message", k.code);
        f.op->setErrorContext(e);
        EXPECT_EQ(f.op->getErrorCode(), k.expectedStatus);
        auto stored = f.op->getErrorContext();
        ASSERT_TRUE(stored);
        EXPECT_EQ(typeid(*stored), typeid(KivoBaseException));  // a copy of the base part
        EXPECT_EQ(stored->getMessage(), e.getMessage());
        EXPECT_EQ(stored->getWhere(), e.getWhere());
        EXPECT_EQ(stored->getCode(), k.code);
    }
}

TEST(KivoMultiResponseOperationBase, StatusIsTheCollectionsFirstCode) {
    Fixture f;
    f.op->setErrorCode(0);
    EXPECT_EQ(f.op->getErrorCode(), 0);  // not made 1 as in the root base
    f.op->setErrorCode(4);
    f.op->setErrorCode(5);
    EXPECT_EQ(f.op->getErrorCode(), 4);
    EXPECT_FALSE(f.op->hasNext());
}

TEST(KivoMultiResponseOperationBase, AfterProcessCompletionAdditionsAreDropped) {
    Fixture f;
    auto w = f.op->getResponse();
    f.op->allowComplete();
    f.op->signalProcessCompletion();
    EXPECT_TRUE(w->add(Tracked::make(f.census), true));
    EXPECT_EQ(f.census.alive(), 0);  // not queued
}

TEST(KivoMultiResponseOperationBase, HandlerExceptionBeforeAnyResultBecomesTheStatus) {
    struct Case {
        char const* name;
        int thrown;
        bool addFirst;
        int status;
        std::size_t results;
    };
    for (Case k : {Case{"code 6", 6, false, 6, 0}, Case{"code 0", 0, false, 1, 0}, Case{"after a result", 6, true, 0, 1}}) {
        SCOPED_TRACE(k.name);
        Fixture f;
        f.op->handler = [&](KVOSmrPtr<Interface> const& op) {
            auto w = op->getResponse();
            op->allowComplete();
            if (k.addFirst) w->add(Tracked::make(f.census), true);
            throw KivoBaseException("T", "where", "who", "M", k.thrown);
        };
        std::size_t seen = 99;
        int statusInWrite = -1;
        f.op->onWrite = [&] {
            seen = f.drain().size();
            statusInWrite = f.op->getErrorCode();
        };
        f.holder->process(kivo_test::nullOStream(), f.holder);
        EXPECT_EQ(seen, k.results);
        EXPECT_EQ(statusInWrite, k.status);
    }
}

}  // namespace
