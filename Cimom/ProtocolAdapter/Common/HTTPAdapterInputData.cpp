#include "Cimom/ProtocolAdapter/Common/HTTPAdapterInputData.h"

#include <utility>

namespace qora::pa::common {

HTTPAdapterInputData::HTTPAdapterInputData(KVOHTTPRequest& p_request, KVOHTTPResponse& p_response,
                                           KVOGenericHTTPIStream& p_istr, KVOGenericHTTPOStream& p_ostr,
                                           KVOSmrPtr<qora::security::ISecurityToken> p_securityToken,
                                           bool& p_persistConnection, bool& p_clientStreamsImported,
                                           IKivoOperationHandlerContext& p_opContext)
    : request(p_request),
      response(p_response),
      istr(p_istr),
      ostr(p_ostr),
      securityToken(std::move(p_securityToken)),
      persistConnection(p_persistConnection),
      clientStreamsImported(p_clientStreamsImported),
      context(p_opContext) {}

KVOHTTPRequest& HTTPAdapterInputData::getKVOHTTPRequest() const { return request; }
KVOHTTPResponse& HTTPAdapterInputData::getKVOHTTPResponse() const { return response; }
KVOGenericHTTPIStream& HTTPAdapterInputData::getKVOGenericHTTPIStream() const { return istr; }
KVOGenericHTTPOStream& HTTPAdapterInputData::getKVOGenericHTTPOStream() const { return ostr; }
KVOSmrPtr<qora::security::ISecurityToken> HTTPAdapterInputData::getISecurityToken() const { return securityToken; }
bool& HTTPAdapterInputData::getPersistConnection() const { return persistConnection; }
bool& HTTPAdapterInputData::getClientStreamsImported() const { return clientStreamsImported; }
IKivoOperationHandlerContext& HTTPAdapterInputData::getContext() const { return context; }

}  // namespace qora::pa::common
