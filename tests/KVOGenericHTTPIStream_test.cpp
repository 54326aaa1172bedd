#include "KivoUtilities/KVOGenericHTTPIStream.h"

#include "KivoUtilities/KVOHTTPCodes.h"
#include "KivoUtilities/KVOMemorySocket.h"
#include "KivoUtilities/KVOString.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

TEST(KVOGenericHTTPIStreamTest, GetPeekAndEndOfStream) {
    KVOMemorySocket sock("a\xff"s);
    KVOGenericHTTPIStream istr(sock);
    EXPECT_EQ(istr.peek(), 'a');
    EXPECT_EQ(istr.get(), 'a');
    EXPECT_EQ(istr.get(), 0xff);
    EXPECT_FALSE(istr.eof());
    EXPECT_EQ(istr.peek(), KVOGenericHTTPIStream::END_OF_STREAM);
    EXPECT_FALSE(istr.eof());
    EXPECT_EQ(istr.get(), KVOGenericHTTPIStream::END_OF_STREAM);
    EXPECT_TRUE(istr.eof());
    EXPECT_EQ(istr.getSocket(), &sock);
}

TEST(KVOGenericHTTPIStreamTest, EndOfStreamIsSticky) {
    KVOMemorySocket sock("x");
    KVOGenericHTTPIStream istr(sock);
    EXPECT_EQ(istr.get(), 'x');
    EXPECT_EQ(istr.get(), KVOGenericHTTPIStream::END_OF_STREAM);
    std::size_t calls = sock.receiveCalls();
    sock.borrowInput("more");
    EXPECT_EQ(istr.get(), KVOGenericHTTPIStream::END_OF_STREAM);
    EXPECT_EQ(sock.receiveCalls(), calls);
}

TEST(KVOGenericHTTPIStreamTest, BlockReadReturnsWhatCame) {
    std::string const data(100000, 'd');
    for (std::size_t perReceive : {0u, 1u, 777u}) {
        KVOMemorySocket sock(data, KVOMemorySocket::Remote, perReceive);
        KVOGenericHTTPIStream istr(sock, 4096);
        std::vector<char> out(data.size() + 10);
        EXPECT_EQ(istr.get(), 'd');
        EXPECT_EQ(istr.read(out.data(), 50000), 50000);
        EXPECT_FALSE(istr.eof());
        EXPECT_EQ(istr.read(out.data() + 50000, 60000), 49999);
        EXPECT_TRUE(istr.eof());
        EXPECT_EQ(std::string(out.data(), 99999), data.substr(1));
        EXPECT_EQ(istr.read(out.data(), 1), 0);
    }
}

// What readAppend takes, leaves and reports is what a get() loop that
// appends until the count, the stop byte or the end would: checked on random
// inputs rich in stop bytes, whole and byte by byte, with small buffers.
TEST(KVOGenericHTTPIStreamTest, ReadAppendTakesWhatAGetLoopTakes) {
    std::mt19937 random(7);
    for (int round = 0; round < 400; ++round) {
        std::string input(random() % 300, '\0');
        for (char& c : input) c = static_cast<char>(random() % 8 == 0 ? 0 : 'a' + random() % 26);
        long const maxBytes = static_cast<long>(random() % 320);
        int const stop = random() % 3 == 0 ? -1 : 0;
        std::size_t const perReceive = random() % 2 ? 1 : 0;
        std::size_t const bufferSize = 16 + random() % 40;

        KVOMemorySocket loopSock(input, KVOMemorySocket::Remote, perReceive);
        KVOGenericHTTPIStream loop(loopSock, bufferSize);
        std::string expected;
        while (static_cast<long>(expected.size()) < maxBytes) {
            int c = loop.get();
            if (c == KVOGenericHTTPIStream::END_OF_STREAM || c == stop) break;
            expected += static_cast<char>(c);
        }

        KVOMemorySocket bulkSock(input, KVOMemorySocket::Remote, perReceive);
        KVOGenericHTTPIStream bulk(bulkSock, bufferSize);
        std::string got = "prefix";
        long n = bulk.readAppend(got, maxBytes, stop);

        ASSERT_EQ(got, "prefix" + expected) << "round " << round;
        ASSERT_EQ(n, static_cast<long>(expected.size()));
        ASSERT_EQ(bulk.eof(), loop.eof()) << "round " << round;
        std::string restLoop, restBulk;
        for (int c; (c = loop.get()) != KVOGenericHTTPIStream::END_OF_STREAM;) restLoop += static_cast<char>(c);
        for (int c; (c = bulk.get()) != KVOGenericHTTPIStream::END_OF_STREAM;) restBulk += static_cast<char>(c);
        ASSERT_EQ(restBulk, restLoop) << "round " << round;
    }
}

TEST(KVOGenericHTTPIStreamTest, ReadLine) {
    struct Row {
        std::string input;
        unsigned maxLength;
        std::string line;
        std::string rest;
    };
    Row const rows[] = {
        {"5\r\nhello", 128, "5", "hello"},
        {"\r\nx", 128, "", "x"},
        {"5;name=value\r\n", 128, "5;name=value", ""},
        {"abc", 128, "abc", ""},                  // end of stream ends the line
        {"ab\r", 128, "ab\r", ""},                // half a delimiter at the end
        {"a\nb\r\n", 128, "a\nb", ""},            // a bare LF is line content
        {"abcdef\r\n", 4, "abcd", "ef\r\n"},      // the rest of a long line stays
        {"abcd\r\nx", 4, "abcd", "x"},            // a delimiter right at the limit is taken
        {"abc\r\nx", 4, "abc", "x"},
        {"abcd\rX", 4, "abcd\r", "X"},            // a delimiter broken off past the limit
        {"abcd\r\r\n", 4, "abcd\r", "\r\n"},
        {"a\0b\r\n"s, 128, "a\0b"s, ""},
    };
    for (Row const& row : rows) {
        for (std::size_t perReceive : {0u, 1u}) {
            KVOMemorySocket sock(row.input, KVOMemorySocket::Remote, perReceive);
            KVOGenericHTTPIStream istr(sock, 16);
            EXPECT_EQ(KVOString::readLine(istr, KVOHTTPCodes::CRLF, row.maxLength).str(), row.line) << row.input;
            std::string rest;
            for (int c; (c = istr.get()) != KVOGenericHTTPIStream::END_OF_STREAM;) rest += static_cast<char>(c);
            EXPECT_EQ(rest, row.rest) << row.input;
        }
    }
}

}  // namespace
