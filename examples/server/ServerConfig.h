// The reference server's settings: an INI file read with libinih, then
// command-line flags that override it.
//
// Two sections matter. "QORA" holds the keys the adapters' common layer reads
// from the configuration manager ("HTTPTransferEncoding",
// "CimTransactionTimeout"); every key of that section is copied into
// QORAConfigManager as it is. "Server" holds the listener's and the object
// manager's own settings (address, port, threads, read timeout, scale
// instance count), which are parsed into ServerSettings. Flags write to the
// same places, so a flag and the INI key it overrides always mean the same.
// Built once at start-up on the main thread.
#pragma once

#include <string>
#include <vector>

namespace refserver {

struct ServerSettings {
    std::string address = "127.0.0.1";
    int port = 5988;             // 0: the system picks a free port
    int threads = 8;             // adapter threads, each serving one request at a time
    int readTimeoutSeconds = 30; // longest wait for bytes of a request (and between requests)
    long scaleInstances = 1000;  // instances of the scale class
    std::string logLevel = "warning";  // least severity printed: trace, info, warning, error, critical, none
};

// What parsing the command line asks for.
struct ParsedCommandLine {
    enum Action { Run, Help, Error };
    Action action = Run;
    std::string error;  // for Error: what was wrong
    ServerSettings settings;
};

// Parses argv: first the file named by --config (if any), then every other
// flag in order. Writes the QORA keys it meets to QORAConfigManager.
ParsedCommandLine parseCommandLine(int argc, char const* const* argv);

// Loads one INI file into `settings` and QORAConfigManager. Returns an empty
// string on success, else a message naming the file and the line or key that
// is wrong.
std::string loadIniFile(std::string const& path, ServerSettings& settings);

// The --help text: every flag and the INI key it overrides.
std::string usage(char const* programName);

}  // namespace refserver
