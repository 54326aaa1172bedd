#include "Cimom/ProtocolAdapter/Common/OpenEnumerateInstancesOperationBase.h"

#include "Cimom/ProtocolAdapter/Common/CloseEnumerationOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullInstancesWithPathOperationBase.h"
#include "KivoUtilities/CKivoData.h"
#include "support/TestHandler.h"
#include "support/TestStreams.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using kivo_test::TestHandlerContext;

constexpr int kInvalidEnumerationContext = 21;

// An object manager's handler in miniature: it keeps the open enumerations of
// instances by enumeration context and serves OpenEnumerateInstances,
// PullInstancesWithPath and CloseEnumeration from them, handing out a fresh
// context with every batch. Every call is also recorded.
class EnumerationHandler : public kivo_test::RecordingHandler {
public:
    explicit EnumerationHandler(int instancesPerClass) : _instancesPerClass(instancesPerClass) {}

    void handleOpenEnumerateInstances(KVOSmrPtr<IOpenEnumerateInstancesOperation> const& op) override {
        RecordingHandler::handleOpenEnumerateInstances(op);
        // The question is EnumerateInstances': answered by the same code.
        KVOSmrPtr<IKivoEnumerateInstancesOperation> question = op;
        std::deque<KVOSmrPtr<IKivoObject> > found = enumerateInstances(*question);
        deliver(*op, found);
        if (!found.empty()) open(*op, std::move(found));
    }

    void handlePullInstancesWithPath(KVOSmrPtr<IPullInstancesWithPathOperation> const& op) override {
        RecordingHandler::handlePullInstancesWithPath(op);
        std::deque<KVOSmrPtr<IKivoObject> > remaining;
        if (!take(op->getEnumerationContext(), remaining)) return fail(*op);
        deliver(*op, remaining);
        if (!remaining.empty()) open(*op, std::move(remaining));
    }

    void handleCloseEnumeration(KVOSmrPtr<ICloseEnumerationOperation> const& op) override {
        RecordingHandler::handleCloseEnumeration(op);
        std::deque<KVOSmrPtr<IKivoObject> > dropped;
        if (!take(op->getEnumerationContext(), dropped)) op->setErrorCode(kInvalidEnumerationContext);
    }

    std::size_t openEnumerations() const {
        std::lock_guard<std::mutex> guard(_lock);
        return _open.size();
    }

private:
    std::deque<KVOSmrPtr<IKivoObject> > enumerateInstances(IKivoEnumerateInstancesOperation const& op) const {
        std::deque<KVOSmrPtr<IKivoObject> > found;
        for (int i = 1; i <= _instancesPerClass; ++i) {
            KVOSmrPtr<IKivoInstanceName> path(
                new CKivoInstanceName(op.getNameSpace(), op.getClassName(), {{"Id", KVOString::itoa(i)}}));
            found.push_back(KVOSmrPtr<IKivoObject>(new CKivoObject(op.getClassName(), {}, path)));
        }
        return found;
    }

    // Streams up to the maximum object count from the front of `pending` and
    // records the end of sequence; the context is recorded by open().
    template <class Op>
    void deliver(Op& op, std::deque<KVOSmrPtr<IKivoObject> >& pending) {
        KVOSmrPtr<qora::IMultiResponse<KVOSmrPtr<IKivoObject> > > writer = op.getResponse();
        op.allowComplete();
        for (KVOuint32 n = 0; n < op.getMaxObjectCount() && !pending.empty(); ++n) {
            writer->add(pending.front(), true);
            pending.pop_front();
        }
        writer->Close();
        op.setEndOfSequence(pending.empty());
        op.setEnumerationContext(KVOString());
    }

    void open(IPullOperation& op, std::deque<KVOSmrPtr<IKivoObject> > remaining) {
        std::lock_guard<std::mutex> guard(_lock);
        KVOString context("enumeration-" + std::to_string(++_contexts));
        _open[context.str()] = std::move(remaining);
        op.setEnumerationContext(context);
    }

    bool take(KVOString const& context, std::deque<KVOSmrPtr<IKivoObject> >& remaining) {
        std::lock_guard<std::mutex> guard(_lock);
        auto it = _open.find(context.str());
        if (it == _open.end()) return false;
        remaining = std::move(it->second);
        _open.erase(it);
        return true;
    }

    static void fail(IPullInstancesWithPathOperation& op) {
        op.setErrorCode(kInvalidEnumerationContext);
        op.allowComplete();
    }

    int const _instancesPerClass;
    mutable std::mutex _lock;
    int _contexts = 0;                                                     // guarded by _lock
    std::map<std::string, std::deque<KVOSmrPtr<IKivoObject> > > _open;  // guarded by _lock
};

// The adapter's side: writeResponse takes out every result and reads back the
// status, the context and the end of sequence, as a response writer would.
// Defined under the same warning suppression as the open operation bases (see
// there).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
template <class Base>
class ResponseAdapter : public Base {
public:
    template <class... Args>
    explicit ResponseAdapter(IKivoOperationHandlerContext* ctx, Args const&... args) : Base(ctx, args...) {}

    bool isValid() const override { return true; }
    void writeResponse(KVOGenericHTTPOStream&) override {
        if constexpr (std::is_base_of_v<IKivoMultiResponseOperation<KVOSmrPtr<IKivoObject> >, Base>) {
            while (this->hasNext()) ids.push_back(this->next()->getInstanceName()->getKeyBindings().at(0).second.str());
        }
        status = this->getErrorCode();
        context = this->getEnumerationContext();
        if constexpr (std::is_base_of_v<IEndOfSequence, Base>) endOfSequence = this->getEndOfSequence();
    }

    std::vector<std::string> ids;
    int status = -1;
    KVOString context;
    bool endOfSequence = false;
};
#pragma GCC diagnostic pop

using OpenAdapter = ResponseAdapter<OpenEnumerateInstancesOperationBase>;
using PullAdapter = ResponseAdapter<PullInstancesWithPathOperationBase>;
using CloseAdapter = ResponseAdapter<CloseEnumerationOperationBase>;

class PulledEnumeration : public ::testing::Test {
protected:
    PulledEnumeration() { ctx.setHandler(&handler); }

    // Builds an operation as an adapter does, lets `fill` set the request,
    // processes it and returns it with its response written.
    template <class Adapter, class... Args, class Fill>
    KVOSmrPtr<Adapter> run(Fill fill, Args const&... args) {
        KVOSmrPtr<Adapter> op(new Adapter(&ctx, args...));
        op->setNameSpace("root/cimv2");
        fill(*op);
        KVOSmrPtr<KivoOperationBase> base(op);
        base->process(kivo_test::nullOStream(), base);
        return op;
    }

    KVOSmrPtr<OpenAdapter> openEnumeration(KVOString const& className, KVOuint32 maxObjectCount) {
        return run<OpenAdapter>([&](OpenAdapter& op) {
            op.setClassName(className);
            op.setMaxObjectCount(maxObjectCount);
        });
    }

    KVOSmrPtr<PullAdapter> pull(KVOString const& context, KVOuint32 maxObjectCount) {
        return run<PullAdapter>([&](PullAdapter& op) {
            op.setEnumerationContext(context);
            op.setMaxObjectCount(maxObjectCount);
        });
    }

    KVOSmrPtr<CloseAdapter> close(KVOString const& context) {
        return run<CloseAdapter>([](CloseAdapter&) {}, context);
    }

    TestHandlerContext ctx;
    EnumerationHandler handler{5};
};

TEST_F(PulledEnumeration, OpensPullsToTheEndAndClosesAnotherEarly) {
    auto first = openEnumeration("CIM_Thing", 2);
    EXPECT_EQ(first->status, 0);
    EXPECT_EQ(first->ids, (std::vector<std::string>{"1", "2"}));
    EXPECT_FALSE(first->endOfSequence);
    ASSERT_FALSE(first->context.isEmpty());

    auto second = openEnumeration("CIM_Other", 2);
    ASSERT_FALSE(second->context.isEmpty());
    EXPECT_NE(second->context, first->context);
    EXPECT_EQ(handler.openEnumerations(), 2u);

    auto next = pull(first->context, 2);
    EXPECT_EQ(next->status, 0);
    EXPECT_EQ(next->ids, (std::vector<std::string>{"3", "4"}));
    EXPECT_FALSE(next->endOfSequence);
    ASSERT_FALSE(next->context.isEmpty());
    EXPECT_NE(next->context, first->context);

    auto last = pull(next->context, 2);
    EXPECT_EQ(last->status, 0);
    EXPECT_EQ(last->ids, (std::vector<std::string>{"5"}));
    EXPECT_TRUE(last->endOfSequence);
    EXPECT_TRUE(last->context.isEmpty());

    auto closed = close(second->context);
    EXPECT_EQ(closed->status, 0);
    EXPECT_EQ(handler.openEnumerations(), 0u);

    EXPECT_EQ(handler.entries(),
              (std::vector<std::string>{"handleOpenEnumerateInstances", "handleOpenEnumerateInstances",
                                        "handlePullInstancesWithPath", "handlePullInstancesWithPath",
                                        "handleCloseEnumeration"}));
}

}  // namespace
