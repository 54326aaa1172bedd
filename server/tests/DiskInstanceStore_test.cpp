// The instance store on disk: the in-memory store's contract (one table of
// steps run against both), the value codec, reopening, and its concurrency:
// read-modify-writes that lose nothing and enumerations that hold no writer.
#include "repository/DiskInstanceStore.h"

#include "repository/ValueCodec.h"

#include "objectmanager/CimStatus.h"

#include "RepositoryTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <future>
#include <limits>
#include <thread>

namespace {

using namespace kivo::om;
using kivo::repo::DiskInstanceStore;
using kivo::repo::RepositoryFile;
using kivo_test::ItemModel;
using T = KVOCIMType;

int codeOf(std::function<void()> const& call) {
    try {
        call();
    } catch (KivoBaseException const& e) {
        return e.getCode();
    }
    return 0;
}

KVOSmrPtr<IKivoValue> u32(std::uint64_t v) { return CKivoValue::makeUnsigned(T::UInt32, v); }

std::string labelOf(IKivoObject const& o) { return o.getProperty("Label")->getValue()->toString().str(); }

// ---------------------------------------------------------------------------
// The contract, against both stores.

struct Store {
    std::shared_ptr<InstanceProvider> provider;
    std::function<std::uint64_t()> bytes;
};

struct Kind {
    char const* name;
    std::function<Store(StoreLimits)> make;
};

Kind const kKinds[] = {
    {"Memory",
     [](StoreLimits limits) {
         auto s = std::make_shared<InstanceStore>(limits);
         return Store{s, [s] { return s->bytes(); }};
     }},
    {"Disk",
     [](StoreLimits limits) {
         auto s = std::make_shared<DiskInstanceStore>(RepositoryFile::open({":memory:"}), limits);
         return Store{s, [s] { return s->bytes(); }};
     }},
};

class StoreContract : public ::testing::TestWithParam<Kind> {
protected:
    ItemModel model;
};

enum class Op { Create, Modify, Remove, Get, ChangeKeys, FailingChange };
// How a step names its instance: typed keys, keys as untyped text, key names
// in another case, or one key missing (which names no instance).
enum class Form { Typed, Text, Upper, Partial };

KVOSmrPtr<IKivoInstanceName> pathOf(unsigned id, Form form) {
    std::string const name = "n" + std::to_string(id);
    std::vector<KVOKeyBinding> keys;
    switch (form) {
        case Form::Typed: keys = {{"Id", u32(id)}, {"Name", CKivoValue::makeString(name)}}; break;
        case Form::Text: keys = {{"Id", KVOSmrPtr<IKivoValue>(new CKivoValue(std::to_string(id)))},
                                 {"Name", KVOSmrPtr<IKivoValue>(new CKivoValue(name))}}; break;
        case Form::Upper: keys = {{"NAME", CKivoValue::makeString(name)}, {"ID", u32(id)}}; break;
        case Form::Partial: keys = {{"Id", u32(id)}}; break;
    }
    return KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(ItemModel::kNs, "Test_Item", std::move(keys), ""));
}

TEST_P(StoreContract, StepsAnswerAsTheInMemoryStoreDoes) {
    struct Step {
        Op op;
        unsigned id;
        char const* label;  // written, or expected by Get
        Form form;
        int code;
    };
    Step const steps[] = {
        {Op::Create, 1, "a", Form::Typed, 0},
        {Op::Create, 2, "b", Form::Typed, 0},
        {Op::Create, 1, "dup", Form::Typed, CIM_ERR_ALREADY_EXISTS},
        {Op::Get, 1, "a", Form::Text, 0},
        {Op::Get, 2, "b", Form::Upper, 0},
        {Op::Get, 1, nullptr, Form::Partial, CIM_ERR_NOT_FOUND},
        {Op::Get, 9, nullptr, Form::Typed, CIM_ERR_NOT_FOUND},
        {Op::Modify, 1, "a2", Form::Typed, 0},
        {Op::Modify, 9, "x", Form::Typed, CIM_ERR_NOT_FOUND},
        {Op::Remove, 9, nullptr, Form::Typed, CIM_ERR_NOT_FOUND},
        {Op::Remove, 1, nullptr, Form::Partial, CIM_ERR_NOT_FOUND},
        {Op::ChangeKeys, 1, "k", Form::Text, CIM_ERR_FAILED},
        {Op::FailingChange, 1, "f", Form::Upper, CIM_ERR_INVALID_PARAMETER},
        {Op::ChangeKeys, 9, "k", Form::Typed, CIM_ERR_NOT_FOUND},
        {Op::Get, 1, "a2", Form::Typed, 0},
        {Op::Create, 3, "c", Form::Typed, 0},
        {Op::Remove, 2, nullptr, Form::Text, 0},
        {Op::Get, 2, nullptr, Form::Typed, CIM_ERR_NOT_FOUND},
        {Op::Create, 2, "b again", Form::Typed, 0},
    };
    Store const store = GetParam().make(StoreLimits());
    InstanceProvider& p = *store.provider;
    char const* const ns = ItemModel::kNs;
    IKivoClass const& cls = *model.item;
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        Step const& s = steps[i];
        KVOSmrPtr<IKivoInstanceName> const path = pathOf(s.id, s.form);
        int code = 0;
        switch (s.op) {
            case Op::Create: code = codeOf([&] { p.create(ns, cls, model.make(s.id, s.label)); }); break;
            case Op::Modify: code = codeOf([&] { p.modify(ns, cls, model.make(s.id, s.label)); }); break;
            case Op::Remove: code = codeOf([&] { p.remove(ns, cls, *path); }); break;
            case Op::Get: {
                KVOSmrPtr<IKivoObject> const found = p.get(ns, cls, *path);
                code = found ? 0 : CIM_ERR_NOT_FOUND;
                if (found) {
                    EXPECT_EQ(labelOf(*found), s.label) << "step " << i;
                    EXPECT_TRUE(found->getInstanceName()->sameAs(*model.path(s.id))) << "step " << i;
                }
                break;
            }
            case Op::ChangeKeys:
                code = codeOf([&] { p.update(ns, cls, *path, [&](IKivoObject const&) { return model.make(s.id + 100, s.label); }); });
                break;
            case Op::FailingChange:
                code = codeOf([&] {
                    p.update(ns, cls, *path, [&](IKivoObject const&) -> KVOSmrPtr<IKivoObject> {
                        raise(CIM_ERR_INVALID_PARAMETER, "test", "refused");
                    });
                });
                break;
        }
        EXPECT_EQ(code, s.code) << "step " << i;
    }
    std::vector<std::string> order;
    p.enumerate(ns, cls, [&](KVOSmrPtr<IKivoObject> const& o) {
        EXPECT_EQ(o->getProperties().entries(), 4u);
        order.push_back(labelOf(*o));
        return true;
    });
    EXPECT_EQ(order, (std::vector<std::string>{"a2", "c", "b again"})) << "creation order, a re-created one last";
    int seen = 0;
    p.enumerate(ns, cls, [&](KVOSmrPtr<IKivoObject> const&) { return ++seen < 2; });
    EXPECT_EQ(seen, 2) << "a sink that answers false stops the enumeration";
    p.enumerate(ns, *model.other, [&](KVOSmrPtr<IKivoObject> const&) { return ADD_FAILURE(), true; });
}

// The quota at its boundaries: bytes in all (one store), instances per class
// (another), for creates and for changes that grow an instance; a refused
// change counts nothing.
TEST_P(StoreContract, QuotaHoldsAtItsBoundaries) {
    char const* const ns = ItemModel::kNs;
    std::string const ten = "0123456789";
    std::uint64_t const one = InstanceStore::sizeOf(*model.make(1, ten));
    StoreLimits byBytes, byCount;
    byBytes.maxBytes = 2 * one + 5;
    byCount.maxInstancesPerClass = 2;
    Store const stores[] = {GetParam().make(byBytes), GetParam().make(byCount)};
    auto other = [&](unsigned id) { return buildInstance(ns, *model.other, {{"Id", u32(id)}}); };
    auto create = [&](int s, KVOSmrPtr<IKivoObject> const& o) {
        return [&, s, o] { stores[s].provider->create(ns, o->getClassName() == "Test_Item" ? *model.item : *model.other, o); };
    };
    auto modify = [&](int s, unsigned id, std::string const& label) {
        return [&, s, id, label] { stores[s].provider->modify(ns, *model.item, model.make(id, label)); };
    };
    auto remove = [&](int s, unsigned id) { return [&, s, id] { stores[s].provider->remove(ns, *model.item, *model.path(id)); }; };
    struct Step {
        char const* what;
        std::function<void()> call;
        int code;
    };
    std::vector<Step> const steps = {
        {"first", create(0, model.make(1, ten)), 0},
        {"second", create(0, model.make(2, ten)), 0},
        {"another class past the bytes", create(0, other(1)), CIM_ERR_SERVER_LIMITS_EXCEEDED},
        {"grow by six of five", modify(0, 1, ten + "abcdef"), CIM_ERR_SERVER_LIMITS_EXCEEDED},
        {"grow by exactly five", modify(0, 1, ten + "abcde"), 0},
        {"grow by one at the quota", modify(0, 2, ten + "a"), CIM_ERR_SERVER_LIMITS_EXCEEDED},
        {"shrink", modify(0, 1, ten), 0},
        {"remove", remove(0, 2), 0},
        {"another class after the remove", create(0, other(1)), 0},
        {"count: first", create(1, model.make(1, "")), 0},
        {"count: second", create(1, model.make(2, "")), 0},
        {"count: the class is full", create(1, model.make(3, "")), CIM_ERR_SERVER_LIMITS_EXCEEDED},
        {"count: another class is not", create(1, other(1)), 0},
        {"count: remove", remove(1, 1), 0},
        {"count: a third after the remove", create(1, model.make(3, "")), 0},
    };
    for (Step const& s : steps) EXPECT_EQ(codeOf(s.call), s.code) << s.what;
    EXPECT_EQ(stores[0].bytes(), one + InstanceStore::sizeOf(*other(1)));
}

INSTANTIATE_TEST_SUITE_P(Stores, StoreContract, ::testing::ValuesIn(kKinds),
                         [](auto const& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// The value codec.

KVOSmrPtr<IKivoValue> array(T type, std::vector<KVOSmrPtr<IKivoValue>> elements) {
    return CKivoValue::makeArray(type, std::move(elements));
}

KVOSmrPtr<IKivoObject> embedded(int depth) {
    KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
    properties.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty("Depth", T::SInt32, false,
                                                                CKivoValue::makeSigned(T::SInt32, depth), {}, "Test_E", true)));
    properties.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty("Nothing", T::String, true, nullptr)));
    if (depth > 0)
        properties.append(KVOSmrPtr<IKivoProperty>(
            new CKivoProperty("Inner", T::Instance, false, CKivoValue::makeInstance(embedded(depth - 1)))));
    KVOSmrPtr<IKivoInstanceName> path(new CKivoInstanceName("root/x", "Test_E", {{"K", "v\"\\"}}));
    return KVOSmrPtr<IKivoObject>(new CKivoObject("Test_E", properties, depth % 2 ? path : nullptr));
}

// Whether two values are the same: type, array-ness, and for objects their
// contents, recursively.
void expectSame(IKivoValue const* a, IKivoValue const* b, std::string const& where);

void expectSameObject(IKivoObject const& a, IKivoObject const& b, std::string const& where) {
    EXPECT_EQ(a.getClassName(), b.getClassName()) << where;
    ASSERT_EQ(!a.getInstanceName(), !b.getInstanceName()) << where;
    if (a.getInstanceName()) {
        EXPECT_EQ(a.getInstanceName()->toString(), b.getInstanceName()->toString()) << where;
    }
    auto pa = a.getProperties(), pb = b.getProperties();
    ASSERT_EQ(pa.entries(), pb.entries()) << where;
    for (auto ia = pa.begin(), ib = pb.begin(); ia != pa.end(); ++ia, ++ib) {
        EXPECT_EQ((*ia)->getName(), (*ib)->getName()) << where;
        EXPECT_EQ((*ia)->getCIMType(), (*ib)->getCIMType()) << where;
        EXPECT_EQ((*ia)->isArray(), (*ib)->isArray()) << where;
        EXPECT_EQ((*ia)->getClassOrigin(), (*ib)->getClassOrigin()) << where;
        EXPECT_EQ((*ia)->isPropagated(), (*ib)->isPropagated()) << where;
        expectSame((*ia)->getValue().get(), (*ib)->getValue().get(), where + "." + (*ia)->getName().str());
    }
}

void expectSame(IKivoValue const* a, IKivoValue const* b, std::string const& where) {
    ASSERT_EQ(!a, !b) << where;
    if (!a) return;
    EXPECT_EQ(a->getCIMType(), b->getCIMType()) << where;
    EXPECT_EQ(a->isArray(), b->isArray()) << where;
    EXPECT_EQ(a->toString(), b->toString()) << where;
    if (KVOCIMTypes::isReal(a->getCIMType()) && !a->isArray()) {
        double const x = a->getReal(), y = b->getReal();
        EXPECT_TRUE(std::memcmp(&x, &y, sizeof x) == 0) << where << ": the double's bits";
    }
    if (a->getReference()) {
        EXPECT_TRUE(a->getReference()->sameAs(*b->getReference())) << where;
        EXPECT_EQ(a->getReference()->getHost(), b->getReference()->getHost()) << where;
        auto ka = a->getReference()->getKeys(), kb = b->getReference()->getKeys();
        for (std::size_t i = 0; i < ka.size() && i < kb.size(); ++i) expectSame(ka[i].value.get(), kb[i].value.get(), where + ".key");
    }
    if (a->getInstance()) expectSameObject(*a->getInstance(), *b->getInstance(), where);
    auto ea = a->getElements(), eb = b->getElements();
    ASSERT_EQ(ea.size(), eb.size()) << where;
    for (std::size_t i = 0; i < ea.size(); ++i) expectSame(ea[i].get(), eb[i].get(), where + "[" + std::to_string(i) + "]");
}

KVOSmrPtr<IKivoInstanceName> ref(int depth) {
    std::vector<KVOKeyBinding> keys{{"Text", CKivoValue::makeString("a \"quoted\", \\back\\ =.,")},
                                    {"Small", CKivoValue::makeSigned(T::SInt8, -128)},
                                    {"Flag", CKivoValue::makeBoolean(false)}};
    if (depth > 0) keys.push_back({"Up", CKivoValue::makeReference(ref(depth - 1))});
    return KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName("root/cimv2", "Test_Ref", std::move(keys), depth ? "host" : ""));
}

TEST(ValueCodec, EveryKindOfValueReadsBackTheSame) {
    double const inf = std::numeric_limits<double>::infinity();
    std::string odd;
    for (int c = 1; c < 256; ++c) odd += static_cast<char>(c);
    struct Case {
        char const* what;
        KVOSmrPtr<IKivoValue> value;
    };
    Case const cases[] = {
        {"NULL", nullptr},
        {"empty string", CKivoValue::makeString("")},
        {"every byte but NUL", CKivoValue::makeString(odd)},
        {"untyped text", KVOSmrPtr<IKivoValue>(new CKivoValue("12"))},
        {"true", CKivoValue::makeBoolean(true)},
        {"false", CKivoValue::makeBoolean(false)},
        {"char16", CKivoValue::makeChar16("\xc3\xa9")},
        {"datetime", CKivoValue::makeDateTime("20261124081500.123456+060")},
        {"interval", CKivoValue::makeDateTime("00000001020304.000000:000")},
        {"uint8 max", CKivoValue::makeUnsigned(T::UInt8, 255)},
        {"uint16 max", CKivoValue::makeUnsigned(T::UInt16, 65535)},
        {"uint32 max", CKivoValue::makeUnsigned(T::UInt32, 4294967295u)},
        {"uint64 max", CKivoValue::makeUnsigned(T::UInt64, std::numeric_limits<std::uint64_t>::max())},
        {"uint64 zero", CKivoValue::makeUnsigned(T::UInt64, 0)},
        {"sint8 min", CKivoValue::makeSigned(T::SInt8, -128)},
        {"sint16 min", CKivoValue::makeSigned(T::SInt16, -32768)},
        {"sint32 max", CKivoValue::makeSigned(T::SInt32, 2147483647)},
        {"sint64 min", CKivoValue::makeSigned(T::SInt64, std::numeric_limits<std::int64_t>::min())},
        {"sint64 max", CKivoValue::makeSigned(T::SInt64, std::numeric_limits<std::int64_t>::max())},
        {"sint64 -1", CKivoValue::makeSigned(T::SInt64, -1)},
        {"real32", CKivoValue::makeReal(T::Real32, 3.4028234663852886e38)},
        {"real64 tiny", CKivoValue::makeReal(T::Real64, std::numeric_limits<double>::denorm_min())},
        {"real64 -0", CKivoValue::makeReal(T::Real64, -0.0)},
        {"real64 -inf", CKivoValue::makeReal(T::Real64, -inf)},
        {"real64 pi", CKivoValue::makeReal(T::Real64, 3.141592653589793)},
        {"reference", CKivoValue::makeReference(ref(0))},
        {"reference in a reference", CKivoValue::makeReference(ref(3))},
        {"embedded instance", CKivoValue::makeInstance(embedded(3))},
        {"empty array", array(T::UInt8, {})},
        {"string array", array(T::String, {CKivoValue::makeString(""), CKivoValue::makeString(odd)})},
        {"sint64 array", array(T::SInt64, {CKivoValue::makeSigned(T::SInt64, -5), CKivoValue::makeSigned(T::SInt64, 5)})},
        {"reference array", array(T::Reference, {CKivoValue::makeReference(ref(1)), CKivoValue::makeReference(ref(0))})},
        {"instance array", array(T::Instance, {CKivoValue::makeInstance(embedded(0)), CKivoValue::makeInstance(embedded(1))})},
    };
    for (Case const& c : cases) {
        std::string bytes;
        kivo::repo::codec::writeValue(bytes, c.value.get());
        std::string_view in = bytes;
        KVOSmrPtr<IKivoValue> const back = kivo::repo::codec::readValue(in);
        EXPECT_TRUE(in.empty()) << c.what << ": bytes left over";
        expectSame(c.value.get(), back.get(), c.what);
        // Every cut of the bytes is refused as damage, never read as something.
        for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
            std::string_view part(bytes.data(), cut);
            EXPECT_EQ(codeOf([&] { kivo::repo::codec::readValue(part); }), CIM_ERR_FAILED) << c.what << " cut at " << cut;
        }
    }
    std::string bytes;
    EXPECT_EQ(codeOf([&] { kivo::repo::codec::writeValue(bytes, CKivoValue::makeClass(
                                                                  KVOSmrPtr<IKivoClass>(new CKivoClass("C", nullptr, {}))).get()); }),
              CIM_ERR_NOT_SUPPORTED);
}

TEST(ValueCodec, DamagedBytesAreRefused) {
    struct Case {
        char const* what;
        std::string bytes;
    };
    Case const cases[] = {
        {"unknown type", std::string("\x7f", 1)},
        {"unknown array type", std::string("\xff\x00", 2)},
        {"a boolean of 2", std::string("\x02\x02", 2)},
        {"a text longer than the bytes", std::string("\x01\xff\xff\xff\xff\x0f", 6)},
        {"an integer of eleven bytes", std::string("\x0a\xff\xff\xff\xff\xff\xff\xff\xff\xff\x7f", 11)},
        {"uint8 of 256", std::string("\x05\x80\x02", 3)},
        {"char16 of two characters", std::string("\x03\x02\x61\x62", 4)},
        {"an array holding a NULL", std::string("\x81\x01\x00", 3)},
        {"an array holding another type", std::string("\x81\x01\x02\x01", 4)},
        {"a class", std::string("\x11", 1)},
        {"nested past the limit", std::string(200, '\x8f') + std::string(200, '\x01')},
    };
    for (Case const& c : cases) {
        std::string_view in = c.bytes;
        EXPECT_EQ(codeOf([&] { kivo::repo::codec::readValue(in); }), CIM_ERR_FAILED) << c.what;
    }
    EXPECT_EQ(codeOf([] { kivo::repo::codec::readRow(std::string("\x01\x00\x00", 3)); }), CIM_ERR_FAILED)
        << "a byte after the row";
}

// ---------------------------------------------------------------------------
// On disk.

// Instances, their order and the quota's counts survive closing the file.
TEST(DiskInstanceStore, ReopeningKeepsInstancesOrderAndCounts) {
    kivo_test::TempDir dir;
    ItemModel model;
    std::string const file = dir.file("repo.db");
    std::uint64_t bytes = 0;
    {
        DiskInstanceStore store(RepositoryFile::open({file}));
        for (unsigned id : {5u, 1u, 3u}) store.create(ItemModel::kNs, *model.item, model.make(id, "v" + std::to_string(id), id));
        store.remove(ItemModel::kNs, *model.item, *model.path(1));
        bytes = store.bytes();
    }
    StoreLimits limits;
    limits.maxInstancesPerClass = 3;
    DiskInstanceStore store(RepositoryFile::open({file}), limits);
    EXPECT_EQ(store.count(ItemModel::kNs, *model.item), 2u);
    EXPECT_EQ(store.bytes(), bytes);
    std::vector<std::uint64_t> sizes;
    store.enumerate(ItemModel::kNs, *model.item, [&](KVOSmrPtr<IKivoObject> const& o) {
        sizes.push_back(o->getProperty("Size")->getValue()->getUnsigned());
        return true;
    });
    EXPECT_EQ(sizes, (std::vector<std::uint64_t>{5, 3}));
    store.create(ItemModel::kNs, *model.item, model.make(7, ""));
    EXPECT_EQ(codeOf([&] { store.create(ItemModel::kNs, *model.item, model.make(8, "")); }),
              CIM_ERR_SERVER_LIMITS_EXCEEDED) << "the count on open is the count on disk";
}

// Eight writers, each setting its own property of one instance through
// update(): every write holds at the end.
TEST(DiskInstanceStore, ConcurrentUpdatesOfDifferentPropertiesLoseNothing) {
    kivo::om::ClassRepository repository;
    repository.addNamespace("root/test");
    kivo::om::ClassBuilder builder(repository, "root/test", "Test_Shared");
    builder.key("Id", T::UInt32);
    constexpr int kWriters = 8;
    constexpr unsigned kWrites = 60;
    for (int t = 0; t < kWriters; ++t) builder.property("P" + std::to_string(t), T::UInt32);
    builder.commit();
    KVOSmrPtr<IKivoClass> const cls = repository.getClass("root/test", "Test_Shared");
    DiskInstanceStore store(RepositoryFile::open({":memory:"}));
    KVOSmrPtr<IKivoObject> const first = buildInstance("root/test", *cls, {{"Id", u32(1)}});
    store.create("root/test", *cls, first);
    std::vector<std::thread> threads;
    for (int t = 0; t < kWriters; ++t) {
        threads.emplace_back([&, t] {
            KVOString const name = "P" + std::to_string(t);
            for (unsigned n = 1; n <= kWrites; ++n) {
                store.update("root/test", *cls, *first->getInstanceName(), [&](IKivoObject const& current) {
                    PropertyValues values = valuesOf(current);
                    for (auto& [k, v] : values)
                        if (k == name) v = u32(n);
                    return buildInstance("root/test", *cls, values);
                });
            }
        });
    }
    for (std::thread& t : threads) t.join();
    KVOSmrPtr<IKivoObject> const last = store.get("root/test", *cls, *first->getInstanceName());
    ASSERT_TRUE(last);
    for (int t = 0; t < kWriters; ++t)
        EXPECT_EQ(last->getProperty("P" + std::to_string(t))->getValue()->getUnsigned(), kWrites) << "writer " << t;
}

// An enumeration whose sink blocks holds its read, not the writer: creates
// and updates on another thread go through meanwhile, and the enumeration
// sees the file as it was when it began.
TEST(DiskInstanceStore, ABlockedEnumerationDoesNotHoldWriters) {
    kivo_test::TempDir dir;
    for (std::string const& file : {dir.file("repo.db"), std::string(":memory:")}) {
        ItemModel model;
        DiskInstanceStore store(RepositoryFile::open({file}));
        for (unsigned id = 1; id <= 3; ++id) store.create(ItemModel::kNs, *model.item, model.make(id, "old"));
        std::promise<void> inSink, release;
        std::shared_future<void> released = release.get_future().share();
        std::vector<std::string> seen;
        std::thread reader([&] {
            store.enumerate(ItemModel::kNs, *model.item, [&](KVOSmrPtr<IKivoObject> const& o) {
                seen.push_back(labelOf(*o));
                if (seen.size() == 1) {
                    inSink.set_value();
                    released.wait_for(std::chrono::seconds(10));
                }
                return true;
            });
        });
        inSink.get_future().wait();
        auto writer = std::async(std::launch::async, [&] {
            store.create(ItemModel::kNs, *model.item, model.make(9, "new"));
            store.modify(ItemModel::kNs, *model.item, model.make(2, "changed"));
        });
        bool const done = writer.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
        release.set_value();
        reader.join();
        writer.get();
        EXPECT_TRUE(done) << file << ": a write waited for the blocked enumeration";
        EXPECT_EQ(store.count(ItemModel::kNs, *model.item), 4u);
        if (file != ":memory:") {
            EXPECT_EQ(seen, (std::vector<std::string>{"old", "old", "old"})) << "the enumeration's view is its start";
        }
    }
}

}  // namespace
