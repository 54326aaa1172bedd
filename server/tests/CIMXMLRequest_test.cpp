#include "CIMXMLRequest.h"

#include <gtest/gtest.h>

#include <malloc.h>

namespace {

using cimxmlpa::CIMXMLRequest;
using cimxmlpa::RequestRejection;

std::string const kNs = "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>";

std::string envelope(std::string const& call, std::string const& cim = "CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"",
                     std::string const& message = "ID=\"42\" PROTOCOLVERSION=\"1.0\"") {
    return "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM " + cim + ">\n<MESSAGE " + message +
           "><SIMPLEREQ>" + call + "</SIMPLEREQ></MESSAGE></CIM>";
}

std::string getClass(std::string const& params = "") {
    return envelope("<IMETHODCALL NAME=\"GetClass\">" + kNs + params + "</IMETHODCALL>");
}

TEST(CIMXMLRequestTest, ClassifiesEveryEnvelopeProblem) {
    struct Case {
        char const* name;
        std::string body;
        int status;
        char const* cimError;
    };
    std::vector<Case> const cases = {
        {"empty", "", 400, "request-not-well-formed"},
        {"unclosed", getClass().substr(0, 80), 400, "request-not-well-formed"},
        {"mismatched tags", "<CIM><MESSAGE></CIM></MESSAGE>", 400, "request-not-well-formed"},
        {"two roots", getClass() + "<CIM/>", 400, "request-not-well-formed"},
        {"root not CIM", "<MESSAGE/>", 400, "request-not-valid"},
        {"no CIMVERSION", envelope("<IMETHODCALL NAME=\"GetClass\">" + kNs + "</IMETHODCALL>", "DTDVERSION=\"2.0\""),
         400, "request-not-valid"},
        {"CIMVERSION 3", envelope("", "CIMVERSION=\"3.0\" DTDVERSION=\"2.0\""), 501, "unsupported-cim-version"},
        {"DTDVERSION 1.1", envelope("", "CIMVERSION=\"2.0\" DTDVERSION=\"1.1\""), 501, "unsupported-dtd-version"},
        {"PROTOCOLVERSION 2", envelope("", "CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"", "ID=\"1\" PROTOCOLVERSION=\"2.0\""),
         501, "unsupported-protocol-version"},
        {"no message ID", envelope("", "CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"", "PROTOCOLVERSION=\"1.0\""), 400,
         "request-not-valid"},
        {"MULTIREQ",
         "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><MULTIREQ/></MESSAGE></CIM>",
         501, "multiple-requests-unsupported"},
        {"SIMPLERSP", "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP/>"
                      "</MESSAGE></CIM>",
         400, "request-not-valid"},
        {"no call", envelope(""), 400, "request-not-valid"},
        {"two calls", envelope("<IMETHODCALL NAME=\"A\">" + kNs + "</IMETHODCALL><IMETHODCALL NAME=\"B\">" + kNs +
                               "</IMETHODCALL>"),
         400, "request-not-valid"},
        {"call without NAME", envelope("<IMETHODCALL>" + kNs + "</IMETHODCALL>"), 400, "request-not-valid"},
        {"no namespace path", envelope("<IMETHODCALL NAME=\"GetClass\"></IMETHODCALL>"), 400, "request-not-valid"},
        {"empty namespace", envelope("<IMETHODCALL NAME=\"GetClass\"><LOCALNAMESPACEPATH/></IMETHODCALL>"), 400,
         "request-not-valid"},
        {"NAMESPACE without NAME",
         envelope("<IMETHODCALL NAME=\"GetClass\"><LOCALNAMESPACEPATH><NAMESPACE/></LOCALNAMESPACEPATH></IMETHODCALL>"),
         400, "request-not-valid"},
        {"unnamed IPARAMVALUE", getClass("<IPARAMVALUE><VALUE>x</VALUE></IPARAMVALUE>"), 400, "request-not-valid"},
        {"PARAMVALUE in an intrinsic call", getClass("<PARAMVALUE NAME=\"x\"/>"), 400, "request-not-valid"},
        {"METHODCALL without a path", envelope("<METHODCALL NAME=\"M\">" + kNs + "</METHODCALL>"), 400,
         "request-not-valid"},
        {"METHODCALL path without class",
         envelope("<METHODCALL NAME=\"M\"><LOCALCLASSPATH>" + kNs + "<CLASSNAME/></LOCALCLASSPATH></METHODCALL>"), 400,
         "request-not-valid"},
    };
    for (Case const& c : cases) {
        CIMXMLRequest request;
        RequestRejection r = request.parse(c.body);
        EXPECT_EQ(r.httpStatus, c.status) << c.name << ": " << r.detail;
        EXPECT_EQ(r.cimError, c.cimError) << c.name;
    }
}

TEST(CIMXMLRequestTest, ExtractsTheCallOfAnIntrinsicRequest) {
    CIMXMLRequest request;
    RequestRejection r = request.parse(getClass(
        "\n<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"X\"/></IPARAMVALUE>\n<!-- a comment -->"
        "<IPARAMVALUE NAME=\"LocalOnly\"><VALUE>FALSE</VALUE></IPARAMVALUE>"));
    ASSERT_FALSE(r) << r.detail;
    EXPECT_EQ(request.messageId(), "42");
    EXPECT_EQ(request.methodName(), "GetClass");
    EXPECT_TRUE(request.isIntrinsic());
    EXPECT_EQ(request.nameSpace(), "root/cimv2");
    ASSERT_EQ(request.params().size(), 2u);
    EXPECT_STREQ(request.params()[1].attribute("NAME").value(), "LocalOnly");
}

// An InstanceName parameter whose key is a reference `depth` levels deep.
std::string nestedReferences(unsigned depth, std::string const& leafValue = "x") {
    std::string name = "<INSTANCENAME CLASSNAME=\"L\"><KEYBINDING NAME=\"K\"><KEYVALUE>" + leafValue +
                       "</KEYVALUE></KEYBINDING></INSTANCENAME>";
    for (unsigned i = 0; i < depth; ++i) {
        name = "<INSTANCENAME CLASSNAME=\"L\"><KEYBINDING NAME=\"R\"><VALUE.REFERENCE>" + name +
               "</VALUE.REFERENCE></KEYBINDING></INSTANCENAME>";
    }
    return "<IPARAMVALUE NAME=\"InstanceName\">" + name + "</IPARAMVALUE>";
}

TEST(CIMXMLRequestTest, RefusesHostileContentWithoutEchoingIt) {
    struct Case {
        char const* name;
        std::string params;
        cimxmlpa::RequestLimits limits;
        char const* error;  // the start of contentError(), "" for none
    };
    cimxmlpa::RequestLimits const defaults;
    cimxmlpa::RequestLimits const shallow{2, defaults.referenceTextBudget};
    cimxmlpa::RequestLimits const small{8, 4096};
    std::string quotes;
    for (int i = 0; i < 64; ++i) quotes += "&quot;";
    std::vector<Case> const cases = {
        {"references at the limit", nestedReferences(8), defaults, ""},
        {"one level deeper", nestedReferences(9), defaults, "references are nested more than 8 deep"},
        {"at a lower limit", nestedReferences(2), shallow, ""},
        {"beyond a lower limit", nestedReferences(3), shallow, "references are nested more than 2 deep"},
        {"references side by side are not nested",
         "<IPARAMVALUE NAME=\"A\"><VALUE.REFARRAY>"
             "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"L\"/></VALUE.REFERENCE>"
             "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"L\"/></VALUE.REFERENCE></VALUE.REFARRAY></IPARAMVALUE>",
         shallow, ""},
        // 64 quotes take 2 + 2 * 64 escapes at the first level, and double at
        // every level above: 2^8 * 128 bytes do not fit 4096 (nor twice the body).
        {"escapes that double with every level", nestedReferences(8, quotes), small, "the references' text"},
        {"the same escapes two levels deep", nestedReferences(2, quotes), small, ""},
        {"a key that is not UTF-8", nestedReferences(1, "\xC0\xAF"), defaults, "the request is not UTF-8"},
        {"a surrogate from a character reference", nestedReferences(0, "&#xD800;"), defaults,
         "the request holds text that is not UTF-8"},
        {"an attribute from a character reference",
         "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"a&#xDFFF;\"/></IPARAMVALUE>", defaults,
         "the request holds an attribute that is not UTF-8"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        CIMXMLRequest request;
        RequestRejection r = request.parse(getClass(c.params), c.limits);
        ASSERT_FALSE(r) << r.detail;
        EXPECT_EQ(request.contentError().rfind(c.error, 0), 0u) << request.contentError();
        if (*c.error == '\0') {
            EXPECT_EQ(request.contentError(), "");
        }
    }
    // Where every response echoes it, bad UTF-8 is refused with the envelope.
    CIMXMLRequest request;
    RequestRejection r = request.parse(envelope("<IMETHODCALL NAME=\"Get\xE9\">" + kNs + "</IMETHODCALL>"));
    EXPECT_EQ(r.httpStatus, 400);
    EXPECT_EQ(r.cimError, "request-not-valid");
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// The heap's bytes in use (the sanitizers replace the allocator and its counts).
std::size_t heapInUse() {
    return mallinfo2().uordblks + mallinfo2().hblkhd;
}

TEST(CIMXMLRequestTest, ParsesALargeValueInPlaceWithoutCopyingTheBody) {
    std::string body = getClass("<IPARAMVALUE NAME=\"NewInstance\"><INSTANCE CLASSNAME=\"C\"><PROPERTY NAME=\"P\" "
                                "TYPE=\"string\"><VALUE>" + std::string(16u << 20, 'v') +
                                "</VALUE></PROPERTY></INSTANCE></IPARAMVALUE>");
    std::size_t const size = body.size();
    std::size_t const before = heapInUse();
    CIMXMLRequest request;
    ASSERT_FALSE(request.parse(std::move(body)));
    std::size_t const parsed = heapInUse();
    // The document points into the body it took: a few pages of nodes.
    EXPECT_LT(parsed - std::min(parsed, before), size / 64) << "bytes added by the parse";
    request.release();
    EXPECT_LT(heapInUse(), before - size / 2) << "release() frees the body";
}
#endif

TEST(CIMXMLRequestTest, ExtractsTheTargetOfAnExtrinsicRequest) {
    CIMXMLRequest request;
    ASSERT_FALSE(request.parse(envelope("<METHODCALL NAME=\"Create\"><LOCALCLASSPATH>" + kNs +
                                        "<CLASSNAME NAME=\"CIM_Foo\"/></LOCALCLASSPATH><PARAMVALUE NAME=\"Name\" "
                                        "PARAMTYPE=\"string\"><VALUE>x</VALUE></PARAMVALUE></METHODCALL>")));
    EXPECT_FALSE(request.isIntrinsic());
    EXPECT_STREQ(request.target().name(), "CLASSNAME");
    EXPECT_EQ(request.params().size(), 1u);
}

TEST(CIMXMLRequestTest, ChecksTheHeaderFieldsAgainstTheBody) {
    std::string const instanceCall =
        envelope("<METHODCALL NAME=\"M\"><LOCALINSTANCEPATH>" + kNs +
                 "<INSTANCENAME CLASSNAME=\"CIM_Foo\"><KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\">"
                 "caf\xC3\xA9 &quot;q&quot; \\</KEYVALUE></KEYBINDING><KEYBINDING NAME=\"On\"><KEYVALUE "
                 "VALUETYPE=\"boolean\">true</KEYVALUE></KEYBINDING></INSTANCENAME></LOCALINSTANCEPATH></METHODCALL>");
    struct Case {
        char const* name;
        std::string body;
        std::string method;
        std::string object;
        bool matches;
    };
    std::vector<Case> const cases = {
        {"plain namespace", getClass(), "GetClass", "root/cimv2", true},
        {"percent-encoded namespace", getClass(), "GetClass", "root%2Fcimv2", true},
        {"method in other case", getClass(), "getclass", "root/cimv2", true},
        {"namespace in other case", getClass(), "GetClass", "ROOT/CIMV2", true},
        {"other method", getClass(), "GetInstance", "root/cimv2", false},
        {"other namespace", getClass(), "GetClass", "root/interop", false},
        {"class in an intrinsic CIMObject", getClass(), "GetClass", "root/cimv2:X", false},
        {"instance, UTF-8 key", instanceCall, "M", R"(root/cimv2:CIM_Foo.Name="caf)" "\xC3\xA9" R"( \"q\" \\",On=TRUE)",
         true},
        {"instance, ISO-8859-1 key", instanceCall, "M", "root%2Fcimv2%3ACIM_Foo.Name=\"caf\xE9 \\\"q\\\" \\\\\",On=TRUE",
         true},
        {"instance, other key value", instanceCall, "M", R"(root/cimv2:CIM_Foo.Name="cafe",On=TRUE)", false},
        {"instance, missing key", instanceCall, "M", R"(root/cimv2:CIM_Foo.Name="x")", false},
        {"instance named as a class", instanceCall, "M", "root/cimv2:CIM_Foo", false},
        {"instance of another class", instanceCall, "M", R"(root/cimv2:CIM_Bar.Name="x",On=TRUE)", false},
        {"unparsable CIMObject", instanceCall, "M", "root/cimv2:CIM_Foo.Name=\"open", false},
    };
    for (Case const& c : cases) {
        CIMXMLRequest request;
        ASSERT_FALSE(request.parse(c.body)) << c.name;
        RequestRejection r = request.matchesHeaders(c.method, c.object);
        EXPECT_EQ(!r, c.matches) << c.name << ": " << r.detail;
        if (r) {
            EXPECT_EQ(r.httpStatus, 400) << c.name;
            EXPECT_EQ(r.cimError, "header-mismatch") << c.name;
        }
    }
}

}  // namespace
