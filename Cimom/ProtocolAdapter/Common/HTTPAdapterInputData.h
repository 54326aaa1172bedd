// The bundle of one request's HTTP objects, principal and object manager that
// an adapter hands to the request intake (HTTPAdapterInput).
//
// It refers to objects the adapter owns and must not outlive them; it owns
// nothing but its shared copy of the security token. It lives for one request
// on the adapter's thread. Not copyable.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperationHandlerContext.h"
#include "Cimom/ProtocolAdapter/SecurityToken.h"
#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPRequest.h"
#include "KivoUtilities/KVOHTTPResponse.h"
#include "KivoUtilities/KVOSmrPtr.h"

namespace qora::pa::common {

class HTTPAdapterInputData {
public:
    // Stores each argument in the field of the same name; the token by value,
    // sharing the principal.
    HTTPAdapterInputData(KVOHTTPRequest& p_request, KVOHTTPResponse& p_response, KVOGenericHTTPIStream& p_istr,
                         KVOGenericHTTPOStream& p_ostr, KVOSmrPtr<qora::security::ISecurityToken> p_securityToken,
                         bool& p_persistConnection, bool& p_clientStreamsImported,
                         IKivoOperationHandlerContext& p_opContext);

    KVOHTTPRequest& getKVOHTTPRequest() const;
    KVOHTTPResponse& getKVOHTTPResponse() const;
    KVOGenericHTTPIStream& getKVOGenericHTTPIStream() const;
    KVOGenericHTTPOStream& getKVOGenericHTTPOStream() const;
    // A shared copy of the token.
    KVOSmrPtr<qora::security::ISecurityToken> getISecurityToken() const;
    bool& getPersistConnection() const;
    bool& getClientStreamsImported() const;
    IKivoOperationHandlerContext& getContext() const;

private:
    HTTPAdapterInputData(HTTPAdapterInputData const&);             // not provided
    HTTPAdapterInputData& operator=(HTTPAdapterInputData const&);  // not provided

    KVOHTTPRequest& request;                                   // parsed request head
    KVOHTTPResponse& response;                                 // response of this request
    KVOGenericHTTPIStream& istr;                               // at the start of the body
    KVOGenericHTTPOStream& ostr;                               // the connection's output
    KVOSmrPtr<qora::security::ISecurityToken> securityToken;  // the authenticated principal
    bool& persistConnection;                                   // the adapter's persistent-connection flag
    bool& clientStreamsImported;                               // the adapter's client-streams-imported flag
    IKivoOperationHandlerContext& context;                     // the object manager
};

}  // namespace qora::pa::common
