// Sends a compiled MOF tree to a CIM-XML server: SetQualifier for every
// qualifier declaration, CreateClass for every class, CreateInstance for
// every instance, each in its namespace, stopping at the first error.
//
// Classes go in declaration order, except that a class waits until its
// superclass and the classes its references name have gone (so a reference
// may name a class declared later, as it may in MOF). Each class is sent as
// declared: its own members and qualifiers; what it inherits is marked
// propagated, and the server drops that.
//
// The transport is a blocking HTTP/1.1 client over one plain TCP connection
// (reopened when the server closes it), with optional Basic credentials;
// every read and write is bounded by `timeout`, and a response body by 16 MiB. Used by kivo-mof on its own
// thread; nothing here is shared.
#pragma once

#include "mof/MofCompiler.h"

#include <chrono>
#include <string>

namespace kivo::mof {

struct SendTarget {
    std::string host = "127.0.0.1";
    int port = 5988;
    std::string user;      // empty: no credentials
    std::string password;
    std::chrono::seconds timeout{30};

    // Reads "http://[user:password@]host[:port][/...]"; false (with
    // `error` set) for anything else.
    bool parse(std::string const& url, std::string& error);
};

struct SendReport {
    std::size_t qualifierDecls = 0;
    std::size_t classes = 0;
    std::size_t instances = 0;
    // Empty on success; otherwise what failed ("CreateClass KIVO_Disk in
    // root/cimv2: CIM_ERR_INVALID_PARAMETER (4): ...") or why the server
    // could not be reached.
    std::string error;
};

// Sends what `repository` holds (every namespace) and `instances`.
SendReport sendRepository(SendTarget const& target, om::ClassRepository const& repository,
                          std::vector<MofInstance> const& instances);

}  // namespace kivo::mof
