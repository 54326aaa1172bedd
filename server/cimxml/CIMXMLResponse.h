// The response side of one CIM-XML request: writes the HTTP head and the
// DSP0201 envelope (CIM, MESSAGE, SIMPLERSP, IMETHODRESPONSE or
// METHODRESPONSE) around what the operation returns, on whatever framing the
// request intake chose for the output stream.
//
// The concrete operations call it from writeResponse (CIMXMLOperations.h);
// the adapter calls writeErrorOnly for a request that has no operation object
// (a method the server does not implement). One ResponseChannel per request,
// on the adapter's thread; it refers to the request's HTTP objects and must
// not be used after the request ends.
//
// Framing:
// - Chunked: the head goes out first with "Trailer: CIMStatusCode,
//   CIMStatusCodeDescription, CIMError"; results are written as they are taken
//   from the operation's collection (the stream sends a chunk whenever its
//   buffer fills); after the last chunk the trailers repeat the status.
// - Full: the stream holds the body and sends it with its length. Only for
//   single-result responses: a streamed response (writeResults) on a Full
//   stream is sent NotEncoded instead, as below, so that no response is held
//   whole in memory.
// - NotEncoded (HTTP/1.0, or HTTP/1.1 without keep-alive): the head goes out
//   with "Connection: close" and no Content-Length, the body as it is
//   written, and the end of the connection ends the body. The connection
//   must close afterwards (closesConnection()).
// Whatever the framing, an error is also an ERROR element in the body: some
// clients discard trailers.
//
// A streamed response decides between IRETURNVALUE and ERROR only once the
// collection has answered its first hasNext(): results and an error cannot
// both come, since the collection's status reads 0 once a result was
// accepted.
#pragma once

#include "CIMXMLDataWriter.h"

#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"

#include <functional>
#include <string>

class KVOHTTPResponse;
class KVOGenericHTTPOStream;

namespace cimxmlpa {

class ResponseChannel {
public:
    // Writes the IRETURNVALUE's content (or, for an extrinsic method, the
    // RETURNVALUE and PARAMVALUEs) into `out`.
    using ContentWriter = std::function<void(std::string& out)>;

    ResponseChannel(KVOHTTPResponse& response, KVOGenericHTTPOStream& ostr, std::string messageId,
                    std::string methodName, bool intrinsic, CIMXMLDataWriter& writer);
    ResponseChannel(ResponseChannel const&) = delete;
    ResponseChannel& operator=(ResponseChannel const&) = delete;

    CIMXMLDataWriter& dataWriter() { return _writer; }

    // A single-result response: an ERROR when the operation failed, else
    // `content` (an empty function writes no IRETURNVALUE, for operations
    // that return nothing). `wrapInReturnValue` false writes the content bare
    // (METHODRESPONSE).
    void writeSingle(KivoOperationBase const& op, ContentWriter const& content, bool wrapInReturnValue = true);

    // A streamed response: every result the operation's collection delivers,
    // each written by `item`, inside one IRETURNVALUE; or the ERROR when the
    // collection ends without a result and with an error.
    template <class T, class ItemWriter>
    void writeStream(KivoMultiResponseOperationBase<T>& op, ItemWriter const& item) {
        writeResults(op, item, {});
    }

    // The same, with `after` writing what follows the IRETURNVALUE (the
    // output PARAMVALUEs of the pulled enumerations) when there is no error.
    template <class T, class ItemWriter>
    void writeResults(KivoMultiResponseOperationBase<T>& op, ItemWriter const& item, ContentWriter const& after) {
        begin(true);
        bool any = false;
        std::string piece;
        while (op.hasNext()) {
            if (!any) {
                put("<IRETURNVALUE>");
                any = true;
            }
            piece.clear();
            item(piece, op.next());
            put(piece);
        }
        int const status = op.getErrorCode();
        if (any || status == 0) {
            // An empty result as an open and a close tag: some clients' parsers
            // do not take the empty-element form here.
            piece = any ? "</IRETURNVALUE>" : "<IRETURNVALUE></IRETURNVALUE>";
            if (after) after(piece);
            put(piece);
            end(0, {});
        } else {
            fail(status, describe(status, op.getErrorContext()));
        }
    }

    // The output parameters of an Open or Pull: EndOfSequence, then
    // EnumerationContext (without a value, NULL, at the end of the sequence).
    static void writePullValues(std::string& out, bool endOfSequence, KVOString const& context);

    // A response that holds only an ERROR, for a request without operation.
    void writeErrorOnly(int status, std::string const& description);

    // The text an ERROR carries for a status: the DSP0200 name, and the
    // error context's message when it has one (without repeating the name
    // when the message begins with it), at most MAX_DESCRIPTION bytes.
    static std::string describe(int status, KVOSmrPtr<KivoBaseException> const& context);

    // Whether the response has been completed (endMessage sent).
    bool finished() const { return _finished; }
    // Whether the response is ended by closing the connection (NotEncoded).
    bool closesConnection() const { return _closes; }

    // Longest ERROR description; longer ones are cut (at a UTF-8 character
    // boundary) and end in "...". Messages may quote what the request named.
    static constexpr std::size_t MAX_DESCRIPTION = 4096;

private:
    // `streamed`: the results are written as they come (writeResults).
    void begin(bool streamed = false);
    void put(std::string_view bytes);
    void fail(int status, std::string const& description);
    void end(int status, std::string const& description);

    KVOHTTPResponse& _response;
    KVOGenericHTTPOStream& _ostr;
    std::string const _messageId;
    std::string const _methodName;
    bool const _intrinsic;
    CIMXMLDataWriter& _writer;
    bool _closes = false;
    bool _finished = false;
};

}  // namespace cimxmlpa
