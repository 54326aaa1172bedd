// Test support for the end-to-end suites: the server as a child process on a
// free loopback port, a raw HTTP/1.1 client, wbemcli runs, and the requests
// the suites send.
//
// Everything is bounded: starting waits at most kStartLimit for the
// "listening on" line, every socket read at most kReadLimit, stopping at most
// kStopLimit before the child is killed (and the test failed). Traffic goes to
// 127.0.0.1 only.
#pragma once

#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace e2e {

inline constexpr std::chrono::seconds kStartLimit{60};
inline constexpr std::chrono::seconds kReadLimit{60};
inline constexpr std::chrono::seconds kStopLimit{120};

// The server binary under test (set by the build).
std::string serverBinary();

class ServerProcess {
public:
    ServerProcess() = default;
    ~ServerProcess();
    ServerProcess(ServerProcess const&) = delete;
    ServerProcess& operator=(ServerProcess const&) = delete;

    // Starts the server with `--port 0` and `args` (and `--repository
    // :memory:` unless `args` name a repository); false (with `error` set)
    // when it does not report its port in time.
    bool start(std::vector<std::string> const& args, std::string& error);
    int port() const { return _port; }
    pid_t pid() const { return _pid; }
    std::string url(std::string const& nameSpace = "root/cimv2") const;

    // Sends `signal` and waits for the exit: the exit status, 128 + signal for
    // a child killed by a signal, or -1 when it had to be killed after
    // kStopLimit. stop(0) only waits (for an exit asked for otherwise).
    int stop(int signal);

    // Threads of the running server (from /proc), or -1.
    int threadCount() const;
    // A numeric field of the running server's /proc status ("VmHWM", "VmRSS"
    // in KiB; "Threads"), or -1.
    long status(char const* field) const;

private:
    pid_t _pid = -1;
    int _port = 0;
};

struct HttpResponse {
    bool complete = false;  // a whole response was read
    int status = 0;
    std::string protocol;
    std::map<std::string, std::string> headers;   // lower-case names
    std::map<std::string, std::string> trailers;  // lower-case names
    std::string body;                              // de-chunked
    bool chunked = false;

    std::string header(std::string const& name) const;
};

// A TCP connection to 127.0.0.1:port whose reads and writes wait at most
// kReadLimit; -1 when it cannot be made.
int connectLoopback(int port);

// A connection to the server.
class Connection {
public:
    explicit Connection(int port);
    ~Connection();
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    bool ok() const { return _fd >= 0; }
    bool send(std::string const& bytes);
    // Ends the sending direction (the server sees the end of the stream).
    void shutdownWrite();
    // Reads one response.
    HttpResponse read();
    // Reads up to `n` bytes (fewer at the end of the stream).
    std::string readSome(std::size_t n);
    // Waits until the server has sent something, which read() then takes;
    // false at the end of the stream.
    bool waitForData();
    // True when the server closed the connection (a read meets the end)
    // within kReadLimit.
    bool waitClosed();
    void close();

private:
    bool fill();
    bool readLine(std::string& line);
    bool readExactly(std::size_t n, std::string& out);

    int _fd = -1;
    std::string _buffer;
};

// A CIM-XML request: the header fields DSP0200 asks for and `body`.
// `extraHeaders` are added as given (each ending in CRLF); a field named in
// `dropHeaders` is left out.
std::string cimRequest(std::string const& cimMethod, std::string const& cimObject, std::string const& body,
                       std::string const& extraHeaders = "", std::vector<std::string> const& dropHeaders = {},
                       std::string const& protocol = "HTTP/1.1");
// The body of an intrinsic call in root/cimv2 with the given IPARAMVALUEs.
std::string intrinsicBody(std::string const& method, std::string const& params,
                          std::string const& nameSpaceXml = "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>");
// A raw request read from one of the captured samples: header fields and body
// as the client sent them, Content-Length recomputed.
std::string sampleRequest(std::string const& headerFields, std::string const& body);

// Runs wbemcli with `args` (each one shell-quoted here) and returns its exit
// status; `output` receives standard output and standard error.
int wbemcli(std::vector<std::string> const& args, std::string& output);
// Runs the project's client (tools/kivo-cli) the same way.
int kivoCli(std::vector<std::string> const& args, std::string& output);
// Runs the shell command `command` followed by `args`, each shell-quoted.
int run(std::string const& command, std::vector<std::string> const& args, std::string& output);
bool haveWbemcli();

// An IPARAMVALUE holding one VALUE.
std::string valueParam(std::string const& name, std::string const& value);
// The text between `open` and the next `close` after `from`, or "".
std::string between(std::string const& s, std::string const& open, std::string const& close, std::size_t from = 0);

// Number of occurrences of `needle` in `haystack`.
std::size_t count(std::string const& haystack, std::string const& needle);

// ---------------------------------------------------------------------------
// What the end-to-end suites share: the model's names as request text, and a
// fixture owning one server per test.

// The ClassName parameter naming `className`.
inline std::string classParam(std::string const& className) {
    return "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"" + className + "\"/></IPARAMVALUE>";
}
// A whole intrinsic request in root/cimv2 with the given IPARAMVALUEs.
inline std::string intrinsicRequest(std::string const& method, std::string const& params,
                                    std::string const& extraHeaders = "") {
    return cimRequest(method, "root/cimv2", intrinsicBody(method, params), extraHeaders);
}
// The model's first disk and its host, as INSTANCENAMEs.
inline std::string const kDisk0 =
    "<INSTANCENAME CLASSNAME=\"KIVO_DiskDrive\">"
    "<KEYBINDING NAME=\"SystemName\"><KEYVALUE VALUETYPE=\"string\">host1</KEYVALUE></KEYBINDING>"
    "<KEYBINDING NAME=\"DeviceID\"><KEYVALUE VALUETYPE=\"string\">disk0</KEYVALUE></KEYBINDING></INSTANCENAME>";
inline std::string const kHost1 =
    "<INSTANCENAME CLASSNAME=\"KIVO_ComputerSystem\">"
    "<KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\">host1</KEYVALUE></KEYBINDING></INSTANCENAME>";
// The body of GetClass KIVO_DiskDrive, the request every suite knows the answer to.
inline std::string const kGetClassBody = intrinsicBody("GetClass", classParam("KIVO_DiskDrive"));

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

// One server per test: start() it with its arguments ("--log-level
// critical" is added), exchange() single requests on new connections;
// TearDown stops it with SIGTERM, which must end it cleanly. Tests run on the
// gtest thread; a test may stop the server itself.
class ServerTest : public ::testing::Test {
protected:
    void start(std::vector<std::string> args) {
        args.insert(args.end(), {"--log-level", "critical"});
        std::string error;
        ASSERT_TRUE(server.start(args, error)) << error;
    }
    void TearDown() override {
        if (server.pid() > 0) {
            EXPECT_EQ(server.stop(SIGTERM), 0) << "the server did not exit cleanly";
        }
    }
    HttpResponse exchange(std::string const& request) {
        Connection c(server.port());
        EXPECT_TRUE(c.ok());
        EXPECT_TRUE(c.send(request));
        return c.read();
    }
    // A well-formed GetClass (with `extraHeaders`) is still served on a new connection.
    void expectServing(std::string const& extraHeaders = "") {
        HttpResponse r = exchange(cimRequest("GetClass", "root/cimv2", kGetClassBody, extraHeaders));
        ASSERT_TRUE(r.complete);
        EXPECT_EQ(r.status, 200);
        EXPECT_NE(r.body.find("<CLASS NAME=\"KIVO_DiskDrive\""), std::string::npos) << r.body;
    }

    ServerProcess server;
};

}  // namespace e2e
