#include "KivoUtilities/KVOHTTPRequest.h"

#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOMemorySocket.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;

// Parses `raw` delivered `perReceive` bytes at a time; the request and the
// first byte left in the stream.
struct Parsed {
    KVOHTTPRequest request;
    bool read = false;
    int next = 0;
};

Parsed parse(std::string const& raw, std::size_t perReceive = 0) {
    KVOMemorySocket sock(raw, KVOMemorySocket::Remote, perReceive);
    KVOGenericHTTPIStream istr(sock, 64);
    Parsed p;
    p.read = p.request.readFrom(istr);
    p.next = istr.get();
    return p;
}

int failureCode(std::string const& raw) {
    try {
        parse(raw);
    } catch (KVOHTTPException const& e) {
        EXPECT_EQ(e.getWho(), "KVOHTTPRequest::readFrom");
        return e.getCode();
    }
    return 0;
}

TEST(KVOHTTPRequestTest, ParsesRequestLineAndFieldsAndStopsAtTheBody) {
    Parsed p = parse("POST /cimom HTTP/1.1\r\nHost: example\r\ncontent-TYPE:  application/xml; charset=utf-8 \r\n"
                     "CIMOperation: MethodCall\r\nContent-Length: 5\r\n\r\nhello");
    ASSERT_TRUE(p.read);
    EXPECT_EQ(p.request.getMethod(), "POST");
    EXPECT_EQ(p.request.getRequestURI(), "/cimom");
    EXPECT_EQ(p.request.getProtocol(), "HTTP/1.1");
    EXPECT_EQ(p.request.getProtocolEnum(), 2);
    EXPECT_EQ(p.request.getContentLength(), 5);
    ASSERT_NE(p.request.getHeaderField("Content-Type"), nullptr);
    EXPECT_EQ(*p.request.getHeaderField("CONTENT-type"), "application/xml; charset=utf-8");
    EXPECT_EQ(*p.request.getHeaderField("cimoperation"), "MethodCall");
    EXPECT_EQ(p.request.getHeaderField("TE"), nullptr);
    EXPECT_EQ(p.request.getHeaderFields().size(), 4u);
    EXPECT_EQ(p.next, 'h');
}

TEST(KVOHTTPRequestTest, ProtocolEnum) {
    struct Row {
        char const* version;
        int expected;
    };
    for (Row row : {Row{"HTTP/1.0", 1}, Row{"HTTP/1.1", 2}, Row{"HTTP/0.9", 0}, Row{"HTTP/2.0", 0},
                    Row{"HTTP/1.2", 0}}) {
        Parsed p = parse(std::string("GET / ") + row.version + "\r\n\r\n");
        EXPECT_EQ(p.request.getProtocolEnum(), row.expected) << row.version;
    }
}

TEST(KVOHTTPRequestTest, ContentLength) {
    struct Row {
        char const* fields;
        KVOsint32 expected;
    };
    Row const rows[] = {
        {"", -1},
        {"Content-Length: 0\r\n", 0},
        {"Content-Length: 120\r\n", 120},
        {"content-length:7\r\n", 7},
        {"Content-Length: \t 7 \r\n", 7},
        {"Content-Length: 007\r\n", 7},
        {"Content-Length: 2147483647\r\n", 2147483647},
        {"Content-Length: 5, 5\r\n", 5},
        {"Content-Length: 5\r\nContent-Length: 5\r\n", 5},
        // Lengths that cannot be trusted.
        {"Content-Length: 2147483648\r\n", -2},
        {"Content-Length: 99999999999999999999999\r\n", -2},
        {"Content-Length: -1\r\n", -2},
        {"Content-Length: +5\r\n", -2},
        {"Content-Length: 0x10\r\n", -2},
        {"Content-Length: 5 5\r\n", -2},
        {"Content-Length: \r\n", -2},
        {"Content-Length: 5,\r\n", -2},
        {"Content-Length: 5, 6\r\n", -2},
        {"Content-Length: 5\r\nContent-Length: 6\r\n", -2},
        {"Content-Length: abc\r\nContent-Length: 5\r\n", -2},
    };
    for (Row const& row : rows) {
        Parsed p = parse(std::string("POST / HTTP/1.1\r\n") + row.fields + "\r\n");
        EXPECT_EQ(p.request.getContentLength(), row.expected) << row.fields;
    }
}

TEST(KVOHTTPRequestTest, KeepAlive) {
    struct Row {
        char const* version;
        char const* fields;
        bool expected;
    };
    Row const rows[] = {
        {"HTTP/1.1", "", true},
        {"HTTP/1.1", "Connection: close\r\n", false},
        {"HTTP/1.1", "Connection: Keep-Alive, CLOSE\r\n", false},
        {"HTTP/1.1", "Connection: TE\r\nConnection: close\r\n", false},
        {"HTTP/1.1", "Connection: closed\r\n", true},
        {"HTTP/1.0", "", false},
        {"HTTP/1.0", "Connection: keep-alive\r\n", true},
        {"HTTP/1.0", "Connection: Keep-Alive\r\n", true},
        {"HTTP/1.0", "Connection: keep-alive, close\r\n", false},
        {"HTTP/2.0", "Connection: keep-alive\r\n", false},
    };
    for (Row const& row : rows) {
        Parsed p = parse(std::string("GET / ") + row.version + "\r\n" + row.fields + "\r\n");
        EXPECT_EQ(p.request.isKeepAlive(), row.expected) << row.version << " " << row.fields;
    }
}

TEST(KVOHTTPRequestTest, AcceptsBareLineFeedsAndSkipsLeadingEmptyLines) {
    Parsed p = parse("\r\n\nGET /x HTTP/1.0\nA: b\n\nrest");
    ASSERT_TRUE(p.read);
    EXPECT_EQ(p.request.getRequestURI(), "/x");
    EXPECT_EQ(*p.request.getHeaderField("a"), "b");
    EXPECT_EQ(p.next, 'r');
}

TEST(KVOHTTPRequestTest, EndOfStreamBeforeARequestIsNoRequest) {
    EXPECT_FALSE(parse("").read);
    EXPECT_FALSE(parse("\r\n\r\n").read);
}

TEST(KVOHTTPRequestTest, RefusesMalformedHeads) {
    struct Row {
        std::string raw;
        int code;
    };
    std::string const longTarget(KVOHTTPRequest::MAX_LINE_LENGTH, 'a');
    std::string const longValue(KVOHTTPRequest::MAX_LINE_LENGTH, 'v');
    std::string manyFields;
    for (std::size_t i = 0; i <= KVOHTTPRequest::MAX_FIELDS; ++i) manyFields += "F" + std::to_string(i) + ": x\r\n";
    std::string bigHead;
    for (int i = 0; i < 20; ++i) bigHead += "F" + std::to_string(i) + ": " + std::string(4000, 'x') + "\r\n";
    Row const rows[] = {
        {"GET / HTTP/1.1", 400},                       // stream ends in the request line
        {"GET / HTTP/1.1\r\nHost: x\r\n", 400},        // stream ends in the head
        {"GET /  HTTP/1.1\r\n\r\n", 400},              // two spaces
        {"GET / HTTP/1.1 x\r\n\r\n", 400},             // four parts
        {"GET\t/ HTTP/1.1\r\n\r\n", 400},              // not single spaces
        {"G(T / HTTP/1.1\r\n\r\n", 400},               // method not a token
        {"GET / HTTX/1.1\r\n\r\n", 400},               // not a version
        {"GET / HTTP/11\r\n\r\n", 400},
        {"GET /\x01 HTTP/1.1\r\n\r\n", 400},           // control byte in target
        {"GET / HTTP/1.1\r\nHost : x\r\n\r\n", 400},   // blank before colon
        {"GET / HTTP/1.1\r\nHost x\r\n\r\n", 400},     // no colon
        {"GET / HTTP/1.1\r\n: x\r\n\r\n", 400},        // empty name
        {"GET / HTTP/1.1\r\nA: b\r\n c\r\n\r\n", 400}, // folded line
        {"GET / HTTP/1.1\r\nA: b\rc\r\n\r\n", 400},    // bare CR
        {"GET / HTTP/1.1\r\nA: b\x7f\r\n\r\n", 400},   // DEL
        {"GET / HTTP/1.1\r\nA: b\0c\r\n\r\n"s, 400},
        {"\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\nGET / HTTP/1.1\r\n\r\n", 400},
        {"GET /" + longTarget + " HTTP/1.1\r\n\r\n", 414},
        {"GET / HTTP/1.1\r\nA: " + longValue + "\r\n\r\n", 431},
        {"GET / HTTP/1.1\r\n" + manyFields + "\r\n", 431},
        {"GET / HTTP/1.1\r\n" + bigHead + "\r\n", 431},
    };
    for (Row const& row : rows) EXPECT_EQ(failureCode(row.raw), row.code) << row.raw.substr(0, 60);
}

TEST(KVOHTTPRequestTest, ReadsConsecutiveRequestsOfAConnection) {
    KVOMemorySocket sock("GET /a HTTP/1.1\r\n\r\nGET /b HTTP/1.1\r\nX: 1\r\n\r\n");
    KVOGenericHTTPIStream istr(sock);
    KVOHTTPRequest request;
    ASSERT_TRUE(request.readFrom(istr));
    EXPECT_EQ(request.getRequestURI(), "/a");
    ASSERT_TRUE(request.readFrom(istr));
    EXPECT_EQ(request.getRequestURI(), "/b");
    EXPECT_EQ(request.getHeaderFields().size(), 1u);
    EXPECT_FALSE(request.readFrom(istr));
}

// A head delivered byte by byte parses as one delivered whole.
TEST(KVOHTTPRequestTest, GrindByteByByte) {
    std::string const raw = "POST /cimom HTTP/1.1\r\nHost: h\r\nContent-Length: 3\r\nTE: trailers\r\n\r\nabc";
    Parsed whole = parse(raw);
    Parsed bytewise = parse(raw, 1);
    EXPECT_EQ(bytewise.request.getHeaderFields(), whole.request.getHeaderFields());
    EXPECT_EQ(bytewise.request.getContentLength(), 3);
    EXPECT_EQ(bytewise.next, 'a');
}

}  // namespace
