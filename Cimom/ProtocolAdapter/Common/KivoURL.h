// The host, port and namespace of a request target, with the namespace type
// (for example the scheme the target was named with). Immutable value type.
#pragma once

#include "KivoUtilities/KVOString.h"

class KivoURL {
public:
    // Note the order: namespace type, host name, namespace, port.
    KivoURL(KVOString nameSpaceType, KVOString hostName, KVOString nameSpace, int port);
    KivoURL(KivoURL const& other);
    KivoURL& operator=(KivoURL const& other);
    virtual ~KivoURL();

    virtual int getHostPort() const { return _hostPort; }
    virtual KVOString getHostName() const { return _hostName; }
    virtual KVOString getNamespace() const { return _nameSpace; }
    virtual KVOString getNamespaceType() const { return _nameSpaceType; }

private:
    int _hostPort;  // set by construction; only assignment replaces it
    KVOString _hostName;
    KVOString _nameSpace;
    KVOString _nameSpaceType;
};
