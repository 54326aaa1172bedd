#include "mof/MofSender.h"

#include "CIMXMLDataWriter.h"
#include "CIMXMLText.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <pugixml.hpp>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>

namespace kivo::mof {

bool SendTarget::parse(std::string const& url, std::string& error) {
    std::string const scheme = "http://";
    if (url.compare(0, scheme.size(), scheme) != 0) {
        error = "the URL must start with http://";
        return false;
    }
    std::string rest = url.substr(scheme.size());
    rest = rest.substr(0, rest.find('/'));
    if (std::size_t const at = rest.rfind('@'); at != std::string::npos) {
        std::string const credentials = rest.substr(0, at);
        std::size_t const colon = credentials.find(':');
        user = credentials.substr(0, colon);
        password = colon == std::string::npos ? std::string() : credentials.substr(colon + 1);
        rest = rest.substr(at + 1);
    }
    host = rest;
    if (std::size_t const colon = rest.rfind(':'); colon != std::string::npos && rest.find(']', colon) == std::string::npos) {
        host = rest.substr(0, colon);
        std::string const digits = rest.substr(colon + 1);
        if (digits.empty() || digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos ||
            std::stoi(digits) == 0 || std::stoi(digits) > 65535) {
            error = "bad port in " + url;
            return false;
        }
        port = std::stoi(digits);
    }
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    if (host.empty()) {
        error = "no host in " + url;
        return false;
    }
    return true;
}

namespace {

std::string base64(std::string const& in) {
    static char const digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < in.size(); i += 3) {
        unsigned v = static_cast<unsigned char>(in[i]) << 16;
        if (i + 1 < in.size()) v |= static_cast<unsigned char>(in[i + 1]) << 8;
        if (i + 2 < in.size()) v |= static_cast<unsigned char>(in[i + 2]);
        out += digits[(v >> 18) & 63];
        out += digits[(v >> 12) & 63];
        out += i + 1 < in.size() ? digits[(v >> 6) & 63] : '=';
        out += i + 2 < in.size() ? digits[v & 63] : '=';
    }
    return out;
}

// One HTTP/1.1 connection; reopened on demand.
class Client {
public:
    // Responses to the schema requests are short; a longer one is not an answer.
    static constexpr std::size_t kMaxBody = 16u << 20;

    explicit Client(SendTarget const& target) : _target(target) {}
    ~Client() { close(); }
    Client(Client const&) = delete;
    Client& operator=(Client const&) = delete;

    // Posts `body` as CIM method `method` on `nameSpace`; the response body
    // in `body`. False with `error` when no whole response arrived.
    bool post(std::string const& method, std::string const& nameSpace, std::string const& request, int& status,
              std::string& body, std::string& error) {
        std::string head = "POST /cimom HTTP/1.1\r\nHost: " + _target.host + ":" + std::to_string(_target.port) +
                           "\r\nContent-Type: application/xml; charset=\"utf-8\"\r\nCIMProtocolVersion: 1.0\r\n"
                           "CIMOperation: MethodCall\r\nCIMMethod: " + method + "\r\nCIMObject: " + escapeObject(nameSpace) +
                           "\r\nContent-Length: " + std::to_string(request.size()) + "\r\n";
        if (!_target.user.empty()) head += "Authorization: Basic " + base64(_target.user + ":" + _target.password) + "\r\n";
        head += "\r\n";
        for (int attempt = 0; attempt < 2; ++attempt) {
            bool const fresh = _fd < 0;
            if (fresh && !open(error)) return false;
            if (writeAll(head + request) && readResponse(status, body)) return true;
            close();
            if (fresh) break;  // a kept-alive connection may have been closed: try once more on a new one
        }
        error = "no response from " + _target.host + ":" + std::to_string(_target.port);
        return false;
    }

private:
    static std::string escapeObject(std::string const& nameSpace) {
        std::string out;
        for (char c : nameSpace) out += c == '/' ? std::string("%2F") : std::string(1, c);
        return out;
    }

    bool open(std::string& error) {
        addrinfo hints{};
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        if (getaddrinfo(_target.host.c_str(), std::to_string(_target.port).c_str(), &hints, &found) != 0 || !found) {
            error = "cannot resolve " + _target.host;
            return false;
        }
        for (addrinfo* a = found; a && _fd < 0; a = a->ai_next) {
            _fd = ::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC, a->ai_protocol);
            if (_fd >= 0 && ::connect(_fd, a->ai_addr, a->ai_addrlen) != 0) close();
        }
        freeaddrinfo(found);
        if (_fd < 0) error = "cannot connect to " + _target.host + ":" + std::to_string(_target.port);
        return _fd >= 0;
    }

    void close() {
        if (_fd >= 0) ::close(_fd);
        _fd = -1;
        _buffer.clear();
    }

    bool wait(short events) {
        pollfd p{_fd, events, 0};
        return ::poll(&p, 1, static_cast<int>(_target.timeout.count() * 1000)) == 1;
    }

    bool writeAll(std::string const& bytes) {
        for (std::size_t sent = 0; sent < bytes.size();) {
            if (!wait(POLLOUT)) return false;
            ssize_t const n = ::send(_fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (n <= 0) return false;
            sent += static_cast<std::size_t>(n);
        }
        return true;
    }

    bool fill() {
        char chunk[16384];
        if (!wait(POLLIN)) return false;
        ssize_t const n = ::recv(_fd, chunk, sizeof chunk, 0);
        if (n <= 0) return false;
        _buffer.append(chunk, static_cast<std::size_t>(n));
        return true;
    }

    bool line(std::string& out) {
        std::size_t end;
        while ((end = _buffer.find("\r\n")) == std::string::npos)
            if (!fill()) return false;
        out = _buffer.substr(0, end);
        _buffer.erase(0, end + 2);
        return true;
    }

    bool exactly(std::size_t n, std::string& out) {
        while (_buffer.size() < n)
            if (!fill()) return false;
        out.append(_buffer, 0, n);
        _buffer.erase(0, n);
        return true;
    }

    bool readResponse(int& status, std::string& body) {
        std::string l;
        if (!line(l) || l.compare(0, 5, "HTTP/") != 0 || l.size() < 12) return false;
        status = std::atoi(l.c_str() + 9);
        long length = -1;
        bool chunked = false, closing = false;
        while (line(l) && !l.empty()) {
            std::string name = l.substr(0, l.find(':'));
            std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
            std::string value = l.size() > name.size() + 1 ? l.substr(name.size() + 1) : std::string();
            value.erase(0, value.find_first_not_of(' '));
            if (name == "content-length") length = std::atol(value.c_str());
            if (name == "transfer-encoding") chunked = value.find("chunked") != std::string::npos;
            if (name == "connection") closing = value.find("close") != std::string::npos;
        }
        body.clear();
        if (chunked) {
            for (;;) {
                if (!line(l)) return false;
                char* end = nullptr;
                unsigned long const size = std::strtoul(l.c_str(), &end, 16);
                if (end == l.c_str() || size > kMaxBody - body.size()) return false;
                if (size == 0) break;
                std::string crlf;
                if (!exactly(size, body) || !exactly(2, crlf)) return false;
            }
            while (line(l) && !l.empty()) {
            }  // trailers (the status is in the body as well)
        } else if (length > static_cast<long>(kMaxBody)) {
            return false;
        } else if (length >= 0) {
            if (!exactly(static_cast<std::size_t>(length), body)) return false;
        } else {
            while (_buffer.size() <= kMaxBody && fill()) {
            }
            if (_buffer.size() > kMaxBody) return false;
            body = std::move(_buffer);
            closing = true;
        }
        if (closing) close();
        return true;
    }

    SendTarget const& _target;
    int _fd = -1;
    std::string _buffer;
};

std::string request(std::string const& method, std::string const& nameSpace, std::string const& params) {
    std::string out =
        "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" "
        "PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"" + method + "\"><LOCALNAMESPACEPATH>";
    std::size_t from = 0;
    while (from <= nameSpace.size()) {
        std::size_t const slash = std::min(nameSpace.find('/', from), nameSpace.size());
        if (slash > from) {
            out += "<NAMESPACE NAME=\"";
            cimxmlpa::text::appendEscaped(out, std::string_view(nameSpace).substr(from, slash - from));
            out += "\"/>";
        }
        from = slash + 1;
    }
    return out + "</LOCALNAMESPACEPATH>" + params + "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
}

// Empty when the response is a success; otherwise the server's answer.
std::string problemOf(int status, std::string const& body) {
    pugi::xml_document doc;
    if (!doc.load_buffer(body.data(), body.size())) return "HTTP " + std::to_string(status) + ", no CIM-XML response";
    if (pugi::xml_node e = doc.select_node("//ERROR").node()) {
        int const code = e.attribute("CODE").as_int();
        return cimxmlpa::CIMXMLDataWriter::statusName(code) + " (" + std::to_string(code) +
               "): " + e.attribute("DESCRIPTION").value();
    }
    if (status != 200 || !doc.select_node("//IMETHODRESPONSE")) return "HTTP " + std::to_string(status) + ", no IMETHODRESPONSE";
    return {};
}

class Sender {
public:
    Sender(SendTarget const& target, SendReport& report) : _client(target), _report(report) {}

    // Sends one operation; false (the report's error set) on failure.
    bool send(std::string const& method, KVOString const& nameSpace, std::string const& what, std::string const& params) {
        int status = 0;
        std::string body, error;
        std::string const ns = nameSpace.str();
        if (!_client.post(method, ns, request(method, ns, params), status, body, error)) {
            _report.error = method + " " + what + " in " + ns + ": " + error;
            return false;
        }
        if (std::string problem = problemOf(status, body); !problem.empty()) {
            _report.error = method + " " + what + " in " + ns + ": " + problem;
            return false;
        }
        return true;
    }

private:
    Client _client;
    SendReport& _report;
};

std::string param(char const* name, std::string const& content) {
    return std::string("<IPARAMVALUE NAME=\"") + name + "\">" + content + "</IPARAMVALUE>";
}

// The classes of `ns` in the order they can be created: declaration order,
// a class waiting for its superclass and the classes its references name.
std::vector<KVOSmrPtr<IKivoClass>> creationOrder(om::ClassRepository const& repo, KVOString const& ns) {
    std::vector<KVOSmrPtr<IKivoClass>> pending = repo.classes(ns), out;
    std::set<std::string> done;
    auto ready = [&](IKivoClass const& c) {
        auto have = [&](KVOString const& name) {
            return name.isEmpty() || name.equalsIgnoreCase(c.getName()) || done.count(om::nameKey(name)) ||
                   !repo.getClass(ns, name);
        };
        if (!have(c.getSuperClassName())) return false;
        for (KVOSmrPtr<IKivoProperty> const& p : c.getProperties())
            if (!have(p->getReferenceClass())) return false;
        for (KVOSmrPtr<IKivoMethod> const& m : c.getMethods())
            for (KVOSmrPtr<IKivoParameter> const& a : m->getParameters())
                if (!have(a->getReferenceClass())) return false;
        return true;
    };
    while (!pending.empty()) {
        auto it = std::find_if(pending.begin(), pending.end(), [&](auto const& c) { return ready(*c); });
        if (it == pending.end()) it = pending.begin();  // a cycle: the server will say which reference fails
        done.insert(om::nameKey((*it)->getName()));
        out.push_back(*it);
        pending.erase(it);
    }
    return out;
}

}  // namespace

SendReport sendRepository(SendTarget const& target, om::ClassRepository const& repository,
                          std::vector<MofInstance> const& instances) {
    SendReport report;
    Sender sender(target, report);
    std::vector<KVOString> const namespaces = repository.namespaces();
    for (KVOString const& ns : namespaces) {
        cimxmlpa::CIMXMLDataWriter writer(target.host, ns, nullptr, false);
        for (qora::IQualifierDef const* d : repository.qualifierDecls(ns)) {
            std::string xml;
            writer.writeQualifierDeclaration(xml, *d);
            if (!sender.send("SetQualifier", ns, d->getName().str(), param("QualifierDeclaration", xml))) return report;
            ++report.qualifierDecls;
        }
    }
    for (KVOString const& ns : namespaces) {
        cimxmlpa::CIMXMLDataWriter writer(target.host, ns, nullptr, false);
        for (KVOSmrPtr<IKivoClass> const& c : creationOrder(repository, ns)) {
            std::string xml;
            writer.writeClass(xml, c);
            if (!sender.send("CreateClass", ns, c->getName().str(), param("NewClass", xml))) return report;
            ++report.classes;
        }
    }
    for (MofInstance const& i : instances) {
        cimxmlpa::CIMXMLDataWriter writer(target.host, i.nameSpace, nullptr, false);
        std::string xml;
        writer.writeInstance(xml, *i.instance);
        if (!sender.send("CreateInstance", i.nameSpace, "of " + i.instance->getClassName().str(), param("NewInstance", xml)))
            return report;
        ++report.instances;
    }
    return report;
}

}  // namespace kivo::mof
