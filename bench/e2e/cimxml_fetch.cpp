// kivo-cimxml-fetch: the measuring client of the end-to-end benchmark
// (scripts/bench). It sends CIM-XML requests over one loopback connection,
// reads every response to its end (Content-Length or chunked, trailers
// included) and counts the instances in it without building anything: a
// streaming substring count, so that the figure measures the server and not
// an XML parser.
//
//   kivo-cimxml-fetch --port P --mode enum --class C [--repeat R]
//   kivo-cimxml-fetch --port P --mode walk --class C --max N [--repeat R]
//   ... --save DIR          also writes response i (de-chunked) to DIR/NNNN
//   ... --static PREFIX     sends request i to PREFIX + NNNN instead of /cimom
//
// "enum" is one EnumerateInstances and counts VALUE.NAMEDINSTANCE elements.
// "walk" is OpenEnumerateInstances with MaxObjectCount N followed by
// PullInstancesWithPath with the same count until EndOfSequence, counting
// VALUE.INSTANCEWITHPATH; the context and the end-of-sequence flag are read
// from the last bytes of each response. With --static the requests are the
// same but go to a static file server that answers with responses saved
// before (--save), so both sides are fetched and counted the same way.
//
// Prints one line per run: "instances=N responses=M bytes=B seconds=S".
//
// The write modes (scripts/bench repository) keep --clients connections
// busy, one thread each, every request waiting for its answer:
//
//   kivo-cimxml-fetch --port P --mode setup --class C
//   kivo-cimxml-fetch --port P --mode create --class C --clients N --prefix X [--count K] [--seconds S]
//   kivo-cimxml-fetch --port P --mode modify --class C --clients N --prefix X --instances M [--seconds S]
//
// "setup" creates class C (a string key Id and four properties) with one
// CreateClass. "create" makes instances X-<client>-<i>, i = 0, 1, ...;
// "modify" rewrites every property but the key of X-<client>-<i % M>, the
// instances a create run with the same prefix and clients made. Each client
// stops after K requests (create only) or S seconds, whichever comes first.
// Prints "requests=N seconds=S min_per_client=K" (the fewest requests one
// client made: what a later modify run may take as M).
//
// Exits 1 on an HTTP status other than 200, an ERROR element, a non-zero
// CIMStatusCode trailer, a broken response or a read that waits longer than
// 120 seconds.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Counts occurrences of a needle in a byte stream fed in pieces, including
// occurrences that straddle two pieces.
class StreamCounter {
public:
    explicit StreamCounter(std::string needle) : _needle(std::move(needle)) {}

    void feed(char const* p, std::size_t n) {
        std::size_t const keep = _needle.size() - 1;
        if (!_carry.empty()) {
            std::string joint = _carry;
            joint.append(p, std::min(n, keep));
            for (std::size_t at = joint.find(_needle); at != std::string::npos && at < _carry.size();
                 at = joint.find(_needle, at + 1))
                ++_count;
        }
        char const* end = p + n;
        for (char const* at = p; at < end;) {
            void const* hit = ::memmem(at, static_cast<std::size_t>(end - at), _needle.data(), _needle.size());
            if (hit == nullptr) break;
            ++_count;
            at = static_cast<char const*>(hit) + 1;
        }
        if (n >= keep) {
            _carry.assign(end - keep, keep);
        } else {
            _carry.append(p, n);
            if (_carry.size() > keep) _carry.erase(0, _carry.size() - keep);
        }
    }
    std::size_t count() const { return _count; }

private:
    std::string const _needle;
    std::string _carry;
    std::size_t _count = 0;
};

// One keep-alive HTTP/1.1 connection to 127.0.0.1 with a buffered reader.
class Connection {
public:
    explicit Connection(int port) {
        _fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (_fd < 0) throw Failure("socket failed");
        timeval tv{120, 0};
        ::setsockopt(_fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
        ::setsockopt(_fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
        int one = 1;
        ::setsockopt(_fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(_fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0)
            throw Failure("cannot connect to port " + std::to_string(port) + ": " + std::strerror(errno));
        _buf.resize(1 << 18);
    }
    ~Connection() { ::close(_fd); }
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    void send(std::string const& bytes) {
        for (std::size_t done = 0; done < bytes.size();) {
            ssize_t n = ::send(_fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) throw Failure("send failed");
            done += static_cast<std::size_t>(n);
        }
    }

    // Reads one response; its body goes to `body` piece by piece. Returns the
    // HTTP status; `trailers` receives the trailer lines of a chunked body.
    template <class Sink>
    int read(Sink&& body, std::string& trailers) {
        std::string line = readLine();
        if (line.compare(0, 5, "HTTP/") != 0 || line.size() < 12) throw Failure("not an HTTP response: " + line);
        int const status = std::atoi(line.c_str() + 9);
        long long length = -1;
        bool chunked = false;
        while (!(line = readLine()).empty()) {
            std::string lower = line;
            for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            if (lower.compare(0, 15, "content-length:") == 0) length = std::atoll(line.c_str() + 15);
            if (lower.compare(0, 18, "transfer-encoding:") == 0 && lower.find("chunked") != std::string::npos)
                chunked = true;
        }
        if (chunked) {
            for (;;) {
                std::size_t size = std::strtoull(readLine().c_str(), nullptr, 16);
                if (size == 0) break;
                readBody(size, body);
                if (readLine() != "") throw Failure("chunk not followed by CRLF");
            }
            while (!(line = readLine()).empty()) trailers += line + "\n";
        } else if (length >= 0) {
            readBody(static_cast<std::size_t>(length), body);
        } else {
            throw Failure("response without Content-Length or chunked framing");
        }
        return status;
    }

private:
    bool fill() {
        if (_pos == _end) _pos = _end = 0;
        for (;;) {
            ssize_t n = ::recv(_fd, _buf.data() + _end, _buf.size() - _end, 0);
            if (n > 0) {
                _end += static_cast<std::size_t>(n);
                return true;
            }
            if (n < 0 && errno == EINTR) continue;
            return false;
        }
    }
    std::string readLine() {
        for (;;) {
            char* begin = _buf.data() + _pos;
            char* nl = static_cast<char*>(std::memchr(begin, '\n', _end - _pos));
            if (nl != nullptr) {
                std::string line(begin, nl);
                _pos += static_cast<std::size_t>(nl - begin) + 1;
                if (!line.empty() && line.back() == '\r') line.pop_back();
                return line;
            }
            if (_pos > 0) {
                std::memmove(_buf.data(), begin, _end - _pos);
                _end -= _pos;
                _pos = 0;
            }
            if (_end == _buf.size() || !fill()) throw Failure("connection ended inside a header line");
        }
    }
    template <class Sink>
    void readBody(std::size_t n, Sink& body) {
        while (n > 0) {
            if (_pos == _end && !fill()) throw Failure("connection ended inside a body");
            std::size_t take = std::min(n, _end - _pos);
            body(_buf.data() + _pos, take);
            _pos += take;
            n -= take;
        }
    }

    int _fd = -1;
    std::vector<char> _buf;
    std::size_t _pos = 0, _end = 0;
};

struct Options {
    int port = 0;
    std::string mode = "enum";
    std::string className = "KIVO_ScaleItem";
    unsigned max = 1000;
    int repeat = 1;
    std::string save;
    std::string staticPrefix;
    // The write modes.
    int clients = 1;
    std::string prefix = "bench";
    unsigned long count = 0;  // requests per client; 0: no limit
    double seconds = 0;       // 0: no limit
    unsigned long instances = 0;
};

std::string request(Options const& o, std::size_t step, std::string const& method, std::string const& params) {
    std::string body = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
                       "<MESSAGE ID=\"" + std::to_string(1000 + step) + "\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>"
                       "<IMETHODCALL NAME=\"" + method + "\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
                       "<NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>" + params +
                       "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
    char name[16];
    std::snprintf(name, sizeof name, "%04zu", step);
    std::string const target = o.staticPrefix.empty() ? "/cimom" : o.staticPrefix + name;
    return "POST " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/xml; charset=\"utf-8\"\r\n"
           "CIMOperation: MethodCall\r\nCIMMethod: " + method + "\r\nCIMObject: root/cimv2\r\nTE: trailers\r\n"
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string param(char const* name, std::string const& xml) {
    return std::string("<IPARAMVALUE NAME=\"") + name + "\">" + xml + "</IPARAMVALUE>";
}

// The text of <VALUE> in the PARAMVALUE `name` near the end of a response.
std::string outParam(std::string const& tail, std::string const& name) {
    std::size_t at = tail.rfind("<PARAMVALUE NAME=\"" + name + "\"");
    if (at == std::string::npos) return "";
    std::size_t v = tail.find("<VALUE>", at);
    std::size_t e = tail.find("</VALUE>", v);
    if (v == std::string::npos || e == std::string::npos) return "";
    return tail.substr(v + 7, e - v - 7);
}

struct Totals {
    std::size_t instances = 0, responses = 0, bytes = 0;
};

// Sends one request and reads its response, counting `element`; returns the
// last bytes of the body (enough for the output parameters).
std::string exchange(Connection& c, Options const& o, std::size_t step, std::string const& req,
                     char const* element, Totals& totals) {
    c.send(req);
    StreamCounter counter(std::string("<") + element + ">");
    std::string tail, trailers;
    std::ofstream save;
    if (!o.save.empty()) {
        char name[16];
        std::snprintf(name, sizeof name, "/%04zu", step);
        save.open(o.save + name, std::ios::binary | std::ios::trunc);
        if (!save) throw Failure("cannot write " + o.save + name);
    }
    int status = c.read(
        [&](char const* p, std::size_t n) {
            counter.feed(p, n);
            totals.bytes += n;
            if (n >= 8192) {
                tail.assign(p + n - 8192, 8192);
            } else {
                tail.append(p, n);
                if (tail.size() > 16384) tail.erase(0, tail.size() - 8192);
            }
            if (save.is_open()) save.write(p, static_cast<std::streamsize>(n));
        },
        trailers);
    if (status != 200) throw Failure("HTTP status " + std::to_string(status));
    std::size_t code = trailers.find("CIMStatusCode:");
    if (code != std::string::npos && std::atoi(trailers.c_str() + code + 14) != 0)
        throw Failure("CIM error in the trailers: " + trailers);
    if (tail.find("<ERROR") != std::string::npos) throw Failure("CIM error: " + tail.substr(tail.find("<ERROR")));
    totals.instances += counter.count();
    ++totals.responses;
    return tail;
}

Totals run(Options const& o) {
    Connection c(o.port);
    Totals totals;
    std::string const cls = "<CLASSNAME NAME=\"" + o.className + "\"/>";
    if (o.mode == "enum") {
        exchange(c, o, 0, request(o, 0, "EnumerateInstances", param("ClassName", cls)), "VALUE.NAMEDINSTANCE", totals);
        return totals;
    }
    std::string const count = "<VALUE>" + std::to_string(o.max) + "</VALUE>";
    std::string tail = exchange(c, o, 0,
                                request(o, 0, "OpenEnumerateInstances",
                                        param("ClassName", cls) + param("MaxObjectCount", count)),
                                "VALUE.INSTANCEWITHPATH", totals);
    for (std::size_t step = 1;; ++step) {
        std::string const end = outParam(tail, "EndOfSequence");
        if (end == "TRUE" || end == "true") break;
        std::string const context = outParam(tail, "EnumerationContext");
        if (end.empty() || context.empty()) throw Failure("no EndOfSequence or EnumerationContext in: " + tail);
        tail = exchange(c, o, step,
                        request(o, step, "PullInstancesWithPath",
                                param("EnumerationContext", "<VALUE>" + context + "</VALUE>") +
                                    param("MaxObjectCount", count)),
                        "VALUE.INSTANCEWITHPATH", totals);
    }
    return totals;
}

// ---- The write modes ----

std::string property(char const* name, char const* type, std::string const& value) {
    return std::string("<PROPERTY NAME=\"") + name + "\" TYPE=\"" + type + "\"><VALUE>" + value + "</VALUE></PROPERTY>";
}

// Instance `id` as change `n` writes it: about 300 bytes of values.
std::string instance(Options const& o, std::string const& id, unsigned long n) {
    std::string const v = std::to_string(n);
    return "<INSTANCE CLASSNAME=\"" + o.className + "\">" + property("Id", "string", id) +
           property("Counter", "uint32", std::to_string(n % 4000000000UL)) + property("Size", "uint64", v + "000") +
           property("Name", "string", "item " + id + " change " + v) +
           property("Description", "string", std::string(200, 'd') + " " + v) + "</INSTANCE>";
}

std::string classRequest(Options const& o) {
    auto plain = [](char const* name, char const* type) {
        return std::string("<PROPERTY NAME=\"") + name + "\" TYPE=\"" + type + "\"/>";
    };
    return request(o, 0, "CreateClass",
                   param("NewClass", "<CLASS NAME=\"" + o.className +
                                         "\"><PROPERTY NAME=\"Id\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" "
                                         "TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>" +
                                         plain("Counter", "uint32") + plain("Size", "uint64") +
                                         plain("Name", "string") + plain("Description", "string") + "</CLASS>"));
}

std::string writeRequest(Options const& o, int client, unsigned long i) {
    std::string const base = o.prefix + "-" + std::to_string(client) + "-";
    if (o.mode == "create") return request(o, 0, "CreateInstance", param("NewInstance", instance(o, base + std::to_string(i), i)));
    std::string const id = base + std::to_string(i % o.instances);
    std::string const name = "<INSTANCENAME CLASSNAME=\"" + o.className +
                             "\"><KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"string\">" + id +
                             "</KEYVALUE></KEYBINDING></INSTANCENAME>";
    return request(o, 0, "ModifyInstance",
                   param("ModifiedInstance", "<VALUE.NAMEDINSTANCE>" + name + instance(o, id, i + 1) +
                                                 "</VALUE.NAMEDINSTANCE>"));
}

int writeRun(Options const& o) {
    if (o.mode == "setup") {
        Connection c(o.port);
        Totals totals;
        exchange(c, o, 0, classRequest(o), "IMETHODRESPONSE", totals);
        return 0;
    }
    std::vector<unsigned long> done(static_cast<std::size_t>(o.clients), 0);
    std::vector<std::string> errors(static_cast<std::size_t>(o.clients));
    std::atomic<bool> failed{false};
    auto const start = std::chrono::steady_clock::now();
    auto const limit = std::chrono::duration<double>(o.seconds);
    std::vector<std::thread> threads;
    for (int t = 0; t < o.clients; ++t) {
        threads.emplace_back([&, t] {
            try {
                Connection c(o.port);
                Totals totals;
                for (unsigned long i = 0; !failed.load(); ++i) {
                    if (o.count != 0 && i >= o.count) break;
                    if (o.seconds > 0 && std::chrono::steady_clock::now() - start >= limit) break;
                    exchange(c, o, 0, writeRequest(o, t, i), "IMETHODRESPONSE", totals);
                    ++done[static_cast<std::size_t>(t)];
                }
            } catch (std::exception const& e) {
                errors[static_cast<std::size_t>(t)] = e.what();
                failed = true;
            }
        });
    }
    for (std::thread& t : threads) t.join();
    std::chrono::duration<double> const took = std::chrono::steady_clock::now() - start;
    for (std::string const& e : errors)
        if (!e.empty()) throw Failure(e);
    unsigned long total = 0;
    for (unsigned long d : done) total += d;
    std::printf("requests=%lu seconds=%.6f min_per_client=%lu\n", total, took.count(),
                *std::min_element(done.begin(), done.end()));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        std::string_view const a = argv[i];
        auto next = [&]() -> std::string {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "%s needs a value\n", argv[i]);
                std::exit(2);
            }
            return argv[++i];
        };
        if (a == "--port") o.port = std::atoi(next().c_str());
        else if (a == "--mode") o.mode = next();
        else if (a == "--class") o.className = next();
        else if (a == "--max") o.max = static_cast<unsigned>(std::atol(next().c_str()));
        else if (a == "--repeat") o.repeat = std::atoi(next().c_str());
        else if (a == "--save") o.save = next();
        else if (a == "--static") o.staticPrefix = next();
        else if (a == "--clients") o.clients = std::atoi(next().c_str());
        else if (a == "--prefix") o.prefix = next();
        else if (a == "--count") o.count = std::strtoul(next().c_str(), nullptr, 10);
        else if (a == "--seconds") o.seconds = std::atof(next().c_str());
        else if (a == "--instances") o.instances = std::strtoul(next().c_str(), nullptr, 10);
        else {
            std::fprintf(stderr, "unknown argument %s\n", argv[i]);
            return 2;
        }
    }
    if (o.mode == "setup" || o.mode == "create" || o.mode == "modify") {
        if (o.port <= 0 || o.clients < 1 || (o.mode == "modify" && o.instances == 0) ||
            (o.mode != "setup" && o.count == 0 && o.seconds <= 0)) {
            std::fprintf(stderr, "usage: %s --port P --mode setup|create|modify --class C --clients N --prefix X "
                                 "[--count K] [--seconds S] [--instances M]\n", argv[0]);
            return 2;
        }
        try {
            return writeRun(o);
        } catch (std::exception const& e) {
            std::fprintf(stderr, "kivo-cimxml-fetch: %s\n", e.what());
            return 1;
        }
    }
    if (o.port <= 0 || (o.mode != "enum" && o.mode != "walk") || o.max == 0 || o.repeat < 1) {
        std::fprintf(stderr, "usage: %s --port P --mode enum|walk [--class C] [--max N] [--repeat R] "
                             "[--save DIR] [--static PREFIX]\n", argv[0]);
        return 2;
    }
    try {
        for (int r = 0; r < o.repeat; ++r) {
            auto const start = std::chrono::steady_clock::now();
            Totals t = run(o);
            std::chrono::duration<double> const took = std::chrono::steady_clock::now() - start;
            std::printf("instances=%zu responses=%zu bytes=%zu seconds=%.6f\n", t.instances, t.responses, t.bytes,
                        took.count());
            std::fflush(stdout);
        }
    } catch (std::exception const& e) {
        std::fprintf(stderr, "kivo-cimxml-fetch: %s\n", e.what());
        return 1;
    }
    return 0;
}
