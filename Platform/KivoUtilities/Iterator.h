// A pull iterator over values (hasNext / next), the shape in which CIM data
// objects hand out their contents, and the owning pointer it comes in.
#pragma once

#include <memory>
#include <utility>
#include <vector>

namespace qora {

template <class T>
class Iterator {
public:
    virtual ~Iterator() = default;
    virtual bool hasNext() = 0;
    // The next value; call only after hasNext() answered true.
    virtual T next() = 0;
};

// An Iterator over a snapshot of values.
template <class T>
class VectorIterator : public Iterator<T> {
public:
    explicit VectorIterator(std::vector<T> values) : _values(std::move(values)) {}
    bool hasNext() override { return _pos < _values.size(); }
    T next() override { return _values.at(_pos++); }

private:
    std::vector<T> _values;
    std::size_t _pos = 0;
};

}  // namespace qora

// The core services' sole-owner pointer.
template <class T>
using CI_AutoPtr_U = std::unique_ptr<T>;
