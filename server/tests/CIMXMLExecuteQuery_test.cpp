// The adapter's row-oriented query path with a fake row source: which
// requests take it, how rows and refusals are written, and that the producer
// is held back by the consumer and stopped when the client goes away.
#include "CIMXMLExecuteQuery.h"

#include "support/LogCapture.h"
#include "support/TestHandler.h"

#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPResponse.h"
#include "KivoUtilities/KVOMemorySocket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace cimxmlpa;

std::string body(std::string const& method, std::string const& params) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\" ?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
           "<MESSAGE ID=\"9\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"" +
           method +
           "\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>" + params +
           "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
}

std::string queryParams(std::string const& language, std::string const& query) {
    return "<IPARAMVALUE NAME=\"QueryLanguage\"><VALUE>" + language +
           "</VALUE></IPARAMVALUE><IPARAMVALUE NAME=\"Query\"><VALUE>" + query + "</VALUE></IPARAMVALUE>";
}

bool rowQuery(std::string const& method, std::string const& params) {
    CIMXMLRequest r;
    EXPECT_FALSE(r.parse(body(method, params)));
    return isRowQuery(r);
}

TEST(RowQuerySelection, ExecQueryWithASelectListTakesTheRowPath) {
    EXPECT_TRUE(rowQuery("ExecQuery", queryParams("WQL", "SELECT Name FROM C")));
    EXPECT_TRUE(rowQuery("execquery", queryParams("WQL", "  select\tName, Size from C")));
    EXPECT_FALSE(rowQuery("ExecQuery", queryParams("WQL", "SELECT * FROM C")));
    EXPECT_FALSE(rowQuery("ExecQuery", queryParams("WQL", " \n select  *  from C where A = 1")));
    EXPECT_FALSE(rowQuery("ExecQuery", queryParams("WQL", "SELECT*FROM C")));
    // Malformed queries and other languages take it too: the row source answers them.
    EXPECT_TRUE(rowQuery("ExecQuery", queryParams("WQL", "")));
    EXPECT_TRUE(rowQuery("ExecQuery", queryParams("XPath", "/a/b")));
    EXPECT_TRUE(rowQuery("ExecQuery", queryParams("WQL", "SELECT")));
    EXPECT_FALSE(rowQuery("ExecQuery", "<IPARAMVALUE NAME=\"QueryLanguage\"><VALUE>WQL</VALUE></IPARAMVALUE>"));
    EXPECT_FALSE(rowQuery("EnumerateInstances", queryParams("WQL", "SELECT Name FROM C")));
}

// A socket that fails every send after the first `sends`.
class FailingSocket : public KVOMemorySocket {
public:
    explicit FailingSocket(int sends) : _left(sends) {}
    void send(char const* src, std::size_t n) override {
        if (_left-- <= 0) throw std::runtime_error("peer gone");
        KVOMemorySocket::send(src, n);
    }

private:
    int _left;
};

struct Source {
    std::vector<std::string> calls;
    std::vector<qora::QueryRow> rows;
    std::atomic<unsigned> produced{0};
    unsigned endless = 0;  // rows to make on demand instead of `rows`
    int failAfter = -1;    // raise CIM_ERR_FAILED once this many rows were taken
};

qora::QueryRow row(char const* name, std::uint64_t size) {
    qora::QueryRow r(new KVOValSlist<KVOSmrPtr<IKivoProperty>>());
    r->append(KVOSmrPtr<IKivoProperty>(new CKivoProperty("Name", KVOCIMType::String, false, CKivoValue::makeString(name))));
    r->append(KVOSmrPtr<IKivoProperty>(
        new CKivoProperty("Size", KVOCIMType::UInt64, false, size ? CKivoValue::makeUnsigned(KVOCIMType::UInt64, size) : nullptr)));
    return r;
}

class RowQueryPath : public ::testing::Test {
protected:
    RowQueryPath() {
        setQueryRowSource([this](KVOString const& ns, KVOString const& language, KVOString const& query) {
            source.calls.push_back(ns.str() + "|" + language.str() + "|" + query.str());
            if (language == "XPath") throw KivoBaseException("CIMException", "test", "", "query language XPath is not supported", 14);
            QueryRowSet set;
            set.className = "Test_Disk";
            set.columns = {"Name", "Size"};
            set.rows = [this](std::function<bool(qora::QueryRow const&)> const& out) {
                if (source.endless) {
                    for (unsigned i = 0; i < source.endless; ++i) {
                        ++source.produced;
                        if (!out(row("x", i + 1))) return;
                    }
                    return;
                }
                for (qora::QueryRow const& r : source.rows) {
                    if (static_cast<int>(source.produced) == source.failAfter)
                        throw KivoBaseException("CIMException", "test", "", "provider broke", 1);
                    ++source.produced;
                    if (!out(r)) return;
                }
            };
            return set;
        });
    }
    ~RowQueryPath() override { setQueryRowSource({}); }

    // Processes the query and answers the response body.
    std::string run(std::string const& params, KVOMemorySocket& socket, unsigned bound = 1000) {
        CIMXMLRequest request;
        EXPECT_FALSE(request.parse(body("ExecQuery", params)));
        KVOGenericHTTPOStream ostr(socket, 256);
        ostr.setStreamType(KVOGenericHTTPOStream::StreamType::Chunked);
        KVOHTTPResponse response;
        CIMXMLDataWriter writer("h", request.nameSpace(), &ctx, false);
        ResponseChannel channel(response, ostr, request.messageId(), request.methodName(), true, writer);
        KVOSmrPtr<KivoOperationBase> op = buildExecuteQuery(request, channel, &ctx, OperationSettings{bound, {}});
        op->process(ostr, op);
        status = op->getErrorCode();
        std::string const& raw = socket.output();
        std::size_t const from = raw.find("<IMETHODRESPONSE");
        std::size_t const to = raw.find("</IMETHODRESPONSE>");
        return from == std::string::npos || to == std::string::npos ? raw : dechunk(raw.substr(from, to - from));
    }
    std::string run(std::string const& params) {
        KVOMemorySocket socket;
        return run(params, socket);
    }

    // Removes chunk-size lines that fall inside the piece (the stream sends
    // 256-byte chunks here).
    static std::string dechunk(std::string s) {
        std::size_t p;
        while ((p = s.find("\r\n")) != std::string::npos) {
            std::size_t e = s.find("\r\n", p + 2);
            s.erase(p, (e == std::string::npos ? s.size() : e + 2) - p);
        }
        return s;
    }

    kivo_test::LogCapture log;
    kivo_test::TestHandlerContext ctx;
    Source source;
    int status = -1;
};

TEST_F(RowQueryPath, RowsAreInstancesOfTheFromClassWithTheSelectedProperties) {
    source.rows = {row("a", 5), row("b & c", 0)};
    std::string const out = run(queryParams("WQL", "SELECT Name, Size FROM Test_Disk"));
    EXPECT_EQ(source.calls, (std::vector<std::string>{"root/cimv2|WQL|SELECT Name, Size FROM Test_Disk"}));
    EXPECT_EQ(out,
              "<IMETHODRESPONSE NAME=\"ExecQuery\"><IRETURNVALUE>"
              "<VALUE.OBJECT><INSTANCE CLASSNAME=\"Test_Disk\">"
              "<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>a</VALUE></PROPERTY>"
              "<PROPERTY NAME=\"Size\" TYPE=\"uint64\"><VALUE>5</VALUE></PROPERTY>"
              "</INSTANCE></VALUE.OBJECT>"
              "<VALUE.OBJECT><INSTANCE CLASSNAME=\"Test_Disk\">"
              "<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>b &amp; c</VALUE></PROPERTY>"
              "<PROPERTY NAME=\"Size\" TYPE=\"uint64\"></PROPERTY>"
              "</INSTANCE></VALUE.OBJECT>"
              "</IRETURNVALUE>");
    EXPECT_EQ(status, 0);

    source.calls.clear();
    source.rows.clear();
    EXPECT_EQ(run(queryParams("WQL", "SELECT Name FROM Test_Disk WHERE Size &gt; 1")),
              "<IMETHODRESPONSE NAME=\"ExecQuery\"><IRETURNVALUE></IRETURNVALUE>");
    EXPECT_EQ(source.calls, (std::vector<std::string>{"root/cimv2|WQL|SELECT Name FROM Test_Disk WHERE Size > 1"}));
}

TEST_F(RowQueryPath, RefusalsAreTheOperationsStatusWithTheSourcesMessage) {
    EXPECT_EQ(run(queryParams("XPath", "/x")),
              "<IMETHODRESPONSE NAME=\"ExecQuery\"><ERROR CODE=\"14\" "
              "DESCRIPTION=\"query language XPath is not supported\"/>");
    EXPECT_EQ(status, 14);

    // A missing parameter: the source is not asked.
    source.calls.clear();
    std::string const out = run("<IPARAMVALUE NAME=\"Query\"><VALUE>SELECT A FROM B</VALUE></IPARAMVALUE>");
    EXPECT_NE(out.find("<ERROR CODE=\"4\""), std::string::npos) << out;
    EXPECT_TRUE(source.calls.empty());

    setQueryRowSource({});
    EXPECT_NE(run(queryParams("WQL", "SELECT A FROM B")).find("<ERROR CODE=\"7\""), std::string::npos);
}

TEST_F(RowQueryPath, AProducerFailureBeforeTheFirstRowIsTheStatusAfterItTheRowsStand) {
    source.rows = {row("a", 1), row("b", 2), row("c", 3)};
    source.failAfter = 0;
    EXPECT_NE(run(queryParams("WQL", "SELECT Name FROM T")).find("<ERROR CODE=\"1\""), std::string::npos);
    EXPECT_EQ(status, 1);

    source.produced = 0;
    source.failAfter = 2;
    std::string const out = run(queryParams("WQL", "SELECT Name FROM T"));
    EXPECT_EQ(out.find("<ERROR"), std::string::npos);
    EXPECT_NE(out.find("<VALUE>b</VALUE>"), std::string::npos);
    EXPECT_EQ(out.find("<VALUE>c</VALUE>"), std::string::npos);
}

TEST_F(RowQueryPath, TheProducerRunsAtMostTheBoundAheadAndStopsWhenTheClientGoes) {
    source.endless = 1000000;
    FailingSocket socket(3);
    EXPECT_ANY_THROW(run(queryParams("WQL", "SELECT Name FROM T"), socket, 4));
    // Some rows went out in the sends that worked; the producer was held
    // within the bound of them and then told to stop.
    unsigned const written = static_cast<unsigned>(socket.output().size() / 100) + 2;
    EXPECT_LT(source.produced.load(), written + 4 + 1);

    // Without failure every row arrives, however small the bound.
    source.endless = 500;
    source.produced = 0;
    KVOMemorySocket ok;
    std::string const out = run(queryParams("WQL", "SELECT Name FROM T"), ok, 1);
    std::size_t rows = 0;
    for (std::size_t p = out.find("<VALUE.OBJECT>"); p != std::string::npos; p = out.find("<VALUE.OBJECT>", p + 1)) ++rows;
    EXPECT_EQ(rows, 500u);
    EXPECT_EQ(source.produced.load(), 500u);
}

}  // namespace
