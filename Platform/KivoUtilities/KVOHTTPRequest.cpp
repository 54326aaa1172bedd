#include "KivoUtilities/KVOHTTPRequest.h"

#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOHTTPCodes.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOHTTPSyntax.h"

#include <algorithm>
#include <limits>
#include <string>

namespace {

using namespace KVOHTTPSyntax;

char const* const WHO = "KVOHTTPRequest::readFrom";

[[noreturn]] void fail(char const* message, int code = KVOHTTPCodes::SC_BAD_REQUEST) {
    throw KVOHTTPException(WHO, message, code);
}

// Visible characters and obs-text: what a request target may hold.
bool isVisible(unsigned char c) { return c > 0x20 && c != 0x7f; }

enum class LineEnd { Complete, StreamEnded };

// Reads one head line (up to LF, a CR before it dropped) of at most
// `maxLength` bytes, counting what it takes against `headBudget`.
LineEnd readHeadLine(KVOGenericHTTPIStream& istr, std::string& line, std::size_t maxLength, std::size_t& headBudget,
                     int tooLongCode) {
    line.clear();
    long limit = static_cast<long>(std::min(maxLength, headBudget)) + 1;  // + the LF
    long n = istr.readAppend(line, limit, '\n');
    if (istr.eof()) return LineEnd::StreamEnded;
    if (n == limit) {
        fail(headBudget < maxLength ? "The request head is too long" : "A line of the request head is too long",
             headBudget < maxLength ? KVOHTTPCodes::SC_HEADER_FIELDS_TOO_LARGE : tooLongCode);
    }
    headBudget -= std::min(headBudget, static_cast<std::size_t>(n) + 1);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    for (char c : line) {
        if (c == '\r' || c == '\0') fail("The request head holds a CR or a zero byte");
    }
    return LineEnd::Complete;
}

}  // namespace

bool KVOHTTPRequest::readFrom(KVOGenericHTTPIStream& istr) {
    *this = KVOHTTPRequest();
    std::size_t budget = MAX_HEAD_LENGTH;
    std::string line;
    for (int skipped = 0;; ++skipped) {
        if (readHeadLine(istr, line, MAX_LINE_LENGTH, budget, KVOHTTPCodes::SC_URI_TOO_LONG) ==
            LineEnd::StreamEnded) {
            if (line.empty()) return false;
            fail("The request line is incomplete");
        }
        if (!line.empty()) break;
        if (skipped == MAX_LEADING_EMPTY_LINES) fail("Too many empty lines before the request line");
    }
    parseRequestLine(line);
    for (;;) {
        if (readHeadLine(istr, line, MAX_LINE_LENGTH, budget, KVOHTTPCodes::SC_HEADER_FIELDS_TOO_LARGE) ==
            LineEnd::StreamEnded) {
            fail("The request head is incomplete");
        }
        if (line.empty()) return true;
        if (_fields.size() == MAX_FIELDS) fail("Too many header fields", KVOHTTPCodes::SC_HEADER_FIELDS_TOO_LARGE);
        parseFieldLine(line);
    }
}

void KVOHTTPRequest::parseRequestLine(std::string const& line) {
    std::size_t sp1 = line.find(' ');
    std::size_t sp2 = sp1 == std::string::npos ? sp1 : line.find(' ', sp1 + 1);
    if (sp2 == std::string::npos || line.find(' ', sp2 + 1) != std::string::npos) {
        fail("The request line is not method, target and version separated by single spaces");
    }
    std::string_view view(line);
    std::string_view method = view.substr(0, sp1);
    std::string_view target = view.substr(sp1 + 1, sp2 - sp1 - 1);
    std::string_view version = view.substr(sp2 + 1);
    if (!isToken(method)) fail("The request method is not a token");
    if (target.empty()) fail("The request target is empty");
    for (char c : target) {
        if (!isVisible(static_cast<unsigned char>(c))) fail("The request target holds a blank or control byte");
    }
    if (!isVersion(version)) fail("The request line does not end in an HTTP version");
    _method = KVOString(method);
    _target = KVOString(target);
    _protocol = KVOString(version);
}

void KVOHTTPRequest::parseFieldLine(std::string const& line) {
    if (isBlank(line.front())) fail("Folded header field lines are not accepted");
    std::size_t colon = line.find(':');
    if (colon == std::string::npos) fail("A header field line has no colon");
    std::string_view view(line);
    std::string_view name = view.substr(0, colon);
    if (!isToken(name)) fail("A header field name is not a token");
    std::string_view value = trimBlanks(view.substr(colon + 1));
    for (char c : value) {
        if (!isFieldValueChar(static_cast<unsigned char>(c))) fail("A header field value holds a control byte");
    }
    _fields.emplace_back(KVOString(name), KVOString(value));
    if (_fields.back().first.equalsIgnoreCase("Content-Length")) parseContentLength(std::string(value));
}

void KVOHTTPRequest::parseContentLength(std::string const& value) {
    // A list of equal lengths ("5, 5", or repeated fields) is one length;
    // anything else leaves the length invalid for good.
    std::string_view rest(value);
    while (_contentLength != CONTENT_LENGTH_INVALID) {
        std::size_t comma = rest.find(',');
        std::string_view element = trimBlanks(rest.substr(0, comma));
        long long length = 0;
        bool valid = !element.empty();
        for (char c : element) {
            if (!isDigit(c)) {
                valid = false;
                break;
            }
            length = length * 10 + (c - '0');
            if (length > std::numeric_limits<KVOsint32>::max()) {
                valid = false;
                break;
            }
        }
        if (!valid || (_contentLength != CONTENT_LENGTH_ABSENT && _contentLength != length)) {
            _contentLength = CONTENT_LENGTH_INVALID;
            break;
        }
        _contentLength = static_cast<KVOsint32>(length);
        if (comma == std::string_view::npos) break;
        rest.remove_prefix(comma + 1);
    }
}

int KVOHTTPRequest::getProtocolEnum() const {
    if (_protocol == "HTTP/1.1") return HTTP_1_1;
    if (_protocol == "HTTP/1.0") return HTTP_1_0;
    return HTTP_OTHER;
}

KVOString const* KVOHTTPRequest::getHeaderField(KVOString const& name) const {
    for (auto const& field : _fields) {
        if (field.first.equalsIgnoreCase(name)) return &field.second;
    }
    return nullptr;
}

bool KVOHTTPRequest::hasHeaderToken(KVOString const& name, KVOString const& token) const {
    for (auto const& field : _fields) {
        if (!field.first.equalsIgnoreCase(name)) continue;
        std::string_view rest(field.second.str());
        for (;;) {
            std::size_t comma = rest.find(',');
            if (KVOString(trimBlanks(rest.substr(0, comma))).equalsIgnoreCase(token)) return true;
            if (comma == std::string_view::npos) break;
            rest.remove_prefix(comma + 1);
        }
    }
    return false;
}

bool KVOHTTPRequest::isKeepAlive() const {
    switch (getProtocolEnum()) {
    case HTTP_1_1:
        return !hasHeaderToken("Connection", "close");
    case HTTP_1_0:
        return hasHeaderToken("Connection", "keep-alive") && !hasHeaderToken("Connection", "close");
    default:
        return false;
    }
}
