#include "Cimom/ProtocolAdapter/Common/MultiResponseWriter.h"

#include "support/StreamingTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using kivo_test::expectKivoError;
using kivo_test::RecordingMarker;

using Collection = qora::MultiResponseCollection<KVOString>;
using Writer = qora::MultiResponseWriter<KVOString>;
using Handle = KVOSmrPtr<qora::IMultiResponse<KVOString>>;

constexpr char const* kWritersClosed = "Writers may be registered only while collection is incomplete.";

Handle writerOn(KVOSmrPtr<Collection> const& c) { return Handle(new Writer(c)); }

std::vector<std::string> drainAll(Collection& c) {
    std::vector<std::string> out;
    while (c.hasNext()) out.push_back(c.next().str());
    return out;
}

TEST(MultiResponseWriter, RegistersOnConstructionAndUnregistersOnce) {
    auto c = Collection::newCollection(0, -1);
    Handle twice = writerOn(c);
    Handle closedThenDestroyed = writerOn(c);
    Handle last = writerOn(c);
    c->allowComplete();
    twice->Close();
    twice->Close();
    closedThenDestroyed->Close();
    closedThenDestroyed = nullptr;
    EXPECT_FALSE(c->isComplete()) << "a writer unregistered twice";
    last->Close();
    EXPECT_TRUE(c->isComplete());
}

TEST(MultiResponseWriter, ReleasingTheLastReferenceClosesIt) {
    auto c = Collection::newCollection(0, -1);
    Handle a = writerOn(c);
    c->allowComplete();
    a->add("r", true);
    Handle copy = a;
    a = nullptr;
    EXPECT_FALSE(c->isComplete());  // a copy still holds the writer
    copy = nullptr;
    EXPECT_TRUE(c->isComplete());
    EXPECT_EQ(drainAll(*c), (std::vector<std::string>{"r"}));
}

TEST(MultiResponseWriter, NoWriterOnACompleteCollectionAndTheCountStays) {
    auto c = Collection::newCollection(0, -1);
    c->allowComplete();
    expectKivoError([&] { Writer w(c); }, "MultiResponseCollection::registerWriter", kWritersClosed, 0);
    EXPECT_TRUE(c->isComplete());
    // Nothing was registered, so nothing is unregistered either.
    expectKivoError([&] { c->unregisterWriter(); }, "MultiResponseCollection::unregisterWriter", kWritersClosed, 0);
}

TEST(MultiResponseWriter, ForwardsResultsMarkersAndErrorCodes) {
    auto c = Collection::newCollection(0, -1);
    auto* raw = new Writer(c);
    Handle w(raw);
    c->allowComplete();
    auto marker = RecordingMarker<KVOString>::make();
    EXPECT_TRUE(w->add("a", true));
    EXPECT_TRUE(raw->add(marker.ptr, true));
    EXPECT_TRUE(w->add("b", false));
    w->setErrorCode(6);  // after accepted entries: hidden
    w->Close();
    EXPECT_EQ(drainAll(*c), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(marker.processed(), 1);
    EXPECT_EQ(c->getErrorCode(), 0);

    auto d = Collection::newCollection(0, -1);
    Handle e = writerOn(d);
    e->setErrorCode(6);
    EXPECT_EQ(d->getErrorCode(), 6);
    EXPECT_FALSE(e->add("x", false));
}

TEST(MultiResponseWriter, ClosedWriterStillForwardsAndTheCollectionDecides) {
    auto c = Collection::newCollection(0, -1);
    Handle closed = writerOn(c);
    Handle open = writerOn(c);
    c->allowComplete();
    closed->Close();
    EXPECT_TRUE(closed->add("accepted", true));  // another writer keeps the collection open
    open->Close();
    expectKivoError([&] { closed->add("refused", true); }, "MultiResponseCollection::add",
                    "Addition of elements not permitted if no writers are registered.", 0);
    EXPECT_EQ(drainAll(*c), (std::vector<std::string>{"accepted"}));
}

TEST(MultiResponseWriter, DestructorSwallowsAnUnregistrationTheCollectionRefuses) {
    auto c = Collection::newCollection(0, -1);
    Handle w = writerOn(c);
    c->allowComplete();
    c->unregisterWriter();  // the writer's registration taken away behind its back
    EXPECT_NO_THROW(w = nullptr);
    EXPECT_TRUE(c->isComplete());
}

}  // namespace
