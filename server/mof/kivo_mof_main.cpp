// kivo-mof: the MOF compiler on the command line.
//
//   kivo-mof check [--namespace NS] [--include DIR]... FILE...
//       compile each file (with what it
//       includes) into one repository, as the server would load them; print
//       the first error as file:line:column: message and exit 1, or print
//       what was compiled and exit 0.
//   kivo-mof bench FILE [ROUNDS]             compile FILE ROUNDS times (default
//       3) into fresh repositories and print the best compile time and the
//       peak RSS, beside a baseline: reading and tokenising the same files.
//   kivo-mof send [--namespace NS] [--include DIR]... [--user NAME:PASSWORD] URL FILE...
//       compile the files into a scratch repository (any error: nothing is
//       sent, exit 1), then send the qualifier declarations, classes and
//       instances to the server at URL ("http://[user:password@]host:port"),
//       each to its namespace (#pragma namespace; NS, default root/cimv2,
//       at the start); stop at the first error, print it and exit 1.
//
// --include adds a directory to the include path (where a relative
// `#pragma include` not found beside its includer is looked up); without
// one, the include path is the server's own: its model directory, then the
// unpacked DMTF CIM Schema.
#include "mof/MofCompiler.h"
#include "mof/MofSender.h"
#include "objectmanager/DefaultModel.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

using kivo::mof::MofCompiler;
using kivo::mof::MofResult;
using Clock = std::chrono::steady_clock;

int usage() {
    std::fprintf(stderr,
                 "usage: kivo-mof check [--namespace NS] [--include DIR]... FILE...\n"
                 "       kivo-mof bench FILE [ROUNDS]\n"
                 "       kivo-mof send [--namespace NS] [--include DIR]... [--user NAME:PASSWORD] URL FILE...\n");
    return 2;
}

long peakRssKiB() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

int check(std::vector<std::string> const& args) {
    KVOString nameSpace = "root/cimv2";
    std::vector<std::string> files, includes;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--namespace" && i + 1 < args.size()) nameSpace = KVOString(args[++i]);
        else if (args[i] == "--include" && i + 1 < args.size()) includes.push_back(args[++i]);
        else files.push_back(args[i]);
    }
    if (files.empty()) return usage();
    kivo::om::ClassRepository repository;
    MofCompiler compiler(repository, nameSpace);
    compiler.setIncludePath(includes.empty() ? kivo::om::defaultSchemaPath() : includes);
    std::size_t classes = 0, qualifiers = 0, instances = 0;
    for (std::string const& f : files) {
        MofResult const r = compiler.compileFile(f);
        if (!r.ok()) {
            std::fprintf(stderr, "%s\n", r.error->text().c_str());
            return 1;
        }
        classes += r.classes;
        qualifiers += r.qualifierDecls;
        instances += r.instances.size();
    }
    std::printf("%zu classes, %zu qualifier declarations, %zu instances: no errors\n", classes, qualifiers, instances);
    return 0;
}

int send(std::vector<std::string> const& args) {
    KVOString nameSpace = "root/cimv2";
    std::string credentials;
    std::vector<std::string> rest, includes;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--namespace" && i + 1 < args.size()) nameSpace = KVOString(args[++i]);
        else if (args[i] == "--include" && i + 1 < args.size()) includes.push_back(args[++i]);
        else if (args[i] == "--user" && i + 1 < args.size()) credentials = args[++i];
        else rest.push_back(args[i]);
    }
    if (rest.size() < 2) return usage();
    kivo::mof::SendTarget target;
    std::string error;
    if (!target.parse(rest[0], error)) {
        std::fprintf(stderr, "kivo-mof: %s\n", error.c_str());
        return 2;
    }
    if (!credentials.empty()) {
        std::size_t const colon = credentials.find(':');
        target.user = credentials.substr(0, colon);
        target.password = colon == std::string::npos ? std::string() : credentials.substr(colon + 1);
    }
    kivo::om::ClassRepository repository;
    MofCompiler compiler(repository, nameSpace);
    compiler.setIncludePath(includes.empty() ? kivo::om::defaultSchemaPath() : includes);
    std::vector<kivo::mof::MofInstance> instances;
    for (std::size_t i = 1; i < rest.size(); ++i) {
        MofResult r = compiler.compileFile(rest[i]);
        if (!r.ok()) {
            std::fprintf(stderr, "%s\nnothing was sent\n", r.error->text().c_str());
            return 1;
        }
        for (auto& instance : r.instances) instances.push_back(std::move(instance));
    }
    kivo::mof::SendReport const report = kivo::mof::sendRepository(target, repository, instances);
    std::printf("sent %zu qualifier declarations, %zu classes, %zu instances\n", report.qualifierDecls, report.classes,
                report.instances);
    if (!report.error.empty()) {
        std::fprintf(stderr, "kivo-mof: %s\n", report.error.c_str());
        return 1;
    }
    return 0;
}

int bench(std::string const& file, int rounds) {
    std::map<std::string, std::size_t> bytes;  // the files a compile read
    auto recording = [&](std::string const& path, std::string& out) {
        if (!kivo::mof::readMofFile(path, out)) return false;
        bytes[path] = out.size();
        return true;
    };
    double best = 1e9;
    std::size_t classes = 0;
    for (int i = 0; i < rounds; ++i) {
        kivo::om::ClassRepository repository;
        MofCompiler compiler(repository, "root/cimv2", {}, recording);
        Clock::time_point const t0 = Clock::now();
        MofResult const r = compiler.compileFile(file);
        double const s = std::chrono::duration<double>(Clock::now() - t0).count();
        if (!r.ok()) {
            std::fprintf(stderr, "%s\n", r.error->text().c_str());
            return 1;
        }
        classes = r.classes;
        best = std::min(best, s);
    }
    long const rss = peakRssKiB();

    double baseline = 1e9;
    std::size_t tokens = 0, total = 0;
    for (int i = 0; i < rounds; ++i) {
        Clock::time_point const t0 = Clock::now();
        tokens = total = 0;
        for (auto const& [path, size] : bytes) {
            std::string text;
            kivo::mof::readMofFile(path, text);
            total += text.size();
            kivo::mof::MofLexer lexer(text);
            while (lexer.next().kind != kivo::mof::MofTokenKind::End) ++tokens;
        }
        baseline = std::min(baseline, std::chrono::duration<double>(Clock::now() - t0).count());
    }
    std::printf("compile: %zu classes from %zu files (%zu bytes) in %.3f s (best of %d), peak RSS %.1f MiB\n", classes,
                bytes.size(), total, best, rounds, static_cast<double>(rss) / 1024.0);
    std::printf("baseline: read and tokenise the same files (%zu tokens) in %.3f s; compile/baseline %.1fx\n", tokens,
                baseline, best / baseline);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return usage();
    std::vector<std::string> args(argv + 2, argv + argc);
    if (std::strcmp(argv[1], "check") == 0) return check(args);
    if (std::strcmp(argv[1], "send") == 0) return send(args);
    if (std::strcmp(argv[1], "bench") == 0) {
        int const rounds = args.size() > 1 ? std::atoi(args[1].c_str()) : 3;
        if (rounds < 1) return usage();
        return bench(args[0], rounds);
    }
    return usage();
}
