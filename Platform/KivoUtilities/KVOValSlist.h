// The utility library's singly linked list of values, with a cursor iterator.
//
// Keeps head, last and a count of entries, so append and entries are constant
// time. Values are copied in and handed out by reference. Copying a list copies
// its values. Not synchronised: one thread at a time.
#pragma once

#include "KivoUtilities/KivoBaseException.h"

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <utility>

template <class T>
class KVOValSlist {
    struct Node {
        T value;
        Node* next = nullptr;
    };

public:
    KVOValSlist() = default;
    KVOValSlist(std::initializer_list<T> values) {
        for (auto const& v : values) append(v);
    }
    KVOValSlist(KVOValSlist const& other) {
        for (auto const& v : other) append(v);
    }
    KVOValSlist& operator=(KVOValSlist const& other) {
        if (this != &other) {
            KVOValSlist copy(other);
            swap(copy);
        }
        return *this;
    }
    ~KVOValSlist() { clear(); }

    void append(T const& value) { link(new Node{value, nullptr}); }
    void append(T&& value) { link(new Node{std::move(value), nullptr}); }

    bool contains(T const& value) const {
        for (Node* n = _head; n; n = n->next)
            if (n->value == value) return true;
        return false;
    }
    std::size_t entries() const noexcept { return _count; }
    bool isEmpty() const noexcept { return _count == 0; }

    T& first() {
        if (!_head) throw KVOBoundsException("KVOValSlist::first");
        return _head->value;
    }
    T& last() {
        if (!_last) throw KVOBoundsException("KVOValSlist::last");
        return _last->value;
    }

    void clear() noexcept {
        Node* n = _head;
        while (n) {
            Node* next = n->next;
            delete n;
            n = next;
        }
        _head = _last = nullptr;
        _count = 0;
    }

    void swap(KVOValSlist& other) noexcept {
        std::swap(_head, other._head);
        std::swap(_last, other._last);
        std::swap(_count, other._count);
    }

    // Forward iteration for range-for.
    template <class V, class N>
    class BasicIter {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = V*;
        using reference = V&;
        explicit BasicIter(N* n = nullptr) : _n(n) {}
        V& operator*() const { return _n->value; }
        V* operator->() const { return &_n->value; }
        BasicIter& operator++() { _n = _n->next; return *this; }
        BasicIter operator++(int) { BasicIter t = *this; _n = _n->next; return t; }
        bool operator==(BasicIter const& o) const { return _n == o._n; }
        bool operator!=(BasicIter const& o) const { return _n != o._n; }
    private:
        N* _n;
    };
    using iterator = BasicIter<T, Node>;
    using const_iterator = BasicIter<T const, Node const>;
    iterator begin() { return iterator(_head); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(_head); }
    const_iterator end() const { return const_iterator(); }

    // Cursor over a list that can remove the item it stands on:
    //     KVOValSlist<int>::Iterator it(list);
    //     while (it.next()) if (it.value() == 3) it.remove();
    // next() moves to the following item and answers whether there is one.
    // value() and remove() raise KVOBoundsException ("Out of Bounds") when the
    // cursor stands on no item (before the first next(), after the end, or on
    // an item already removed).
    class Iterator {
    public:
        explicit Iterator(KVOValSlist& list) : _list(list) {}
        bool next() {
            if (!_started) {
                _started = true;
                _next = _list._head;
            }
            if (_cur) _prev = _cur;
            _cur = _next;
            if (_cur) _next = _cur->next;
            return _cur != nullptr;
        }
        T& value() const {
            if (!_cur) throw KVOBoundsException("KVOValSlist::Iterator::value");
            return _cur->value;
        }
        T& operator()() const { return value(); }
        void remove() {
            if (!_cur) throw KVOBoundsException("KVOValSlist::Iterator::remove");
            Node* next = _cur->next;
            if (_prev) _prev->next = next; else _list._head = next;
            if (_list._last == _cur) _list._last = _prev;
            --_list._count;
            delete _cur;
            _cur = nullptr;
        }
    private:
        KVOValSlist& _list;
        Node* _prev = nullptr;  // last item kept before the cursor, null at the head
        Node* _cur = nullptr;   // the current item, null when there is none
        Node* _next = nullptr;  // the item next() moves to
        bool _started = false;
    };

private:
    void link(Node* n) {
        if (_last) _last->next = n; else _head = n;
        _last = n;
        ++_count;
    }

    Node* _head = nullptr;
    Node* _last = nullptr;
    std::size_t _count = 0;
};
