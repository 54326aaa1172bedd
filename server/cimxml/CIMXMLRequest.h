// The envelope of one CIM-XML request: the XML document (parsed with pugixml)
// and what the adapter needs from it before it builds an operation: the
// message ID, the method called, the target namespace (and, for an extrinsic
// call, the target class or instance element), and the parameter elements.
//
// parseRequest() checks what DSP0200 asks the server to check of the body and
// classifies every failure the way the adapter must answer it (the HTTP
// status and CIMError value). matchesHeaders() checks the CIMMethod and
// CIMObject header fields against the body. The parameters' contents are
// read later, by the operation's parameter table (CIMXMLParams.h).
//
// Hostile content. Besides the envelope, parse() walks the whole document once
// (iteratively, whatever its depth) and refuses, as content the operation
// answers with CIM_ERR_INVALID_PARAMETER (contentError()), without storing or
// echoing it:
// - bytes that are not well-formed UTF-8 anywhere in the body, or in the text
//   its character references make (overlong forms, surrogates, code points
//   above U+10FFFF); in the message ID or the method name, which every
//   response echoes, they are answered 400 request-not-valid instead;
// - VALUE.REFERENCE elements nested more than RequestLimits::maxNesting deep
//   (a key binding whose reference names a path whose key is a reference ...).
//   The readers of CIMXMLDataReader.h recurse once per level, so this bounds
//   their depth, and what is written back about such paths;
// - references whose text form (the quoted, escaped "ns:Class.key=..." form
//   the object manager renders paths in, in which every level of nesting
//   doubles the escapes of the level below) would add up to more than
//   RequestLimits::referenceTextBudget, or twice the body if that is more.
//   This keeps every rendered path linear in the request.
//
// The body is parsed in place: parse() takes the body string and keeps it as
// the document's buffer, so that the text of a large value is not copied;
// release() frees both once the operation holds what it read. The parse
// itself adds the document's nodes to the body: for a CreateInstance with a
// 40 MiB string property, under 1/64 of the body (CIMXMLRequest_test); the
// readers then copy each value once into the operation. Measured over the
// whole server (front end, adapter, object manager keeping the instance), the
// peak resident memory of that request grows by 3.3 times the body (it grew
// by 4.3 times while the parse copied the body into a document of its own).
//
// A CIMXMLRequest owns its document; the nodes it holds point into it, so it
// is neither copyable nor movable. One request, one thread.
#pragma once

#include <pugixml.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace cimxmlpa {

// How a request that cannot be served as an operation is answered: an HTTP
// status with an empty body and the CIMError header field.
struct RequestRejection {
    int httpStatus = 0;  // 0: no rejection
    std::string cimError;
    std::string detail;  // for the log

    explicit operator bool() const { return httpStatus != 0; }
};

// The CIMError values of DSP0200 and their statuses.
namespace cimerror {
inline constexpr char const* UNSUPPORTED_OPERATION = "unsupported-operation";              // 400
inline constexpr char const* HEADER_MISMATCH = "header-mismatch";                          // 400
inline constexpr char const* MULTIPLE_REQUESTS_UNSUPPORTED = "multiple-requests-unsupported";  // 501
inline constexpr char const* UNSUPPORTED_CIM_VERSION = "unsupported-cim-version";          // 501
inline constexpr char const* UNSUPPORTED_DTD_VERSION = "unsupported-dtd-version";          // 501
inline constexpr char const* UNSUPPORTED_PROTOCOL_VERSION = "unsupported-protocol-version";  // 501
inline constexpr char const* REQUEST_NOT_WELL_FORMED = "request-not-well-formed";          // 400
inline constexpr char const* REQUEST_NOT_VALID = "request-not-valid";                      // 400
}  // namespace cimerror

// Limits on the content of a request (see above). Settings of the adapter
// (CIMXMLAdapter::Options::operations.request).
struct RequestLimits {
    // Deepest nesting of VALUE.REFERENCE elements.
    unsigned maxNesting = 8;
    // Bytes the text forms of all references together may take, at least.
    std::size_t referenceTextBudget = std::size_t{1} << 20;
};

class CIMXMLRequest {
public:
    CIMXMLRequest() = default;
    CIMXMLRequest(CIMXMLRequest const&) = delete;
    CIMXMLRequest& operator=(CIMXMLRequest const&) = delete;

    // Parses `body` and checks the envelope: CIM with CIMVERSION 2.x and
    // DTDVERSION 2.x, MESSAGE with an ID and PROTOCOLVERSION 1.x, SIMPLEREQ
    // (MULTIREQ is refused) holding one IMETHODCALL with a LOCALNAMESPACEPATH
    // and IPARAMVALUEs, or one METHODCALL with a LOCALINSTANCEPATH or
    // LOCALCLASSPATH and PARAMVALUEs, each parameter named once at most
    // (a repeated name is left for the operation to refuse).
    RequestRejection parse(std::string body, RequestLimits const& limits = {});

    // Empty, or why the parameters cannot be served (see above): the request
    // is answered CIM_ERR_INVALID_PARAMETER with this text, which never
    // quotes the offending bytes.
    std::string const& contentError() const { return _contentError; }

    // Frees the document and the body; the nodes (target, params) are then
    // invalid. The message ID, method name and namespace stay.
    void release();

    // Checks the header fields against the parsed body: CIMMethod names the
    // method called (without regard to case); CIMObject (percent-decoded,
    // ISO-8859-1 taken as such) names the namespace of an intrinsic call, or
    // the class or instance path of an extrinsic one (namespace, class and
    // keys compared without regard to the case of names; key values exactly).
    RequestRejection matchesHeaders(std::string_view cimMethod, std::string_view cimObject) const;

    std::string const& messageId() const { return _messageId; }
    std::string const& methodName() const { return _methodName; }
    // True for IMETHODCALL, false for METHODCALL.
    bool isIntrinsic() const { return _intrinsic; }
    // The target namespace, its NAMESPACE parts joined with '/'.
    std::string const& nameSpace() const { return _nameSpace; }
    // Extrinsic calls: the INSTANCENAME or CLASSNAME element of the target.
    pugi::xml_node target() const { return _target; }
    // IPARAMVALUE or PARAMVALUE elements, in document order.
    std::vector<pugi::xml_node> const& params() const { return _params; }

private:
    // The walk over the whole document described above.
    std::string checkContent(RequestLimits const& limits) const;

    std::string _buffer;  // the body, parsed in place: the document points into it
    pugi::xml_document _doc;
    std::string _contentError;
    std::string _messageId;
    std::string _methodName;
    bool _intrinsic = true;
    std::string _nameSpace;
    pugi::xml_node _target;
    std::vector<pugi::xml_node> _params;
};

// The child elements of `node` (pugixml also yields text, comments and
// processing instructions; these are the elements only).
std::vector<pugi::xml_node> childElements(pugi::xml_node node);

// The namespace named by a LOCALNAMESPACEPATH element; empty when it has no
// NAMESPACE element or one without a NAME.
std::string readLocalNamespacePath(pugi::xml_node localNamespacePath);

}  // namespace cimxmlpa
