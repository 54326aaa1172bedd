#include "Cimom/ProtocolAdapter/Common/ExecQueryOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoAssociatorNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoAssociatorsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoCreateClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoCreateInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeleteClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeleteInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeleteQualifierOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateClassNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateClassesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstanceNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateQualifiersOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetPropertyOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetQualifierOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoInvokeMethodOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoModifyClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoModifyInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferenceNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferencesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoSetPropertyOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoSetQualifierOperationBase.h"

#include "KivoUtilities/CKivoData.h"
#include "support/LogCapture.h"
#include "support/TestHandler.h"
#include "support/TestStreams.h"

#include <gtest/gtest.h>

#include <any>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <stdexcept>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <typeindex>
#include <vector>

namespace {

using kivo_test::Concrete;
using namespace std::chrono_literals;

// ---------------------------------------------------------------------------
// Compile-time shape of the bases: abstract only in the adapter's two hooks,
// and not copyable.

template <class... Bases>
constexpr bool abstractOnlyInAdapterHooks =
    ((std::is_abstract_v<Bases> && !std::is_abstract_v<Concrete<Bases>>) && ...);

template <class... Bases>
constexpr bool notCopyable =
    ((!std::is_copy_constructible_v<Concrete<Bases>> && !std::is_copy_assignable_v<Bases>) && ...);

#define KIVO_INTRINSIC_BASES                                                                                   \
    KivoGetClassOperationBase, KivoGetInstanceOperationBase, KivoGetPropertyOperationBase,                     \
        KivoSetPropertyOperationBase, KivoGetQualifierOperationBase, KivoEnumerateQualifiersOperationBase,     \
        KivoCreateInstanceOperationBase, KivoModifyInstanceOperationBase, KivoDeleteInstanceOperationBase,     \
        KivoEnumerateInstancesOperationBase, KivoEnumerateInstanceNamesOperationBase,                          \
        KivoEnumerateClassesOperationBase, KivoEnumerateClassNamesOperationBase, KivoAssociatorsOperationBase, \
        KivoAssociatorNamesOperationBase, KivoReferencesOperationBase, KivoReferenceNamesOperationBase,         \
        KivoCreateClassOperationBase, KivoModifyClassOperationBase, KivoDeleteClassOperationBase,              \
        KivoSetQualifierOperationBase, KivoDeleteQualifierOperationBase, KivoInvokeMethodOperationBase

static_assert(abstractOnlyInAdapterHooks<KIVO_INTRINSIC_BASES>);
static_assert(notCopyable<KIVO_INTRINSIC_BASES>);
#undef KIVO_INTRINSIC_BASES

// ---------------------------------------------------------------------------
// Test doubles.

KVOSmrPtr<IKivoInstanceName> path(char const* className) {
    return KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName("root/test", className));
}

KVOSmrPtr<IKivoObject> instance(char const* className) {
    return KVOSmrPtr<IKivoObject>(new CKivoObject(className));
}

std::string text(KVOSmrPtr<IKivoInstanceName> const& p) {
    return p ? p->getNameSpace().str() + ":" + p->getClassName().str() : "null";
}

std::string text(KVOSmrPtr<KVOValSlist<KVOString>> const& list) {
    if (!list) return "null";
    std::string out = "[";
    for (auto const& name : *list) out += (out.size() > 1 ? "," : "") + name.str();
    return out + "]";
}

// Everything the handler can read of the common values and the facets through
// the interface I, in one line.
template <class I>
std::string seenThrough(I& op) {
    std::ostringstream out;
    out << "ns=" << op.getNameSpace() << " class=" << op.getClassName();
    if constexpr (std::is_base_of_v<IKivoLocalOnlyOperation, I>) out << " localOnly=" << op.getLocalOnly();
    if constexpr (std::is_base_of_v<IKivoIncludeQualifiersOperation, I>)
        out << " includeQualifiers=" << op.getIncludeQualifiers();
    if constexpr (std::is_base_of_v<IKivoClassOriginatedOperation, I>) out << " classOrigin=" << op.getClassOrigin();
    if constexpr (std::is_base_of_v<IKivoDeeplyInheritedOperation, I>)
        out << " deepInheritance=" << op.getDeepInheritance();
    if constexpr (std::is_base_of_v<IKivoPropertyListOperation, I>) out << " props=" << text(op.getPropertyList());
    if constexpr (std::is_base_of_v<IKivoAssociators, I>)
        out << " source=" << text(op.getSourceInstance()) << " resultClass=" << op.getResultClass()
            << " assocClass=" << op.getAssociationClass() << " role=" << op.getRole()
            << " resultRole=" << op.getResultRole();
    if constexpr (std::is_base_of_v<IKivoReferences, I>)
        out << " source=" << text(op.getSourceInstance()) << " resultClass=" << op.getResultClass()
            << " role=" << op.getRole();
    return out.str();
}

// The twenty-two intrinsic operations (the seventeen that read or write
// instances and read the schema, then the five that change the schema) and
// InvokeMethod, by the name shared by the interface and the handler entry.
#define KIVO_INTRINSIC_OPERATIONS(X)                                                                          \
    X(GetClass) X(GetInstance) X(GetProperty) X(SetProperty) X(GetQualifier) X(EnumerateQualifiers)           \
    X(CreateInstance) X(ModifyInstance) X(DeleteInstance) X(EnumerateInstances) X(EnumerateInstanceNames)     \
    X(EnumerateClasses) X(EnumerateClassNames) X(Associators) X(AssociatorNames) X(References)                \
    X(ReferenceNames) X(CreateClass) X(ModifyClass) X(DeleteClass) X(SetQualifier) X(DeleteQualifier)         \
    X(InvokeMethod)

// The object manager's handler as a test scripts it: each intrinsic entry
// records the call, notes what it sees through the interface, keeps the
// pointer it received when asked to, and runs the script registered for its
// interface.
class ScriptedHandler : public kivo_test::RecordingHandler {
public:
    template <class I>
    void on(std::function<void(KVOSmrPtr<I> const&)> script) {
        _scripts[typeid(I)] = std::move(script);
    }

#define KIVO_SCRIPTED_ENTRY(Name)                                                      \
    void handle##Name(KVOSmrPtr<IKivo##Name##Operation> const& op) override {         \
        RecordingHandler::handle##Name(op);                                            \
        run(op);                                                                       \
    }
    KIVO_INTRINSIC_OPERATIONS(KIVO_SCRIPTED_ENTRY)
#undef KIVO_SCRIPTED_ENTRY
    // ExecQuery streams as the enumerations do, and is tested with them.
    void handleExecQuery(KVOSmrPtr<IExecQueryOperation> const& op) override {
        RecordingHandler::handleExecQuery(op);
        run(op);
    }

    bool keep = false;
    KVOSmrPtr<IKivoOperation> kept;  // the last operation received, when keep is set
    std::string seen;                // seenThrough of the last operation received

private:
    template <class I>
    void run(KVOSmrPtr<I> const& op) {
        seen = seenThrough(*op);
        if (keep) kept = op;
        auto script = _scripts.find(typeid(I));
        if (script != _scripts.end()) std::any_cast<std::function<void(KVOSmrPtr<I> const&)>&>(script->second)(op);
    }

    std::map<std::type_index, std::any> _scripts;
};

// An adapter context whose destruction shows that the operation holding it died.
class LifeProbe : public IKivoOperationContext {
public:
    explicit LifeProbe(bool& destroyed) : _destroyed(destroyed) {}
    ~LifeProbe() override { _destroyed = true; }

private:
    bool& _destroyed;
};

// How a row builds its operation, where in it the handler must find the
// operation's interface, and what the handler reads through that interface.
struct Maker {
    std::function<KVOSmrPtr<KivoOperationBase>(IKivoOperationHandlerContext*)> make;
    std::function<void const*(KivoOperationBase*)> asInterface;
    std::function<std::string(KivoOperationBase*)> view;
};

template <class Base, class Interface, class... Args>
Maker of(Args... args) {
    return {[=](IKivoOperationHandlerContext* ctx) {
                return KVOSmrPtr<KivoOperationBase>(new Concrete<Base>(ctx, args...));
            },
            [](KivoOperationBase* op) -> void const* { return dynamic_cast<Interface*>(op); },
            [](KivoOperationBase* op) { return seenThrough(*dynamic_cast<Interface*>(op)); }};
}

// InvokeMethod is named by the method it calls, which the adapter sets.
Maker invokeMethod() {
    Maker maker = of<KivoInvokeMethodOperationBase, IKivoInvokeMethodOperation>();
    maker.make = [make = maker.make](IKivoOperationHandlerContext* ctx) {
        KVOSmrPtr<KivoOperationBase> op = make(ctx);
        op->setOperationName("InvokeMethod");
        return op;
    };
    return maker;
}

struct Row {
    std::string name;
    Maker maker;
    std::string defaults;  // seenThrough after construction, past "ns= class="
};

// Bounded operations are built with bounds 0.
std::vector<Row> const& rows() {
    std::string const assoc = " source=null resultClass= assocClass= role= resultRole=";
    std::string const refs = " source=null resultClass= role=";
    static std::vector<Row> const table = {
        {"GetClass", of<KivoGetClassOperationBase, IKivoGetClassOperation>(),
         " localOnly=1 includeQualifiers=1 classOrigin=0 props=null"},
        {"GetInstance", of<KivoGetInstanceOperationBase, IKivoGetInstanceOperation>(), " classOrigin=0 props=null"},
        {"GetProperty", of<KivoGetPropertyOperationBase, IKivoGetPropertyOperation>(), ""},
        {"SetProperty", of<KivoSetPropertyOperationBase, IKivoSetPropertyOperation>(), ""},
        {"GetQualifier", of<KivoGetQualifierOperationBase, IKivoGetQualifierOperation>(), ""},
        {"EnumerateQualifiers", of<KivoEnumerateQualifiersOperationBase, IKivoEnumerateQualifiersOperation>(), ""},
        {"CreateInstance", of<KivoCreateInstanceOperationBase, IKivoCreateInstanceOperation>(), ""},
        {"ModifyInstance", of<KivoModifyInstanceOperationBase, IKivoModifyInstanceOperation>(), " props=null"},
        {"DeleteInstance", of<KivoDeleteInstanceOperationBase, IKivoDeleteInstanceOperation>(), ""},
        {"EnumerateInstances", of<KivoEnumerateInstancesOperationBase, IKivoEnumerateInstancesOperation>(0u),
         " classOrigin=0 deepInheritance=1 props=null"},
        {"EnumerateInstanceNames",
         of<KivoEnumerateInstanceNamesOperationBase, IKivoEnumerateInstanceNamesOperation>(0u), ""},
        {"EnumerateClasses", of<KivoEnumerateClassesOperationBase, IKivoEnumerateClassesOperation>(),
         " localOnly=1 includeQualifiers=1 classOrigin=0 deepInheritance=0"},
        {"EnumerateClassNames", of<KivoEnumerateClassNamesOperationBase, IKivoEnumerateClassNamesOperation>(),
         " deepInheritance=0"},
        {"Associators", of<KivoAssociatorsOperationBase, IKivoAssociatorsOperation>(0u),
         " classOrigin=0 props=null" + assoc},
        {"AssociatorNames", of<KivoAssociatorNamesOperationBase, IKivoAssociatorNamesOperation>(0u), assoc},
        {"References", of<KivoReferencesOperationBase, IKivoReferencesOperation>(0u),
         " classOrigin=0 props=null" + refs},
        {"ReferenceNames", of<KivoReferenceNamesOperationBase, IKivoReferenceNamesOperation>(0u), refs},
        {"CreateClass", of<KivoCreateClassOperationBase, IKivoCreateClassOperation>(), ""},
        {"ModifyClass", of<KivoModifyClassOperationBase, IKivoModifyClassOperation>(), ""},
        {"DeleteClass", of<KivoDeleteClassOperationBase, IKivoDeleteClassOperation>(), ""},
        {"SetQualifier", of<KivoSetQualifierOperationBase, IKivoSetQualifierOperation>(), ""},
        {"DeleteQualifier", of<KivoDeleteQualifierOperationBase, IKivoDeleteQualifierOperation>(), ""},
        {"InvokeMethod", invokeMethod(), ""},
    };
    return table;
}

class IntrinsicOperations : public ::testing::Test {
protected:
    IntrinsicOperations() { ctx.setHandler(&handler); }

    template <class Base, class... Args>
    Concrete<Base>* make(Args... args) {
        auto* op = new Concrete<Base>(&ctx, args...);
        holder = KVOSmrPtr<KivoOperationBase>(op);
        return op;
    }
    void process() { holder->process(kivo_test::nullOStream(), holder); }

    kivo_test::LogCapture log;  // keeps the driver's records off standard error
    kivo_test::TestHandlerContext ctx;
    ScriptedHandler handler;
    KVOSmrPtr<KivoOperationBase> holder;
};

// ---------------------------------------------------------------------------
// Every operation: name, defaults, handler entry, shared ownership, facets.

// The facets an operation's interface offers, and each at the default of a
// request that does not carry it.
TEST_F(IntrinsicOperations, ConstructionGivesTheNameAndTheRequestDefaults) {
    for (auto const& row : rows()) {
        SCOPED_TRACE(row.name);
        KVOSmrPtr<KivoOperationBase> op = row.maker.make(nullptr);
        EXPECT_EQ(op->getOperationName(), KVOString(row.name));
        EXPECT_EQ(op->getErrorCode(), 0);
        EXPECT_EQ(row.maker.view(op.get()), "ns= class=" + row.defaults);
    }
}

TEST_F(IntrinsicOperations, EachReachesItsOwnEntryWithTheVeryObjectAndTheHandlerKeepsItAlive) {
    handler.keep = true;
    for (auto const& row : rows()) {
        SCOPED_TRACE(row.name);
        handler.clear();
        bool destroyed = false;
        void const* processed = nullptr;
        {
            KVOSmrPtr<KivoOperationBase> op = row.maker.make(&ctx);
            op->setContext(KVOSmrPtr<IKivoOperationContext>(new LifeProbe(destroyed)));
            processed = row.maker.asInterface(op.get());
            ASSERT_NE(processed, nullptr);
            op->process(kivo_test::nullOStream(), op);
        }
        auto calls = handler.calls();
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].entry, "handle" + row.name);
        EXPECT_EQ(calls[0].op, processed);

        EXPECT_FALSE(destroyed) << "the handler's pointer alone keeps the operation";
        EXPECT_EQ(handler.kept->getOperationName(), KVOString(row.name));
        handler.kept = nullptr;
        EXPECT_TRUE(destroyed);
    }
}

// Each callHandler lets what its entry throws through unchanged, so the
// driver maps it: a code is kept, 0 and foreign exceptions become 1.
TEST_F(IntrinsicOperations, WhatTheEntryThrowsBecomesTheStatus) {
    struct Failure {
        char const* what;
        std::function<void()> raise;
        int status;
    };
    std::vector<Failure> const failures = {
        {"code 6", [] { throw KivoBaseException("CIM_ERR_NOT_FOUND", "", "", "absent", 6); }, 6},
        {"code 0", [] { throw KivoBaseException("", "", "", "", 0); }, 1},
        {"foreign", [] { throw std::runtime_error("boom"); }, 1},
    };
    for (auto const& row : rows()) {
        for (auto const& failure : failures) {
            SCOPED_TRACE(row.name + ", " + failure.what);
            handler.action = [&](std::string const&) { failure.raise(); };
            KVOSmrPtr<KivoOperationBase> op = row.maker.make(&ctx);
            op->process(kivo_test::nullOStream(), op);
            EXPECT_EQ(op->getErrorCode(), failure.status);
        }
    }
}

TEST_F(IntrinsicOperations, FacetsSetOnTheBaseAreWhatTheHandlerReadsThroughItsInterface) {
    for (auto const& row : rows()) {
        SCOPED_TRACE(row.name);
        KVOSmrPtr<KivoOperationBase> op = row.maker.make(&ctx);
        KivoOperationBase* base = op.get();
        op->setNameSpace("root/test");
        op->setClassName("Widget");

        // Each accepted facet is set away from its default; the text is what
        // the handler must see, in the order seenThrough writes it.
        std::ostringstream expected;
        expected << "ns=root/test class=Widget";
        if (auto* f = dynamic_cast<KivoLocalOnlyOperationBase*>(base)) {
            f->setLocalOnly(!f->getLocalOnly());
            expected << " localOnly=" << f->getLocalOnly();
        }
        if (auto* f = dynamic_cast<KivoIncludeQualifiersOperationBase*>(base)) {
            f->setIncludeQualifiers(!f->getIncludeQualifiers());
            expected << " includeQualifiers=" << f->getIncludeQualifiers();
        }
        if (auto* f = dynamic_cast<KivoClassOriginatedOperationBase*>(base)) {
            f->setClassOrigin(true);
            expected << " classOrigin=1";
        }
        if (auto* f = dynamic_cast<KivoDeeplyInheritedOperationBase*>(base)) {
            f->setDeepInheritance(!f->getDeepInheritance());
            expected << " deepInheritance=" << f->getDeepInheritance();
        }
        if (auto* f = dynamic_cast<KivoPropertyListOperationBase*>(base)) {
            f->setPropertyList(KVOSmrPtr<KVOValSlist<KVOString>>(new KVOValSlist<KVOString>{"Name", "Size"}));
            expected << " props=[Name,Size]";
        }
        if (auto* f = dynamic_cast<KivoAssociatorsBase*>(base)) {
            f->setSourceInstance(path("Source"));
            f->setResultClass("Result");
            f->setAssociationClass("Link");
            f->setRole("Antecedent");
            f->setResultRole("Dependent");
            expected << " source=root/test:Source resultClass=Result assocClass=Link role=Antecedent"
                        " resultRole=Dependent";
        }
        if (auto* f = dynamic_cast<KivoReferencesBase*>(base)) {
            f->setSourceInstance(path("Source"));
            f->setResultClass("Link");
            f->setRole("Antecedent");
            expected << " source=root/test:Source resultClass=Link role=Antecedent";
        }

        handler.seen.clear();
        op->process(kivo_test::nullOStream(), op);
        EXPECT_EQ(handler.seen, expected.str());
    }
}

// ---------------------------------------------------------------------------
// The single-result operations: their own parameters and results.

TEST_F(IntrinsicOperations, GetClassReturnsTheClassStoredLastAndKeepsItWhenTheHandlerThrows) {
    auto* op = make<KivoGetClassOperationBase>();
    KVOSmrPtr<IKivoClass> first(new CKivoClass("Widget", nullptr, {}));
    KVOSmrPtr<IKivoClass> found(new CKivoClass("Widget", nullptr, {"Name"}));
    handler.on<IKivoGetClassOperation>([&](KVOSmrPtr<IKivoGetClassOperation> const& h) {
        h->setClass(first);
        h->setClass(found);
        throw KivoBaseException("CIM_ERR_FAILED", "provider", "", "gave up", 6);
    });
    process();
    EXPECT_EQ(op->getErrorCode(), 6);
    EXPECT_EQ(op->getClass(), found);
    EXPECT_EQ(op->writeCalls, 1);
}

TEST_F(IntrinsicOperations, GetQualifierPointsAtTheDeclarationWithoutOwningIt) {
    CKivoQualifierDef declaration("Key", "boolean", "false");
    auto* op = make<KivoGetQualifierOperationBase>();
    op->setQualifierName("Key");
    handler.on<IKivoGetQualifierOperation>([&](KVOSmrPtr<IKivoGetQualifierOperation> const& h) {
        EXPECT_EQ(h->getQualifierName(), KVOString("Key"));
        h->setQualifierDef(&declaration);
    });
    process();
    EXPECT_EQ(op->getQualifierDef(), &declaration);
    holder = nullptr;  // the operation dies; the declaration (on this stack) must be left alone
    EXPECT_EQ(declaration.getName(), KVOString("Key"));
}

TEST_F(IntrinsicOperations, EnumerateQualifiersSharesTheListStoredEmptyOrNot) {
    using QualifierList = IKivoEnumerateQualifiersOperation::QualifierList;
    CKivoQualifierDef key("Key", "boolean");
    KVOSmrPtr<QualifierList> empty(new QualifierList);
    KVOSmrPtr<QualifierList> two(new QualifierList{&key, &key});
    for (auto const& stored : {empty, two}) {
        auto* op = make<KivoEnumerateQualifiersOperationBase>();
        handler.on<IKivoEnumerateQualifiersOperation>(
            [&](KVOSmrPtr<IKivoEnumerateQualifiersOperation> const& h) { h->setQualifierList(stored); });
        process();
        ASSERT_FALSE(op->getQualifierList().isNull());
        EXPECT_EQ(op->getQualifierList(), stored);
        EXPECT_EQ(op->getQualifierList()->size(), stored->size());
    }
}

// The declaration comes from the request, not from the object manager: it is
// shared, so a handler may keep it after the operation is gone.
TEST_F(IntrinsicOperations, SetQualifierSharesTheDeclarationWithAHandlerThatKeepsIt) {
    KVOSmrPtr<qora::IQualifierDef> declaration(new CKivoQualifierDef("Key", "boolean", "false"));
    KVOSmrPtr<qora::IQualifierDef> kept;
    auto* op = make<KivoSetQualifierOperationBase>();
    EXPECT_TRUE(op->getQualifierDef().isNull());
    op->setQualifierDef(declaration);
    handler.on<IKivoSetQualifierOperation>(
        [&](KVOSmrPtr<IKivoSetQualifierOperation> const& h) { kept = h->getQualifierDef(); });
    process();
    holder = nullptr;
    declaration = nullptr;
    ASSERT_FALSE(kept.isNull());
    EXPECT_EQ(kept->getName(), KVOString("Key"));
}

// ---------------------------------------------------------------------------
// The multi-result operations: results streamed from provider threads.

std::string resultName(int i) { return "R" + std::to_string(i); }

void makeResult(int i, KVOString& r) { r = resultName(i); }
void makeResult(int i, KVOSmrPtr<IKivoObject>& r) { r = instance(resultName(i).c_str()); }
void makeResult(int i, KVOSmrPtr<IKivoInstanceName>& r) { r = path(resultName(i).c_str()); }
void makeResult(int i, KVOSmrPtr<IKivoClass>& r) {
    r = KVOSmrPtr<IKivoClass>(new CKivoClass(resultName(i), nullptr, {}));
}
void makeResult(int i, KVOSmrPtr<IKivoValue>& r) { r = KVOSmrPtr<IKivoValue>(new CKivoValue(resultName(i))); }

std::string nameOf(KVOString const& r) { return r.str(); }
std::string nameOf(KVOSmrPtr<IKivoObject> const& r) { return r->getClassName().str(); }
std::string nameOf(KVOSmrPtr<IKivoInstanceName> const& r) { return r->getClassName().str(); }
std::string nameOf(KVOSmrPtr<IKivoClass> const& r) { return r->getName().str(); }
std::string nameOf(KVOSmrPtr<IKivoValue> const& r) { return r->toString().str(); }

// Polls pred until it holds or `limit` passes.
bool eventually(std::function<bool()> const& pred, std::chrono::seconds limit = 20s) {
    auto const deadline = std::chrono::steady_clock::now() + limit;
    while (!pred()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

// One multi-result operation: its base, interface, result type, and whether
// its constructor takes the adapter's bound (the others are always unbounded).
template <class B, class I, class T, bool Bounded>
struct Streamed {
    using Base = B;
    using Interface = I;
    using Result = T;
    static constexpr bool bounded = Bounded;
};

template <class S>
class MultiResultOperations : public IntrinsicOperations {
protected:
    using Operation = Concrete<typename S::Base>;
    using Result = typename S::Result;

    // The operation under test, with a capacity of `bounds` where it takes one.
    Operation* makeStreamed(unsigned bounds) {
        if constexpr (S::bounded)
            return this->template make<typename S::Base>(bounds);
        else
            return this->template make<typename S::Base>();
    }

    // Scripts the handler the way the object manager runs providers: it takes
    // one writer per provider, allows completion, and starts the providers on
    // threads of their own. Provider p adds the results numbered p * each to
    // p * each + each - 1 in order, counting them in `added`, then closes.
    void provide(int providers, int each) {
        this->handler.template on<typename S::Interface>([=, this](KVOSmrPtr<typename S::Interface> const& op) {
            std::vector<KVOSmrPtr<qora::IMultiResponse<Result>>> writers;
            for (int p = 0; p < providers; ++p) writers.push_back(op->getResponse());
            op->allowComplete();
            for (int p = 0; p < providers; ++p)
                threads.emplace_back([this, writer = writers[p], first = p * each, each] {
                    for (int i = first; i < first + each; ++i) {
                        Result r;
                        makeResult(i, r);
                        writer->add(r, true);
                        ++added;
                    }
                    writer->Close();
                });
        });
    }

    void TearDown() override {
        for (auto& t : threads) t.join();
    }

    std::atomic<int> added{0};
    std::vector<std::thread> threads;
};

using StreamedOperations = ::testing::Types<
    Streamed<KivoEnumerateInstancesOperationBase, IKivoEnumerateInstancesOperation, KVOSmrPtr<IKivoObject>, true>,
    Streamed<KivoEnumerateInstanceNamesOperationBase, IKivoEnumerateInstanceNamesOperation,
             KVOSmrPtr<IKivoInstanceName>, true>,
    Streamed<KivoEnumerateClassesOperationBase, IKivoEnumerateClassesOperation, KVOSmrPtr<IKivoClass>, false>,
    Streamed<KivoEnumerateClassNamesOperationBase, IKivoEnumerateClassNamesOperation, KVOString, false>,
    Streamed<KivoAssociatorsOperationBase, IKivoAssociatorsOperation, KVOSmrPtr<IKivoValue>, true>,
    Streamed<KivoAssociatorNamesOperationBase, IKivoAssociatorNamesOperation, KVOSmrPtr<IKivoInstanceName>, true>,
    Streamed<KivoReferencesOperationBase, IKivoReferencesOperation, KVOSmrPtr<IKivoValue>, true>,
    Streamed<KivoReferenceNamesOperationBase, IKivoReferenceNamesOperation, KVOSmrPtr<IKivoInstanceName>, true>,
    Streamed<ExecQueryOperationBase, IExecQueryOperation, KVOSmrPtr<IKivoObject>, true>>;
TYPED_TEST_SUITE(MultiResultOperations, StreamedOperations);

TYPED_TEST(MultiResultOperations, ResultsAddedByProviderThreadsAreWhatWriteResponseTakes) {
    constexpr int kProviders = 3;
    constexpr int kEach = 200;
    auto* op = this->makeStreamed(2);
    this->provide(kProviders, kEach);
    std::vector<std::string> taken;
    op->onWrite = [&] {
        while (op->hasNext()) taken.push_back(nameOf(op->next()));
    };
    this->process();

    // Every result once, each provider's in the order it added them.
    ASSERT_EQ(taken.size(), std::size_t(kProviders * kEach));
    std::vector<int> nextOf(kProviders, 0);
    for (auto const& name : taken) {
        int i = std::stoi(name.substr(1));
        EXPECT_EQ(i % kEach, nextOf[i / kEach]++) << name;
    }
    EXPECT_EQ(op->getErrorCode(), 0);
}

TYPED_TEST(MultiResultOperations, OnlyTheAdaptersBoundMakesWritersWaitForTheConsumer) {
    constexpr int kResults = 50;
    auto* op = this->makeStreamed(2);
    this->provide(1, kResults);
    auto& added = this->added;
    int taken = 0;
    op->onWrite = [&] {
        if (TypeParam::bounded) {
            ASSERT_TRUE(eventually([&] { return added == 2; }));
            std::this_thread::sleep_for(100ms);
            EXPECT_EQ(added, 2) << "a third result waits for room";
            ASSERT_TRUE(op->hasNext());
            op->next();
            ++taken;
            EXPECT_TRUE(eventually([&] { return added == 3; })) << "taking one makes room for one";
        } else {
            EXPECT_TRUE(eventually([&] { return added == kResults; })) << "class enumerations never wait";
        }
        while (op->hasNext()) {
            op->next();
            ++taken;
        }
    };
    this->process();
    EXPECT_EQ(taken, kResults);
}

}  // namespace
