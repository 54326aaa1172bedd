// The server's HTTP listener: a TCP socket on one address and port,
// a fixed pool of adapter threads, and the per-connection loop that reads a
// request head and hands the request to the CIM-XML adapter.
//
// main() builds one, calls open() (which binds and reports the port: with
// port 0 the system picks a free one), then run() on its own thread until
// stop() is called from another thread (the signal thread on SIGTERM/SIGINT).
//
// Threads and limits:
// - run() accepts connections and queues them; each adapter thread takes one
//   connection and serves its requests one after the other, so a thread
//   serves one request at a time; the connection stays with the thread for as
//   long as the handler says it persists. Queued connections wait for a
//   thread without a time limit.
// - The connection cap (Options::maxConnections) counts connections being
//   served plus those queued. A connection accepted beyond it is not left in
//   the kernel's backlog (where a client would wait without knowing why and
//   a flood would hide the clients being served): the accept loop answers it
//   at once with "503 Service Unavailable", "Retry-After: 1", an empty body
//   and "Connection: close", and closes it. Before closing it lingers: it
//   ends its sending side and drops what the client still sends, for at most
//   kRejectLingerMs, so that the 503 is not destroyed by a reset; at most
//   kMaxRejecting such connections linger at once (beyond that they close at
//   once). The accept loop never blocks on a client.
// - Every receive on a connection is limited by the read timeout: a client
//   that stops sending in the middle of a request, or stays silent between
//   requests on a persistent connection, loses its connection once it
//   expires, so it cannot hold a thread for ever. Sends are limited the same
//   way, so a client that stops reading cannot either. The limit applies to
//   each receive, not to a whole request.
// - A connection that the server closes while the client may still be
//   sending (a request refused before its body was read, a malformed head, a
//   request followed by garbage) is closed with a lingering close: the
//   sending side ends first, then what arrives is dropped until the client
//   closes, for at most kLingerMs and kLingerBytes, so that the last answer
//   reaches the client instead of being lost to a reset.
// - stop() stops accepting, closes connections that are waiting for their
//   next request, and lets every request whose head was read finish its
//   response; run() returns once all adapter threads are done.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
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
        int maxConnections = 64;
        int readTimeoutMs = 30000;
    };

    static constexpr int kRejectLingerMs = 1000;
    static constexpr std::size_t kMaxRejecting = 64;
    static constexpr int kLingerMs = 2000;
    static constexpr std::size_t kLingerBytes = 1 << 20;

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
    // Connections answered 503 because of the connection cap (counted in
    // connectionsAccepted too).
    unsigned long connectionsRefused() const;

private:
    struct Slot {
        bool idle = true;  // waiting for the next request head
    };

    void workerLoop();
    void serveConnection(int fd);
    // Marks the connection on fd idle or busy; false when the listener is
    // stopping and the connection is idle (it is then to be closed).
    void setIdle(int fd, bool idle);
    // Takes one accepted connection: queued for a thread, or answered 503
    // when the cap is reached (then added to `rejecting`).
    struct Rejecting {
        int fd;
        std::chrono::steady_clock::time_point deadline;
    };
    void admit(int fd, std::vector<Rejecting>& rejecting);

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
    unsigned long _refused = 0;       // guarded by _mutex
    std::vector<std::thread> _workers;
};

// The connection's addresses, from its descriptor.
ConnectionInfo describeConnection(int fd);

}  // namespace refserver
