// The binary form of the values the instance store keeps on disk: compact,
// exact (reads back the same type, array-ness and value), and safe to read
// from damaged bytes.
//
// Who calls it: DiskInstanceStore, to write an instance's property values
// into a row and read them back; tests. Pure functions: safe from any thread.
//
// Form (integers as LEB128 varints, signed ones zigzagged; texts as a varint
// length and their bytes):
//   value     := tag payload          tag 0 is NULL; else the type's number
//                                     plus one, with 0x80 set for an array
//   payload   := text                 string, char16, datetime
//              | byte                 boolean (0 or 1)
//              | varint               unsigned and (zigzagged) signed integers
//              | 8 bytes              real32 and real64: the double's bits,
//                                     little-endian
//              | path                 reference
//              | object               embedded instance
//              | varint value*        array: count, then each element as a
//                                     value of its own
//   path      := text(host) text(namespace) text(class) varint (text(key) value)*
//   object    := text(class) byte(has path) [path] varint property*
//   property  := text(name) byte(type) byte(array) text(origin) byte(propagated) value
//   row       := byte(format 1) varint (text(name) value)*
//
// A class carried as a value cannot be kept (CIM_ERR_NOT_SUPPORTED). Values
// nest (references in references, instances in instances) at most
// kMaxNesting deep; deeper ones are refused when written (CIM_ERR_NOT_SUPPORTED)
// and read as damaged. The request reader bounds nesting far below that, so
// a client does not meet this limit.
#pragma once

#include "objectmanager/Instances.h"

#include "KivoUtilities/IKivoObject.h"
#include "KivoUtilities/IKivoValue.h"

#include <string>
#include <string_view>

namespace kivo::repo::codec {

constexpr unsigned kMaxNesting = 64;

// Appends the form of `value` (null: NULL).
void writeValue(std::string& out, IKivoValue const* value);
// Reads one value from the front of `in`, advancing it. Damaged or truncated
// bytes raise CIM_ERR_FAILED ("a stored value is damaged: ...").
KVOSmrPtr<IKivoValue> readValue(std::string_view& in);

// An instance's row: its properties' names and values, in its order.
std::string writeRow(IKivoObject const& instance);
om::PropertyValues readRow(std::string_view in);

}  // namespace kivo::repo::codec
