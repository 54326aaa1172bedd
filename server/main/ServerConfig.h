// The server's settings: an INI file read with libinih, then
// command-line flags that override it.
//
// Four sections matter. "QORA" holds the keys the adapters' common layer reads
// from the configuration manager ("HTTPTransferEncoding",
// "CimTransactionTimeout"); every key of that section is copied into
// QORAConfigManager as it is. "Server" holds the listener's and the object
// manager's own settings (address, port, threads, connection cap, read
// timeout, stream bound, authentication, scale instance count), which are
// parsed into ServerSettings. "Users" holds one "name = password" line per
// user that HTTP Basic authentication accepts (values are trimmed; a password
// may not be empty). "Schema" holds one "NAMESPACE = FILE" line per MOF file
// the server compiles at start-up, in order (ServerSettings::schema).
// "Repository" holds the repository file ("File") and its durability
// ("Sync"). "CertificateUsers" maps the common name (CN) of a verified client
// certificate to the user it stands for ("CN = user"); a CN it does not name
// is its own user. Flags write to the
// same places, so a flag and the INI key it overrides always mean the same.
// Built once at start-up on the main thread.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace refserver {

struct ServerSettings {
    std::string address = "127.0.0.1";
    int port = 5988;             // 0: the system picks a free port
    int threads = 0;             // adapter threads, each serving one request at a time (0: 4 per core, at least 32)
    int maxConnections = 1024;   // open connections at once; more are answered 503
    int maxConnectionsPerPeer = 256;  // open connections from one peer address; more are answered 503
    int readTimeoutSeconds = 30;      // a request (head and body) must arrive whole within it
    int idleTimeoutSeconds = 60;      // a persistent connection without a request is closed after it
    int sendTimeoutSeconds = 30;      // a response the client reads nothing of for this long is abandoned
    int shutdownTimeoutSeconds = 10;  // after SIGTERM, responses in flight are cut after it
    long bodyBudgetMiB = 256;         // Content-Length bodies in memory at once, in MiB
    unsigned streamBound = 1000; // capacity of the result collection of a streamed operation (0: none)
    std::string authentication = "none";        // "none" or "basic"
    std::map<std::string, std::string> users;  // name -> password, for "basic"
    long authFirstDelayMs = 100;  // a failed attempt's answer waits this long, doubling per failure
    long authMaxDelayMs = 3200;   // ... up to this
    long scaleInstances = 1000;  // instances of the scale class
    long maxInstancesPerClass = 100000;    // instances clients may create in one class
    long maxInstanceMiB = 1024;            // data of all created instances, in MiB
    long maxEnumerationsPerPrincipal = 64; // open pulled enumerations of one principal (of 256)
    long enumerationThreads = 16;          // threads producing for pulled enumerations
    long streamThreads = 64;               // threads producing for streamed answers
    long maxReferenceNesting = 8;          // VALUE.REFERENCE levels a request may nest
    // MOF compiled at start-up, in order: (namespace, file). Empty: the
    // default model (interop.mof into root/interop, kivo.mof into root/cimv2).
    std::vector<std::pair<std::string, std::string>> schema;
    // The compile's include path, where relative files are found too. Empty:
    // the server's MOF directory, then the unpacked DMTF schema.
    std::vector<std::string> schemaPath;
    // The repository file; empty: defaultRepositoryFile(). ":memory:" keeps
    // everything in memory, no file.
    std::string repositoryFile;
    bool repositoryFullSync = true;    // Sync full (true) or normal
    std::string logLevel = "warning";  // least severity printed: trace, info, warning, error, critical, none

    // HTTPS. Either port can be off, not both.
    bool http = true;                 // plain HTTP on `port`
    bool https = false;               // HTTPS on `httpsPort`; needs tlsCertificate and tlsPrivateKey
    int httpsPort = 5989;             // 0: the system picks a free port
    std::string tlsCertificate;       // PEM certificate chain file
    std::string tlsPrivateKey;        // PEM private key file
    std::string tlsClientCA;          // PEM CA file; set: every HTTPS client needs a certificate it signed
    int tlsHandshakeTimeoutSeconds = 10;  // a TLS handshake not finished within it is dropped
    std::map<std::string, std::string> certificateUsers;  // [CertificateUsers]: certificate CN -> user
};

// ${XDG_DATA_HOME:-$HOME/.local/share}/kivo/repository.db (XDG_DATA_HOME
// only when absolute); "" when neither variable gives a directory.
std::string defaultRepositoryFile();

// What parsing the command line asks for: serving, or one of the commands
// that work on the repository file and exit.
struct ParsedCommandLine {
    enum Action { Run, Help, Error, UpdateSchema, Export, Import };
    Action action = Run;
    std::string error;  // for Error: what was wrong
    std::string commandFile;      // Export: the MOF file written; Import: the one read
    std::string exportNamespace;  // Export: only this namespace ("" for all)
    ServerSettings settings;
};

// Parses argv: first the file named by --config (if any), then every other
// flag in order. Writes the QORA keys it meets to QORAConfigManager. Refuses
// basic authentication without any user.
ParsedCommandLine parseCommandLine(int argc, char const* const* argv);

// Loads one INI file into `settings` and QORAConfigManager. Returns an empty
// string on success, else a message naming the file and the line or key that
// is wrong.
std::string loadIniFile(std::string const& path, ServerSettings& settings);

// The --help text: every flag and the INI key it overrides.
std::string usage(char const* programName);

}  // namespace refserver
