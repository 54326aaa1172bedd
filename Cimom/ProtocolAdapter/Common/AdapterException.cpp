#include "Cimom/ProtocolAdapter/Common/AdapterException.h"

#include <utility>

AdapterException::AdapterException() = default;

AdapterException::AdapterException(AdapterException const& rhs) = default;

AdapterException::AdapterException(KVOString type, KVOString where, KVOString who, KVOString message, int code)
    : KivoBaseException(std::move(type), std::move(where), std::move(who), std::move(message), code) {}

AdapterException::~AdapterException() = default;
