#include "Cimom/ProtocolAdapter/Common/QORAClientInfo.h"

QORAClientInfo::QORAClientInfo(KVOString const& localIP, KVOString const& localPort, KVOString const& peerIP,
                               KVOString const& peerPort, bool const& isPPP, bool const& isLoopback,
                               KVOString const& userName, KVOSmrPtr<KVOValSlist<KVOString> > const& userRoles,
                               KVOGenericHTTPOStream* ostr, bool* clientStreamImported)
    : _peerIPAddress(peerIP),
      _peerPort(peerPort),
      _localIPAddress(localIP),
      _localPort(localPort),
      _isPPP(isPPP),
      _isLoopback(isLoopback),
      _userName(userName),
      _userRoles(userRoles),
      _ostr(ostr),
      _clientStreamImported(clientStreamImported) {}

QORAClientInfo::~QORAClientInfo() = default;

void QORAClientInfo::setPersistentConnection() {
    if (_clientStreamImported) *_clientStreamImported = true;
}
