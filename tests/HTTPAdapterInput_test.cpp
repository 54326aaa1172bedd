#include "Cimom/ProtocolAdapter/Common/HTTPAdapterInput.h"

#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOMemorySocket.h"
#include "KivoUtilities/QORAConfigManager.h"
#include "support/LogCapture.h"
#include "support/TestHandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <vector>

// The largest single allocation made while armed: a body must grow with the
// bytes that arrive, not with the sizes a client announces.
namespace {
std::atomic<bool> g_trackAllocations{false};
std::atomic<std::size_t> g_largestAllocation{0};
}  // namespace

[[gnu::noinline]] void* operator new(std::size_t n) {
    if (g_trackAllocations.load(std::memory_order_relaxed)) {
        std::size_t seen = g_largestAllocation.load(std::memory_order_relaxed);
        while (n > seen && !g_largestAllocation.compare_exchange_weak(seen, n)) {
        }
    }
    if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
    throw std::bad_alloc();
}
// Out of line, so that no caller sees free() meet a pointer from new.
[[gnu::noinline]] void operator delete(void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

using namespace std::string_literals;
using qora::pa::common::HTTPAdapterInput;
using qora::pa::common::HTTPAdapterInputData;
using State = IKivoOperationHandlerContext::State;
using Type = KVOGenericHTTPStreamBuf::StreamType;

constexpr long long MAX_BYTES = 52428800;
char const* const BODY_WHO = "cimxmlpa::CIMXMLAdapter::processOperation";
char const* const NOT_STARTED = "A non loopback request was thrown out, the CIMOM is not started.";
char const* const SHUTTING_DOWN = "A request was thrown out, the CIMOM is shutting down.";

// Delivers the first `split` bytes in receives that end exactly there, then
// the rest; together with byte-by-byte delivery it reproduces every way a
// message can arrive.
class SplitSocket : public KVOMemorySocket {
public:
    SplitSocket(std::string input, Peer peer, std::size_t maxPerReceive, std::size_t split)
        : KVOMemorySocket(std::move(input), peer, maxPerReceive), _split(split) {}
    std::size_t receive(char* dst, std::size_t max) override {
        if (_delivered < _split) max = std::min(max, _split - _delivered);
        std::size_t n = KVOMemorySocket::receive(dst, max);
        _delivered += n;
        return n;
    }

private:
    std::size_t _split;
    std::size_t _delivered = 0;
};

// A handler context whose state answers follow a script (the last repeats), so
// that the state can change between two reads of it.
class ScriptedContext : public kivo_test::TestHandlerContext {
public:
    explicit ScriptedContext(std::vector<State> script) : _script(std::move(script)) {}
    State getCurrentState() override {
        kivo_test::TestHandlerContext::getCurrentState();
        State s = _script[std::min(_next, _script.size() - 1)];
        ++_next;
        return s;
    }

private:
    std::vector<State> _script;
    std::size_t _next = 0;
};

// What one call of getHttpPayload did.
struct Outcome {
    bool threw = false;
    std::string body;
    std::string who, message;
    int code = 0;
    std::string written;     // bytes sent to the client
    std::string rest;        // bytes left in the input stream
    Type streamType = KVOGenericHTTPStreamBuf::NotEncoded;
    int closeOption = 0;
    long long responseLength = 0;
    unsigned long bodyEnds = 0;

    bool operator==(Outcome const&) const = default;
};

// One request on a memory connection: raw bytes in, the intake run over them.
struct Exchange {
    explicit Exchange(std::string raw, KVOMemorySocket::Peer peer = KVOMemorySocket::Remote,
                      std::vector<State> states = {IKivoOperationHandlerContext::STARTED}, std::size_t perReceive = 0,
                      std::size_t split = 0)
        : sock(std::move(raw), peer, perReceive, split), istr(sock, 64), ostr(sock), ownContext(std::move(states)) {
        EXPECT_TRUE(request.readFrom(istr));
    }

    Outcome run() {
        HTTPAdapterInputData data(request, response, istr, ostr, nullptr, persist, imported, ownContext);
        HTTPAdapterInput intake(data);
        Outcome o;
        try {
            o.body = intake.getHttpPayload().str();
        } catch (KVOHTTPException const& e) {
            o.threw = true;
            o.who = e.getWho().str();
            o.message = e.getMessage().str();
            o.code = e.getCode();
        }
        o.written = sock.output();
        for (int c; (c = istr.get()) != KVOGenericHTTPIStream::END_OF_STREAM;) o.rest += static_cast<char>(c);
        o.streamType = ostr.getStreamType();
        o.closeOption = sock.getCloseSocketOption();
        o.responseLength = response.getContentLength();
        o.bodyEnds = sock.getRequestBodiesEnded();
        return o;
    }

    SplitSocket sock;
    KVOGenericHTTPIStream istr;
    KVOGenericHTTPOStream ostr;
    KVOHTTPRequest request;
    KVOHTTPResponse response;
    bool persist = false;
    bool imported = false;
    ScriptedContext ownContext;
};

std::string post(char const* version, std::string const& fields, std::string const& body) {
    return std::string("POST /cimom ") + version + "\r\nHost: h\r\n" + fields + "\r\n" + body;
}

std::string lengthBody(char const* version, std::string const& body, long long length) {
    return post(version, "Content-Length: " + std::to_string(length) + "\r\n", body);
}

std::string chunkedBody(std::string const& chunks) {
    return post("HTTP/1.1", "Transfer-Encoding: chunked\r\n", chunks);
}

class HTTPAdapterInputTest : public ::testing::Test {
protected:
    void SetUp() override { setEncoding(std::nullopt); }
    void TearDown() override { setEncoding(std::nullopt); }

    static void setEncoding(std::optional<std::string> value) {
        auto* config = QORAConfigManager::getInstance();
        if (value) {
            config->setValue("QORA", "HTTPTransferEncoding", *value);
        } else {
            config->removeValue("QORA", "HTTPTransferEncoding");
        }
    }

    // The records of the body reader, as "severity|message".
    std::vector<std::string> bodyRecords() const {
        std::vector<std::string> out;
        for (auto const& r : log.recordsFrom(BODY_WHO)) {
            EXPECT_EQ(r.verbosity, 2);
            EXPECT_EQ(r.category, KVOLog::CIMOMLOG);
            out.push_back(std::to_string(r.severity) + "|" + r.message.str());
        }
        return out;
    }

    kivo_test::LogCapture log;
};

TEST_F(HTTPAdapterInputTest, ReadsExactlyTheContentLength) {
    struct Row {
        std::string raw;
        std::string body;
        std::string rest;
    };
    Row const rows[] = {
        {lengthBody("HTTP/1.1", "helloNEXT", 5), "hello", "NEXT"},
        {lengthBody("HTTP/1.0", "hello", 5), "hello", ""},
        {lengthBody("HTTP/1.1", "hello", 0), "", "hello"},
        {post("HTTP/1.1", "", "untouched"), "", "untouched"},  // no Content-Length
        {post("HTTP/1.0", "Transfer-Encoding: chunked\r\nContent-Length: 3\r\n", "3\r\nabc"), "3\r\n", "abc"},
        {post("HTTP/1.1", "Transfer-Encoding: chunked\r\nContent-Length: 3\r\n", "3\r\nabc"), "3\r\n", "abc"},
        {post("HTTP/1.0", "Transfer-Encoding: chunked\r\n", "3\r\nabc\r\n0\r\n\r\n"), "", "3\r\nabc\r\n0\r\n\r\n"},
    };
    for (Row const& row : rows) {
        Outcome o = Exchange(row.raw).run();
        EXPECT_FALSE(o.threw) << row.raw;
        EXPECT_EQ(o.body, row.body) << row.raw;
        EXPECT_EQ(o.rest, row.rest) << row.raw;
        EXPECT_EQ(o.written, "");
        EXPECT_EQ(o.bodyEnds, 1u) << "the socket hook follows every body read by length";
    }
    EXPECT_EQ(bodyRecords(), std::vector<std::string>{});
}

// Refusals: the exact answer, record and exception, for both versions.
TEST_F(HTTPAdapterInputTest, RefusalsAnswerWithAnEmptyBody) {
    std::string const tooLarge = "HTTP/1.1 413 Request Entity Too Large\r\nContent-Length: 0\r\n";
    std::string const bad = "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n";
    std::string const close = "Connection: close\r\n";
    std::string const big = "Rejecting request that exceeds maximum supported size. Max = 52428800; Request = ";
    struct Row {
        std::string raw;
        std::string answer;
        std::string record;
        std::string rest;
        unsigned long bodyEnds;
    };
    Row const rows[] = {
        {lengthBody("HTTP/1.1", "body", MAX_BYTES + 1), tooLarge + close + "\r\n", "1|" + big + "52428801", "body", 0},
        {lengthBody("HTTP/1.0", "body", MAX_BYTES + 1), tooLarge + "\r\n", "1|" + big + "52428801", "body", 0},
        {post("HTTP/1.1", "Content-Length: 12abc\r\n", "body"), tooLarge + close + "\r\n", "1|" + big + "-2", "body", 0},
        {post("HTTP/1.1", "Content-Length: 4294967295\r\n", "body"), tooLarge + close + "\r\n", "1|" + big + "-2",
         "body", 0},
        {lengthBody("HTTP/1.1", "1234567", 10), bad + close + "\r\n",
         "2|Content Length mismatch:  Expected 10 bytes; Received 7", "", 1},
        {lengthBody("HTTP/1.0", "123\0" "567890"s, 10), bad + "\r\n",
         "2|Content Length mismatch:  Expected 10 bytes; Received 3", "567890", 1},
        {post("HTTP/1.1", "Transfer-Encoding: chunked\r\n", "3200001\r\nabc"), tooLarge + close + "\r\n",
         "1|" + big + "52428801", "abc", 0},
    };
    for (Row const& row : rows) {
        log.clear();
        Exchange x(row.raw);
        x.persist = true;
        Outcome o = x.run();
        EXPECT_TRUE(o.threw) << row.raw;
        EXPECT_EQ(o.who, "MSAAdapter::rejectConnection");
        EXPECT_EQ(o.message, "Input stream may have data remaining");
        EXPECT_EQ(o.code, 4);
        EXPECT_EQ(o.written, row.answer) << row.raw;
        EXPECT_EQ(o.streamType, KVOGenericHTTPStreamBuf::NotEncoded);
        EXPECT_EQ(o.responseLength, 0);
        EXPECT_EQ(x.response.getPersistConnection(), x.request.getProtocolEnum() != 2);
        EXPECT_EQ(o.rest, row.rest) << "the rest of the body stays unread";
        EXPECT_EQ(o.bodyEnds, row.bodyEnds);
        EXPECT_EQ(bodyRecords(), std::vector<std::string>{row.record}) << row.raw;
        EXPECT_EQ(x.ownContext.registered(), 1) << "a refused body leaves the request registered";
        EXPECT_EQ(x.ownContext.deregistered(), 0);
    }
}

TEST_F(HTTPAdapterInputTest, LargestBodiesAccepted) {
    std::string const body(MAX_BYTES, 'x');
    Outcome byLength = Exchange(lengthBody("HTTP/1.1", body, MAX_BYTES)).run();
    EXPECT_FALSE(byLength.threw);
    EXPECT_EQ(byLength.body.size(), static_cast<std::size_t>(MAX_BYTES));

    // The same total in two chunks, then one byte more.
    std::string const half(MAX_BYTES / 2, 'y');
    std::string const chunks = "1900000\r\n" + half + "\r\n1900000\r\n" + half + "\r\n";
    Outcome chunked = Exchange(chunkedBody(chunks + "0\r\n\r\n")).run();
    EXPECT_FALSE(chunked.threw);
    EXPECT_EQ(chunked.body.size(), static_cast<std::size_t>(MAX_BYTES));
    Outcome over = Exchange(chunkedBody(chunks + "1\r\nz\r\n0\r\n\r\n")).run();
    EXPECT_TRUE(over.threw);
    EXPECT_EQ(over.rest, "z\r\n0\r\n\r\n");
    EXPECT_EQ(bodyRecords().back(),
              "1|Rejecting request that exceeds maximum supported size. Max = 52428800; Request = 52428801");
}

TEST_F(HTTPAdapterInputTest, ChunkedBodies) {
    struct Row {
        std::string chunks;
        std::string body;
        std::string rest;
    };
    Row const rows[] = {
        {"5\r\nhello\r\n6;name=value\r\n world\r\n0\r\n\r\n", "hello world", "\r\n"},
        {"5\r\nhello\r\n0\r\nX-Trailer: 1\r\n\r\n", "hello", "X-Trailer: 1\r\n\r\n"},
        {"5\r\nhe\0lo\r\n3\r\nabc\r\n0\r\n\r\n"s, "he", "\r\n"},   // cut at the zero byte
        {"zz\r\nhello\r\n", "", "hello\r\n"},                      // no hex digit: nothing
        {"\r\nhello", "", "hello"},
        {"5\r\nhello\r\n;5\r\nabc\r\n", "hello", "abc\r\n"},
        {"5\r\nhelloXY3\r\nabc\r\n0\r\n", "helloabc", ""},         // the line end after data is not looked at
        {"a\r\nhello", "hello", ""},                               // the stream ends inside a chunk
        {"5\r\nhello\r\n3", "hello", ""},                          // ... or inside a size line
        // An over-long size line is read 128 bytes at a time: "5;eee..." takes
        // five bytes of its own rest, and the run of e's left ends the body.
        {"5;" + std::string(200, 'e') + "\r\nhello\r\n", "eeeee", "hello\r\n"},
    };
    for (Row const& row : rows) {
        log.clear();
        Outcome o = Exchange(chunkedBody(row.chunks)).run();
        EXPECT_FALSE(o.threw) << row.chunks;
        EXPECT_EQ(o.body, row.body) << row.chunks;
        EXPECT_EQ(o.rest, row.rest) << row.chunks;
        EXPECT_EQ(o.written, "");
        EXPECT_EQ(o.bodyEnds, 0u);
        EXPECT_EQ(bodyRecords(), std::vector<std::string>{});
    }
}

// Chunk-size lines read as "%x" reads them, without overflow.
TEST_F(HTTPAdapterInputTest, ChunkSizeLines) {
    std::string const data = "hello\r\n0\r\n\r\n";
    for (char const* line : {"5", "  5", "\t+5", "0x5", "0X05", "+0x5", "00000000000000000005", "5 ; a=b", "5;",
                             "5\x01", "5\t",
                             "-fffffffb"}) {  // a negative size wraps modulo 2^32
        Outcome o = Exchange(chunkedBody(line + "\r\n"s + data)).run();
        EXPECT_EQ(o.body, "hello") << line;
    }
    // Sizes that end the body: none converted, zero, above 4294967293, or too
    // many digits for 32 bits (whatever the sign).
    for (char const* line : {"", "x5", "-", "+", "- 5", "0", "-0", "0x", "0xg5", "ffffffff", "FFFFFFFE", "-1", "-2",
                             "100000000", "-100000000", "123456789abcdef0123", "-fffffffff"}) {
        Outcome o = Exchange(chunkedBody(line + "\r\n"s + data)).run();
        EXPECT_FALSE(o.threw) << line;
        EXPECT_EQ(o.body, "") << line;
        EXPECT_EQ(o.rest, data) << line;
    }
    // Sizes read as chunks and refused by the total bound before any data.
    struct Row {
        char const* line;
        char const* requested;
    };
    for (Row row : {Row{"fffffffd", "4294967293"}, Row{"-3", "4294967293"}, Row{"fffffff0", "4294967280"},
                    Row{"3200001", "52428801"}}) {
        log.clear();
        Outcome o = Exchange(chunkedBody(row.line + "\r\n0123456789"s)).run();
        EXPECT_TRUE(o.threw) << row.line;
        EXPECT_EQ(o.rest, "0123456789");
        EXPECT_EQ(bodyRecords(),
                  std::vector<std::string>{
                      "1|Rejecting request that exceeds maximum supported size. Max = 52428800; Request = " +
                      std::string(row.requested)});
    }
}

// Against the C library itself, wherever its result is defined.
TEST_F(HTTPAdapterInputTest, ChunkSizeLinesReadAsSscanfReadsThem) {
    std::mt19937 random(11);
    std::string const alphabet = " \t\v+-0xXaF9g;";
    std::string const data(4096, 'd');
    for (int round = 0; round < 500; ++round) {
        std::string line;
        for (std::size_t n = random() % 7; n > 0; --n) line += alphabet[random() % alphabet.size()];
        unsigned value = 0;
        int converted = std::sscanf(line.c_str(), "%x", &value);
        Outcome o = Exchange(chunkedBody(line + "\r\n" + data)).run();
        if (converted != 1 || value == 0 || value > 4294967293u) {
            EXPECT_FALSE(o.threw) << line;
            EXPECT_EQ(o.body, "") << line;
        } else if (value > MAX_BYTES) {
            EXPECT_TRUE(o.threw) << line;
        } else {
            EXPECT_EQ(o.body, data.substr(0, value)) << line;
        }
    }
}

TEST_F(HTTPAdapterInputTest, AnnouncedSizesDoNotAllocate) {
    struct Row {
        std::string chunks;
        std::size_t bodySize;
    };
    Row const rows[] = {
        {"fffffff0\r\n0123456789", 0},          // refused: above the bound
        {"3000000\r\n0123456789", 10},          // 48 MiB announced, 10 bytes sent
        {"3000000\r\n" + std::string(100000, 'a'), 100000},
    };
    for (Row const& row : rows) {
        Exchange x(chunkedBody(row.chunks));
        g_largestAllocation = 0;
        g_trackAllocations = true;
        Outcome o = x.run();
        g_trackAllocations = false;
        EXPECT_EQ(o.body.size(), row.bodySize);
        EXPECT_LT(g_largestAllocation.load(), 4 * row.bodySize + 4096) << row.chunks.substr(0, 10);
    }
}

// What the chunked output stream writes, the chunked reader reads back.
TEST_F(HTTPAdapterInputTest, ReadsWhatTheChunkedOutputStreamWrites) {
    std::string body;
    for (int i = 0; i < 5000; ++i) body += static_cast<char>('a' + i % 26);
    KVOMemorySocket wire;
    {
        KVOGenericHTTPOStream out(wire, 100);
        out.setStreamType(KVOGenericHTTPStreamBuf::Chunked);
        out.writeHead("POST /cimom HTTP/1.1\r\n");
        for (std::size_t at = 0; at < body.size(); at += 37) out << body.substr(at, 37);
        out.setTrailer("CIMStatusCode", "0");
        out.endMessage();
    }
    Outcome o = Exchange(wire.output()).run();
    EXPECT_EQ(o.body, body);
    EXPECT_EQ(o.rest, "CIMStatusCode: 0\r\n\r\n");
}

// The state gate, after the request has been registered.
TEST_F(HTTPAdapterInputTest, StateGate) {
    struct Row {
        std::vector<State> states;  // the answers, in turn
        KVOMemorySocket::Peer peer;
        char const* trace;  // null: accepted
    };
    auto const remote = KVOMemorySocket::Remote;
    auto const loopback = KVOMemorySocket::Loopback;
    using Context = IKivoOperationHandlerContext;
    Row const rows[] = {
        {{Context::STARTED}, remote, nullptr},
        {{Context::INITIALIZING}, remote, NOT_STARTED},
        {{Context::STARTING}, remote, NOT_STARTED},
        {{Context::POST_STARTING}, remote, NOT_STARTED},
        {{Context::UNDEFINED}, remote, NOT_STARTED},
        {{Context::SHUTTING_DOWN}, remote, SHUTTING_DOWN},
        {{Context::SHUT_DOWN}, remote, SHUTTING_DOWN},
        {{Context::STARTED, Context::SHUTTING_DOWN}, remote, SHUTTING_DOWN},  // left STARTED between the reads
        {{Context::STARTING}, loopback, nullptr},
        {{Context::SHUT_DOWN}, loopback, nullptr},
    };
    for (Row const& row : rows) {
        log.clear();
        Exchange x(lengthBody("HTTP/1.1", "hello", 5), row.peer, row.states);
        Outcome o = x.run();
        std::vector<std::string> expectedEvents{"registerRequest", "getCurrentState"};
        std::vector<std::string> expectedTraces{"Request received"};
        if (row.peer == remote) expectedEvents.push_back("getCurrentState");
        if (row.trace) {
            expectedEvents.push_back("deRegisterRequest");
            expectedTraces.push_back(row.trace);
            EXPECT_TRUE(o.threw);
            EXPECT_EQ(o.who, "MSAAdapter::processInput");
            EXPECT_EQ(o.message, "The CIMOM is not fully initialized or shutting down.");
            EXPECT_EQ(o.code, 4);
            EXPECT_EQ(o.written, "") << "the gate does not answer";
            EXPECT_EQ(o.rest, "hello") << "nor read the body";
        } else {
            EXPECT_FALSE(o.threw);
            EXPECT_EQ(o.body, "hello");
        }
        EXPECT_EQ(x.ownContext.events(), expectedEvents) << row.states.front();
        EXPECT_EQ(o.streamType, KVOGenericHTTPStreamBuf::Chunked) << "framing is set before the gate";
        std::vector<std::string> traces;
        for (auto const& r : log.recordsFrom("HTTPAdapterInput")) {
            EXPECT_EQ(r.severity, KivoTraceLog::KIVO_TRACE);
            EXPECT_EQ(r.verbosity, 2);
            EXPECT_EQ(r.category, KVOLog::CIMOMLOG);
            traces.push_back(r.message.str());
        }
        EXPECT_EQ(traces, expectedTraces) << row.states.front();
        EXPECT_EQ(log.records().size(), traces.size());
    }
}

// Stream type and close option for every row of the policy, with the
// transfer-encoding setting read afresh for each request.
TEST_F(HTTPAdapterInputTest, ResponseFramingAndCloseOption) {
    int const unset = KVOSocket::CLOSE_OPTION_UNSET;
    auto const Full = KVOGenericHTTPStreamBuf::Full;
    auto const Chunked = KVOGenericHTTPStreamBuf::Chunked;
    auto const NotEncoded = KVOGenericHTTPStreamBuf::NotEncoded;
    struct Row {
        char const* version;
        std::optional<std::string> encoding;
        char const* fields;
        bool persist;
        Type initial;
        Type expected;
        int closeOption;
    };
    Row const rows[] = {
        {"HTTP/1.1", std::nullopt, "", false, NotEncoded, Chunked, unset},
        {"HTTP/1.1", "", "Connection: close\r\n", false, NotEncoded, Chunked, unset},
        {"HTTP/1.1", "Chunked", "", false, NotEncoded, Chunked, unset},
        {"HTTP/1.1", "chunked", "", false, NotEncoded, Chunked, unset},
        {"HTTP/1.1", "AUTO", "", false, NotEncoded, Chunked, unset},
        {"HTTP/1.1", "ConditionalChunked", "", false, NotEncoded, Full, 30},  // keep-alive by default
        {"HTTP/1.1", "ConditionalChunked", "Connection: close\r\n", false, Full, NotEncoded, 30},
        {"HTTP/1.1", "ConditionalChunked", "Connection: close\r\n", true, NotEncoded, Full, 30},
        {"HTTP/1.1", "conditionalCHUNKED", "TE: trailers\r\nContent-Length: 0\r\n", false, NotEncoded, Chunked, unset},
        {"HTTP/1.1", "ConditionalChunked", "Transfer-Encoding: identity\r\nContent-Length: 0\r\n", false, NotEncoded,
         Chunked, unset},
        {"HTTP/1.1", "identity", "TE: trailers\r\nContent-Length: 0\r\n", false, NotEncoded, Full, 30},
        {"HTTP/1.1", "Never", "Connection: close\r\n", false, Full, NotEncoded, 30},
        {"HTTP/1.1", "Never", "Connection: close\r\n", true, NotEncoded, Full, 30},
        {"HTTP/1.0", std::nullopt, "", false, Full, NotEncoded, 30},
        {"HTTP/1.0", "Chunked", "Connection: keep-alive\r\nTE: trailers\r\n", true, Chunked, NotEncoded, 30},
        {"HTTP/2.0", std::nullopt, "", true, Full, Full, unset},
        {"HTTP/0.9", "Chunked", "", false, Chunked, Chunked, unset},
    };
    for (Row const& row : rows) {
        setEncoding(row.encoding);
        Exchange x(post(row.version, row.fields, ""));
        x.ostr.setStreamType(row.initial);
        x.persist = row.persist;
        Outcome o = x.run();
        std::string const what = std::string(row.version) + " " + row.encoding.value_or("(missing)") + " " +
                                 row.fields + (row.persist ? " persist" : "");
        EXPECT_FALSE(o.threw) << what;
        EXPECT_EQ(o.streamType, row.expected) << what;
        EXPECT_EQ(o.closeOption, row.closeOption) << what;
    }
}

// Which reader takes the body: chunked only for HTTP/1.1 with a transfer-coding
// field and no positive length.
TEST_F(HTTPAdapterInputTest, ChunkedOrByLength) {
    std::string const chunks = "5\r\nhello\r\n0\r\n\r\n";
    struct Row {
        char const* version;
        char const* fields;
        std::string body;
    };
    Row const rows[] = {
        {"HTTP/1.1", "Transfer-Encoding: chunked\r\n", "hello"},
        {"HTTP/1.1", "Transfer-Encoding: identity\r\n", "hello"},
        {"HTTP/1.1", "TE: trailers\r\n", "hello"},
        {"HTTP/1.1", "Transfer-Encoding: chunked\r\nContent-Length: 0\r\n", "hello"},
        {"HTTP/1.1", "Transfer-Encoding: chunked\r\nContent-Length: 1x\r\n", "hello"},
        {"HTTP/1.1", "Transfer-Encoding: chunked\r\nContent-Length: 3\r\n", "5\r\n"},
        {"HTTP/1.1", "", ""},
        {"HTTP/1.0", "Transfer-Encoding: chunked\r\n", ""},
        {"HTTP/2.0", "Transfer-Encoding: chunked\r\n", ""},
    };
    for (Row const& row : rows) {
        Outcome o = Exchange(post(row.version, row.fields, chunks)).run();
        EXPECT_EQ(o.body, row.body) << row.version << " " << row.fields;
    }
}

// Every message gives the same outcome however its bytes arrive: whole, split
// at any offset, or one byte per receive.
TEST_F(HTTPAdapterInputTest, GrindEveryOffset) {
    std::string const messages[] = {
        lengthBody("HTTP/1.1", "<CIM>body</CIM>trailing", 15),
        lengthBody("HTTP/1.0", "short", 9),
        lengthBody("HTTP/1.1", "ab\0cd"s, 5),
        lengthBody("HTTP/1.1", "", MAX_BYTES + 1),
        chunkedBody("4\r\n<CIM\r\n7;ext=\"v\"\r\n>b</CIM\r\n1\r\n>\r\n0\r\nT: 1\r\n\r\n"),
        chunkedBody("3\r\na\0c\r\n2\r\nde\r\n0\r\n\r\n"s),
        chunkedBody("fffffff0\r\n0123456789"),
        chunkedBody("10\r\nonly part"),
    };
    for (std::string const& raw : messages) {
        Outcome const whole = Exchange(raw).run();
        Outcome const bytewise = Exchange(raw, KVOMemorySocket::Remote, {State::STARTED}, 1).run();
        EXPECT_EQ(bytewise, whole) << raw;
        for (std::size_t split = 1; split < raw.size(); ++split) {
            Outcome const o =
                Exchange(raw, KVOMemorySocket::Remote, {State::STARTED}, 0, split).run();
            ASSERT_EQ(o, whole) << "split at " << split << " of " << raw;
        }
    }
}

}  // namespace
