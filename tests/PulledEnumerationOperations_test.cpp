#include "Cimom/ProtocolAdapter/Common/OpenEnumerateInstancesOperationBase.h"

#include "Cimom/ProtocolAdapter/Common/CloseEnumerationOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/ExecQueryOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenAssociatorInstancePathsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenAssociatorInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenEnumerateInstancePathsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenQueryInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenReferenceInstancePathsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenReferenceInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullInstancePathsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullInstancesWithPathOperationBase.h"
#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/KVOCIMStrings.h"
#include "support/TestHandler.h"
#include "support/TestStreams.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using kivo_test::TestHandlerContext;

// The concrete adapter class of these tests. As the most-derived class it
// builds the virtual bases (facets, pull and open layers) and names none of
// them, as an adapter that takes the defaults does. Defined under the same
// warning suppression as the open operation bases (see there).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
template <class Base>
class Adapter : public Base {
public:
    template <class... Args>
    explicit Adapter(IKivoOperationHandlerContext* ctx, Args... args) : Base(ctx, args...) {}
    bool isValid() const override { return true; }
    void writeResponse(KVOGenericHTTPOStream&) override {}
};
#pragma GCC diagnostic pop

constexpr KVOuint32 kAbsent = 0xFFFFFFFFu;

// An open enumeration of instances asks what EnumerateInstances asks, so a
// handler answers both with one piece of code.
static_assert(std::is_base_of_v<IKivoEnumerateInstancesOperation, IOpenEnumerateInstancesOperation>);

// Everything the handler can read through an operation's own interface; a
// value stays empty where the interface does not offer it.
struct HandlerView {
    KVOString name;
    std::optional<KVOString> context;
    std::optional<bool> endOfSequence;
    std::optional<KVOuint32> maxObjectCount;
    std::optional<KVOString> language;
    std::optional<KVOString> query;
    std::optional<bool> filterMapNull;
    std::optional<KVOuint32> timeout;
    std::optional<bool> timeoutPresent;
    std::optional<bool> continueOnError;
    std::optional<bool> deepInheritance;
    std::optional<bool> classOrigin;
    std::optional<bool> propertyListNull;
    std::optional<bool> queryResultClassNull;
    std::optional<bool> returnQueryResultClass;
};

template <class Iface>
HandlerView readThrough(Iface const& op) {
    HandlerView v;
    v.name = op.getOperationName();
    if constexpr (std::is_base_of_v<IEnumerationContext, Iface>) v.context = op.getEnumerationContext();
    if constexpr (std::is_base_of_v<IEndOfSequence, Iface>) v.endOfSequence = op.getEndOfSequence();
    if constexpr (std::is_base_of_v<IMaxObjectCount, Iface>) v.maxObjectCount = op.getMaxObjectCount();
    if constexpr (std::is_base_of_v<IFilterQueryLanguage, Iface>) v.language = op.getFilterQueryLanguage();
    if constexpr (std::is_base_of_v<IFilterQuery, Iface>) {
        v.query = op.getFilterQuery();
        v.filterMapNull = op.getFilterMap().isNull();
    }
    if constexpr (std::is_base_of_v<IOperationTimeout, Iface>) {
        v.timeout = op.getOperationTimeout();
        v.timeoutPresent = op.isOperationTimeoutPresent();
    }
    if constexpr (std::is_base_of_v<IContinueOnError, Iface>) v.continueOnError = op.getContinueOnError();
    if constexpr (std::is_base_of_v<IKivoDeeplyInheritedOperation, Iface>) v.deepInheritance = op.getDeepInheritance();
    if constexpr (std::is_base_of_v<IKivoClassOriginatedOperation, Iface>) v.classOrigin = op.getClassOrigin();
    if constexpr (std::is_base_of_v<IKivoPropertyListOperation, Iface>)
        v.propertyListNull = op.getPropertyList().isNull();
    if constexpr (std::is_base_of_v<IQueryResultClass, Iface>)
        v.queryResultClassNull = op.getQueryResultClass().isNull();
    if constexpr (std::is_base_of_v<IReturnQueryResultClass, Iface>)
        v.returnQueryResultClass = op.getReturnQueryResultClass();
    return v;
}

// One result of type T, for the operations that stream T.
template <class T>
T element();
template <>
KVOSmrPtr<IKivoObject> element() {
    return KVOSmrPtr<IKivoObject>(new CKivoObject("CIM_Thing"));
}
template <>
KVOSmrPtr<IKivoInstanceName> element() {
    return KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName("root/cimv2", "CIM_Thing"));
}
template <>
KVOSmrPtr<IKivoValue> element() {
    return KVOSmrPtr<IKivoValue>(new CKivoValue("value"));
}

// One operation of the family: how to build it, where its handler entry must
// receive it, and what a handler reads of it through its own interface.
struct Row {
    std::string entry;
    KVOString name;
    KVOString context;                    // the context it is built with
    std::optional<bool> deepInheritance;  // where it has the facet
    std::function<KVOSmrPtr<KivoOperationBase>(IKivoOperationHandlerContext*)> make;
    std::function<void const*(KivoOperationBase&)> handlerAddress;
    std::function<HandlerView(KivoOperationBase&)> view;
    // Adds `count` results through one writer on this thread, then consumes
    // them and answers how many came out (nothing for CloseEnumeration).
    std::function<std::optional<int>(KivoOperationBase&, int count)> stream;
};

std::ostream& operator<<(std::ostream& os, Row const& row) { return os << row.entry; }

// A row for the operation base Base, reached through Iface, streaming T (void
// for none). Args follow the handler context in Base's constructor.
template <class Base, class Iface, class T, class... Args>
Row makeRow(std::string entry, KVOString name, std::optional<bool> deepInheritance, KVOString context,
            Args... args) {
    if constexpr (!std::is_void_v<T>) static_assert(std::is_base_of_v<IKivoMultiResponseOperation<T>, Iface>);
    Row row;
    row.entry = std::move(entry);
    row.name = std::move(name);
    row.context = std::move(context);
    row.deepInheritance = deepInheritance;
    row.make = [args...](IKivoOperationHandlerContext* ctx) {
        return KVOSmrPtr<KivoOperationBase>(new Adapter<Base>(ctx, args...));
    };
    row.handlerAddress = [](KivoOperationBase& op) -> void const* {
        return static_cast<Iface*>(&dynamic_cast<Base&>(op));
    };
    row.view = [](KivoOperationBase& op) { return readThrough<Iface>(dynamic_cast<Base&>(op)); };
    row.stream = [](KivoOperationBase& op, int count) -> std::optional<int> {
        if constexpr (std::is_void_v<T>) {
            (void)op, (void)count;
            return std::nullopt;
        } else {
            Base& adapterSide = dynamic_cast<Base&>(op);
            Iface& handlerSide = adapterSide;
            auto writer = handlerSide.getResponse();
            handlerSide.allowComplete();
            for (int i = 0; i < count; ++i) writer->add(element<T>(), true);
            writer->Close();
            int taken = 0;
            for (; adapterSide.hasNext(); ++taken) adapterSide.next();
            return taken;
        }
    };
    return row;
}

std::vector<Row> allOperations() {
    using Instance = KVOSmrPtr<IKivoObject>;
    using Path = KVOSmrPtr<IKivoInstanceName>;
    using Value = KVOSmrPtr<IKivoValue>;
    return {
        makeRow<OpenEnumerateInstancesOperationBase, IOpenEnumerateInstancesOperation, Instance>(
            "handleOpenEnumerateInstances", KVOCIMStrings::OPENENUMERATEINSTANCES, true, ""),
        makeRow<OpenEnumerateInstancePathsOperationBase, IOpenEnumerateInstancePathsOperation, Path>(
            "handleOpenEnumerateInstancePaths", KVOCIMStrings::OPEN_ENUMERATE_INSTANCE_PATHS, std::nullopt, ""),
        makeRow<OpenReferenceInstancesOperationBase, IOpenReferenceInstancesOperation, Value>(
            "handleOpenReferenceInstances", KVOCIMStrings::OPEN_REFERENCE_INSTANCES, std::nullopt, ""),
        makeRow<OpenReferenceInstancePathsOperationBase, IOpenReferenceInstancePathsOperation, Path>(
            "handleOpenReferenceInstancePaths", KVOCIMStrings::OPEN_REFERENCE_INSTANCE_PATHS, std::nullopt, ""),
        makeRow<OpenAssociatorInstancesOperationBase, IOpenAssociatorInstancesOperation, Value>(
            "handleOpenAssociatorInstances", KVOCIMStrings::OPEN_ASSOCIATOR_INSTANCES, std::nullopt, ""),
        makeRow<OpenAssociatorInstancePathsOperationBase, IOpenAssociatorInstancePathsOperation, Path>(
            "handleOpenAssociatorInstancePaths", KVOCIMStrings::OPEN_ASSOCIATOR_INSTANCE_PATHS, std::nullopt, ""),
        makeRow<OpenQueryInstancesOperationBase, IOpenQueryInstancesOperation, Instance>(
            "handleOpenQueryInstances", KVOCIMStrings::OPEN_QUERY_INSTANCES, std::nullopt, ""),
        makeRow<CloseEnumerationOperationBase, ICloseEnumerationOperation, void>(
            "handleCloseEnumeration", KVOCIMStrings::CLOSEENUMERATION, std::nullopt, "enum-7", KVOString("enum-7")),
        makeRow<PullInstancesWithPathOperationBase, IPullInstancesWithPathOperation, Instance>(
            "handlePullInstancesWithPath", KVOCIMStrings::PULL_INSTANCES_WITH_PATH, false, ""),
        makeRow<PullInstancePathsOperationBase, IPullInstancePathsOperation, Path>(
            "handlePullInstancePaths", KVOCIMStrings::PULL_INSTANCE_PATHS, std::nullopt, ""),
        makeRow<PullInstancesOperationBase, IPullInstancesOperation, Instance>(
            "handlePullInstances", KVOCIMStrings::PULL_INSTANCES, std::nullopt, ""),
        makeRow<ExecQueryOperationBase, IExecQueryOperation, Instance>(
            "handleExecQuery", KVOCIMStrings::EXECUTEQUERY, std::nullopt, "", KVOuint32(0)),
    };
}

class PulledEnumerationOperations : public ::testing::TestWithParam<Row> {
protected:
    TestHandlerContext ctx;
};

INSTANTIATE_TEST_SUITE_P(Family, PulledEnumerationOperations, ::testing::ValuesIn(allOperations()),
                         [](auto const& info) { return info.param.entry.substr(6); });

// A new operation, built by an adapter class that names no values, as its
// handler reads it: its name, the given context, and every other value at the
// default of a request that does not carry it.
TEST_P(PulledEnumerationOperations, StartsAtTheRequestDefaults) {
    Row const& row = GetParam();
    KVOSmrPtr<KivoOperationBase> op = row.make(&ctx);
    HandlerView v = row.view(*op);

    EXPECT_EQ(v.name, row.name);
    EXPECT_EQ(v.context.value_or(row.context), row.context);
    EXPECT_FALSE(v.endOfSequence.value_or(false));
    EXPECT_EQ(v.maxObjectCount.value_or(0), 0u);
    EXPECT_EQ(v.language.value_or(""), KVOString());
    EXPECT_EQ(v.query.value_or(""), KVOString());
    EXPECT_TRUE(v.filterMapNull.value_or(true));
    EXPECT_EQ(v.timeout.value_or(kAbsent), kAbsent);
    EXPECT_FALSE(v.timeoutPresent.value_or(false));
    EXPECT_FALSE(v.continueOnError.value_or(false));
    EXPECT_EQ(v.deepInheritance, row.deepInheritance);
    EXPECT_FALSE(v.classOrigin.value_or(false));
    EXPECT_TRUE(v.propertyListNull.value_or(true));
    EXPECT_TRUE(v.queryResultClassNull.value_or(true));
    EXPECT_FALSE(v.returnQueryResultClass.value_or(false));
    EXPECT_EQ(op->getErrorCode(), 0);
}

// process hands the operation to its own entry, once, as the very object the
// adapter processes; no other entry (an intrinsic twin's included) is called.
TEST_P(PulledEnumerationOperations, ReachesExactlyItsOwnHandlerEntryOnce) {
    Row const& row = GetParam();
    KVOSmrPtr<KivoOperationBase> op = row.make(&ctx);
    op->process(kivo_test::nullOStream(), op);

    auto calls = ctx.handler.calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].entry, row.entry);
    EXPECT_EQ(calls[0].op, row.handlerAddress(*op));
}

// Each value exists once: what the adapter sets through a facet base is what
// the handler reads through the operation's interface, and the enumeration
// context set through any path is read the same through every other.
TEST_P(PulledEnumerationOperations, EachValueIsOneFacetWhateverThePath) {
    Row const& row = GetParam();
    KVOSmrPtr<KivoOperationBase> op = row.make(&ctx);
    KivoOperationBase& base = *op;

    if (auto* f = dynamic_cast<MaxObjectCountOperationBase*>(&base)) f->setMaxObjectCount(9);
    if (auto* f = dynamic_cast<FilterQueryLanguageOperationBase*>(&base)) f->setFilterQueryLanguage("DMTF:FQL");
    if (auto* f = dynamic_cast<FilterQueryOperationBase*>(&base)) f->setFilterQuery("Name = 'a'");
    if (auto* f = dynamic_cast<OperationTimeoutOperationBase*>(&base)) f->setOperationTimeout(30);
    if (auto* f = dynamic_cast<ContinueOnErrorOperationBase*>(&base)) f->setContinueOnError(true);
    if (auto* f = dynamic_cast<IEndOfSequence*>(&base)) f->setEndOfSequence(true);
    HandlerView v = row.view(base);
    EXPECT_EQ(v.maxObjectCount.value_or(9), 9u);
    EXPECT_EQ(v.language.value_or("DMTF:FQL"), KVOString("DMTF:FQL"));
    EXPECT_EQ(v.query.value_or("Name = 'a'"), KVOString("Name = 'a'"));
    EXPECT_EQ(v.timeout.value_or(30), 30u);
    EXPECT_TRUE(v.continueOnError.value_or(true));
    EXPECT_TRUE(v.endOfSequence.value_or(true));

    auto* facet = dynamic_cast<EnumerationContextOperationBase*>(&base);
    ASSERT_EQ(facet != nullptr, v.context.has_value());
    if (!facet) return;
    std::vector<IEnumerationContext*> paths{facet, dynamic_cast<IEnumerationContext*>(&base)};
    if (auto* pull = dynamic_cast<IPullOperation*>(&base)) paths.push_back(pull);
    if (auto* layer = dynamic_cast<PullOperationBase*>(&base)) paths.push_back(layer);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        KVOString value("context set through path " + std::to_string(i));
        paths[i]->setEnumerationContext(value);
        EXPECT_EQ(row.view(base).context, value);
        for (IEnumerationContext* other : paths) EXPECT_EQ(other->getEnumerationContext(), value);
    }
}

// The pulled operations' collections have no bound: a handler fills them on
// the adapter's thread before anything is consumed, and the results it adds
// are the ones the adapter takes out of the same object.
TEST_P(PulledEnumerationOperations, StreamsWithoutMakingWritersWait) {
    Row const& row = GetParam();
    KVOSmrPtr<KivoOperationBase> op = row.make(&ctx);
    if (std::optional<int> taken = row.stream(*op, 100)) {
        EXPECT_EQ(*taken, 100);
    }
}

// An adapter class that names initial values of its own for the virtual
// bases, as the most-derived class may.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
template <class Base>
class NamingAdapter : public Adapter<Base> {
public:
    explicit NamingAdapter(IKivoOperationHandlerContext* ctx)
        : MaxObjectCountOperationBase(7),
          FilterQueryLanguageOperationBase("DMTF:FQL"),
          FilterQueryOperationBase("Name = 'a'"),
          OperationTimeoutOperationBase(30),
          OpenOperationBase("not a facet's builder", "not a facet's builder", 40, true),
          Adapter<Base>(ctx) {}
};
#pragma GCC diagnostic pop

template <class Base, class Iface>
HandlerView namedByTheAdapter() {
    TestHandlerContext ctx;
    NamingAdapter<Base> op(&ctx);
    return readThrough<Iface>(op);
}

// The values an adapter class names for the facets are the starting values,
// except those that the open operation's constructor sets in its body
// (OpenEnumerateInstances: context, language and filter), and only
// OpenOperationBase's continue-on-error argument reaches its facet.
TEST(OpenOperations, AnAdapterClassNamingValuesKeepsThemUnlessTheConstructorBodySetsThem) {
    HandlerView enumerate = namedByTheAdapter<OpenEnumerateInstancesOperationBase, IOpenEnumerateInstancesOperation>();
    HandlerView paths =
        namedByTheAdapter<OpenReferenceInstancePathsOperationBase, IOpenReferenceInstancePathsOperation>();
    for (HandlerView const* v : {&enumerate, &paths}) {
        EXPECT_EQ(v->maxObjectCount, 7u);
        EXPECT_EQ(v->timeout, 30u);
        EXPECT_EQ(v->continueOnError, true);
        EXPECT_EQ(v->context, KVOString());
    }
    EXPECT_EQ(enumerate.language, KVOString());
    EXPECT_EQ(enumerate.query, KVOString());
    EXPECT_EQ(enumerate.deepInheritance, true);
    EXPECT_EQ(paths.language, KVOString("DMTF:FQL"));
    EXPECT_EQ(paths.query, KVOString("Name = 'a'"));
}

}  // namespace
