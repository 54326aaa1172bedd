// HTTP streams for tests that need one but do not look at what is written.
#pragma once

class KVOGenericHTTPOStream;

namespace kivo_test {

// An output stream over memory, shared by the tests of one process; what is
// written to it is kept but not meant to be read.
KVOGenericHTTPOStream& nullOStream();

}  // namespace kivo_test
