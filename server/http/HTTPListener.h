// The server's HTTP front end: a TCP socket on one address and port, one
// event-loop thread that owns every connection between requests, and a pool
// of adapter threads that run the request handler (the CIM-XML adapter).
//
// main() builds one, calls open() (which binds and reports the port: with
// port 0 the system picks a free one), then run() on its own thread until
// stop() is called from another thread (the signal thread on SIGTERM/SIGINT).
//
// Threads:
// - The event loop (the thread in run()) accepts connections, reads request
//   heads, parses them, runs the request gate, reads Content-Length bodies
//   into memory, answers refusals (503, 400, the gate's), keeps the timers
//   and does lingering closes. It never blocks on a client: every descriptor
//   is non-blocking and waited for with epoll.
// - A connection takes an adapter thread only once its request is ready: the
//   head has arrived, the gate admitted it and, for a Content-Length body,
//   the body has arrived too. The handler reads the body through the
//   KVOGenericHTTPIStream it is given, over a socket that yields the bytes
//   the loop buffered and then the connection's own bytes (a chunked body is
//   read there, by the adapter thread). When the handler returns, the
//   connection goes back to the loop with whatever the thread read past the
//   request (pipelined requests). An idle persistent connection holds no
//   thread at all. A client that ends its sending side inside a body gets its
//   request handed over as it is (the intake answers the short body). The
//   loop answers "Expect: 100-continue" itself before reading a body.
// - The request gate (optional) runs on the loop with each parsed head,
//   before any thread or budget is spent. A refused request's body is never
//   read: its refusal is sent after the Admission's delay (a timer of the
//   loop), then the connection closes with a lingering close (or, for a
//   request without a body and close = false, stays open for the next one).
//   An admitted request's principal reaches the handler in ConnectionInfo.
//
// Deadlines (Options, all in milliseconds):
// - requestTimeoutMs: a request must arrive whole (head and body, counted
//   from its first byte, or from the end of the previous response) within
//   it; otherwise the connection is closed. A chunked body read by the
//   adapter thread is bound by the same deadline.
// - idleTimeoutMs: a connection with no byte of a request is closed after it.
// - sendTimeoutMs: a response whose client accepts no byte for this long is
//   abandoned: the handler's write throws, the connection is closed and the
//   thread goes back to the pool.
// - shutdownTimeoutMs: after stop(), responses in flight may finish for this
//   long; then their sockets are shut down so that every blocked send fails.
//
// Caps:
// - maxConnections open at once and maxConnectionsPerPeer from one peer
//   address. A connection beyond either is answered at once with "503
//   Service Unavailable", "Retry-After: 1", an empty body and "Connection:
//   close" (never left in the kernel's backlog) and closed with a lingering
//   close.
// - bodyBudgetBytes: the Content-Length bodies of the requests being read or
//   served share this budget. A request whose body does not fit waits (not
//   reading it) until others finish, within its request deadline; then it
//   is answered 503 with Retry-After. A body larger than the whole budget is
//   answered 413 at once. Bodies over the intake's own cap go straight to
//   the handler, which answers 413 before reading them.
//
// Closing: a connection that the server closes while the client may still be
// sending (a refusal, a malformed head, a handler that ends the connection)
// is closed with a lingering close, in the loop: the sending side ends first,
// then what arrives is dropped until the client closes, for at most kLingerMs
// and kLingerBytes, so that the last answer reaches the client instead of
// being lost to a reset.
//
// TLS (Options::tls): a second listening port whose connections first run
// a TLS handshake on the loop (state Handshake, non-blocking: the session
// asks for readability or writability and the loop waits for it), bound by
// handshakeTimeoutMs; a handshake that fails or is not done by then closes
// the connection. From then on every read and write of the loop and of the
// adapter thread goes through the connection's TLSSession (TLS.h) and the
// connection takes the same path as a plain one. Bytes the session holds
// already (a record read whole, of which only part was asked for) do not
// wake epoll: the loop reads them whenever it starts reading again (after
// the handshake, a request, a refusal or a budget wait). A connection beyond
// a cap on the TLS port is closed at once (no session to answer 503 on). A
// lingering close sends close_notify first. A verified client certificate's
// user (ConnectionInfo::certificateUser) is the principal of every request on
// the connection; the gate is not asked.
//
// stop(): stops accepting, closes every connection without a request being
// served, lets the requests being served finish until shutdownTimeoutMs has
// passed, then shuts their sockets down; run() returns once every adapter
// thread is done.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class KVOHTTPRequest;
class KVOGenericHTTPIStream;
class KVOGenericHTTPOStream;

namespace refserver {

class TLSContext;
class TLSSession;

// Both ends of one connection, as text, and who is asking.
struct ConnectionInfo {
    std::string localAddress;
    std::string localPort;
    std::string peerAddress;
    std::string peerPort;
    std::uint64_t id = 0;    // unique per connection, never reused in a process
    std::string principal;   // set per request from the gate's Admission
    // Over TLS with client certificates: the user the verified certificate
    // names (TLSContext). Every request on the connection is served as this
    // principal without asking the gate.
    std::string certificateUser;
    bool tls = false;  // the connection came in on the TLS port
};

// Serves one request whose head has been read; the body is still in the input
// stream. Returns true when the connection may carry another request. Runs on
// an adapter thread; anything it throws closes the connection.
using RequestHandler =
    std::function<bool(KVOHTTPRequest& request, KVOGenericHTTPIStream& istr, KVOGenericHTTPOStream& ostr,
                       ConnectionInfo const& connection)>;

// The front end's decision on a request, from its head alone.
struct Admission {
    bool admitted = true;
    std::string principal;               // admitted: the authenticated user ("" = anonymous)
    std::string refusal;                 // refused: the whole HTTP response to send
    std::chrono::milliseconds delay{0};  // refused: sent after this delay, holding no thread
    bool close = true;                   // refused: close the connection after sending
};
// Runs on the event-loop thread; must not block.
using RequestGate = std::function<Admission(KVOHTTPRequest const& head, ConnectionInfo const& connection)>;

class HTTPListener {
public:
    struct Options {
        std::string address = "127.0.0.1";
        int port = 5988;
        int threads = 0;  // 0: defaultThreads()
        int maxConnections = 1024;
        int maxConnectionsPerPeer = 512;
        int requestTimeoutMs = 30000;
        int idleTimeoutMs = 60000;
        int sendTimeoutMs = 30000;
        int shutdownTimeoutMs = 10000;
        std::size_t bodyBudgetBytes = std::size_t{256} << 20;
        // Plain HTTP on `port`; false: no plain port at all.
        bool plain = true;
        // TLS on `tlsPort` when set (0: the system picks a port).
        std::shared_ptr<TLSContext const> tls;
        int tlsPort = 5989;
        int handshakeTimeoutMs = 10000;
    };

    static constexpr int kLingerMs = 2000;
    static constexpr std::size_t kLingerBytes = 1 << 20;

    // Adapter threads when Options::threads is 0: four per core, at least 32,
    // so that clients that stop reading a response (each holds a thread until
    // sendTimeoutMs) leave threads for the others.
    static int defaultThreads();

    HTTPListener(Options options, RequestHandler handler, RequestGate gate = {});
    ~HTTPListener();
    HTTPListener(HTTPListener const&) = delete;
    HTTPListener& operator=(HTTPListener const&) = delete;

    // Binds and listens on the plain port and the TLS port (each when on).
    // Returns the plain port bound (the one chosen by the system for port 0),
    // or the TLS port when plain HTTP is off. Throws std::runtime_error
    // naming the failure.
    int open();
    // After open(): the ports bound, -1 for one that is off.
    int plainPort() const { return _plainPort; }
    int tlsPort() const { return _tlsPort; }
    // Starts the adapter threads and runs the event loop until stop(); then
    // waits for the requests under way and returns. Call once, after open().
    void run();
    // Asks run() to finish; safe from any thread (not from a signal handler),
    // any number of times.
    void stop();

    // Connections accepted so far, requests whose head was read, and
    // connections answered 503 because of a connection cap (for tests and the
    // closing summary).
    unsigned long connectionsAccepted() const;
    unsigned long requestsStarted() const;
    unsigned long connectionsRefused() const;

private:
    struct Loop;  // the event loop's own state, touched by its thread only
    struct Job;   // a request ready for an adapter thread
    struct Done;  // a request an adapter thread has finished

    void workerLoop();
    void serve(Job& job);
    void wake();

    Options const _options;
    RequestHandler const _handler;
    RequestGate const _gate;
    int _listenFd = -1;     // plain HTTP, or -1
    int _tlsListenFd = -1;  // TLS, or -1
    int _plainPort = -1;
    int _tlsPort = -1;
    int _wakeFd = -1;  // eventfd: stop() and finished requests wake the loop

    mutable std::mutex _mutex;
    std::condition_variable _jobsChanged;
    std::deque<std::unique_ptr<Job>> _jobs;   // guarded by _mutex: ready, not yet taken by a thread
    std::vector<std::unique_ptr<Done>> _done; // guarded by _mutex: finished, not yet seen by the loop
    bool _stopping = false;                   // guarded by _mutex
    bool _workersQuit = false;                // guarded by _mutex: the pool is to end once _jobs is empty
    std::atomic<unsigned long> _accepted{0};  // counters: written by the loop alone
    std::atomic<unsigned long> _requests{0};
    std::atomic<unsigned long> _refused{0};
    std::vector<std::thread> _workers;        // run()'s thread only
};

// The connection's addresses, from its descriptor.
ConnectionInfo describeConnection(int fd);

}  // namespace refserver
