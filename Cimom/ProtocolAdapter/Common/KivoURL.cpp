#include "Cimom/ProtocolAdapter/Common/KivoURL.h"

#include <utility>

KivoURL::KivoURL(KVOString nameSpaceType, KVOString hostName, KVOString nameSpace, int port)
    : _hostPort(port),
      _hostName(std::move(hostName)),
      _nameSpace(std::move(nameSpace)),
      _nameSpaceType(std::move(nameSpaceType)) {}

KivoURL::KivoURL(KivoURL const& other) = default;

KivoURL& KivoURL::operator=(KivoURL const& other) = default;

KivoURL::~KivoURL() = default;
