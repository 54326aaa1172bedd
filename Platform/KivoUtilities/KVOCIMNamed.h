// Lookups among the named elements of a CIM object (properties, methods,
// parameters, qualifiers): CIM names match without regard to ASCII case.
#pragma once

#include "KivoUtilities/KVOString.h"

#include <iterator>
#include <type_traits>

// The first element of `elements` (smart pointers to objects with getName())
// whose name is `name`, or a null pointer.
template <class Range>
auto KVOFindNamed(Range const& elements, KVOString const& name) -> std::remove_cvref_t<decltype(*std::begin(elements))> {
    for (auto const& e : elements)
        if (e->getName().equalsIgnoreCase(name)) return e;
    return nullptr;
}
