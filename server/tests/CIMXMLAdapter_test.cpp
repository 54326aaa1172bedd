#include "CIMXMLAdapter.h"

#include "support/TestHandler.h"

#include "Cimom/ProtocolAdapter/KivoCreateClassOperation.h"
#include "Cimom/ProtocolAdapter/KivoDeleteClassOperation.h"
#include "Cimom/ProtocolAdapter/KivoDeleteQualifierOperation.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateInstancesOperation.h"
#include "Cimom/ProtocolAdapter/KivoGetClassOperation.h"
#include "Cimom/ProtocolAdapter/KivoGetInstanceOperation.h"
#include "Cimom/ProtocolAdapter/KivoModifyClassOperation.h"
#include "Cimom/ProtocolAdapter/KivoSetQualifierOperation.h"
#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOHTTPRequest.h"
#include "KivoUtilities/KVOMemorySocket.h"
#include "KivoUtilities/QORAConfigManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <map>
#include <memory>
#include <thread>
#include <vector>

namespace {

using cimxmlpa::CIMXMLAdapter;

// The parts of a response the tests look at.
struct Answer {
    bool keepAlive = false;
    int status = 0;
    std::map<std::string, std::string> headers;
    std::map<std::string, std::string> trailers;
    std::string body;
    std::string raw;
};

// Splits the bytes written into status, header fields, (de-chunked) body and trailers.
Answer decode(std::string const& raw) {
    Answer a;
    a.raw = raw;
    std::size_t end = raw.find("\r\n\r\n");
    if (end == std::string::npos) return a;
    std::string head = raw.substr(0, end);
    a.status = std::atoi(head.c_str() + head.find(' ') + 1);
    std::size_t pos = head.find("\r\n");
    while (pos != std::string::npos) {
        std::size_t next = head.find("\r\n", pos + 2);
        std::string line = head.substr(pos + 2, next == std::string::npos ? std::string::npos : next - pos - 2);
        std::size_t colon = line.find(':');
        if (colon != std::string::npos) a.headers[line.substr(0, colon)] = line.substr(colon + 2);
        pos = next;
    }
    std::string rest = raw.substr(end + 4);
    auto te = a.headers.find("Transfer-Encoding");
    if (te == a.headers.end() || te->second != "chunked") {
        a.body = rest;
        return a;
    }
    std::size_t p = 0;
    for (;;) {
        std::size_t eol = rest.find("\r\n", p);
        std::size_t size = std::strtoul(rest.c_str() + p, nullptr, 16);
        p = eol + 2;
        if (size == 0) break;
        a.body += rest.substr(p, size);
        p += size + 2;
    }
    while (p < rest.size()) {
        std::size_t eol = rest.find("\r\n", p);
        std::string line = rest.substr(p, eol - p);
        p = eol + 2;
        if (line.empty()) break;
        std::size_t colon = line.find(':');
        a.trailers[line.substr(0, colon)] = line.substr(colon + 2);
    }
    return a;
}

std::string request(std::string const& method, std::string const& params, std::string const& extraHeaders = "",
                    std::string const& protocol = "HTTP/1.1") {
    std::string body = "<?xml version=\"1.0\" encoding=\"utf-8\" ?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
                       "<MESSAGE ID=\"77\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"" +
                       method +
                       "\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
                       "</LOCALNAMESPACEPATH>" +
                       params + "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
    return "POST /cimom " + protocol + "\r\nHost: h:5988\r\nCIMOperation: MethodCall\r\nCIMMethod: " + method +
           "\r\nCIMObject: root%2Fcimv2\r\n" + extraHeaders + "Content-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

std::string const kClassName = "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"X\"/></IPARAMVALUE>";

// A handler that answers GetClass, GetInstance (always failing) and
// EnumerateInstances (from a producer thread), and records what it was given.
class ScriptedHandler : public kivo_test::RecordingHandler {
public:
    ~ScriptedHandler() override { joinProducers(); }

    void joinProducers() {
        for (std::thread& t : producers) t.join();
        producers.clear();
    }

    void handleGetClass(KVOSmrPtr<IKivoGetClassOperation> const& op) override {
        record("handleGetClass", op.get());
        localOnly = op->getLocalOnly();
        includeQualifiers = op->getIncludeQualifiers();
        classOrigin = op->getClassOrigin();
        propertyList = op->getPropertyList();
        className = op->getClassName().str();
        nameSpace = op->getNameSpace().str();
        if (auto info = op->getClientInfo()) loopback = info->isLoopback();
        KVOSmrPtr<qora::security::ISecurityToken> token = op->getAuthorization();
        user = token ? token->getUserName().str() : "<no token>";
        op->setClass(KVOSmrPtr<IKivoClass>(new CKivoClass("X", nullptr, {"A"})));
    }

    void handleGetInstance(KVOSmrPtr<IKivoGetInstanceOperation> const& op) override {
        record("handleGetInstance", op.get());
        throw KivoBaseException("CIMException", "", "", "gone", 6);
    }

    void handleEnumerateInstances(KVOSmrPtr<IKivoEnumerateInstancesOperation> const& op) override {
        record("handleEnumerateInstances", op.get());
        KVOSmrPtr<qora::IMultiResponse<KVOSmrPtr<IKivoObject>>> writer = op->getResponse();
        op->allowComplete();
        int const n = instances;
        producers.emplace_back([this, writer, n]() mutable {
            for (int i = 0; i < n; ++i) {
                KVOValSlist<KVOSmrPtr<IKivoProperty>> props;
                props.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty("I", CKivoValue::makeString(KVOString::itoa(i)))));
                if (!writer->add(KVOSmrPtr<IKivoObject>(new CKivoObject("X", props)), false)) break;
            }
            writer->Close();
            writer = nullptr;
            producerDone.set_value();
        });
    }

    // The schema operations: what each received, in one line.
    static std::string text(KVOSmrPtr<IKivoValue> const& v) { return v ? v->toString().str() : "NULL"; }
    static std::string line(std::vector<KVOSmrPtr<IKivoQualifier>> const& qs) {
        std::string out;
        for (auto const& q : qs) {
            KVOQualifierFlavors const f = q->getFlavors();
            out += " [" + q->getName().str() + ":" + KVOCIMTypes::name(q->getCIMType()).str() + "=" + text(q->getValue()) +
                   (f.overridable ? "" : " disable") + (f.toSubclass ? "" : " restricted") + (f.translatable ? " tr" : "") +
                   (q->isPropagated() ? " propagated" : "") + "]";
        }
        return out;
    }
    static std::string line(IKivoClass const& c) {
        std::string out = c.getName().str() + ":" + c.getSuperClassName().str() + line(c.getQualifiers());
        for (auto const& p : c.getProperties())
            out += "; " + KVOCIMTypes::name(p->getCIMType()).str() + (p->isArray() ? "[" + std::to_string(p->getArraySize()) + "]" : "") +
                   " " + p->getName().str() + (p->getReferenceClass().isEmpty() ? "" : " to " + p->getReferenceClass().str()) +
                   "=" + text(p->getValue()) + (p->isPropagated() ? " propagated" : "") + line(p->getQualifiers());
        for (auto const& m : c.getMethods()) {
            out += "; " + KVOCIMTypes::name(m->getReturnType()).str() + " " + m->getName().str() + "(" + line(m->getQualifiers());
            for (auto const& a : m->getParameters())
                out += " " + KVOCIMTypes::name(a->getCIMType()).str() + (a->isArray() ? "[]" : "") + " " + a->getName().str() +
                       line(a->getQualifiers());
            out += ")";
        }
        return out;
    }
    void handleCreateClass(KVOSmrPtr<IKivoCreateClassOperation> const& op) override {
        record("handleCreateClass", op.get());
        schema = op->getClassName().str() + " <- " + line(*op->getClass());
    }
    void handleModifyClass(KVOSmrPtr<IKivoModifyClassOperation> const& op) override {
        record("handleModifyClass", op.get());
        schema = op->getClassName().str() + " <- " + line(*op->getClass());
    }
    void handleDeleteClass(KVOSmrPtr<IKivoDeleteClassOperation> const& op) override {
        record("handleDeleteClass", op.get());
        schema = op->getClassName().str();
    }
    void handleSetQualifier(KVOSmrPtr<IKivoSetQualifierOperation> const& op) override {
        record("handleSetQualifier", op.get());
        auto const d = op->getQualifierDef();
        KVOQualifierFlavors const f = d->getFlavors();
        schema = d->getName().str() + ":" + KVOCIMTypes::name(d->getCIMType()).str() + (d->isArray() ? "[]" : "") + "=" +
                 text(d->getDefault()) + " scopes " + std::to_string(d->getScopes()) + (f.overridable ? "" : " disable") +
                 (f.toSubclass ? "" : " restricted") + (f.translatable ? " tr" : "");
    }
    void handleDeleteQualifier(KVOSmrPtr<IKivoDeleteQualifierOperation> const& op) override {
        record("handleDeleteQualifier", op.get());
        schema = op->getQualifierName().str();
        if (schema == "InUse") throw KivoBaseException("CIMException", "", "", "qualifier InUse is used by class A", 1);
    }
    std::string schema;

    int instances = 25;
    std::promise<void> producerDone;
    std::vector<std::thread> producers;
    bool localOnly = false, includeQualifiers = false, classOrigin = true, loopback = false;
    KVOSmrPtr<KVOValSlist<KVOString>> propertyList;
    std::string className, nameSpace, user;
};

// A socket whose sends fail once `limit` bytes have gone out: a client that
// went away in the middle of the response.
class VanishingClient : public KVOMemorySocket {
public:
    VanishingClient(std::string input, std::size_t limit) : KVOMemorySocket(std::move(input), Loopback), _limit(limit) {}
    void send(char const* src, std::size_t n) override {
        if (output().size() + n > _limit) throw KVOHTTPException("VanishingClient", "Broken pipe", 0);
        KVOMemorySocket::send(src, n);
    }

private:
    std::size_t _limit;
};

class CIMXMLAdapterTest : public ::testing::Test {
protected:
    void SetUp() override {
        context.setHandler(&handler);
        QORAConfigManager::getInstance()->removeValue("QORA", "HTTPTransferEncoding");
    }
    void TearDown() override { QORAConfigManager::getInstance()->removeValue("QORA", "HTTPTransferEncoding"); }

    Answer run(std::string const& raw, KVOMemorySocket::Peer peer = KVOMemorySocket::Loopback,
               char const* principal = "") {
        KVOMemorySocket sock(raw, peer);
        return run(sock, principal);
    }

    Answer run(KVOMemorySocket& sock, char const* principal = "") {
        KVOGenericHTTPIStream istr(sock);
        KVOGenericHTTPOStream ostr(sock);
        KVOHTTPRequest head;
        EXPECT_TRUE(head.readFrom(istr));
        bool keep = adapter.processRequest(head, istr, ostr, {"127.0.0.1", "5988", "127.0.0.1", "40000", principal});
        Answer a = decode(sock.output());
        a.keepAlive = keep;
        return a;
    }

    void expectBalanced() {
        EXPECT_GT(context.registered(), 0);
        EXPECT_EQ(context.registered(), context.deregistered());
    }

    kivo_test::TestHandlerContext context;
    ScriptedHandler handler;
    CIMXMLAdapter::Options options = [] {
        CIMXMLAdapter::Options o;
        o.operations.streamBound = 4;
        return o;
    }();
    CIMXMLAdapter adapter{context, options};
};

TEST_F(CIMXMLAdapterTest, RequestsItCannotServeNeverReachTheHandlerAndAreDeregistered) {
    std::string const ok = request("GetClass", kClassName);
    auto without = [&](std::string const& field) {
        std::string r = ok;
        std::size_t at = r.find(field + ":");
        return r.erase(at, r.find("\r\n", at) + 2 - at);
    };
    struct Case {
        char const* name;
        std::string raw;
        int status;
        char const* cimError;
    };
    std::vector<Case> const cases = {
        {"no CIMOperation", without("CIMOperation"), 400, "unsupported-operation"},
        {"no CIMMethod", without("CIMMethod"), 400, "header-mismatch"},
        {"no CIMObject", without("CIMObject"), 400, "header-mismatch"},
        {"CIMBatch", request("GetClass", kClassName, "CIMBatch: x\r\n"), 501, "multiple-requests-unsupported"},
        {"CIMProtocolVersion 2", request("GetClass", kClassName, "CIMProtocolVersion: 2.1\r\n"), 501,
         "unsupported-protocol-version"},
        {"malformed body", ok.substr(0, ok.size() - 5), 0, ""},  // short body: the intake answers 400 itself
        {"M-POST", "M-POST /cimom HTTP/1.1\r\nContent-Length: 0\r\n\r\n", 501, ""},
        {"oversize", "POST /cimom HTTP/1.1\r\nContent-Length: 52428801\r\n\r\n", 413, ""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        int const registered = context.registered();
        Answer ans = run(c.raw);
        if (c.status != 0) {
            EXPECT_EQ(ans.status, c.status);
            EXPECT_EQ(ans.headers["CIMError"], c.cimError);
        } else {
            EXPECT_EQ(ans.status, 400);
        }
        EXPECT_EQ(ans.body, "");
        EXPECT_EQ(context.registered(), registered + 1);
        EXPECT_EQ(context.deregistered(), registered + 1);
    }
    EXPECT_TRUE(handler.entries().empty());
}

TEST_F(CIMXMLAdapterTest, ARemoteRequestRefusedByTheStateGateGetsNoAnswerAndIsDeregisteredOnce) {
    context.setState(IKivoOperationHandlerContext::STARTING);
    Answer a = run(request("GetClass", kClassName), KVOMemorySocket::Remote);
    EXPECT_EQ(a.raw, "");
    EXPECT_FALSE(a.keepAlive);
    EXPECT_EQ(context.registered(), 1);
    EXPECT_EQ(context.deregistered(), 1);
    EXPECT_TRUE(handler.entries().empty());
}

TEST_F(CIMXMLAdapterTest, GivesTheHandlerTheParametersWithDSP0200Defaults) {
    Answer a = run(request("GetClass", kClassName));
    EXPECT_EQ(a.status, 200);
    EXPECT_TRUE(a.keepAlive);
    EXPECT_TRUE(handler.localOnly);
    EXPECT_TRUE(handler.includeQualifiers);
    EXPECT_FALSE(handler.classOrigin);
    EXPECT_FALSE(handler.propertyList);
    EXPECT_EQ(handler.className, "X");
    EXPECT_EQ(handler.nameSpace, "root/cimv2");
    EXPECT_TRUE(handler.loopback);
    EXPECT_NE(a.body.find("<IMETHODRESPONSE NAME=\"GetClass\"><IRETURNVALUE><CLASS NAME=\"X\">"), std::string::npos);
    EXPECT_NE(a.body.find("<MESSAGE ID=\"77\""), std::string::npos);
    expectBalanced();

    run(request("GetClass", kClassName +
                                "<IPARAMVALUE NAME=\"localonly\"><VALUE>false</VALUE></IPARAMVALUE>"
                                "<IPARAMVALUE NAME=\"IncludeQualifiers\"><VALUE>FALSE</VALUE></IPARAMVALUE>"
                                "<IPARAMVALUE NAME=\"IncludeClassOrigin\"><VALUE>TRUE</VALUE></IPARAMVALUE>"
                                "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>A</VALUE><VALUE>B</VALUE>"
                                "</VALUE.ARRAY></IPARAMVALUE>"));
    EXPECT_FALSE(handler.localOnly);
    EXPECT_FALSE(handler.includeQualifiers);
    EXPECT_TRUE(handler.classOrigin);
    ASSERT_TRUE(handler.propertyList);
    EXPECT_EQ(handler.propertyList->entries(), 2u);
}

TEST_F(CIMXMLAdapterTest, AParameterProblemIsAnsweredWithoutTheHandler) {
    Answer a = run(request("GetClass", kClassName + kClassName));
    EXPECT_EQ(a.status, 200);
    EXPECT_NE(a.body.find("<ERROR CODE=\"4\" DESCRIPTION=\"parameter ClassName given twice\"/>"),
              std::string::npos)
        << a.body;
    EXPECT_TRUE(handler.entries().empty());
    expectBalanced();
}

TEST_F(CIMXMLAdapterTest, AThrowingHandlerBecomesAnERROR) {
    Answer a = run(request("GetInstance", "<IPARAMVALUE NAME=\"InstanceName\"><INSTANCENAME CLASSNAME=\"X\">"
                                          "</INSTANCENAME></IPARAMVALUE>"));
    EXPECT_EQ(a.status, 200);
    EXPECT_NE(a.body.find("<ERROR CODE=\"6\" DESCRIPTION=\"CIM_ERR_NOT_FOUND\"/>"), std::string::npos) << a.body;
    EXPECT_EQ(a.trailers["CIMStatusCode"], "6");
    EXPECT_EQ(a.trailers["CIMStatusCodeDescription"], "CIM_ERR_NOT_FOUND");
    expectBalanced();
}

TEST_F(CIMXMLAdapterTest, StreamsWhatProducersAddOnEveryFraming) {
    struct Case {
        char const* name;
        char const* encoding;  // HTTPTransferEncoding, null: absent
        std::string protocol;
        bool chunked;
        bool keepAlive;
    };
    std::vector<Case> const cases = {
        {"default: chunked", nullptr, "HTTP/1.1", true, true},
        // Without chunks a stream of results is not held whole to learn its
        // length: it goes out as it comes, and the close ends it.
        {"unchunked HTTP/1.1: streamed, then closed", "Identity", "HTTP/1.1", false, false},
        {"HTTP/1.0: streamed, then closed", nullptr, "HTTP/1.0", false, false},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.encoding != nullptr) QORAConfigManager::getInstance()->setValue("QORA", "HTTPTransferEncoding", c.encoding);
        handler.joinProducers();  // the previous round's producer is done with its promise
        handler.instances = 25;
        handler.producerDone = std::promise<void>();
        Answer a = run(request("EnumerateInstances", kClassName, "", c.protocol));
        EXPECT_EQ(a.status, 200);
        EXPECT_EQ(a.keepAlive, c.keepAlive);
        EXPECT_EQ(a.headers.count("Transfer-Encoding") == 1, c.chunked);
        if (c.chunked) {
            EXPECT_EQ(a.headers["Trailer"], "CIMStatusCode, CIMStatusCodeDescription, CIMError");
            EXPECT_EQ(a.trailers["CIMStatusCode"], "0");
        } else {
            EXPECT_EQ(a.headers.count("Content-Length"), 0u);
            EXPECT_EQ(a.headers["Connection"], "close");
        }
        std::size_t n = 0;
        for (std::size_t p = a.body.find("<VALUE.NAMEDINSTANCE>"); p != std::string::npos;
             p = a.body.find("<VALUE.NAMEDINSTANCE>", p + 1)) {
            ++n;
        }
        EXPECT_EQ(n, 25u);
        EXPECT_NE(a.body.find("<PROPERTY NAME=\"I\" TYPE=\"string\"><VALUE>24</VALUE></PROPERTY>"), std::string::npos);
        QORAConfigManager::getInstance()->removeValue("QORA", "HTTPTransferEncoding");
    }
    expectBalanced();
}

TEST_F(CIMXMLAdapterTest, AClientThatGoesAwayMidResponseReleasesTheProducers) {
    handler.instances = 100000;  // far more than the bound of 4 lets wait
    std::future<void> done = handler.producerDone.get_future();
    VanishingClient sock(request("EnumerateInstances", kClassName), 3000);
    Answer a = run(sock);
    EXPECT_FALSE(a.keepAlive);
    ASSERT_EQ(done.wait_for(std::chrono::seconds(60)), std::future_status::ready)
        << "the producer is still blocked on the full collection";
    expectBalanced();
}

TEST_F(CIMXMLAdapterTest, AChunkedRequestClosesTheConnectionAfterItsAnswer) {
    std::string const full = request("GetClass", kClassName);
    std::string const head = full.substr(0, full.find("Content-Length:")) + "Transfer-Encoding: chunked\r\n\r\n";
    std::string const body = full.substr(full.find("\r\n\r\n") + 4);
    char size[16];
    std::snprintf(size, sizeof size, "%zx", body.size());
    Answer ok = run(head + size + "\r\n" + body + "\r\n0\r\n\r\n");
    EXPECT_EQ(ok.status, 200);
    EXPECT_EQ(ok.headers["Connection"], "close");
    EXPECT_FALSE(ok.keepAlive);
    // A size line that does not parse ends the body: the request behind it
    // must not be read as the next one.
    Answer bad = run(head + "zz\r\n" + full);
    EXPECT_EQ(bad.status, 400);
    EXPECT_FALSE(bad.keepAlive);
    // Transfer-Encoding beside a positive Content-Length: read by length,
    // answered, and the connection closes all the same.
    Answer both = run(full.substr(0, full.find("Content-Length:")) + "Transfer-Encoding: chunked\r\n" +
                      full.substr(full.find("Content-Length:")));
    EXPECT_EQ(both.status, 200);
    EXPECT_EQ(both.headers["Connection"], "close");
    EXPECT_FALSE(both.keepAlive);
}

TEST_F(CIMXMLAdapterTest, TheFrontEndsPrincipalBecomesTheOperationsToken) {
    // The front end authenticates; the adapter never reads credentials itself.
    Answer anonymous = run(request("GetClass", kClassName, "Authorization: Basic YWxpY2U6c2VjcmV0\r\n"));
    EXPECT_EQ(anonymous.status, 200);
    EXPECT_EQ(handler.user, "<no token>");
    run(request("GetClass", kClassName), KVOMemorySocket::Loopback, "alice");
    EXPECT_EQ(handler.user, "alice");
}
TEST_F(CIMXMLAdapterTest, SchemaRequestsReachTheirHandlerWithWhatTheyCarry) {
    auto in = [](char const* name, std::string const& content) {
        return std::string("<IPARAMVALUE NAME=\"") + name + "\">" + content + "</IPARAMVALUE>";
    };
    std::string const key = "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\" OVERRIDABLE=\"false\"><VALUE>TRUE</VALUE></QUALIFIER>";
    std::string const cls =
        "<CLASS NAME=\"T_Disk\" SUPERCLASS=\"T_Dev\"><QUALIFIER NAME=\"Description\" TYPE=\"string\" TRANSLATABLE=\"true\">"
        "<VALUE>a &lt;disk&gt;</VALUE></QUALIFIER><PROPERTY NAME=\"Id\" TYPE=\"string\" PROPAGATED=\"true\">" + key +
        "</PROPERTY><PROPERTY.ARRAY NAME=\"Sizes\" TYPE=\"uint64\" ARRAYSIZE=\"2\"><VALUE.ARRAY><VALUE>1</VALUE>"
        "<VALUE>0x10</VALUE></VALUE.ARRAY></PROPERTY.ARRAY><PROPERTY.REFERENCE NAME=\"Host\" REFERENCECLASS=\"T_Sys\"/>"
        "<PROPERTY NAME=\"Doc\" TYPE=\"string\" EmbeddedObject=\"instance\"/>"
        "<METHOD NAME=\"Grow\" TYPE=\"uint32\"><PARAMETER NAME=\"By\" TYPE=\"sint8\">"
        "<QUALIFIER NAME=\"IN\" TYPE=\"boolean\"><VALUE>true</VALUE></QUALIFIER></PARAMETER>"
        "<PARAMETER.REFERENCE NAME=\"To\" REFERENCECLASS=\"T_Sys\"/><PARAMETER.ARRAY NAME=\"L\" TYPE=\"string\"/></METHOD></CLASS>";
    std::string const got =
        "T_Disk <- T_Disk:T_Dev [Description:string=a <disk> tr]; string Id=NULL propagated [Key:boolean=TRUE disable]; "
        "uint64[2] Sizes=1,16; reference Host to T_Sys=NULL; instance Doc=NULL; uint32 Grow( sint8 By [IN:boolean=TRUE] "
        "reference To string[] L)";
    std::string const qualifier =
        "<QUALIFIER.DECLARATION NAME=\"Units\" TYPE=\"string\" ISARRAY=\"true\" OVERRIDABLE=\"false\" TOSUBCLASS=\"false\">"
        "<SCOPE PROPERTY=\"true\" METHOD=\"true\"/><VALUE.ARRAY><VALUE>B</VALUE></VALUE.ARRAY></QUALIFIER.DECLARATION>";
    struct Case {
        char const* method;
        std::string params;
        char const* entry;        // the handler entry, or null when refused before it
        std::string received;     // what the handler saw, or the ERROR the answer carries
    };
    std::vector<Case> const cases = {
        {"CreateClass", in("NewClass", cls), "handleCreateClass", got},
        {"ModifyClass", in("ModifiedClass", cls), "handleModifyClass", got},
        {"DeleteClass", in("ClassName", "<CLASSNAME NAME=\"T_Disk\"/>"), "handleDeleteClass", "T_Disk"},
        {"SetQualifier", in("QualifierDeclaration", qualifier), "handleSetQualifier",
         "Units:string[]=B scopes 40 disable restricted"},
        {"DeleteQualifier", in("QualifierName", "<VALUE>Units</VALUE>"), "handleDeleteQualifier", "Units"},
        {"DeleteQualifier", in("QualifierName", "<VALUE>InUse</VALUE>"), "handleDeleteQualifier",
         "<ERROR CODE=\"1\" DESCRIPTION=\"CIM_ERR_FAILED\"/>"},
        {"CreateClass", in("NewClass", cls + cls), nullptr, "NewClass must hold one CLASS"},
        {"CreateClass", in("NewClass", "<INSTANCE CLASSNAME=\"T\"/>"), nullptr, "expected CLASS, found INSTANCE"},
        {"CreateClass", in("NewClass", "<CLASS NAME=\"T\"><PROPERTY NAME=\"P\" TYPE=\"uint8\"><VALUE>300</VALUE></PROPERTY></CLASS>"),
         nullptr, "<ERROR CODE=\"4\""},
        {"CreateClass", in("NewClass", "<CLASS NAME=\"T\"><PROPERTY NAME=\"P\" TYPE=\"float\"/></CLASS>"), nullptr,
         "unknown type float"},
        {"ModifyClass", in("ModifiedClass", "<CLASS NAME=\"T\"><QUALIFIER NAME=\"Q\" TYPE=\"boolean\" OVERRIDABLE=\"maybe\"/></CLASS>"),
         nullptr, "OVERRIDABLE is not true or false"},
        {"ModifyClass", in("ModifiedClass", "<CLASS><PROPERTY NAME=\"P\" TYPE=\"string\"/></CLASS>"), nullptr, "CLASS lacks NAME"},
        {"CreateClass", in("NewClass", "<CLASS NAME=\"T\"><PROPERTY.ARRAY NAME=\"A\" TYPE=\"uint8\" ARRAYSIZE=\"4294967296\"/></CLASS>"),
         nullptr, "ARRAYSIZE is not a uint32"},
        {"SetQualifier", in("QualifierDeclaration", "<QUALIFIER.DECLARATION NAME=\"Q\" TYPE=\"string\"><SCOPE/><SCOPE/>"
                                                    "</QUALIFIER.DECLARATION>"), nullptr, "QUALIFIER.DECLARATION Q holds SCOPE"},
        {"DeleteQualifier", in("QualifierName", ""), nullptr, "QualifierName must hold one VALUE"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.method) + " " + c.received);
        handler.clear();
        handler.schema.clear();
        Answer a = run(request(c.method, c.params));
        EXPECT_EQ(a.status, 200);
        if (c.entry && c.received.rfind("<ERROR", 0) != 0) {
            ASSERT_EQ(handler.entries().size(), 1u);
            EXPECT_EQ(handler.entries()[0], c.entry);
            EXPECT_EQ(handler.schema, c.received);
            EXPECT_NE(a.body.find(std::string("<IMETHODRESPONSE NAME=\"") + c.method + "\"></IMETHODRESPONSE>"),
                      std::string::npos) << a.body;
        } else {
            EXPECT_EQ(handler.entries().size(), c.entry ? 1u : 0u);
            EXPECT_NE(a.body.find(c.received), std::string::npos) << a.body;
            EXPECT_NE(a.body.find("<ERROR CODE=\"" + std::string(c.entry ? "1" : "4") + "\""), std::string::npos) << a.body;
        }
    }
    expectBalanced();
}

}  // namespace
