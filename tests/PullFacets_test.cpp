#include "Cimom/ProtocolAdapter/Common/PulledEnumOpenOperationBase.h"

#include "Cimom/ProtocolAdapter/Common/EndOfSequenceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/EnumerationContextOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/InstanceNameBase.h"
#include "Cimom/ProtocolAdapter/Common/QueryResultClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/ReturnQueryResultClassOperationBase.h"
#include "KivoUtilities/CKivoData.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using FilterMap = KVOValMap<KVOString, KVOString>;
constexpr KVOuint32 kAbsent = 0xFFFFFFFFu;

// The defaults no layer below covers: the query result class, its flag and
// the instance name start empty.
TEST(PullFacets, NewBasesStartEmpty) {
    EXPECT_FALSE(ReturnQueryResultClassOperationBase().getReturnQueryResultClass());
    EXPECT_TRUE(QueryResultClassOperationBase().getQueryResultClass().isNull());
    EXPECT_TRUE(InstanceNameBase().getInstanceName().isNull());
}

TEST(PullFacets, OnlyTheAbsentTimeoutCountsAsNotPresent) {
    struct Row {
        KVOuint32 timeout;
        bool present;
    };
    for (Row row : {Row{kAbsent, false}, Row{0, true}, Row{kAbsent - 1, true}, Row{30, true}}) {
        OperationTimeoutOperationBase facet(row.timeout);
        EXPECT_EQ(facet.isOperationTimeoutPresent(), row.present) << row.timeout;
        EXPECT_EQ(facet.getOperationTimeout(), row.timeout);
    }
    EXPECT_EQ(IOperationTimeout::OPERATION_TIMEOUT_ABSENT, kAbsent);
}

TEST(PullFacets, TheFilterMapIsSharedWithItsSetter) {
    FilterQueryOperationBase facet;
    KVOSmrPtr<FilterMap> map(new FilterMap);
    facet.setFilterMap(map);
    IFilterQuery const& handlerView = facet;
    EXPECT_EQ(handlerView.getFilterMap().get(), map.get());

    handlerView.getFilterMap()->insert("other", "seen by the adapter");
    EXPECT_EQ(map->get("other"), KVOString("seen by the adapter"));

    facet.setFilterMap(nullptr);
    EXPECT_TRUE(facet.getFilterMap().isNull());
}

// What a holder of the interface alone can set: the enumeration context, the
// end of sequence and the instance name, and nothing else.
template <class I> constexpr bool setsContext = requires(I& i) { i.setEnumerationContext(KVOString()); };
template <class I> constexpr bool setsEndOfSequence = requires(I& i) { i.setEndOfSequence(true); };
template <class I> constexpr bool setsInstanceName = requires(I& i) { i.setInstanceName(nullptr); };
template <class I> constexpr bool setsRequestValue = requires(I& i) { i.setMaxObjectCount(1u); } ||
                                                     requires(I& i) { i.setOperationTimeout(1u); } ||
                                                     requires(I& i) { i.setContinueOnError(true); } ||
                                                     requires(I& i) { i.setFilterQueryLanguage(KVOString()); } ||
                                                     requires(I& i) { i.setFilterQuery(KVOString()); } ||
                                                     requires(I& i) { i.setFilterMap(nullptr); } ||
                                                     requires(I& i) { i.setReturnQueryResultClass(true); } ||
                                                     requires(I& i) { i.setQueryResultClass(nullptr); };
static_assert(setsContext<IPulledEnumOpenOperation> && setsEndOfSequence<IPulledEnumOpenOperation>);
static_assert(setsInstanceName<IInstanceName>);
static_assert(!setsRequestValue<IPulledEnumOpenOperation> && !setsRequestValue<IReturnQueryResultClass> &&
              !setsRequestValue<IQueryResultClass>);
static_assert(setsRequestValue<PulledEnumOpenOperationBase> && setsRequestValue<QueryResultClassOperationBase>);

template <class... T> constexpr bool noneCopyable = (!std::is_copy_constructible_v<T> && ...);
static_assert(noneCopyable<EnumerationContextOperationBase, EndOfSequenceOperationBase, MaxObjectCountOperationBase,
                           OperationTimeoutOperationBase, ContinueOnErrorOperationBase,
                           FilterQueryLanguageOperationBase, FilterQueryOperationBase, InstanceNameBase,
                           PullOperationBase, OpenOperationBase>);
static_assert(std::is_copy_constructible_v<QueryResultClassOperationBase> &&
              std::is_copy_constructible_v<ReturnQueryResultClassOperationBase>);

// The pull and open values of an operation, as the handler reads them.
struct PulledValues {
    KVOString context;
    bool endOfSequence;
    KVOuint32 maxObjectCount;
    KVOString language;
    KVOString query;
    KVOuint32 timeout;
    bool continueOnError;
};

PulledValues const kDefaults{"", false, 0, "", "", kAbsent, false};

void expectPull(IPullOperation const& op, PulledValues const& want) {
    EXPECT_EQ(op.getEnumerationContext(), want.context);
    EXPECT_EQ(op.getEndOfSequence(), want.endOfSequence);
    EXPECT_EQ(op.getMaxObjectCount(), want.maxObjectCount);
}

void expectOpen(IOpenOperation const& op, PulledValues const& want) {
    EXPECT_EQ(op.getFilterQueryLanguage(), want.language);
    EXPECT_EQ(op.getFilterQuery(), want.query);
    EXPECT_TRUE(op.getFilterMap().isNull());
    EXPECT_EQ(op.getOperationTimeout(), want.timeout);
    EXPECT_EQ(op.isOperationTimeoutPresent(), want.timeout != kAbsent);
    EXPECT_EQ(op.getContinueOnError(), want.continueOnError);
}

TEST(PulledEnumerationLayers, PullOperationBaseAsTheCompleteObject) {
    expectPull(PullOperationBase(), kDefaults);
    PulledValues want = kDefaults;
    want.maxObjectCount = 25;
    expectPull(PullOperationBase(25), want);
}

TEST(PulledEnumerationLayers, OpenOperationBaseAsTheCompleteObjectTakesEveryArgument) {
    expectOpen(OpenOperationBase("DMTF:FQL", "Name = 'a'", 30, true), {"", false, 0, "DMTF:FQL", "Name = 'a'", 30, true});
    expectOpen(OpenOperationBase(), kDefaults);
}

// As the complete object, PulledEnumOpenOperationBase builds the facets
// itself with their defaults: of its arguments only continue-on-error, which
// OpenOperationBase applies in its body, takes effect.
TEST(PulledEnumerationLayers, PulledEnumOpenOperationBaseKeepsOnlyContinueOnError) {
    struct Row {
        PulledEnumOpenOperationBase const& op;
        bool continueOnError;
    };
    PulledEnumOpenOperationBase given("DMTF:FQL", "Name = 'a'", 30, true);
    PulledEnumOpenOperationBase defaults("", "", kAbsent, false);
    PulledEnumOpenOperationBase unnamed;
    for (Row row : {Row{given, true}, Row{defaults, false}, Row{unnamed, false}}) {
        PulledValues want = kDefaults;
        want.continueOnError = row.continueOnError;
        expectPull(row.op, want);
        expectOpen(row.op, want);
    }
}

}  // namespace
