#include "KivoUtilities/KVOHTTPResponse.h"

#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPCodes.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOHTTPSyntax.h"

#include <algorithm>

namespace {

[[noreturn]] void refuse(char const* who, char const* message) { throw KVOHTTPException(who, message, 0); }

void checkToken(char const* who, KVOString const& s) {
    if (!KVOHTTPSyntax::isToken(s.str())) refuse(who, "Not an HTTP token");
}

// Text that may stand in a field value or a reason phrase: no CR, LF or other
// control byte besides HTAB.
void checkText(char const* who, KVOString const& s) {
    for (char ch : s.str()) {
        if (!KVOHTTPSyntax::isFieldValueChar(static_cast<unsigned char>(ch))) {
            refuse(who, "A control byte in an HTTP head value");
        }
    }
}

bool isFramingField(KVOString const& name) {
    return name.equalsIgnoreCase("Content-Length") || name.equalsIgnoreCase("Transfer-Encoding") ||
           name.equalsIgnoreCase("Connection");
}

void checkField(char const* who, KVOString const& name, KVOString const& value) {
    checkToken(who, name);
    checkText(who, value);
    if (isFramingField(name)) refuse(who, "Framing and connection fields are set through their own setters");
}

}  // namespace

void KVOHTTPResponse::setProtocol(KVOString const& protocol) {
    if (!KVOHTTPSyntax::isVersion(protocol.str())) refuse("KVOHTTPResponse::setProtocol", "Not an HTTP version");
    _protocol = protocol;
}

void KVOHTTPResponse::setStatus(KVOString const& status) {
    std::string const& s = status.str();
    if (s.size() != 3 || !std::all_of(s.begin(), s.end(), KVOHTTPSyntax::isDigit)) {
        refuse("KVOHTTPResponse::setStatus", "Not a three-digit status code");
    }
    _status = status;
}

void KVOHTTPResponse::setReasonPhrase(KVOString const& reason) {
    checkText("KVOHTTPResponse::setReasonPhrase", reason);
    _reason = reason;
}

void KVOHTTPResponse::setConnection(KVOString const& value, bool persist) {
    checkText("KVOHTTPResponse::setConnection", value);
    _connection = value;
    _persist = persist;
}

void KVOHTTPResponse::setHeaderField(KVOString const& name, KVOString const& value) {
    checkField("KVOHTTPResponse::setHeaderField", name, value);
    removeHeaderField(name);
    _fields.emplace_back(name, value);
}

void KVOHTTPResponse::addHeaderField(KVOString const& name, KVOString const& value) {
    checkField("KVOHTTPResponse::addHeaderField", name, value);
    _fields.emplace_back(name, value);
}

void KVOHTTPResponse::removeHeaderField(KVOString const& name) {
    std::erase_if(_fields, [&](auto const& field) { return field.first.equalsIgnoreCase(name); });
}

KVOString const* KVOHTTPResponse::getHeaderField(KVOString const& name) const {
    for (auto const& field : _fields) {
        if (field.first.equalsIgnoreCase(name)) return &field.second;
    }
    return nullptr;
}

void KVOHTTPResponse::writeResponseTo(KVOGenericHTTPOStream& ostr) const {
    std::string const& crlf = KVOHTTPCodes::CRLF.str();
    std::string head = _protocol.str() + ' ' + _status.str() + ' ' + _reason.str() + crlf;
    for (auto const& field : _fields) head += field.first.str() + ": " + field.second.str() + crlf;
    if (_contentLength >= 0 && ostr.getStreamType() == KVOGenericHTTPStreamBuf::NotEncoded) {
        head += "Content-Length: " + std::to_string(_contentLength) + crlf;
    }
    if (!_connection.isEmpty()) head += "Connection: " + _connection.str() + crlf;
    ostr.writeHead(KVOString(std::move(head)));
}
