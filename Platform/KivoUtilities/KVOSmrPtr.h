// The utility library's shared smart pointer.
//
// Copies of one pointer share a holder record; each holder record also points
// to a count kept per object, so that holders of different pointer types made
// by ForceCopySmrPtr (or by converting a pointer to a base) keep one object
// alive together. When the last holder of the last holder record goes, the
// object is deleted through the pointer type of that record, so every type a
// pointer is converted to must have a virtual destructor.
//
// Threading: counts are atomic; distinct KVOSmrPtr objects that share an object
// may be copied and released from any thread at once. One KVOSmrPtr object is
// used by one thread at a time (like std::shared_ptr).
//
// Misuse: wrapping the same raw pointer twice with the explicit constructor
// makes two unrelated counts and deletes the object twice; convert instead.
#pragma once

#include "KivoUtilities/KivoBaseException.h"

#include <atomic>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace kvo_detail {

// The count shared by every holder record of one object.
struct ObjectCount {
    std::atomic<long> refs{1};
};

// One holder record per pointer type: the copies of one KVOSmrPtr share it.
template <class T>
struct Holder {
    std::atomic<long> refs{1};
    std::atomic<T*> ptr;
    ObjectCount* object;
    Holder(T* p, ObjectCount* oc) : ptr(p), object(oc) {}
};

}  // namespace kvo_detail

template <class T>
class KVOSmrPtr {
public:
    using element_type = T;

    KVOSmrPtr() noexcept = default;
    KVOSmrPtr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)

    // Takes ownership of p (null gives a null pointer).
    explicit KVOSmrPtr(T* p) {
        if (p) {
            try {
                auto* oc = new kvo_detail::ObjectCount;
                _h = new kvo_detail::Holder<T>(p, oc);
            } catch (...) {
                delete p;
                throw;
            }
        }
    }

    KVOSmrPtr(KVOSmrPtr const& other) noexcept : _h(other._h) { retain(); }
    KVOSmrPtr(KVOSmrPtr&& other) noexcept : _h(std::exchange(other._h, nullptr)) {}

    // Implicit conversion to a pointer to a base: a new holder record of the
    // base type that shares the object's count.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*> && !std::is_same_v<U, T>>>
    KVOSmrPtr(KVOSmrPtr<U> const& other) {  // NOLINT(google-explicit-constructor)
        if (U* p = other.get()) adopt(static_cast<T*>(p), other._h->object);
    }

    ~KVOSmrPtr() { release(); }

    KVOSmrPtr& operator=(KVOSmrPtr const& other) noexcept {
        if (_h != other._h) {
            other.retain();
            release();
            _h = other._h;
        }
        return *this;
    }
    KVOSmrPtr& operator=(KVOSmrPtr&& other) noexcept {
        if (this != &other) {
            release();
            _h = std::exchange(other._h, nullptr);
        }
        return *this;
    }
    KVOSmrPtr& operator=(std::nullptr_t) noexcept {
        release();
        _h = nullptr;
        return *this;
    }

    T* get() const noexcept { return _h ? _h->ptr.load(std::memory_order_relaxed) : nullptr; }
    bool isNull() const noexcept { return get() == nullptr; }
    explicit operator bool() const noexcept { return get() != nullptr; }

    T* operator->() const {
        T* p = get();
        if (!p) throw KVONullPointerException("operator->()");
        return p;
    }
    T& operator*() const {
        T* p = get();
        if (!p) throw KVONullPointerException("operator*()");
        return *p;
    }

    // Sets the object pointer in the shared holder record to null, for this
    // pointer and every copy of it. The object is no longer deleted through
    // this record; its owner is responsible for it.
    void detach() noexcept {
        if (_h) _h->ptr.store(nullptr, std::memory_order_relaxed);
    }

    // Number of copies sharing this holder record (0 for a pointer without one).
    long holderCount() const noexcept { return _h ? _h->refs.load(std::memory_order_relaxed) : 0; }

    template <class U>
    friend bool operator==(KVOSmrPtr const& a, KVOSmrPtr<U> const& b) noexcept { return a.get() == b.get(); }
    template <class U>
    friend bool operator!=(KVOSmrPtr const& a, KVOSmrPtr<U> const& b) noexcept { return a.get() != b.get(); }
    friend bool operator==(KVOSmrPtr const& a, std::nullptr_t) noexcept { return a.get() == nullptr; }
    friend bool operator!=(KVOSmrPtr const& a, std::nullptr_t) noexcept { return a.get() != nullptr; }

    // Makes this pointer hold p with a new holder record that shares the count
    // of the object behind `other` (which must hold the same object).
    template <class U>
    void shareWith(T* p, KVOSmrPtr<U> const& other) {
        KVOSmrPtr tmp;
        if (p && other._h) tmp.adopt(p, other._h->object);
        *this = std::move(tmp);
    }

private:
    template <class U>
    friend class KVOSmrPtr;

    void adopt(T* p, kvo_detail::ObjectCount* oc) {
        oc->refs.fetch_add(1, std::memory_order_relaxed);
        try {
            _h = new kvo_detail::Holder<T>(p, oc);
        } catch (...) {
            oc->refs.fetch_sub(1, std::memory_order_relaxed);
            throw;
        }
    }

    void retain() const noexcept {
        if (_h) _h->refs.fetch_add(1, std::memory_order_relaxed);
    }

    void release() noexcept {
        if (!_h) return;
        kvo_detail::Holder<T>* h = std::exchange(_h, nullptr);
        if (h->refs.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
        kvo_detail::ObjectCount* oc = h->object;
        T* p = h->ptr.load(std::memory_order_relaxed);
        delete h;
        if (oc->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete p;
            delete oc;
        }
    }

    kvo_detail::Holder<T>* _h = nullptr;
};

// Makes lhs share the object held by rhs, seen as an I through a run-time cast
// that crosses virtual bases. Nothing changes when rhs is null or its object is
// not an I. Otherwise lhs drops what it held and gets a new holder record that
// shares the object's count with rhs: the object lives until both, and every
// copy of either, are released.
template <class I, class B>
void ForceCopySmrPtr(KVOSmrPtr<I>& lhs, KVOSmrPtr<B> const& rhs) {
    B* b = rhs.get();
    if (!b) return;
    I* i = dynamic_cast<I*>(b);
    if (!i) return;
    lhs.shareWith(i, rhs);
}
