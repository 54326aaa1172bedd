// Throughput of the request intake on large bodies read from memory: a
// 50 MiB Content-Length body and the same bytes as a chunked body in 8 KiB
// chunks, each beside a memcpy of the same bytes into a new std::string
// measured in the same run. Prints MB/s and the ratio of each intake figure
// to the memcpy one.
#include "Cimom/ProtocolAdapter/Common/HTTPAdapterInput.h"

#include "KivoUtilities/KVOLog.h"
#include "KivoUtilities/KVOMemorySocket.h"
#include "KivoUtilities/QORAConfigManager.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <random>
#include <stdexcept>
#include <string>

namespace {

constexpr std::size_t BODY_BYTES = 50u << 20;
constexpr std::size_t CHUNK_BYTES = 8u << 10;

// The object manager, started, and nothing else.
class StartedContext : public IKivoOperationHandlerContext {
public:
    State getCurrentState() override { return STARTED; }
    void registerRequest() override {}
    void deRegisterRequest() override {}
    bool logRequest() override { return false; }
    IKivoOperationHandler& getOperationHandler() override { throw std::logic_error("no handler"); }
    IQORAServer& getQORAServer() const override { return const_cast<IQORAServer&>(_server); }
    KVOString getLogDirectory() override { return KVOString(); }
    bool isMatchForInternalOrSystemDigest(KVOString const*) override { return false; }
    PortInfo const& getPortInfo() const override { return _ports; }
    KVOSmrPtr<IKivoClass> getClass(KVOString const&, KVOString const&) override { return nullptr; }
    KVOSmrPtr<IIndicationManager> getIndicationManager() override { return nullptr; }

private:
    IQORAServer _server;
    PortInfo _ports;
};

// Body bytes without a zero byte (which would end a body early).
std::string const& body() {
    static std::string const bytes = [] {
        std::string b(BODY_BYTES, '\0');
        std::mt19937 random(42);
        for (char& c : b) c = static_cast<char>(1 + random() % 255);
        return b;
    }();
    return bytes;
}

std::string const& contentLengthRequest() {
    static std::string const bytes = "POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
                                     std::to_string(BODY_BYTES) + "\r\n\r\n" + body();
    return bytes;
}

std::string const& chunkedRequest() {
    static std::string const bytes = [] {
        std::string r = "POST /cimom HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n";
        char sizeLine[16];
        for (std::size_t at = 0; at < BODY_BYTES; at += CHUNK_BYTES) {
            std::size_t n = std::min(CHUNK_BYTES, BODY_BYTES - at);
            std::snprintf(sizeLine, sizeof sizeLine, "%zx\r\n", n);
            r += sizeLine;
            r.append(body(), at, n);
            r += "\r\n";
        }
        return r + "0\r\n\r\n";
    }();
    return bytes;
}

void readBody(benchmark::State& state, std::string const& wire) {
    StartedContext context;
    for (auto _ : state) {
        KVOMemorySocket sock;
        sock.borrowInput(wire);
        KVOGenericHTTPIStream istr(sock);
        KVOGenericHTTPOStream ostr(sock);
        KVOHTTPRequest request;
        KVOHTTPResponse response;
        bool persist = true;
        bool imported = false;
        request.readFrom(istr);
        qora::pa::common::HTTPAdapterInputData data(request, response, istr, ostr, nullptr, persist, imported,
                                                    context);
        qora::pa::common::HTTPAdapterInput intake(data);
        KVOString payload = intake.getHttpPayload();
        if (payload.length() != BODY_BYTES) state.SkipWithError("short body");
        benchmark::DoNotOptimize(payload.c_str());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BODY_BYTES));
}

void BM_MemcpyIntoNewString(benchmark::State& state) {
    std::string const& src = body();
    for (auto _ : state) {
        std::string copy(src.data(), src.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BODY_BYTES));
}

void BM_IntakeContentLength50MiB(benchmark::State& state) { readBody(state, contentLengthRequest()); }
void BM_IntakeChunked50MiB8KiBChunks(benchmark::State& state) { readBody(state, chunkedRequest()); }

BENCHMARK(BM_MemcpyIntoNewString)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_IntakeContentLength50MiB)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_IntakeChunked50MiB8KiBChunks)->Unit(benchmark::kMillisecond)->UseRealTime();

// The console report, plus the throughput of every run kept for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(std::vector<Run> const& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (auto const& run : runs) {
            auto it = run.counters.find("bytes_per_second");
            if (it != run.counters.end() && run.run_type == Run::RT_Iteration) {
                bytesPerSecond[run.benchmark_name()] = it->second.value;
            }
        }
    }
    std::map<std::string, double> bytesPerSecond;
};

}  // namespace

int main(int argc, char** argv) {
    KVOLog::setStderrThreshold(KivoTraceLog::KIVO_NO_SEVERITY);
    QORAConfigManager::getInstance()->setValue("QORA", "HTTPTransferEncoding", "Chunked");
    contentLengthRequest();
    chunkedRequest();
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto const& figures = reporter.bytesPerSecond;
    auto baseline = figures.find("BM_MemcpyIntoNewString/real_time");
    if (baseline == figures.end()) return 0;
    std::printf("\n%-45s %10s %8s\n", "body read", "MB/s", "ratio");
    for (auto const& [name, rate] : figures) {
        std::printf("%-45s %10.1f %8.3f\n", name.c_str(), rate / 1e6, rate / baseline->second);
    }
    benchmark::Shutdown();
    return 0;
}
