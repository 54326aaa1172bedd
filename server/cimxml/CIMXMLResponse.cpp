#include "CIMXMLResponse.h"

#include <algorithm>

#include "CIMXMLText.h"

#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPResponse.h"

namespace cimxmlpa {

namespace {

// A header or trailer value: no control characters, bounded length.
std::string fieldValue(std::string const& s) {
    std::string out;
    for (char c : s) {
        if (out.size() >= 512) break;
        out += (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) ? ' ' : c;
    }
    return out;
}

}  // namespace

ResponseChannel::ResponseChannel(KVOHTTPResponse& response, KVOGenericHTTPOStream& ostr, std::string messageId,
                                 std::string methodName, bool intrinsic, CIMXMLDataWriter& writer)
    : _response(response),
      _ostr(ostr),
      _messageId(std::move(messageId)),
      _methodName(std::move(methodName)),
      _intrinsic(intrinsic),
      _writer(writer) {}

std::string ResponseChannel::describe(int status, KVOSmrPtr<KivoBaseException> const& context) {
    // The code travels beside the description (CODE, CIMStatusCode), and
    // clients print its name in front of it: the description is the message
    // alone, and the name only when there is no message.
    std::string const name = CIMXMLDataWriter::statusName(status);
    std::string text = context ? context->getMessage().str() : std::string();
    if (text.compare(0, name.size(), name) == 0 && (text.size() == name.size() || text[name.size()] == ':')) {
        text.erase(0, std::min(text.size(), name.size() + 1));
        while (!text.empty() && text.front() == ' ') text.erase(0, 1);
    }
    if (text.empty()) text = name;
    if (text.size() > MAX_DESCRIPTION) {
        std::size_t cut = MAX_DESCRIPTION;
        while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
        text.resize(cut);
        text += "...";
    }
    return text;
}

void ResponseChannel::begin(bool streamed) {
    _response.setStatus("200");
    _response.setReasonPhrase("OK");
    _response.setHeaderField("Content-Type", "application/xml; charset=\"utf-8\"");
    _response.setHeaderField("CIMOperation", "MethodResponse");
    using StreamType = KVOGenericHTTPOStream::StreamType;
    if (streamed && _ostr.getStreamType() == StreamType::Full) _ostr.setStreamType(StreamType::NotEncoded);
    auto const type = _ostr.getStreamType();
    if (type == StreamType::Chunked) {
        _response.setHeaderField("Trailer", "CIMStatusCode, CIMStatusCodeDescription, CIMError");
    }
    if (type == StreamType::NotEncoded) {
        _closes = true;
        _response.setConnection("close", false);
    }
    _response.writeResponseTo(_ostr);
    std::string prologue = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
                           "<MESSAGE ID=\"";
    text::appendEscaped(prologue, _messageId);
    prologue += "\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP><";
    prologue += _intrinsic ? "IMETHODRESPONSE" : "METHODRESPONSE";
    prologue += " NAME=\"";
    text::appendEscaped(prologue, _methodName);
    prologue += "\">";
    put(prologue);
    // A streamed answer shows its start at once; a single one goes out whole
    // at its end, head and body in one send.
    if (streamed && type == KVOGenericHTTPOStream::StreamType::Chunked) _ostr.flush();
}

void ResponseChannel::put(std::string_view bytes) {
    _ostr.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void ResponseChannel::fail(int status, std::string const& description) {
    std::string error;
    CIMXMLDataWriter::writeError(error, status, description);
    put(error);
    end(status, description);
}

void ResponseChannel::end(int status, std::string const& description) {
    put(_intrinsic ? "</IMETHODRESPONSE>" : "</METHODRESPONSE>");
    put("</SIMPLERSP></MESSAGE></CIM>\n");
    if (_closes) {
        _ostr.flush();
    } else {
        if (_ostr.getStreamType() == KVOGenericHTTPOStream::StreamType::Chunked) {
            _ostr.setTrailer("CIMStatusCode", KVOString::itoa(status));
            if (status != 0) _ostr.setTrailer("CIMStatusCodeDescription", fieldValue(description));
        }
        _ostr.endMessage();
    }
    _finished = true;
}

void ResponseChannel::writeSingle(KivoOperationBase const& op, ContentWriter const& content, bool wrapInReturnValue) {
    begin();
    int const status = op.getErrorCode();
    if (status != 0) {
        fail(status, describe(status, op.getErrorContext()));
        return;
    }
    if (content) {
        std::string out;
        if (wrapInReturnValue) out += "<IRETURNVALUE>";
        content(out);
        if (wrapInReturnValue) out += "</IRETURNVALUE>";
        put(out);
    }
    end(0, {});
}

void ResponseChannel::writePullValues(std::string& out, bool endOfSequence, KVOString const& context) {
    out += "<PARAMVALUE NAME=\"EndOfSequence\" PARAMTYPE=\"boolean\"><VALUE>";
    out += endOfSequence ? "TRUE" : "FALSE";
    out += "</VALUE></PARAMVALUE><PARAMVALUE NAME=\"EnumerationContext\" PARAMTYPE=\"string\">";
    if (!endOfSequence) {
        out += "<VALUE>";
        text::appendEscaped(out, context.str());
        out += "</VALUE>";
    }
    out += "</PARAMVALUE>";
}

void ResponseChannel::writeErrorOnly(int status, std::string const& description) {
    begin();
    fail(status, describe(status, KVOSmrPtr<KivoBaseException>(new KivoBaseException("", "", "", description, status))));
}

}  // namespace cimxmlpa
