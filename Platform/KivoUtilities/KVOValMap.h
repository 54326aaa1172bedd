// The utility library's small map, built on KVOValSlist: keys in insertion
// order, linear lookup. Meant for the handful of entries of a request
// parameter map; not synchronised.
#pragma once

#include "KivoUtilities/KVOValSlist.h"

#include <utility>

template <class K, class V>
class KVOValMap {
public:
    struct Entry {
        K key;
        V value;
        bool operator==(Entry const& o) const { return key == o.key && value == o.value; }
    };

    // Inserts or replaces the value of key.
    void insert(K const& key, V const& value) {
        if (V* v = find(key)) *v = value;
        else _entries.append(Entry{key, value});
    }
    bool contains(K const& key) const { return find(key) != nullptr; }
    // The value stored under key, or null.
    V* find(K const& key) {
        for (auto& e : _entries)
            if (e.key == key) return &e.value;
        return nullptr;
    }
    V const* find(K const& key) const { return const_cast<KVOValMap*>(this)->find(key); }
    // The value stored under key, or `fallback`.
    V get(K const& key, V const& fallback = V()) const {
        V const* v = find(key);
        return v ? *v : fallback;
    }
    bool remove(K const& key) {
        typename KVOValSlist<Entry>::Iterator it(_entries);
        while (it.next()) {
            if (it.value().key == key) {
                it.remove();
                return true;
            }
        }
        return false;
    }
    std::size_t entries() const noexcept { return _entries.entries(); }
    auto begin() { return _entries.begin(); }
    auto end() { return _entries.end(); }
    auto begin() const { return _entries.begin(); }
    auto end() const { return _entries.end(); }

private:
    KVOValSlist<Entry> _entries;
};
