// The reference server's HTTP listener: a TCP socket on one address and port,
// a fixed pool of adapter threads, and the per-connection loop that reads a
// request head and hands the request to the CIM-XML adapter.
//
// main() builds one, calls open() (which binds and reports the port: with
// port 0 the system picks a free one), then run() on its own thread until
// stop() is called from another thread (the signal thread on SIGTERM/SIGINT).
//
// Threads and limits:
// - run() accepts connections and queues them (at most 4 per adapter thread;
//   beyond that the kernel's backlog holds them). Each adapter thread takes
//   one connection and serves its requests one after the other, so a thread
//   serves one request at a time; the connection stays with the thread for as
//   long as the handler says it persists.
// - Every receive on a connection is limited by the read timeout: a client
//   that stops sending in the middle of a request, or stays silent between
//   requests on a persistent connection, loses its connection once it
//   expires, so it cannot hold a thread for ever. Sends are limited the same
//   way, so a client that stops reading cannot either.
// - stop() stops accepting, closes connections that are waiting for their
//   next request, and lets every request whose head was read finish its
//   response; run() returns once all adapter threads are done.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class KVOHTTPRequest;
class KVOGenericHTTPIStream;
class KVOGenericHTTPOStream;

namespace refserver {

// Both ends of one connection, as text.
struct ConnectionInfo {
    std::string localAddress;
    std::string localPort;
    std::string peerAddress;
    std::string peerPort;
};

// Serves one request whose head has been read; the body is still in the input
// stream. Returns true when the connection may carry another request. Runs on
// an adapter thread; anything it throws closes the connection.
using RequestHandler =
    std::function<bool(KVOHTTPRequest& request, KVOGenericHTTPIStream& istr, KVOGenericHTTPOStream& ostr,
                       ConnectionInfo const& connection)>;

class HTTPListener {
public:
    struct Options {
        std::string address = "127.0.0.1";
        int port = 5988;
        int threads = 8;
        int readTimeoutMs = 30000;
    };

    HTTPListener(Options options, RequestHandler handler);
    ~HTTPListener();
    HTTPListener(HTTPListener const&) = delete;
    HTTPListener& operator=(HTTPListener const&) = delete;

    // Binds and listens. Returns the port bound (the one chosen by the system
    // for port 0). Throws std::runtime_error naming the failure.
    int open();
    // Starts the adapter threads and accepts connections until stop(); then
    // waits for the requests under way and returns. Call once, after open().
    void run();
    // Asks run() to finish; safe from any thread, any number of times.
    void stop();

    // Connections accepted so far and requests whose head was read (for tests
    // and the closing summary).
    unsigned long connectionsAccepted() const;
    unsigned long requestsStarted() const;

private:
    struct Slot {
        bool idle = true;  // waiting for the next request head
    };

    void workerLoop();
    void serveConnection(int fd);
    // Marks the connection on fd idle or busy; false when the listener is
    // stopping and the connection is idle (it is then to be closed).
    void setIdle(int fd, bool idle);

    Options const _options;
    RequestHandler const _handler;
    int _listenFd = -1;
    int _wakePipe[2] = {-1, -1};  // stop() writes a byte to wake the accept loop

    mutable std::mutex _mutex;
    std::condition_variable _queueChanged;
    std::deque<int> _pending;         // guarded by _mutex: accepted, not yet taken by a thread
    std::map<int, Slot> _connections; // guarded by _mutex: connections being served, by descriptor
    bool _stopping = false;           // guarded by _mutex
    unsigned long _accepted = 0;      // guarded by _mutex
    unsigned long _requests = 0;      // guarded by _mutex
    std::vector<std::thread> _workers;
};

// The connection's addresses, from its descriptor.
ConnectionInfo describeConnection(int fd);

}  // namespace refserver
