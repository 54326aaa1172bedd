// One connection of the HTTP server: a byte pipe to a peer, with the few
// connection-level settings the adapters make.
//
// The base class is backed by a connected socket descriptor (TCP or local);
// KVOMemorySocket derives from it to serve bytes from memory in tests, fuzz
// targets and benchmarks. KVOGenericHTTPIStream and KVOGenericHTTPOStream read
// and write through it; the request intake asks it whether the peer is on the
// loopback interface, sets its close option and calls endRequestBody().
//
// A socket is used by one thread at a time (the connection's adapter thread).
// It is neither copyable nor movable: streams keep a reference to it.
#pragma once

#include <cstddef>
#include <functional>
#include <utility>

class KVOSocket {
public:
    // Value of getCloseSocketOption() before setCloseSocketOption is called.
    static constexpr int CLOSE_OPTION_UNSET = -1;

    // Takes ownership of a connected socket descriptor; the destructor closes it.
    explicit KVOSocket(int fd);
    virtual ~KVOSocket();
    KVOSocket(KVOSocket const&) = delete;
    KVOSocket& operator=(KVOSocket const&) = delete;

    // Blocks until at least one byte is available and copies up to `max` bytes
    // to `dst`. Returns 0 at end of stream. A connection that fails, or whose
    // receive timeout expires, also reads as end of stream: a peer that stops
    // sending cannot hold a reader forever once a timeout is set.
    virtual std::size_t receive(char* dst, std::size_t max);
    // Sends all `n` bytes or throws KVOHTTPException (code 0) naming the failure.
    // Never raises SIGPIPE.
    virtual void send(char const* src, std::size_t n);
    // True when the peer is on this host's loopback interface: 127.0.0.0/8, ::1,
    // an IPv4-mapped 127.0.0.0/8 address, or a local (AF_UNIX) socket.
    virtual bool isLoopback() const;

    // The close option is the connection's linger time in seconds: closing the
    // connection waits up to that long for response bytes not yet delivered
    // (SO_LINGER on a descriptor), so that an answer written just before the
    // close reaches the peer. A negative value turns lingering off. The value
    // is recorded and readable with getCloseSocketOption().
    void setCloseSocketOption(int seconds);
    int getCloseSocketOption() const { return _closeOption; }

    // Hook called by the request intake once it has finished taking a request
    // body delimited by Content-Length off the connection (whether or not all
    // announced bytes came). From here on, what the connection delivers
    // belongs to the next request. The socket counts these calls
    // (getRequestBodiesEnded) and then calls the listener the server installed,
    // if any, for example to switch from the request's read deadline to the
    // idle timeout of a persistent connection, or to cap the requests served
    // per connection.
    void endRequestBody();
    unsigned long getRequestBodiesEnded() const { return _bodiesEnded; }
    void setRequestBodyEndListener(std::function<void()> listener) { _bodyEndListener = std::move(listener); }

    // Limits each blocking receive to `milliseconds` (0: no limit, the default).
    // When it expires the connection reads as ended.
    virtual void setReceiveTimeout(int milliseconds);

    // The descriptor, or -1 for a socket not backed by one.
    int getFd() const { return _fd; }

protected:
    // For sockets not backed by a descriptor.
    KVOSocket();

private:
    int _fd = -1;
    int _closeOption = CLOSE_OPTION_UNSET;
    unsigned long _bodiesEnded = 0;
    std::function<void()> _bodyEndListener;
};
