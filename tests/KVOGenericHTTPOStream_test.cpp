#include "KivoUtilities/KVOGenericHTTPOStream.h"

#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOMemorySocket.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Type = KVOGenericHTTPStreamBuf::StreamType;
char const* const HEAD = "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\n";

// One message per stream type: head, body in two writes with a flush between,
// a trailer; what is on the wire after the flush and after endMessage.
TEST(KVOGenericHTTPOStreamTest, FramingPerStreamType) {
    struct Row {
        Type type;
        std::string afterFlush;
        std::string afterEnd;
    };
    Row const rows[] = {
        {KVOGenericHTTPStreamBuf::NotEncoded, std::string(HEAD) + "\r\n<a>", std::string(HEAD) + "\r\n<a></a>"},
        {KVOGenericHTTPStreamBuf::Chunked, std::string(HEAD) + "Transfer-Encoding: chunked\r\n\r\n3\r\n<a>\r\n",
         std::string(HEAD) + "Transfer-Encoding: chunked\r\n\r\n3\r\n<a>\r\n4\r\n</a>\r\n0\r\nCIMStatusCode: 0\r\n\r\n"},
        {KVOGenericHTTPStreamBuf::Full, "",
         std::string(HEAD) + "CIMStatusCode: 0\r\nContent-Length: 7\r\n\r\n<a></a>"},
    };
    for (Row const& row : rows) {
        KVOMemorySocket sock;
        KVOGenericHTTPOStream ostr(sock);
        EXPECT_EQ(ostr.getStreamType(), KVOGenericHTTPStreamBuf::NotEncoded);  // the default
        ostr.setStreamType(row.type);
        ostr.writeHead(HEAD);
        ostr << "<a>";
        ostr.flush();
        EXPECT_EQ(sock.output(), row.afterFlush) << row.type;
        ostr.write("</a>", 4);
        ostr.setTrailer("CIMStatusCode", "1");
        ostr.setTrailer("cimstatuscode", "0");
        EXPECT_EQ(ostr.isInMessage(), row.type != KVOGenericHTTPStreamBuf::NotEncoded);
        ostr.endMessage();
        EXPECT_FALSE(ostr.isInMessage());
        EXPECT_EQ(sock.output(), row.afterEnd) << row.type;
    }
}

// Writes larger than the buffer go out as a chunk of their own; smaller ones
// fill the buffer, which goes out whole (framed where it lies, one send per
// chunk); flushes never send an empty chunk.
TEST(KVOGenericHTTPOStreamTest, ChunkedSendsFullBuffersAsChunksAndNeverAnEmptyOne) {
    struct CountingSocket : KVOMemorySocket {
        int sends = 0;
        void send(char const* src, std::size_t n) override {
            ++sends;
            KVOMemorySocket::send(src, n);
        }
    };
    CountingSocket sock;
    KVOGenericHTTPOStream ostr(sock, 16);
    ostr.setStreamType(KVOGenericHTTPStreamBuf::Chunked);
    ostr << std::string(20, 'x');
    ostr << std::string(10, 'y');
    ostr.flush();
    ostr.flush();
    EXPECT_EQ(sock.sends, 2);
    ostr << std::string(10, 'a') << std::string(10, 'b') << std::string(30, 'c');
    EXPECT_EQ(sock.sends, 4);
    ostr.endMessage();
    EXPECT_EQ(sock.output(), "14\r\n" + std::string(20, 'x') + "\r\na\r\n" + std::string(10, 'y') + "\r\n10\r\n" +
                                 std::string(10, 'a') + std::string(6, 'b') + "\r\n" + "4\r\nbbbb\r\n1e\r\n" +
                                 std::string(30, 'c') + "\r\n0\r\n\r\n");
}

TEST(KVOGenericHTTPOStreamTest, MessagesFollowEachOtherOnOneConnection) {
    KVOMemorySocket sock;
    KVOGenericHTTPOStream ostr(sock);
    ostr.setStreamType(KVOGenericHTTPStreamBuf::Full);
    ostr.writeHead("HTTP/1.1 200 OK\r\n");
    ostr << "one";
    ostr.endMessage();
    ostr.writeHead("HTTP/1.1 200 OK\r\n");
    ostr.endMessage();
    EXPECT_EQ(sock.output(),
              "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\noneHTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
}

TEST(KVOGenericHTTPOStreamTest, EndMessageWithoutAMessageSendsNoFraming) {
    for (Type type : {KVOGenericHTTPStreamBuf::Full, KVOGenericHTTPStreamBuf::Chunked}) {
        KVOMemorySocket sock;
        KVOGenericHTTPOStream ostr(sock);
        ostr.setStreamType(type);
        ostr.endMessage();
        EXPECT_EQ(sock.output(), "");
    }
}

TEST(KVOGenericHTTPOStreamTest, TypeChangesOnlyBetweenMessages) {
    KVOMemorySocket sock;
    KVOGenericHTTPOStream ostr(sock);
    ostr << "raw ";
    ostr.setStreamType(KVOGenericHTTPStreamBuf::Chunked);  // raw bytes keep their place
    ostr << "x";
    EXPECT_THROW(ostr.setStreamType(KVOGenericHTTPStreamBuf::NotEncoded), KVOHTTPException);
    EXPECT_THROW(ostr.writeHead(HEAD), KVOHTTPException);
    ostr.setStreamType(KVOGenericHTTPStreamBuf::Chunked);  // the same type is no change
    ostr.endMessage();
    ostr.setStreamType(KVOGenericHTTPStreamBuf::NotEncoded);
    EXPECT_EQ(sock.output(), "raw 1\r\nx\r\n0\r\n\r\n");
}

// A socket that refuses to send.
class BrokenSocket : public KVOMemorySocket {
public:
    void send(char const*, std::size_t) override { throw KVOHTTPException("BrokenSocket", "gone", 0); }
};

TEST(KVOGenericHTTPOStreamTest, SendFailuresReachTheWriter) {
    BrokenSocket sock;
    KVOGenericHTTPOStream ostr(sock);
    ostr << "x";
    EXPECT_THROW(ostr.flush(), KVOHTTPException);
    EXPECT_TRUE(ostr.bad());
}

TEST(KVOGenericHTTPOStreamTest, DestructionSendsWhatFlushWould) {
    KVOMemorySocket sock;
    {
        KVOGenericHTTPOStream ostr(sock);
        ostr << "left over";
    }
    EXPECT_EQ(sock.output(), "left over");
}

}  // namespace
