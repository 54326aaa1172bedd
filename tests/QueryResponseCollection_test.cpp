#include "Cimom/ProtocolAdapter/Common/QueryResponseCollection.h"

#include "Cimom/ProtocolAdapter/Common/QueryResponseWriter.h"
#include "KivoUtilities/CKivoData.h"
#include "support/LogCapture.h"
#include "support/StreamingTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using kivo_test::Async;
using kivo_test::expectKivoError;
using kivo_test::LogCapture;
using qora::QueryResponseCollection;
using qora::QueryResponseWriter;
using qora::QueryRow;
using Names = std::vector<std::string>;

KVOString const kWho("qora::QueryResponseCollection::add()");
constexpr char const* kNoColumns = "setColumnNames() must be called before call to add()";
constexpr char const* kNullRow = "NULL rows are not permitted";
constexpr char const* kCount = "row column count does not match number defined by setColumnNames()";
constexpr char const* kNames = "row column names do not match those defined by setColumnNames()";
constexpr auto kBound = 10s;  // how long a thread may take before a test calls it stuck

KVOSmrPtr<KVOValSlist<KVOString>> columns(Names const& names) {
    KVOSmrPtr<KVOValSlist<KVOString>> list(new KVOValSlist<KVOString>);
    for (auto const& n : names) list->append(KVOString(n));
    return list;
}

// A row whose properties carry these names and values (by default each
// property's value is its column index).
QueryRow row(Names const& names, Names values = {}) {
    QueryRow r(new KVOValSlist<KVOSmrPtr<IKivoProperty>>);
    for (std::size_t i = 0; i < names.size(); ++i) {
        KVOString value = i < values.size() ? KVOString(values[i]) : KVOString::itoa(i);
        r->append(KVOSmrPtr<IKivoProperty>(
            new CKivoProperty(KVOString(names[i]), KVOSmrPtr<IKivoValue>(new CKivoValue(value)))));
    }
    return r;
}

int intValue(KVOSmrPtr<IKivoProperty> const& property) { return std::stoi(property->getValue()->toString().str()); }

// Every row left, in order; call once the producers' writers are gone and
// completion was allowed (hasNext waits otherwise).
std::vector<QueryRow> drain(QueryResponseCollection& c) {
    std::vector<QueryRow> out;
    while (c.hasNext()) out.push_back(c.next());
    return out;
}

TEST(QueryRowCheck, InvalidRowsAreLoggedAndRefusedWhateverThrowOnAbortSays) {
    struct Case {
        char const* what;
        std::optional<Names> columns;  // nullopt: setColumnNames(null); absent member: the initial list
        bool setColumns;
        std::optional<Names> row;      // nullopt: a null row
        char const* refusal;           // null: accepted
    };
    std::vector<Case> const cases{
        {"initial list, empty row", {}, false, Names{}, nullptr},
        {"initial list, one property", {}, false, Names{"Name"}, kCount},
        {"null columns", std::nullopt, true, Names{"Name"}, kNoColumns},
        {"null columns and null row", std::nullopt, true, std::nullopt, kNoColumns},
        {"null row", Names{"Name", "Size"}, true, std::nullopt, kNullRow},
        {"too few", Names{"Name", "Size"}, true, Names{"Name"}, kCount},
        {"too many", Names{"Name", "Size"}, true, Names{"Name", "Size", "Name"}, kCount},
        {"case differs", Names{"Name", "Size"}, true, Names{"Name", "size"}, kNames},
        {"order differs", Names{"Name", "Size"}, true, Names{"Size", "Name"}, kNames},
        {"matches", Names{"Name", "Size"}, true, Names{"Name", "Size"}, nullptr},
    };
    for (auto const& c : cases) {
        for (bool throwOnAbort : {false, true}) {
            SCOPED_TRACE(std::string(c.what) + (throwOnAbort ? ", throwOnAbort" : ""));
            auto coll = QueryResponseCollection::newCollection(-1);
            if (c.setColumns) coll->setColumnNames(c.columns ? columns(*c.columns) : nullptr);
            QueryRow const r = c.row ? row(*c.row) : QueryRow();
            LogCapture log;
            {
                auto writer = coll->getWriter();
                coll->allowComplete();
                bool accepted = true;
                EXPECT_NO_THROW(accepted = writer->add(r, throwOnAbort));
                EXPECT_EQ(accepted, c.refusal == nullptr);
            }
            auto records = log.records();
            if (c.refusal) {
                ASSERT_EQ(records.size(), 1u);
                EXPECT_EQ(records[0].who, kWho);
                EXPECT_EQ(records[0].message.str(), c.refusal);
                EXPECT_EQ(records[0].severity, KivoTraceLog::KIVO_ERROR);
                EXPECT_EQ(records[0].verbosity, 2);
                EXPECT_EQ(records[0].category, KVOLog::CIMOMLOG);
                EXPECT_TRUE(drain(*coll).empty());
            } else {
                EXPECT_TRUE(records.empty());
                auto rows = drain(*coll);
                ASSERT_EQ(rows.size(), 1u);
                EXPECT_EQ(rows[0], r);  // the same shared list, not a copy
            }
            EXPECT_EQ(coll->getErrorCode(), 0);
        }
    }
}

TEST(QueryRowCheck, EachRowIsCheckedAgainstTheColumnsInForce) {
    auto coll = QueryResponseCollection::newCollection(-1);
    auto writer = coll->getWriter();
    coll->allowComplete();
    coll->setColumnNames(columns({"Name"}));
    EXPECT_TRUE(writer->add(row({"Name"}), true));
    auto replaced = columns({"Name", "Size"});
    coll->setColumnNames(replaced);
    EXPECT_EQ(writer->getColumnNames(), replaced);
    LogCapture log;
    EXPECT_FALSE(writer->add(row({"Name"}), true));
    EXPECT_TRUE(writer->add(row({"Name", "Size"}), true));
    EXPECT_EQ(log.messages(), std::vector<std::string>{kCount});
    writer = nullptr;
    EXPECT_EQ(drain(*coll).size(), 2u);
}

TEST(QueryRowCheck, ValidRowsMeetTheRowCollectionsRefusals) {
    auto coll = QueryResponseCollection::newCollection(-1);
    coll->allowComplete();  // no writer: complete at once
    LogCapture log;
    expectKivoError([&] { coll->add(row({}), true); }, "MultiResponseCollection::add",
                    "Addition of elements not permitted if no writers are registered.", 0);
    EXPECT_FALSE(coll->add(row({}), false));
    EXPECT_TRUE(log.records().empty());  // the row check passed; nothing of its own is logged

    auto failed = QueryResponseCollection::newCollection(-1);
    auto writer = failed->getWriter();
    writer->setErrorCode(6);
    EXPECT_EQ(failed->getErrorCode(), 6);
    expectKivoError([&] { writer->add(row({}), true); }, "MultiResponseCollection::add",
                    "An error has occurred with this collection; no further input can be accepted.", 6);
}

TEST(QueryResponseWriter, CloseDoesNotUnregisterOnlyDestructionDoes) {
    auto coll = QueryResponseCollection::newCollection(-1);
    auto writer = coll->getWriter();
    coll->allowComplete();
    writer->Close();
    writer->Close();
    EXPECT_TRUE(writer->add(row({}), true));
    EXPECT_TRUE(coll->hasNext());
    coll->next();
    // Still registered: the collection is not complete, so a writer can still be had.
    EXPECT_NO_THROW(coll->getWriter());
    writer = nullptr;
    EXPECT_FALSE(coll->hasNext());
}

TEST(QueryResponseWriter, RegistrationIsRefusedOnceTheCollectionIsComplete) {
    auto coll = QueryResponseCollection::newCollection(-1);
    coll->allowComplete();
    expectKivoError([&] { coll->getWriter(); }, "qora::MultiResponseCollection::getWriter",
                    "may only be if collection is incomplete.", 0);
    expectKivoError([&] { QueryResponseWriter w(coll); }, "MultiResponseCollection::registerWriter",
                    "Writers may be registered only while collection is incomplete.", 0);
}

TEST(QueryResponseWriter, WriterFromGetWriterRefersToNoCollectionOnceTheLastOwnerIsGone) {
    auto coll = QueryResponseCollection::newCollection(-1);
    auto names = columns({"Name"});
    coll->setColumnNames(names);
    auto writer = coll->getWriter();
    auto ownerCopy = coll;
    EXPECT_EQ(writer->getColumnNames(), names);

    coll = nullptr;  // one owner left: the collection lives
    EXPECT_EQ(writer->getColumnNames(), names);
    EXPECT_TRUE(writer->add(row({"Name"}), true));

    ownerCopy = nullptr;  // the last owner: the writer did not keep it alive
    EXPECT_THROW(writer->getColumnNames(), KVONullPointerException);
    EXPECT_THROW(writer->add(row({"Name"}), true), KVONullPointerException);
    EXPECT_THROW(writer->setErrorCode(1), KVONullPointerException);
    writer = nullptr;  // and releasing it afterwards touches nothing
}

TEST(QueryResponseWriter, ProducersOnTheirOwnThreadsDeliverEveryRowInTheirOrder) {
    constexpr int kProducers = 4;
    constexpr int kRows = 250;
    auto coll = QueryResponseCollection::newCollection(-1);
    coll->setColumnNames(columns({"Producer", "Sequence"}));
    std::vector<KVOSmrPtr<qora::IQueryResponse>> writers;
    for (int p = 0; p < kProducers; ++p) writers.push_back(coll->getWriter());
    coll->allowComplete();

    Async<std::vector<std::vector<int>>> consumer([coll] {
        std::vector<std::vector<int>> seen(kProducers);
        while (coll->hasNext()) {
            QueryRow r = coll->next();
            auto column = r->begin();
            int producer = intValue(*column);
            seen.at(producer).push_back(intValue(*++column));
        }
        return seen;
    });
    std::vector<std::unique_ptr<Async<int>>> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.push_back(std::make_unique<Async<int>>([p, w = std::move(writers[p])]() mutable {
            for (int i = 0; i < kRows; ++i)
                w->add(row({"Producer", "Sequence"}, {std::to_string(p), std::to_string(i)}), true);
            w = nullptr;  // unregisters
            return 0;
        }));
    }
    for (auto& p : producers) ASSERT_TRUE(p->waitFor(kBound));
    for (auto& p : producers) EXPECT_EQ(p->get(), 0);
    ASSERT_TRUE(consumer.waitFor(kBound));
    auto seen = consumer.get();
    for (int p = 0; p < kProducers; ++p) {
        ASSERT_EQ(seen[p].size(), static_cast<std::size_t>(kRows)) << p;
        for (int i = 0; i < kRows; ++i) EXPECT_EQ(seen[p][i], i);
    }
}

}  // namespace
