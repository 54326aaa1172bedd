// Fixed-width integer and boolean types of the utility library.
//
// Every layer of the adapters speaks of 32-bit counts and flags through these
// names so that the wire-level widths stay fixed whatever the platform.
#pragma once

#include <cstdint>

using KVOuint32 = std::uint32_t;
using KVOsint32 = std::int32_t;
using KVOboolean = bool;
