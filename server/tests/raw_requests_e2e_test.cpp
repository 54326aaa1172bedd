// End to end with raw CIM-XML requests: the answers to bad input (header
// errors, malformed and invalid bodies, unknown operations, missing
// parameters, wrong namespaces, oversize and truncated bodies, hostile heads
// and bodies, clients that go away or say nothing), the framing of responses, the captured requests of
// a second client, concurrent clients, and a clean stop. After every bad
// request the server must still answer the next one.
#include "E2EHarness.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <atomic>
#include <thread>

namespace {

using e2e::Connection;
using e2e::HttpResponse;

using e2e::kGetClassBody;

class RawRequestTest : public e2e::ServerTest {
protected:
    void SetUp() override { start({"--threads", "4", "--read-timeout", "2"}); }
};

struct RejectionCase {
    char const* name;
    std::string request;
    int status;
    char const* cimError;  // "" when none
};

TEST_F(RawRequestTest, HeaderAndBodyErrorsAreAnsweredWithStatusAndCIMError) {
    std::string const body = kGetClassBody;
    std::string const v = "<?xml version=\"1.0\"?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" "
                          "PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"GetClass\">";
    // One row for each layer that refuses; the adapter's and the parser's
    // own suites hold every case.
    std::vector<RejectionCase> const cases = {
        {"CIMOperation not MethodCall",
         e2e::cimRequest("GetClass", "root/cimv2", body, "", {"CIMOperation"}).insert(
             std::string("POST /cimom HTTP/1.1\r\n").size(), "CIMOperation: MethodResponse\r\n"),
         400, "unsupported-operation"},
        {"wrong CIMMethod", e2e::cimRequest("GetInstance", "root/cimv2", body), 400, "header-mismatch"},
        {"CIMObject of another namespace", e2e::cimRequest("GetClass", "root%2Finterop", body), 400,
         "header-mismatch"},
        {"CIMVERSION 3.0",
         e2e::cimRequest("GetClass", "root/cimv2",
                         std::string(body).replace(body.find("CIMVERSION=\"2.0\""), 16, "CIMVERSION=\"3.0\"")),
         501, "unsupported-cim-version"},
        {"malformed XML", e2e::cimRequest("GetClass", "root/cimv2", body.substr(0, body.size() - 12)), 400,
         "request-not-well-formed"},
        {"root is not CIM", e2e::cimRequest("GetClass", "root/cimv2", "<FOO/>"), 400, "request-not-valid"},
        {"stray element among the parameters",
         e2e::cimRequest("GetClass", "root/cimv2",
                         v + "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
                             "</LOCALNAMESPACEPATH><FOO/></IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>"),
         400, "request-not-valid"},
        {"GET", "GET /cimom HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n", 405, ""},
    };
    for (RejectionCase const& c : cases) {
        SCOPED_TRACE(c.name);
        HttpResponse r = exchange(c.request);
        ASSERT_TRUE(r.complete);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.header("CIMError"), c.cimError);
        EXPECT_EQ(r.body, "");
        expectServing();
    }
}

struct CimErrorCase {
    char const* name;
    std::string method;
    std::string body;
    int code;
};

TEST_F(RawRequestTest, OperationErrorsAreERRORElementsWithTheirCode) {
    std::string const diskClass = e2e::classParam("KIVO_DiskDrive");
    std::vector<CimErrorCase> const cases = {
        {"unknown operation", "Frobnicate", e2e::intrinsicBody("Frobnicate", ""), 7},
        {"missing required parameter", "GetClass", e2e::intrinsicBody("GetClass", ""), 4},
        {"unknown parameter", "GetClass", e2e::intrinsicBody("GetClass", diskClass + e2e::valueParam("Bogus", "1")), 4},
        {"parameter given twice", "GetClass", e2e::intrinsicBody("GetClass", diskClass + diskClass), 4},
        {"boolean that is not one", "GetClass",
         e2e::intrinsicBody("GetClass", diskClass + e2e::valueParam("LocalOnly", "maybe")), 4},
        {"typed value that does not fit", "CreateInstance",
         e2e::intrinsicBody("CreateInstance", "<IPARAMVALUE NAME=\"NewInstance\"><INSTANCE CLASSNAME=\"KIVO_DiskDrive\">"
                                              "<PROPERTY NAME=\"Capacity\" TYPE=\"uint64\"><VALUE>-1</VALUE></PROPERTY>"
                                              "</INSTANCE></IPARAMVALUE>"),
         4},
        // The object manager's refusals are told apart in ObjectManager_test;
        // one shows they reach the wire.
        {"unknown class", "GetClass", e2e::intrinsicBody("GetClass", e2e::classParam("KIVO_Nope")), 5},
    };
    for (CimErrorCase const& c : cases) {
        SCOPED_TRACE(c.name);
        HttpResponse r = exchange(e2e::cimRequest(c.method, "root/cimv2", c.body));
        ASSERT_TRUE(r.complete);
        EXPECT_EQ(r.status, 200);
        EXPECT_NE(r.body.find("<ERROR CODE=\"" + std::to_string(c.code) + "\""), std::string::npos) << r.body;
        EXPECT_NE(r.body.find("NAME=\"" + c.method + "\""), std::string::npos) << r.body;
        expectServing();
    }

    // A namespace that does not exist, with CIMObject naming it too.
    std::string const nowhere = e2e::intrinsicBody(
        "EnumerateClassNames", "", "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"nowhere\"/>");
    HttpResponse r = exchange(e2e::cimRequest("EnumerateClassNames", "root%2Fnowhere", nowhere));
    EXPECT_EQ(r.status, 200);
    EXPECT_NE(r.body.find("<ERROR CODE=\"3\""), std::string::npos) << r.body;
}

TEST_F(RawRequestTest, ChunkedResponsesRepeatTheStatusInTrailersAndKeepTheErrorInTheBody) {
    Connection c(server.port());
    ASSERT_TRUE(c.send(e2e::intrinsicRequest("EnumerateInstances", e2e::classParam("KIVO_DiskDrive"), "TE: trailers\r\n")));
    HttpResponse ok = c.read();
    ASSERT_TRUE(ok.complete);
    EXPECT_TRUE(ok.chunked);
    EXPECT_EQ(ok.header("Trailer"), "CIMStatusCode, CIMStatusCodeDescription, CIMError");
    EXPECT_EQ(ok.trailers["cimstatuscode"], "0");
    EXPECT_EQ(e2e::count(ok.body, "<VALUE.NAMEDINSTANCE>"), 2u) << ok.body;

    // The same connection carries the next request: an error this time.
    ASSERT_TRUE(c.send(e2e::intrinsicRequest("EnumerateInstances", e2e::classParam("KIVO_Nope"), "TE: trailers\r\n")));
    HttpResponse failed = c.read();
    ASSERT_TRUE(failed.complete);
    EXPECT_EQ(failed.status, 200);
    EXPECT_EQ(failed.trailers["cimstatuscode"], "5");
    EXPECT_NE(failed.trailers["cimstatuscodedescription"].find("KIVO_Nope"), std::string::npos);
    EXPECT_NE(failed.body.find("<ERROR CODE=\"5\""), std::string::npos) << failed.body;
}

TEST_F(RawRequestTest, HTTP10AndConnectionCloseAreAnsweredAndTheConnectionClosed) {
    for (std::string const& variant : {std::string("HTTP/1.0"), std::string("close")}) {
        SCOPED_TRACE(variant);
        Connection c(server.port());
        bool const http10 = variant == "HTTP/1.0";
        ASSERT_TRUE(c.send(e2e::cimRequest("GetClass", "root/cimv2", kGetClassBody,
                                           http10 ? "" : "Connection: close\r\n", {},
                                           http10 ? "HTTP/1.0" : "HTTP/1.1")));
        HttpResponse r = c.read();
        ASSERT_TRUE(r.complete);
        EXPECT_EQ(r.status, 200);
        if (http10) {
            // Never chunked for HTTP/1.0: the body streams as it is written,
            // and the close of the connection ends it.
            EXPECT_FALSE(r.chunked);
            EXPECT_EQ(r.header("Content-Length"), "");
        }
        EXPECT_EQ(r.header("Connection"), "close");
        EXPECT_NE(r.body.find("<CLASS NAME=\"KIVO_DiskDrive\""), std::string::npos);
        EXPECT_TRUE(c.waitClosed());
    }
}

TEST_F(RawRequestTest, OversizeAndTruncatedBodiesAreRefused) {
    {
        Connection c(server.port());
        std::string head = e2e::cimRequest("GetClass", "root/cimv2", "");
        head.replace(head.find("Content-Length: 0"), 17, "Content-Length: 52428801");
        ASSERT_TRUE(c.send(head));
        HttpResponse r = c.read();
        ASSERT_TRUE(r.complete);
        EXPECT_EQ(r.status, 413);
        EXPECT_TRUE(c.waitClosed());
    }
    expectServing();
    {
        Connection c(server.port());
        std::string request = e2e::cimRequest("GetClass", "root/cimv2", kGetClassBody);
        ASSERT_TRUE(c.send(request.substr(0, request.size() - 40)));
        c.shutdownWrite();
        HttpResponse r = c.read();
        ASSERT_TRUE(r.complete);
        EXPECT_EQ(r.status, 400);
    }
    expectServing();
}

struct HostileCase {
    char const* name;
    std::string bytes;
    int status;           // the answer expected; 0: none, or 400 if any
    bool closeAfterSend;  // the client closes its side once the bytes are sent
};

TEST_F(RawRequestTest, HostileHeadsAndBodiesAreRefusedAndTheServerKeepsServing) {
    std::string const valid = e2e::cimRequest("GetClass", "root/cimv2", kGetClassBody);
    std::string garbage;
    unsigned seed = 12345;
    for (int i = 0; i < 8192; ++i) {
        seed = seed * 1103515245u + 12345u;
        garbage += static_cast<char>(seed >> 16);
    }
    std::string manyFields = "POST /cimom HTTP/1.1\r\n";
    for (int i = 0; i < 500; ++i) manyFields += "X-Field-" + std::to_string(i) + ": v\r\n";
    std::string chunkedHead = valid.substr(0, valid.find("Content-Length:")) + "Transfer-Encoding: chunked\r\n\r\n";
    // Each limit of the head and each chunk-size form is checked in full by
    // the parsers' suites; here one of a kind shows the server refuses and
    // closes.
    std::vector<HostileCase> const cases = {
        {"header line over 8 KiB", "POST /cimom HTTP/1.1\r\nX-Big: " + std::string(20000, 'a') + "\r\n\r\n", 431,
         false},
        {"request line over 8 KiB", "POST /" + std::string(20000, 'a') + " HTTP/1.1\r\n\r\n", 414, false},
        {"header fields that never end", manyFields, 431, true},
        {"garbage bytes", garbage, 0, false},
        {"a zero byte in a field", "POST /cimom HTTP/1.1\r\nX-A: a" + std::string(1, '\0') + "b\r\n\r\n", 400, false},
        {"a request line that is not HTTP", "THIS IS NOT HTTP\r\n\r\n", 400, false},
        {"a field without a colon", "POST /cimom HTTP/1.1\r\nNoColonHere\r\n\r\n", 400, false},
        {"Content-Length larger than the body, then closed", valid.substr(0, valid.size() - 100), 400, true},
        {"Content-Length twice, disagreeing",
         std::string(valid).insert(valid.find("Content-Length:"), "Content-Length: 3\r\n"), 413, false},
        {"chunk size that is not hex", chunkedHead + "zz\r\n" + kGetClassBody + "\r\n0\r\n\r\n", 400, false},
        {"chunked body cut short, then closed", chunkedHead + "400\r\n" + kGetClassBody.substr(0, 100), 400, true},
        // The bad size line ends the body; what follows is not served as a
        // request of its own.
        {"a request behind a bad chunk size", chunkedHead + "zz\r\n" + valid, 400, false},
    };
    for (HostileCase const& c : cases) {
        SCOPED_TRACE(c.name);
        Connection conn(server.port());
        ASSERT_TRUE(conn.ok());
        conn.send(c.bytes);  // the server may close before everything is sent
        if (c.closeAfterSend) conn.shutdownWrite();
        HttpResponse r = conn.read();
        if (c.status != 0) {
            EXPECT_EQ(r.status, c.status);
        } else {
            EXPECT_TRUE(r.status == 400 || r.status == 0) << r.status;
        }
        EXPECT_TRUE(conn.waitClosed());
        expectServing();
    }

    // A valid request followed by garbage on the same connection: the first
    // is answered in full, the garbage with 400, then the connection closes.
    Connection conn(server.port());
    ASSERT_TRUE(conn.send(valid + "\x16\x03\x01 not a request\r\n\r\n"));
    HttpResponse first = conn.read();
    ASSERT_TRUE(first.complete);
    EXPECT_EQ(first.status, 200);
    EXPECT_NE(first.body.find("<CLASS NAME=\"KIVO_DiskDrive\""), std::string::npos);
    EXPECT_EQ(conn.read().status, 400);
    EXPECT_TRUE(conn.waitClosed());
    expectServing();
}

TEST_F(RawRequestTest, AnswersTheCapturedRequestsOfASecondClient) {
    std::string const head = "User-Agent: python-requests/2.28.1\r\nAccept-Encoding: gzip, deflate\r\nAccept: */*\r\n"
                             "Connection: keep-alive\r\nContent-type: application/xml; charset=\"utf-8\"\r\n"
                             "CIMOperation: MethodCall\r\n";
    std::string const pre = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
                            "<MESSAGE ID=\"1001\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>";
    std::string const post = "</SIMPLEREQ></MESSAGE></CIM>";
    std::string const ns = "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>";
    struct Sample {
        char const* name;
        std::string headers;
        std::string body;
        char const* expect;
    };
    std::vector<Sample> const samples = {
        {"GetInstance with a quoted key", "CIMMethod: GetInstance\r\nCIMObject: root/cimv2\r\n",
         pre + "<IMETHODCALL NAME=\"GetInstance\">" + ns +
             "<IPARAMVALUE NAME=\"InstanceName\"><INSTANCENAME CLASSNAME=\"CIM_Foo\"><KEYBINDING NAME=\"Name\">"
             "<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">a b &quot;q&quot; \\ c</KEYVALUE></KEYBINDING>"
             "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"numeric\" TYPE=\"uint32\">7</KEYVALUE></KEYBINDING>"
             "</INSTANCENAME></IPARAMVALUE></IMETHODCALL>" + post,
         "<ERROR CODE=\"5\""},
        {"InvokeMethod with a quoted key in CIMObject",
         "CIMMethod: M\r\nCIMObject: root/cimv2:CIM_Foo.Name=\"a b \\\"q\\\" \\\\ c\"\r\n",
         pre + "<METHODCALL NAME=\"M\"><LOCALINSTANCEPATH>" + ns +
             "<INSTANCENAME CLASSNAME=\"CIM_Foo\"><KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\" "
             "TYPE=\"string\">a b &quot;q&quot; \\ c</KEYVALUE></KEYBINDING></INSTANCENAME></LOCALINSTANCEPATH>"
             "</METHODCALL>" + post,
         "<METHODRESPONSE NAME=\"M\"><ERROR"},
        {"InvokeMethod with an ISO-8859-1 key in CIMObject",
         "CIMMethod: M\r\nCIMObject: root/cimv2:CIM_Foo.Name=\"caf\xE9\"\r\n",
         pre + "<METHODCALL NAME=\"M\"><LOCALINSTANCEPATH>" + ns +
             "<INSTANCENAME CLASSNAME=\"CIM_Foo\"><KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\" "
             "TYPE=\"string\">caf\xC3\xA9</KEYVALUE></KEYBINDING></INSTANCENAME></LOCALINSTANCEPATH></METHODCALL>" +
             post,
         "<METHODRESPONSE NAME=\"M\"><ERROR"},
        {"a static method on a class", "CIMMethod: CountDevices\r\nCIMObject: root/cimv2:KIVO_ComputerSystem\r\n",
         pre + "<METHODCALL NAME=\"CountDevices\"><LOCALCLASSPATH>" + ns +
             "<CLASSNAME NAME=\"KIVO_ComputerSystem\"/></LOCALCLASSPATH></METHODCALL>" + post,
         "<RETURNVALUE PARAMTYPE=\"uint32\">"},
        {"RequestStateChange with typed parameters",
         "CIMMethod: RequestStateChange\r\nCIMObject: root/cimv2:KIVO_ComputerSystem.Name=\"host1\"\r\n",
         pre + "<METHODCALL NAME=\"RequestStateChange\"><LOCALINSTANCEPATH>" + ns +
             "<INSTANCENAME CLASSNAME=\"KIVO_ComputerSystem\"><KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\" "
             "TYPE=\"string\">host1</KEYVALUE></KEYBINDING></INSTANCENAME></LOCALINSTANCEPATH>"
             "<PARAMVALUE NAME=\"RequestedState\" PARAMTYPE=\"uint16\"><VALUE>3</VALUE></PARAMVALUE>"
             "</METHODCALL>" + post,
         "<RETURNVALUE PARAMTYPE=\"uint32\">"},
        {"EnumerateInstances with a PropertyList", "CIMMethod: EnumerateInstances\r\nCIMObject: root/cimv2\r\n",
         pre + "<IMETHODCALL NAME=\"EnumerateInstances\">" + ns +
             "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"KIVO_ComputerSystem\"/></IPARAMVALUE>"
             "<IPARAMVALUE NAME=\"DeepInheritance\"><VALUE>TRUE</VALUE></IPARAMVALUE><IPARAMVALUE NAME=\"PropertyList\">"
             "<VALUE.ARRAY><VALUE>Name</VALUE><VALUE>ElementName</VALUE></VALUE.ARRAY></IPARAMVALUE></IMETHODCALL>" +
             post,
         "<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>host1</VALUE>"},
        {"References with ResultClass and Role", "CIMMethod: References\r\nCIMObject: root/cimv2\r\n",
         pre + "<IMETHODCALL NAME=\"References\">" + ns +
             "<IPARAMVALUE NAME=\"ObjectName\"><INSTANCENAME CLASSNAME=\"KIVO_ComputerSystem\"><KEYBINDING NAME=\"Name\">"
             "<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">host1</KEYVALUE></KEYBINDING></INSTANCENAME></IPARAMVALUE>"
             "<IPARAMVALUE NAME=\"ResultClass\"><CLASSNAME NAME=\"KIVO_SystemDevice\"/></IPARAMVALUE>"
             "<IPARAMVALUE NAME=\"Role\"><VALUE>GroupComponent</VALUE></IPARAMVALUE></IMETHODCALL>" + post,
         "<VALUE.OBJECTWITHPATH><INSTANCEPATH>"},
        {"CloseEnumeration of a context never opened", "CIMMethod: CloseEnumeration\r\nCIMObject: root/cimv2\r\n",
         pre + "<IMETHODCALL NAME=\"CloseEnumeration\">" + ns +
             "<IPARAMVALUE NAME=\"EnumerationContext\"><VALUE>ctx-0001</VALUE></IPARAMVALUE></IMETHODCALL>" + post,
         "<ERROR CODE=\"21\""},
    };
    for (Sample const& s : samples) {
        SCOPED_TRACE(s.name);
        HttpResponse r = exchange(e2e::sampleRequest(head + s.headers, s.body));
        ASSERT_TRUE(r.complete);
        EXPECT_EQ(r.status, 200) << r.header("CIMError");
        EXPECT_NE(r.header("Content-Type").find("application/xml"), std::string::npos);
        EXPECT_NE(r.body.find(s.expect), std::string::npos) << r.body;
    }
}

// SIGTERM ends every test (TearDown); SIGINT stops the server as cleanly.
TEST_F(RawRequestTest, StopsCleanlyOnSIGINTWithAnIdleConnectionOpen) {
    Connection idle(server.port());
    ASSERT_TRUE(idle.send(e2e::cimRequest("GetClass", "root/cimv2", kGetClassBody)));
    ASSERT_EQ(idle.read().status, 200);
    EXPECT_EQ(server.stop(SIGINT), 0);
    EXPECT_TRUE(idle.waitClosed());
}

}  // namespace
