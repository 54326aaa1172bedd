// kivo-repository-bench: CreateInstance's rate into the instance store on
// disk, with synchronous FULL and NORMAL, from 1 and 8 threads (with and
// without group commit), each beside
// two baselines measured in the same run: the in-memory store, and the
// fsyncs per second the file's directory allows (what a FULL commit pays).
//
//     kivo-repository-bench [DIR] [SECONDS]
//
// Writes a temporary file in DIR (default: the system's temporary directory)
// and removes it; each measurement runs for SECONDS (default 2).
#include "repository/DiskInstanceStore.h"

#include "objectmanager/ClassBuilder.h"
#include "objectmanager/Instances.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kivo;
using Clock = std::chrono::steady_clock;

// Creates from `threads` threads for `seconds`; answers creates per second.
double rate(om::InstanceProvider& store, IKivoClass const& cls, unsigned threads, double seconds) {
    std::atomic<std::uint64_t> made{0};
    auto const until = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    auto const start = Clock::now();
    std::vector<std::thread> workers;
    for (unsigned t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            for (std::uint64_t n = 0; Clock::now() < until; ++n) {
                store.create("root/bench", cls,
                             om::buildInstance("root/bench", cls,
                                               {{"Id", CKivoValue::makeUnsigned(KVOCIMType::UInt64, (n << 8) | t)},
                                                {"Label", CKivoValue::makeString("a label of some forty bytes or so....")},
                                                {"Size", CKivoValue::makeUnsigned(KVOCIMType::UInt64, n)}}));
                ++made;
            }
        });
    }
    for (std::thread& w : workers) w.join();
    return static_cast<double>(made.load()) / std::chrono::duration<double>(Clock::now() - start).count();
}

// Appends 200 bytes and fdatasyncs, for `seconds`; answers syncs per second.
double fsyncRate(std::string const& file, double seconds) {
    int const fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) return 0;
    std::string const block(200, 'x');
    std::uint64_t n = 0;
    auto const start = Clock::now();
    while (std::chrono::duration<double>(Clock::now() - start).count() < seconds) {
        if (::write(fd, block.data(), block.size()) < 0 || ::fdatasync(fd) != 0) break;
        ++n;
    }
    double const took = std::chrono::duration<double>(Clock::now() - start).count();
    ::close(fd);
    std::filesystem::remove(file);
    return static_cast<double>(n) / took;
}

}  // namespace

int main(int argc, char** argv) {
    std::filesystem::path const dir = argc > 1 ? std::filesystem::path(argv[1]) : std::filesystem::temp_directory_path();
    double const seconds = argc > 2 ? std::atof(argv[2]) : 2.0;
    om::ClassRepository repository;
    repository.addNamespace("root/bench");
    om::ClassBuilder(repository, "root/bench", "Bench_Item")
        .key("Id", KVOCIMType::UInt64)
        .property("Label", KVOCIMType::String)
        .property("Size", KVOCIMType::UInt64)
        .commit();
    KVOSmrPtr<IKivoClass> const cls = repository.getClass("root/bench", "Bench_Item");
    std::string const file = (dir / ("kivo-repository-bench-" + std::to_string(::getpid()) + ".db")).string();

    om::StoreLimits unlimited;
    unlimited.maxInstancesPerClass = std::numeric_limits<std::size_t>::max();
    unlimited.maxBytes = std::numeric_limits<std::uint64_t>::max();
    std::printf("baseline: fdatasync of 200 bytes in %s: %.0f/s\n", dir.c_str(), fsyncRate(file + ".sync", seconds));
    for (unsigned threads : {1u, 8u}) {
        om::InstanceStore memory(unlimited);
        double const inMemory = rate(memory, *cls, threads, seconds);
        for (bool full : {true, false}) {
            for (bool group : {true, false}) {
                if (threads == 1 && !group) continue;  // one writer has nothing to group
                for (char const* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(file + suffix);
                double disk = 0;
                {
                    repo::RepositorySettings settings{file};
                    settings.fullSync = full;
                    settings.groupCommit = group;
                    repo::DiskInstanceStore store(repo::RepositoryFile::open(settings), unlimited);
                    disk = rate(store, *cls, threads, seconds);
                }
                std::printf("CreateInstance, %u thread%s, synchronous=%-6s, group commit %-3s: %8.0f/s on disk "
                            "(in-memory store: %.0f/s)\n",
                            threads, threads == 1 ? " " : "s", full ? "FULL" : "NORMAL", group ? "on" : "off", disk,
                            inMemory);
            }
        }
    }
    for (char const* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(file + suffix);
    return 0;
}
