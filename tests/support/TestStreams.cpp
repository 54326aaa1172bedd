#include "support/TestStreams.h"

#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOMemorySocket.h"

namespace kivo_test {

KVOGenericHTTPOStream& nullOStream() {
    static KVOMemorySocket socket;
    static KVOGenericHTTPOStream stream(socket);
    return stream;
}

}  // namespace kivo_test
