#include "objectmanager/CimStatus.h"

#include "KivoUtilities/KivoBaseException.h"

namespace kivo::om {

void raise(CimStatus code, KVOString const& where, KVOString const& message) {
    throw KivoBaseException("CIMException", where, "", message, code);
}

}  // namespace kivo::om
