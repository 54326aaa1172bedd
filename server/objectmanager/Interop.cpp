#include "objectmanager/Interop.h"

namespace kivo::om {

void addInteropProviders(ObjectManager&, ServerIdentity const&, KVOString const&) {}

}  // namespace kivo::om
