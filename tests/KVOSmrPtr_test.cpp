#include "KivoUtilities/KVOSmrPtr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

std::atomic<int> g_alive{0};

// A diamond through virtual bases, shaped like an operation object: the
// interface and the base share one virtual root.
struct Root {
    virtual ~Root() = default;
};
struct Iface : virtual Root {
    virtual int id() const = 0;
};
struct Other : virtual Root {};
struct Base : virtual Root {
    Base() { ++g_alive; }
    ~Base() override { --g_alive; }
};
struct Impl : Base, virtual Iface {
    int id() const override { return 42; }
};

class SmrPtrTest : public ::testing::Test {
protected:
    void SetUp() override { g_alive = 0; }
    void TearDown() override { EXPECT_EQ(g_alive.load(), 0) << "an object leaked or died twice"; }
};

TEST_F(SmrPtrTest, NullPointersCompareAndThrowNamingTheOperator) {
    KVOSmrPtr<Impl> a;
    KVOSmrPtr<Impl> b(nullptr);
    EXPECT_TRUE(a.isNull());
    EXPECT_FALSE(static_cast<bool>(b));
    EXPECT_TRUE(a == b);
    try {
        (void)a->id();
        FAIL() << "operator-> on null did not throw";
    } catch (KivoBaseException const& e) {
        EXPECT_NE(e.getMessage().str().find("operator->()"), std::string::npos) << e.getMessage();
    }
    try {
        (void)*a;
        FAIL() << "operator* on null did not throw";
    } catch (KivoBaseException const& e) {
        EXPECT_NE(e.getMessage().str().find("operator*()"), std::string::npos) << e.getMessage();
    }
}

TEST_F(SmrPtrTest, CopiesShareOneHolderAndTheLastDeletes) {
    {
        KVOSmrPtr<Base> a(new Impl);
        EXPECT_EQ(g_alive, 1);
        KVOSmrPtr<Base> b = a;
        KVOSmrPtr<Base> c;
        c = b;
        EXPECT_EQ(a.holderCount(), 3);
        EXPECT_TRUE(a == c);
        a = nullptr;
        b = KVOSmrPtr<Base>();
        EXPECT_EQ(g_alive, 1);
        c = c;  // self-assignment keeps it
        EXPECT_EQ(g_alive, 1);
        KVOSmrPtr<Base> moved(std::move(c));
        EXPECT_TRUE(c.isNull());
        EXPECT_EQ(g_alive, 1);
    }
    EXPECT_EQ(g_alive, 0);
}

TEST_F(SmrPtrTest, DetachNullsEveryCopyAndLeavesTheObjectToItsOwner) {
    Impl* raw = new Impl;
    KVOSmrPtr<Impl> a(raw);
    KVOSmrPtr<Impl> b = a;
    a.detach();
    EXPECT_TRUE(a.isNull());
    EXPECT_TRUE(b.isNull());
    a = nullptr;
    b = nullptr;
    EXPECT_EQ(g_alive, 1) << "a detached object must not be deleted through the pointer";
    delete raw;
}

TEST_F(SmrPtrTest, ForceCopyAcrossVirtualBasesSharesTheObjectsCount) {
    KVOSmrPtr<Iface> asIface;
    {
        KVOSmrPtr<Base> base(new Impl);
        ForceCopySmrPtr<Iface, Base>(asIface, base);
        ASSERT_FALSE(asIface.isNull());
        EXPECT_EQ(asIface->id(), 42);
        EXPECT_EQ(dynamic_cast<Base*>(asIface.get()), base.get());
        EXPECT_EQ(base.holderCount(), 1) << "the converted pointer has a holder record of its own";
    }
    EXPECT_EQ(g_alive, 1) << "the converted pointer keeps the object alive";
    KVOSmrPtr<Iface> copy = asIface;
    asIface = nullptr;
    EXPECT_EQ(g_alive, 1);
    copy = nullptr;
    EXPECT_EQ(g_alive, 0);
}

TEST_F(SmrPtrTest, ForceCopyFromNullOrForeignObjectLeavesTheTargetAlone) {
    KVOSmrPtr<Base> keep(new Impl);
    KVOSmrPtr<Iface> lhs;
    ForceCopySmrPtr<Iface, Base>(lhs, keep);
    Iface* before = lhs.get();

    ForceCopySmrPtr<Iface, Base>(lhs, KVOSmrPtr<Base>());
    EXPECT_EQ(lhs.get(), before);

    KVOSmrPtr<Other> otherLhs;
    ForceCopySmrPtr<Other, Base>(otherLhs, keep);  // an Impl is not an Other
    EXPECT_TRUE(otherLhs.isNull());
}

TEST_F(SmrPtrTest, ConversionToABaseSharesTheCount) {
    KVOSmrPtr<Root> root;
    {
        KVOSmrPtr<Impl> impl(new Impl);
        root = impl;
        EXPECT_TRUE(root == impl);
    }
    EXPECT_EQ(g_alive, 1);
    root = nullptr;  // deleted through Root's virtual destructor
}

// Many threads copy and release pointers of two types to one object; the
// object must die exactly once, after the last of them.
TEST_F(SmrPtrTest, ConcurrentCopyAndReleaseKeepsCountsExact) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 20000;
    for (int round = 0; round < 3; ++round) {
        KVOSmrPtr<Base> base(new Impl);
        KVOSmrPtr<Iface> iface;
        ForceCopySmrPtr<Iface, Base>(iface, base);
        std::atomic<bool> go{false};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            // Each thread owns its pointer objects; they share the object.
            threads.emplace_back([&go, t, myBase = base, myIface = iface] {
                while (!go.load()) std::this_thread::yield();
                for (int i = 0; i < kRounds; ++i) {
                    if (t % 2) {
                        KVOSmrPtr<Base> c = myBase;
                        KVOSmrPtr<Base> d(c);
                        if (d.isNull()) ADD_FAILURE();
                    } else {
                        KVOSmrPtr<Iface> c = myIface;
                        KVOSmrPtr<Iface> d;
                        ForceCopySmrPtr<Iface, Iface>(d, c);
                        if (d->id() != 42) ADD_FAILURE();
                    }
                }
            });
        }
        // Drop the originals while the threads still work on their copies.
        base = nullptr;
        go = true;
        for (auto& th : threads) th.join();
        EXPECT_EQ(g_alive, 1);
        iface = nullptr;
        EXPECT_EQ(g_alive, 0);
    }
}

}  // namespace
