#include "ServerConfig.h"

#include "KivoUtilities/QORAConfigManager.h"

#include <ini.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>

namespace refserver {

namespace {

char const* const QORA_SECTION = "QORA";
char const* const SERVER_SECTION = "Server";
char const* const USERS_SECTION = "Users";
char const* const SCHEMA_SECTION = "Schema";
char const* const REPOSITORY_SECTION = "Repository";

std::string addSchema(std::string const& nameSpace, std::string const& file, ServerSettings& s) {
    if (nameSpace.empty()) return "the namespace is empty";
    if (file.empty()) return "the MOF file of " + nameSpace + " is empty";
    s.schema.emplace_back(nameSpace, file);
    return "";
}

char const* const CERTIFICATE_USERS_SECTION = "CertificateUsers";

std::string addUser(std::string const& name, std::string const& password, ServerSettings& s) {
    if (name.empty()) return "the user name is empty";
    if (name.find(':') != std::string::npos) return "the user name '" + name + "' holds a colon";
    if (password.empty()) return "the password of '" + name + "' is empty";
    s.users[name] = password;
    return "";
}

std::string addCertificateUser(std::string const& commonName, std::string const& user, ServerSettings& s) {
    if (commonName.empty()) return "the certificate name is empty";
    if (user.empty()) return "the user of certificate '" + commonName + "' is empty";
    s.certificateUsers[commonName] = user;
    return "";
}

std::function<std::string(std::string const&, ServerSettings&)> onOff(std::function<void(ServerSettings&, bool)> set) {
    return [set](std::string const& text, ServerSettings& s) -> std::string {
        if (text != "on" && text != "off") return "'" + text + "' is not on or off";
        set(s, text == "on");
        return "";
    };
}

std::function<std::string(std::string const&, ServerSettings&)> fileName(std::string ServerSettings::*member) {
    return [member](std::string const& text, ServerSettings& s) -> std::string {
        if (text.empty()) return "the file name is empty";
        s.*member = text;
        return "";
    };
}

bool parseLong(std::string const& text, long min, long max, long& out) {
    char const* first = text.data();
    char const* last = first + text.size();
    while (first < last && (*first == ' ' || *first == '\t')) ++first;
    while (last > first && (last[-1] == ' ' || last[-1] == '\t')) --last;
    long value = 0;
    auto [end, ec] = std::from_chars(first, last, value);
    if (ec != std::errc() || end != last || first == last || value < min || value > max) return false;
    out = value;
    return true;
}

// One setting: the INI key in its section, the flag that overrides it, the
// text of --help, and how a value is applied. Both the INI reader and the
// flag parser go through this one table.
struct Setting {
    char const* section;
    char const* key;
    char const* flag;
    char const* valueName;
    char const* help;
    std::function<std::string(std::string const&, ServerSettings&)> apply;  // "" or an error
};

std::function<std::string(std::string const&, ServerSettings&)> number(long min, long max,
                                                                       std::function<void(ServerSettings&, long)> set) {
    return [min, max, set](std::string const& text, ServerSettings& s) -> std::string {
        long v = 0;
        if (!parseLong(text, min, max, v)) {
            return "'" + text + "' is not a number from " + std::to_string(min) + " to " + std::to_string(max);
        }
        set(s, v);
        return "";
    };
}

std::function<std::string(std::string const&, ServerSettings&)> qoraKey(char const* key) {
    return [key](std::string const& text, ServerSettings&) -> std::string {
        QORAConfigManager::getInstance()->setValue(QORA_SECTION, key, text);
        return "";
    };
}

std::vector<Setting> const& settingsTable() {
    static std::vector<Setting> const table = {
        {SERVER_SECTION, "Address", "--address", "ADDR", "IPv4 address to listen on (default 127.0.0.1)",
         [](std::string const& text, ServerSettings& s) -> std::string {
             if (text.empty()) return "the address is empty";
             s.address = text;
             return "";
         }},
        {SERVER_SECTION, "Port", "--port", "N", "TCP port (default 5988; 0 picks a free port and prints it)",
         number(0, 65535, [](ServerSettings& s, long v) { s.port = static_cast<int>(v); })},
        {SERVER_SECTION, "Threads", "--threads", "N",
         "adapter threads, one request each at a time; 0: four per core, at least 32 (default 0)",
         number(0, 1024, [](ServerSettings& s, long v) { s.threads = static_cast<int>(v); })},
        {SERVER_SECTION, "MaxConnections", "--max-connections", "N",
         "open connections at once; more are answered 503 and closed (default 1024)",
         number(1, 100000, [](ServerSettings& s, long v) { s.maxConnections = static_cast<int>(v); })},
        {SERVER_SECTION, "MaxConnectionsPerPeer", "--max-connections-per-peer", "N",
         "open connections from one peer address; more are answered 503 and closed (default 256)",
         number(1, 100000, [](ServerSettings& s, long v) { s.maxConnectionsPerPeer = static_cast<int>(v); })},
        {SERVER_SECTION, "ReadTimeout", "--read-timeout", "SECONDS",
         "a request, head and body, must arrive whole within this time from its first byte, or the connection "
         "is closed (default 30)",
         number(1, 86400, [](ServerSettings& s, long v) { s.readTimeoutSeconds = static_cast<int>(v); })},
        {SERVER_SECTION, "IdleTimeout", "--idle-timeout", "SECONDS",
         "a connection that starts no request for this long is closed (default 60)",
         number(1, 86400, [](ServerSettings& s, long v) { s.idleTimeoutSeconds = static_cast<int>(v); })},
        {SERVER_SECTION, "SendTimeout", "--send-timeout", "SECONDS",
         "a response whose client reads nothing for this long is abandoned and its connection closed "
         "(default 30)",
         number(1, 86400, [](ServerSettings& s, long v) { s.sendTimeoutSeconds = static_cast<int>(v); })},
        {SERVER_SECTION, "ShutdownTimeout", "--shutdown-timeout", "SECONDS",
         "after SIGTERM/SIGINT, responses in flight may finish for this long, then are cut (default 10)",
         number(0, 3600, [](ServerSettings& s, long v) { s.shutdownTimeoutSeconds = static_cast<int>(v); })},
        {SERVER_SECTION, "BodyBudget", "--body-budget", "MIB",
         "memory for the Content-Length bodies of the requests in flight, in MiB; a body that does not fit "
         "waits, then is answered 503 (default 256)",
         number(1, 1048576, [](ServerSettings& s, long v) { s.bodyBudgetMiB = v; })},
        {SERVER_SECTION, "StreamBound", "--stream-bound", "N",
         "results a streamed operation holds before its producer waits for the response writer; 0: no bound "
         "(default 1000)",
         number(0, 100000000, [](ServerSettings& s, long v) { s.streamBound = static_cast<unsigned>(v); })},
        {SERVER_SECTION, "Authentication", "--authentication", "none|basic",
         "basic: every request needs HTTP Basic credentials of a user of [Users] (default none)",
         [](std::string const& text, ServerSettings& s) -> std::string {
             if (text != "none" && text != "basic") return "'" + text + "' is not none or basic";
             s.authentication = text;
             return "";
         }},
        {SERVER_SECTION, "AuthFirstDelay", "--auth-first-delay", "MS",
         "the 401 to a failed authentication waits this long, doubling with each further failure on the "
         "connection or from the peer address (default 100)",
         number(1, 60000, [](ServerSettings& s, long v) { s.authFirstDelayMs = v; })},
        {SERVER_SECTION, "AuthMaxDelay", "--auth-max-delay", "MS",
         "the longest such wait (default 3200)",
         number(1, 600000, [](ServerSettings& s, long v) { s.authMaxDelayMs = v; })},
        {USERS_SECTION, "NAME", "--user", "NAME:PASSWORD",
         "a user for basic authentication, added to [Users] (visible in the process list: prefer the file)",
         [](std::string const& text, ServerSettings& s) -> std::string {
             std::size_t const colon = text.find(':');
             if (colon == std::string::npos) return "'" + text + "' is not NAME:PASSWORD";
             return addUser(text.substr(0, colon), text.substr(colon + 1), s);
         }},
        {SCHEMA_SECTION, "NAMESPACE", "--schema", "NAMESPACE=FILE",
         "compile the MOF FILE into NAMESPACE at start-up, after those named before it; given at all, these "
         "replace the default model (interop.mof into root/interop, kivo.mof into root/cimv2)",
         [](std::string const& text, ServerSettings& s) -> std::string {
             std::size_t const eq = text.find('=');
             if (eq == std::string::npos) return "'" + text + "' is not NAMESPACE=FILE";
             return addSchema(text.substr(0, eq), text.substr(eq + 1), s);
         }},
        {SERVER_SECTION, "SchemaPath", "--schema-path", "DIR",
         "a directory where relative MOF files and their includes are looked up, after those named before it; "
         "given at all, these replace the default (the server's MOF directory, then the DMTF schema)",
         [](std::string const& text, ServerSettings& s) -> std::string {
             if (text.empty()) return "the directory is empty";
             s.schemaPath.push_back(text);
             return "";
         }},
        {REPOSITORY_SECTION, "File", "--repository", "FILE",
         "the repository file, created on first start: namespaces, qualifier declarations, classes and the "
         "instances clients create survive restarts in it; :memory: keeps everything in memory "
         "(default ${XDG_DATA_HOME:-$HOME/.local/share}/kivo/repository.db)",
         fileName(&ServerSettings::repositoryFile)},
        {REPOSITORY_SECTION, "Sync", "--repository-sync", "full|normal",
         "full: a change that was answered survives a crash and a power loss; normal: it survives a crash of "
         "the server, a power loss may take the last changes back (each change stays all or nothing) "
         "(default full)",
         [](std::string const& text, ServerSettings& s) -> std::string {
             if (text != "full" && text != "normal") return "'" + text + "' is not full or normal";
             s.repositoryFullSync = text == "full";
             return "";
         }},
        {SERVER_SECTION, "ScaleInstances", "--scale-instances", "N",
         "instances of the scale class, generated on demand (default 1000)",
         number(0, 100000000, [](ServerSettings& s, long v) { s.scaleInstances = v; })},
        {SERVER_SECTION, "MaxInstancesPerClass", "--max-instances-per-class", "N",
         "instances clients may create in one class; more are refused with CIM_ERR_SERVER_LIMITS_EXCEEDED "
         "(default 100000)",
         number(1, 100000000, [](ServerSettings& s, long v) { s.maxInstancesPerClass = v; })},
        {SERVER_SECTION, "MaxInstanceData", "--max-instance-data", "MIB",
         "data of all instances clients created, in MiB; a create or modify beyond it is refused with "
         "CIM_ERR_SERVER_LIMITS_EXCEEDED (default 1024)",
         number(1, 1048576, [](ServerSettings& s, long v) { s.maxInstanceMiB = v; })},
        {SERVER_SECTION, "MaxEnumerationsPerPrincipal", "--max-enumerations-per-principal", "N",
         "open pulled enumerations of one user (of 256 in all); more Opens are refused with "
         "CIM_ERR_SERVER_LIMITS_EXCEEDED (default 64)",
         number(1, 256, [](ServerSettings& s, long v) { s.maxEnumerationsPerPrincipal = v; })},
        {SERVER_SECTION, "EnumerationThreads", "--enumeration-threads", "N",
         "threads producing results for pulled enumerations; an enumeration nobody pulls holds none (default 16)",
         number(1, 1024, [](ServerSettings& s, long v) { s.enumerationThreads = v; })},
        {SERVER_SECTION, "StreamThreads", "--stream-threads", "N",
         "threads producing results for streamed answers (default 64)",
         number(1, 1024, [](ServerSettings& s, long v) { s.streamThreads = v; })},
        {SERVER_SECTION, "MaxReferenceNesting", "--max-reference-nesting", "N",
         "levels of references within references a request may hold; deeper ones are refused with "
         "CIM_ERR_INVALID_PARAMETER (default 8)",
         number(1, 64, [](ServerSettings& s, long v) { s.maxReferenceNesting = v; })},
        {SERVER_SECTION, "LogLevel", "--log-level", "LEVEL",
         "least severity logged to standard error: trace, info, warning, error, critical or none (default warning)",
         [](std::string const& text, ServerSettings& s) -> std::string {
             for (char const* level : {"trace", "info", "warning", "error", "critical", "none"}) {
                 if (text == level) {
                     s.logLevel = text;
                     return "";
                 }
             }
             return "'" + text + "' is not one of trace, info, warning, error, critical, none";
         }},
        // HTTPS and client certificates.
        {SERVER_SECTION, "HTTP", "--http", "on|off",
         "plain HTTP on --port; off: that port is not opened (default on)",
         onOff([](ServerSettings& s, bool on) { s.http = on; })},
        {SERVER_SECTION, "HTTPS", "--https", "on|off",
         "HTTPS on --https-port; needs --tls-certificate and --tls-key (default off)",
         onOff([](ServerSettings& s, bool on) { s.https = on; })},
        {SERVER_SECTION, "HTTPSPort", "--https-port", "N",
         "TCP port of HTTPS (default 5989; 0 picks a free port and prints it)",
         number(0, 65535, [](ServerSettings& s, long v) { s.httpsPort = static_cast<int>(v); })},
        {SERVER_SECTION, "TLSCertificate", "--tls-certificate", "FILE",
         "the server's certificate chain, PEM: its certificate first, then intermediates",
         fileName(&ServerSettings::tlsCertificate)},
        {SERVER_SECTION, "TLSKey", "--tls-key", "FILE", "the private key of that certificate, PEM",
         fileName(&ServerSettings::tlsPrivateKey)},
        {SERVER_SECTION, "TLSClientCA", "--tls-client-ca", "FILE",
         "CA certificates, PEM: every HTTPS client must present a certificate they signed (else the handshake "
         "fails); its CN, or its [CertificateUsers] name, is the user (default: none asked for)",
         fileName(&ServerSettings::tlsClientCA)},
        {SERVER_SECTION, "TLSHandshakeTimeout", "--tls-handshake-timeout", "SECONDS",
         "a TLS handshake not finished within this time is dropped (default 10)",
         number(1, 3600, [](ServerSettings& s, long v) { s.tlsHandshakeTimeoutSeconds = static_cast<int>(v); })},
        {CERTIFICATE_USERS_SECTION, "CN", "--certificate-user", "CN=USER",
         "the user a client certificate with this CN stands for, added to [CertificateUsers]",
         [](std::string const& text, ServerSettings& s) -> std::string {
             std::size_t const eq = text.rfind('=');
             if (eq == std::string::npos) return "'" + text + "' is not CN=USER";
             return addCertificateUser(text.substr(0, eq), text.substr(eq + 1), s);
         }},
        {QORA_SECTION, "HTTPTransferEncoding", "--transfer-encoding", "VALUE",
         "Chunked, Auto, ConditionalChunked (chunked only when the client sends TE) or anything else for "
         "unchunked responses to HTTP/1.1 (default: chunked)",
         qoraKey("HTTPTransferEncoding")},
        {QORA_SECTION, "CimTransactionTimeout", "--transaction-timeout", "SECONDS",
         "longest single wait of a response writer for the next streamed result (default 600)",
         [](std::string const& text, ServerSettings& s) -> std::string {
             long v = 0;
             if (!parseLong(text, -2147483647L - 1, 2147483647L, v)) return "'" + text + "' is not a number";
             return qoraKey("CimTransactionTimeout")(text, s);
         }},
    };
    return table;
}

Setting const* findByKey(std::string const& section, std::string const& key) {
    for (Setting const& s : settingsTable()) {
        if (section == s.section && key == s.key) return &s;
    }
    return nullptr;
}

Setting const* findByFlag(std::string const& flag) {
    for (Setting const& s : settingsTable()) {
        if (flag == s.flag) return &s;
    }
    return nullptr;
}

struct IniState {
    ServerSettings* settings;
    std::string error;
};

int iniHandler(void* user, char const* section, char const* name, char const* value) {
    auto* state = static_cast<IniState*>(user);
    if (!state->error.empty()) return 0;
    std::string sec(section);
    std::string key(name);
    if (sec == USERS_SECTION) {
        std::string problem = addUser(key, value, *state->settings);
        if (!problem.empty()) state->error = "[" + sec + "] " + problem;
        return problem.empty() ? 1 : 0;
    }
    if (sec == SCHEMA_SECTION) {
        std::string problem = addSchema(key, value, *state->settings);
        if (!problem.empty()) state->error = "[" + sec + "] " + problem;
        return problem.empty() ? 1 : 0;
    }
    if (sec == CERTIFICATE_USERS_SECTION) {
        std::string problem = addCertificateUser(key, value, *state->settings);
        if (!problem.empty()) state->error = "[" + sec + "] " + problem;
        return problem.empty() ? 1 : 0;
    }
    if (Setting const* s = findByKey(sec, key)) {
        std::string problem = s->apply(value, *state->settings);
        if (!problem.empty()) state->error = "[" + sec + "] " + key + ": " + problem;
        return problem.empty() ? 1 : 0;
    }
    if (sec == QORA_SECTION) {
        // Other keys of the object manager's section pass through unchanged.
        QORAConfigManager::getInstance()->setValue(QORA_SECTION, key, value);
        return 1;
    }
    state->error = "unknown key [" + sec + "] " + key;
    return 0;
}

}  // namespace

std::string loadIniFile(std::string const& path, ServerSettings& settings) {
    IniState state{&settings, {}};
    int rc = ini_parse(path.c_str(), iniHandler, &state);
    if (rc == -1) return path + ": cannot open the file";
    if (rc == -2) return path + ": out of memory";
    if (!state.error.empty()) return path + ":" + std::to_string(rc) + ": " + state.error;
    if (rc > 0) return path + ":" + std::to_string(rc) + ": malformed line";
    return "";
}

std::string defaultRepositoryFile() {
    char const* data = std::getenv("XDG_DATA_HOME");
    std::string dir;
    if (data && data[0] == '/') {
        dir = data;
    } else if (char const* home = std::getenv("HOME"); home && home[0] != '\0') {
        dir = std::string(home) + "/.local/share";
    } else {
        return "";
    }
    return dir + "/kivo/repository.db";
}

ParsedCommandLine parseCommandLine(int argc, char const* const* argv) {
    ParsedCommandLine result;
    auto fail = [&result](std::string message) {
        result.action = ParsedCommandLine::Error;
        result.error = std::move(message);
        return result;
    };
    // The file first, so that every flag overrides it wherever it stands.
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--config") == 0) {
            if (i + 1 >= argc) return fail("--config needs a file name");
            std::string problem = loadIniFile(argv[i + 1], result.settings);
            if (!problem.empty()) return fail(problem);
            ++i;
        }
    }
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            result.action = ParsedCommandLine::Help;
            return result;
        }
        if (arg == "--config") {
            ++i;
            continue;
        }
        // The commands: each works on the repository and exits; one at most.
        auto command = [&](ParsedCommandLine::Action action, bool takesFile) -> std::string {
            if (result.action != ParsedCommandLine::Run) return "only one of --update-schema, --export, --import";
            result.action = action;
            if (!takesFile) return "";
            if (i + 1 >= argc || argv[i + 1][0] == '\0') return arg + " needs a file name";
            result.commandFile = argv[++i];
            return "";
        };
        if (arg == "--update-schema" || arg == "--export" || arg == "--import") {
            std::string const problem =
                arg == "--update-schema" ? command(ParsedCommandLine::UpdateSchema, false)
                : arg == "--export"      ? command(ParsedCommandLine::Export, true)
                                         : command(ParsedCommandLine::Import, true);
            if (!problem.empty()) return fail(problem);
            continue;
        }
        if (arg == "--export-namespace") {
            if (i + 1 >= argc || argv[i + 1][0] == '\0') return fail("--export-namespace needs a namespace");
            result.exportNamespace = argv[++i];
            continue;
        }
        std::string value;
        std::size_t eq = arg.find('=');
        if (eq != std::string::npos) {
            value = arg.substr(eq + 1);
            arg.resize(eq);
        }
        Setting const* s = findByFlag(arg);
        if (s == nullptr) return fail("unknown option " + arg);
        if (eq == std::string::npos) {
            if (i + 1 >= argc) return fail(arg + " needs a value");
            value = argv[++i];
        }
        std::string problem = s->apply(value, result.settings);
        if (!problem.empty()) return fail(arg + ": " + problem);
    }
    if (result.settings.authentication == "basic" && result.settings.users.empty()) {
        return fail("basic authentication needs at least one user ([Users] or --user)");
    }
    ServerSettings& s = result.settings;
    if (!result.exportNamespace.empty() && result.action != ParsedCommandLine::Export)
        return fail("--export-namespace goes with --export");
    if (s.repositoryFile.empty()) s.repositoryFile = defaultRepositoryFile();
    if (s.repositoryFile.empty())
        return fail("no data directory for the repository: set HOME or XDG_DATA_HOME, or give --repository FILE "
                    "(:memory: for none)");
    if (s.repositoryFile == ":memory:" && result.action != ParsedCommandLine::Run)
        return fail("the repository commands need a repository file, not :memory:");
    if (!s.http && !s.https) return fail("both HTTP and HTTPS are off");
    if (s.https && (s.tlsCertificate.empty() || s.tlsPrivateKey.empty())) {
        return fail("HTTPS needs a certificate (--tls-certificate) and its key (--tls-key)");
    }
    return result;
}

std::string usage(char const* programName) {
    std::ostringstream out;
    out << "Usage: " << programName << " [options]\n"
        << "A CIM-XML (WBEM) server over HTTP with an in-memory object manager.\n\n"
        << "Options (each overrides the INI key named beside it):\n"
        << "  --config FILE                 read settings from an INI file first\n";
    for (Setting const& s : settingsTable()) {
        std::string left = std::string("  ") + s.flag + " " + s.valueName;
        if (left.size() < 32) left.resize(32, ' ');
        out << left << s.help << "  [" << s.section << "] " << s.key << "\n";
    }
    out << "  --update-schema               compile the schema's MOF (--schema, or the default model) and bring the\n"
        << "                                repository to it: new namespaces, declarations and classes are added,\n"
        << "                                changed ones replaced; a changed class with stored instances or with\n"
        << "                                subclasses the MOF does not declare is refused and nothing changes;\n"
        << "                                prints what it did and exits\n"
        << "  --export FILE                 write the repository as MOF (declarations, classes, stored instances;\n"
        << "                                not the providers' instances) to FILE (- for standard output) and exit\n"
        << "  --export-namespace NS         with --export: only the namespace NS\n"
        << "  --import FILE                 compile the MOF FILE with its instances into an empty repository (a\n"
        << "                                new --repository file) in one transaction and exit\n"
        << "  --help                        this text\n\n"
        << "INI example:\n"
        << "  [Server]\n  Address = 127.0.0.1\n  Port = 5988\n  Threads = 0\n  MaxConnections = 1024\n"
        << "  MaxConnectionsPerPeer = 256\n  ReadTimeout = 30\n  IdleTimeout = 60\n  SendTimeout = 30\n"
        << "  ShutdownTimeout = 10\n  BodyBudget = 256\n  StreamBound = 1000\n  Authentication = basic\n  ScaleInstances = 1000\n"
        << "  LogLevel = warning\n  SchemaPath = /usr/share/kivo/mof\n  HTTPS = on\n  HTTPSPort = 5989\n"
        << "  TLSCertificate = /etc/kivo/server.pem\n  TLSKey = /etc/kivo/server.key\n  [Users]\n  alice = secret\n"
        << "  [Schema]\n  root/interop = interop.mof\n  root/cimv2 = kivo.mof\n"
        << "  [Repository]\n  File = /var/lib/kivo/repository.db\n  Sync = full\n"
        << "  [CertificateUsers]\n  Alice Example = alice\n"
        << "  [QORA]\n  HTTPTransferEncoding = Chunked\n  CimTransactionTimeout = 600\n\n"
        << "It prints \"listening on ADDRESS:PORT\" once it accepts connections, then, with HTTPS,\n"
        << "\"listening on ADDRESS:PORT (https)\" (each port as bound: the chosen one for port 0).\n"
        << "With basic authentication a request without valid credentials is answered 401.\n"
        << "SIGTERM or SIGINT stops it: responses in progress may finish within ShutdownTimeout, then are cut;\n"
        << "it exits with status 0 at the latest a second after that.\n"
        << "Exit status: 0 after a stop, 1 when the listener or the object manager could not start, 2 for a\n"
        << "wrong command line or configuration, 3 when a schema file did not load (its file:line:column:\n"
        << "message on standard error), 4 when the repository file cannot be opened, is damaged or cannot be\n"
        << "written (the message names the file and how to recover), or a repository command was refused.\n"
        << "Without HOME and XDG_DATA_HOME there is no default repository file: give --repository.\n";
    return out.str();
}

}  // namespace refserver
