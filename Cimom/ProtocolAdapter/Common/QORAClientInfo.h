// The client information of one request: peer and local address and port,
// PPP and loopback flags, and the authenticated user with its roles.
//
// The adapter makes one per request and hands it to the operation
// (KivoOperationBase::setClientInfo); it is shared through KVOSmrPtr and
// immutable once built. Note the constructor takes the local address and port
// first, while the getters (and fields) put the peer first.
#pragma once

#include "Cimom/ProtocolAdapter/QORAClientInfo.h"

class KVOGenericHTTPOStream;

class QORAClientInfo : public IQORAClientInfo {
public:
    QORAClientInfo(KVOString const& localIP, KVOString const& localPort, KVOString const& peerIP,
                   KVOString const& peerPort, bool const& isPPP, bool const& isLoopback, KVOString const& userName,
                   KVOSmrPtr<KVOValSlist<KVOString> > const& userRoles, KVOGenericHTTPOStream* ostr,
                   bool* clientStreamImported);
    ~QORAClientInfo() override;

    KVOString getPeerIPAddress() const override { return _peerIPAddress; }
    KVOString getLocalIPAddress() const override { return _localIPAddress; }
    KVOString getLocalPort() const override { return _localPort; }
    KVOString getPeerPort() const override { return _peerPort; }
    bool isPPP() const override { return _isPPP; }
    bool isLoopback() const override { return _isLoopback; }
    KVOSmrPtr<KVOValSlist<KVOString> > getUserRoles() const override { return _userRoles; }
    KVOString getUserName() const override { return _userName; }

    // The connection's output stream given at construction (not owned); do not
    // ask for it once the connection's objects are gone.
    KVOGenericHTTPOStream* getOstr() const { return _ostr; }
    // Marks the connection's client streams as imported by the adapter, so that
    // the connection stays with whoever imported them (sets the flag given at
    // construction, when there is one).
    void setPersistentConnection();

private:
    QORAClientInfo(QORAClientInfo const&);
    QORAClientInfo& operator=(QORAClientInfo const&);

    KVOString const _peerIPAddress;
    KVOString const _peerPort;
    KVOString const _localIPAddress;
    KVOString const _localPort;
    bool const _isPPP;
    bool const _isLoopback;
    KVOString const _userName;
    KVOSmrPtr<KVOValSlist<KVOString> > const _userRoles;
    KVOGenericHTTPOStream* const _ostr;
    bool* const _clientStreamImported;
};
