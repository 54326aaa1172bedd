#include "E2EHarness.h"

#include <algorithm>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/personality.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

extern char** environ;

namespace e2e {

namespace {

using Clock = std::chrono::steady_clock;

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::string trim(std::string s) {
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.pop_back();
    std::size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
    return s.substr(i);
}

std::string shellQuote(std::string const& s) {
    std::string out = "'";
    for (char c : s) {
        if (c == '\'') {
            out += "'\\''";
        } else {
            out += c;
        }
    }
    return out + "'";
}

}  // namespace

std::string serverBinary() {
    if (char const* env = std::getenv("KIVO_CIMXML_SERVER")) return env;
    return KIVO_CIMXML_SERVER_BINARY;
}

ServerProcess::~ServerProcess() {
    if (_pid > 0) stop(SIGKILL);
}

bool ServerProcess::start(std::vector<std::string> const& args, std::string& error) {
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0) {
        error = "pipe failed";
        return false;
    }
    std::vector<std::string> argv = {serverBinary(), "--port", "0"};
    // Tests never share the user's default repository: in memory unless the
    // test names a file.
    bool const ownRepository = std::any_of(args.begin(), args.end(), [](std::string const& a) {
        return a.rfind("--repository", 0) == 0 && a.rfind("--repository-sync", 0) != 0;
    });
    if (!ownRepository) argv.insert(argv.end(), {"--repository", ":memory:"});
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<char*> cargv;
    for (std::string& a : argv) cargv.push_back(a.data());
    cargv.push_back(nullptr);
#if defined(__SANITIZE_THREAD__)
    // The ThreadSanitizer runtime of this compiler can crash in a process as
    // large as the server when the kernel randomises mappings widely; the
    // server under test runs without address randomisation (the setting is
    // inherited through exec).
    personality(static_cast<unsigned long>(personality(0xffffffff)) | ADDR_NO_RANDOMIZE);
#endif
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    int rc = posix_spawn(&_pid, cargv[0], &actions, nullptr, cargv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    if (rc != 0) {
        ::close(out[0]);
        _pid = -1;
        error = "cannot start " + argv[0] + ": " + std::strerror(rc);
        return false;
    }
    std::string line;
    auto deadline = Clock::now() + kStartLimit;
    while (Clock::now() < deadline) {
        pollfd p{out[0], POLLIN, 0};
        if (::poll(&p, 1, 200) <= 0) continue;
        char c;
        ssize_t n = ::read(out[0], &c, 1);
        if (n <= 0) break;
        if (c != '\n') {
            line += c;
            continue;
        }
        std::size_t colon = line.rfind(':');
        if (line.rfind("listening on ", 0) == 0 && colon != std::string::npos) {
            _port = std::atoi(line.c_str() + colon + 1);
            ::close(out[0]);
            return _port > 0;
        }
        line.clear();
    }
    ::close(out[0]);
    error = "the server did not report its port; last output: " + line;
    stop(SIGKILL);
    return false;
}

std::string ServerProcess::url(std::string const& nameSpace) const {
    return "http://127.0.0.1:" + std::to_string(_port) + "/" + nameSpace;
}

int ServerProcess::stop(int signal) {
    if (_pid <= 0) return -1;
    ::kill(_pid, signal);
    auto deadline = Clock::now() + kStopLimit;
    int status = 0;
    while (true) {
        pid_t r = ::waitpid(_pid, &status, WNOHANG);
        if (r == _pid) break;
        if (r < 0 && errno != EINTR) {
            _pid = -1;
            return -1;
        }
        if (Clock::now() > deadline) {
            ::kill(_pid, SIGKILL);
            ::waitpid(_pid, &status, 0);
            _pid = -1;
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    _pid = -1;
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

int ServerProcess::threadCount() const {
    return static_cast<int>(status("Threads"));
}

long ServerProcess::status(char const* field) const {
    if (_pid <= 0) return -1;
    FILE* f = std::fopen(("/proc/" + std::to_string(_pid) + "/status").c_str(), "r");
    if (f == nullptr) return -1;
    char line[256];
    long value = -1;
    std::size_t const length = std::strlen(field);
    while (std::fgets(line, sizeof line, f) != nullptr) {
        if (std::strncmp(line, field, length) == 0 && line[length] == ':') value = std::atol(line + length + 1);
    }
    std::fclose(f);
    return value;
}

std::string HttpResponse::header(std::string const& name) const {
    auto it = headers.find(lower(name));
    return it == headers.end() ? std::string() : it->second;
}

int connectLoopback(int port) {
    int const fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    timeval tv{};
    tv.tv_sec = kReadLimit.count();
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) return fd;
    ::close(fd);
    return -1;
}

Connection::Connection(int port) : _fd(connectLoopback(port)) {}

Connection::~Connection() {
    close();
}

void Connection::close() {
    if (_fd >= 0) ::close(_fd);
    _fd = -1;
}

bool Connection::send(std::string const& bytes) {
    std::size_t done = 0;
    while (_fd >= 0 && done < bytes.size()) {
        ssize_t n = ::send(_fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (n <= 0) {
            if (n < 0 && errno == EINTR) continue;
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return _fd >= 0;
}

void Connection::shutdownWrite() {
    if (_fd >= 0) ::shutdown(_fd, SHUT_WR);
}

bool Connection::fill() {
    if (_fd < 0) return false;
    char buf[16384];
    for (;;) {
        ssize_t n = ::recv(_fd, buf, sizeof buf, 0);
        if (n > 0) {
            _buffer.append(buf, static_cast<std::size_t>(n));
            return true;
        }
        if (n < 0 && errno == EINTR) continue;
        return false;
    }
}

bool Connection::readLine(std::string& line) {
    for (;;) {
        std::size_t nl = _buffer.find('\n');
        if (nl != std::string::npos) {
            line = _buffer.substr(0, nl);
            if (!line.empty() && line.back() == '\r') line.pop_back();
            _buffer.erase(0, nl + 1);
            return true;
        }
        if (!fill()) return false;
    }
}

bool Connection::readExactly(std::size_t n, std::string& out) {
    while (_buffer.size() < n) {
        if (!fill()) return false;
    }
    out.append(_buffer, 0, n);
    _buffer.erase(0, n);
    return true;
}

std::string Connection::readSome(std::size_t n) {
    if (_buffer.empty()) fill();
    std::string out = _buffer.substr(0, n);
    _buffer.erase(0, out.size());
    return out;
}

bool Connection::waitForData() { return !_buffer.empty() || fill(); }

bool Connection::waitClosed() {
    _buffer.clear();
    auto deadline = Clock::now() + kReadLimit;
    while (Clock::now() < deadline) {
        char buf[4096];
        ssize_t n = ::recv(_fd, buf, sizeof buf, 0);
        if (n == 0) return true;
        if (n < 0 && errno != EINTR && errno != EAGAIN) return true;  // reset counts as closed
    }
    return false;
}

HttpResponse Connection::read() {
    HttpResponse r;
    std::string line;
    if (!readLine(line)) return r;
    std::size_t sp = line.find(' ');
    if (sp == std::string::npos) return r;
    r.protocol = line.substr(0, sp);
    r.status = std::atoi(line.c_str() + sp + 1);
    long long length = -1;
    while (readLine(line) && !line.empty()) {
        std::size_t colon = line.find(':');
        if (colon == std::string::npos) continue;
        std::string name = lower(line.substr(0, colon));
        std::string value = trim(line.substr(colon + 1));
        r.headers[name] = value;
        if (name == "content-length") length = std::atoll(value.c_str());
        if (name == "transfer-encoding" && lower(value).find("chunked") != std::string::npos) r.chunked = true;
    }
    if (r.chunked) {
        for (;;) {
            if (!readLine(line)) return r;
            std::size_t size = std::strtoul(line.c_str(), nullptr, 16);
            if (size == 0) break;
            if (!readExactly(size, r.body)) return r;
            std::string crlf;
            if (!readExactly(2, crlf)) return r;
        }
        while (readLine(line) && !line.empty()) {
            std::size_t colon = line.find(':');
            if (colon != std::string::npos) r.trailers[lower(line.substr(0, colon))] = trim(line.substr(colon + 1));
        }
        r.complete = true;
    } else if (length >= 0) {
        r.complete = readExactly(static_cast<std::size_t>(length), r.body);
    } else {
        while (fill()) {
        }
        r.body = _buffer;
        _buffer.clear();
        r.complete = true;
    }
    return r;
}

std::string cimRequest(std::string const& cimMethod, std::string const& cimObject, std::string const& body,
                       std::string const& extraHeaders, std::vector<std::string> const& dropHeaders,
                       std::string const& protocol) {
    auto keep = [&](std::string const& name) {
        for (std::string const& d : dropHeaders) {
            if (lower(d) == lower(name)) return false;
        }
        return true;
    };
    std::string r = "POST /cimom " + protocol + "\r\nHost: 127.0.0.1\r\n";
    if (keep("Content-Type")) r += "Content-Type: application/xml; charset=\"utf-8\"\r\n";
    if (keep("CIMOperation")) r += "CIMOperation: MethodCall\r\n";
    if (keep("CIMMethod")) r += "CIMMethod: " + cimMethod + "\r\n";
    if (keep("CIMObject")) r += "CIMObject: " + cimObject + "\r\n";
    r += extraHeaders;
    r += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    return r;
}

std::string intrinsicBody(std::string const& method, std::string const& params, std::string const& nameSpaceXml) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
           "<MESSAGE ID=\"1001\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"" +
           method + "\"><LOCALNAMESPACEPATH>" + nameSpaceXml + "</LOCALNAMESPACEPATH>" + params +
           "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
}

std::string sampleRequest(std::string const& headerFields, std::string const& body) {
    return "POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\n" + headerFields + "Content-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

bool haveWbemcli() {
    return std::system("command -v wbemcli >/dev/null 2>&1") == 0;
}

int wbemcli(std::vector<std::string> const& args, std::string& output) { return run("wbemcli", args, output); }

int kivoCli(std::vector<std::string> const& args, std::string& output) {
    return run("python3 " + shellQuote(KIVO_CLIENT_SCRIPT), args, output);
}

int run(std::string const& command, std::vector<std::string> const& args, std::string& output) {
    std::string cmd = command;
    for (std::string const& a : args) cmd += " " + shellQuote(a);
    cmd += " 2>&1";
    output.clear();
    FILE* p = ::popen(cmd.c_str(), "r");
    if (p == nullptr) return -1;
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) output.append(buf, n);
    int status = ::pclose(p);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string valueParam(std::string const& name, std::string const& value) {
    return "<IPARAMVALUE NAME=\"" + name + "\"><VALUE>" + value + "</VALUE></IPARAMVALUE>";
}

std::string between(std::string const& s, std::string const& open, std::string const& close, std::size_t from) {
    std::size_t const a = s.find(open, from);
    if (a == std::string::npos) return "";
    std::size_t const b = s.find(close, a + open.size());
    return b == std::string::npos ? "" : s.substr(a + open.size(), b - a - open.size());
}

std::size_t count(std::string const& haystack, std::string const& needle) {
    std::size_t n = 0;
    for (std::size_t pos = haystack.find(needle); pos != std::string::npos; pos = haystack.find(needle, pos + 1)) ++n;
    return n;
}

}  // namespace e2e
