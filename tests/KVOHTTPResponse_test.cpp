#include "KivoUtilities/KVOHTTPResponse.h"

#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOMemorySocket.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string written(KVOHTTPResponse const& response, KVOGenericHTTPStreamBuf::StreamType type, char const* body = "") {
    KVOMemorySocket sock;
    KVOGenericHTTPOStream ostr(sock);
    ostr.setStreamType(type);
    response.writeResponseTo(ostr);
    ostr << body;
    ostr.endMessage();
    return sock.output();
}

TEST(KVOHTTPResponseTest, DefaultHead) {
    KVOHTTPResponse response;
    EXPECT_EQ(written(response, KVOGenericHTTPStreamBuf::NotEncoded), "HTTP/1.1 200 OK\r\n\r\n");
    EXPECT_TRUE(response.getPersistConnection());
}

TEST(KVOHTTPResponseTest, HeadFieldsInOrderThenLengthThenConnection) {
    KVOHTTPResponse response;
    response.setStatus("413");
    response.setReasonPhrase("Request Entity Too Large");
    response.setHeaderField("CIMError", "request-not-valid");
    response.addHeaderField("Trailer", "CIMStatusCode");
    response.setHeaderField("cimerror", "unsupported-operation");  // replaces, moves to the end
    response.setContentLength(0);
    response.setConnection("close", false);
    EXPECT_FALSE(response.getPersistConnection());
    EXPECT_EQ(*response.getHeaderField("CIMERROR"), "unsupported-operation");
    EXPECT_EQ(written(response, KVOGenericHTTPStreamBuf::NotEncoded),
              "HTTP/1.1 413 Request Entity Too Large\r\nTrailer: CIMStatusCode\r\n"
              "cimerror: unsupported-operation\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    response.removeHeaderField("trailer");
    EXPECT_EQ(response.getHeaderField("Trailer"), nullptr);
}

// The length set on the response frames only an unencoded body; the Full and
// Chunked streams frame their bodies themselves.
TEST(KVOHTTPResponseTest, StreamTypeDecidesTheFramingField) {
    KVOHTTPResponse response;
    response.setContentLength(99);
    EXPECT_EQ(written(response, KVOGenericHTTPStreamBuf::Full, "abc"),
              "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_EQ(written(response, KVOGenericHTTPStreamBuf::Chunked, "abc"),
              "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n");
    EXPECT_EQ(written(response, KVOGenericHTTPStreamBuf::NotEncoded, "abc"),
              "HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\nabc");
}

TEST(KVOHTTPResponseTest, RefusesWhatWouldBreakTheHead) {
    KVOHTTPResponse response;
    EXPECT_THROW(response.setStatus("20"), KVOHTTPException);
    EXPECT_THROW(response.setStatus("2x0"), KVOHTTPException);
    EXPECT_THROW(response.setProtocol("HTTP/1"), KVOHTTPException);
    EXPECT_THROW(response.setReasonPhrase("OK\r\nX: y"), KVOHTTPException);
    EXPECT_THROW(response.setHeaderField("A B", "x"), KVOHTTPException);
    EXPECT_THROW(response.setHeaderField("A", "x\ny"), KVOHTTPException);
    EXPECT_THROW(response.addHeaderField("", "x"), KVOHTTPException);
    EXPECT_THROW(response.setConnection("close\r\n", false), KVOHTTPException);
    for (char const* framing : {"Content-Length", "transfer-encoding", "Connection"}) {
        EXPECT_THROW(response.setHeaderField(framing, "1"), KVOHTTPException) << framing;
    }
    EXPECT_EQ(written(response, KVOGenericHTTPStreamBuf::NotEncoded), "HTTP/1.1 200 OK\r\n\r\n");
}

}  // namespace
