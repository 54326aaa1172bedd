#include "KivoUtilities/KVOSocket.h"

#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOMemorySocket.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace {

// A connected pair of TCP sockets over 127.0.0.1: (client, server side).
std::pair<std::unique_ptr<KVOSocket>, std::unique_ptr<KVOSocket>> loopbackPair() {
    int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    EXPECT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    EXPECT_EQ(::listen(listener, 1), 0);
    EXPECT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &len), 0);
    int client = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(::connect(client, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    int server = ::accept(listener, nullptr, nullptr);
    ::close(listener);
    auto c = std::make_unique<KVOSocket>(client);
    auto s = std::make_unique<KVOSocket>(server);
    // Every read of these tests ends by itself.
    c->setReceiveTimeout(5000);
    s->setReceiveTimeout(5000);
    return {std::move(c), std::move(s)};
}

TEST(KVOSocketTest, StreamsOverALoopbackConnection) {
    auto [client, server] = loopbackPair();
    EXPECT_TRUE(server->isLoopback());
    EXPECT_TRUE(client->isLoopback());

    std::string const body(300000, 'b');
    std::thread writer([&, &c = *client] {
        KVOGenericHTTPOStream ostr(c);
        ostr.setStreamType(KVOGenericHTTPStreamBuf::Chunked);
        ostr.writeHead("POST / HTTP/1.1\r\n");
        ostr << body;
        ostr.endMessage();
        ::shutdown(c.getFd(), SHUT_WR);
    });
    KVOGenericHTTPIStream istr(*server);
    std::string received;
    istr.readAppend(received, 10000000);
    writer.join();
    std::string const head = "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n";
    ASSERT_GT(received.size(), head.size() + body.size());
    EXPECT_EQ(received.substr(0, head.size()), head);
    EXPECT_EQ(received.substr(received.size() - 5), "0\r\n\r\n");
    EXPECT_TRUE(istr.eof());
}

TEST(KVOSocketTest, CloseOptionIsTheLingerTime) {
    auto [client, server] = loopbackPair();
    EXPECT_EQ(server->getCloseSocketOption(), KVOSocket::CLOSE_OPTION_UNSET);
    server->setCloseSocketOption(30);
    EXPECT_EQ(server->getCloseSocketOption(), 30);
    linger lg{};
    socklen_t len = sizeof lg;
    ASSERT_EQ(::getsockopt(server->getFd(), SOL_SOCKET, SO_LINGER, &lg, &len), 0);
    EXPECT_EQ(lg.l_onoff, 1);
    EXPECT_EQ(lg.l_linger, 30);
    server->setCloseSocketOption(-1);
    ASSERT_EQ(::getsockopt(server->getFd(), SOL_SOCKET, SO_LINGER, &lg, &len), 0);
    EXPECT_EQ(lg.l_onoff, 0);
}

TEST(KVOSocketTest, APeerThatStopsSendingEndsTheStreamAtTheTimeout) {
    auto [client, server] = loopbackPair();
    server->setReceiveTimeout(100);
    client->send("ab", 2);
    KVOGenericHTTPIStream istr(*server);
    EXPECT_EQ(istr.get(), 'a');
    EXPECT_EQ(istr.get(), 'b');
    EXPECT_EQ(istr.get(), KVOGenericHTTPIStream::END_OF_STREAM);
    EXPECT_TRUE(istr.eof());
}

TEST(KVOSocketTest, SendToAClosedPeerThrowsWithoutSignal) {
    auto [client, server] = loopbackPair();
    client.reset();
    std::string const block(1 << 16, 'x');
    EXPECT_THROW(
        {
            for (int i = 0; i < 1000; ++i) server->send(block.data(), block.size());
        },
        KVOHTTPException);
}

TEST(KVOSocketTest, LocalSocketsAreLoopback) {
    int fds[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    KVOSocket a(fds[0]);
    KVOSocket b(fds[1]);
    EXPECT_TRUE(a.isLoopback());
}

TEST(KVOSocketTest, RequestBodyHookCountsAndCallsTheListener) {
    KVOMemorySocket sock;
    int heard = 0;
    sock.endRequestBody();
    sock.setRequestBodyEndListener([&] { ++heard; });
    sock.endRequestBody();
    EXPECT_EQ(sock.getRequestBodiesEnded(), 2u);
    EXPECT_EQ(heard, 1);
}

}  // namespace
