// The protocol adapters' own exception type: a KivoBaseException under a type
// of its own, adding no data.
//
// Stored on an operation (setErrorContext) it becomes a plain KivoBaseException
// with the same texts and code.
#pragma once

#include "KivoUtilities/KivoBaseException.h"

class AdapterException : public KivoBaseException {
public:
    AdapterException();
    AdapterException(AdapterException const& rhs);
    AdapterException(KVOString type, KVOString where, KVOString who, KVOString message, int code);
    AdapterException& operator=(AdapterException const&) = default;
    ~AdapterException() override;
};
