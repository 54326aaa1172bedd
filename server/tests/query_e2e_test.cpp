// End to end with queries: ExecQuery (whole instances through the handler,
// select lists as rows), OpenQueryInstances, and the status codes of
// refused queries, against the default model.
#include "E2EHarness.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using e2e::HttpResponse;

std::string escaped(std::string const& s) {
    std::string out;
    for (char c : s) {
        if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else if (c == '&') out += "&amp;";
        else if (c == '\'') out += "&apos;";
        else out += c;
    }
    return out;
}

class QueryTest : public e2e::ServerTest {
protected:
    void SetUp() override { start({"--threads", "2", "--scale-instances", "5000"}); }

    HttpResponse call(std::string const& method, std::string const& params) {
        HttpResponse r = exchange(e2e::intrinsicRequest(method, params));
        EXPECT_TRUE(r.complete);
        EXPECT_EQ(r.status, 200);
        return r;
    }
    HttpResponse execQuery(std::string const& query, std::string const& language = "WQL") {
        return call("ExecQuery", e2e::valueParam("QueryLanguage", escaped(language)) +
                                     e2e::valueParam("Query", escaped(query)));
    }
};

TEST_F(QueryTest, ExecQueryReturnsExactlyTheMatchingInstancesWithTheirPaths) {
    HttpResponse r = execQuery("SELECT * FROM KIVO_LogicalDevice WHERE EnabledState = 2 AND NOT DeviceID = 'eth0'");
    EXPECT_EQ(e2e::count(r.body, "<VALUE.OBJECTWITHPATH>"), 2u) << r.body;
    EXPECT_EQ(e2e::count(r.body, "<INSTANCE CLASSNAME=\"KIVO_DiskDrive\""), 2u) << r.body;
    EXPECT_NE(r.body.find("<KEYVALUE VALUETYPE=\"string\">disk0</KEYVALUE>"), std::string::npos) << r.body;
    EXPECT_NE(r.body.find("<KEYVALUE VALUETYPE=\"string\">disk1</KEYVALUE>"), std::string::npos) << r.body;
    EXPECT_EQ(r.body.find("eth0"), std::string::npos) << r.body;

    // A provider's instances, filtered on the way: 5000 scale items, Value
    // n*n-500 >= 0 from n = 23, Flag on odd n, Index below 30.
    r = execQuery("select * from kivo_scaleitem where Value >= 0 and Flag = true and Index < 30");
    EXPECT_EQ(e2e::count(r.body, "<VALUE.OBJECTWITHPATH>"), 4u) << r.body;  // 23, 25, 27, 29
    for (char const* index : {"23", "25", "27", "29"})
        EXPECT_NE(r.body.find(std::string("<KEYVALUE VALUETYPE=\"numeric\">") + index + "</KEYVALUE>"),
                  std::string::npos)
            << index << "\n" << r.body;

    r = execQuery("SELECT * FROM KIVO_DiskDrive WHERE MediaType = 'Tape'");
    EXPECT_NE(r.body.find("<IRETURNVALUE></IRETURNVALUE>"), std::string::npos) << r.body;
}

TEST_F(QueryTest, RefusedQueriesAnswerTheirStatus) {
    struct Case {
        char const* language;
        char const* query;
        char const* error;
    } const cases[] = {
        // Every parse and bind error is told apart in Wql_test; one of each
        // source of refusal here.
        {"WQL", "SELECT * FROM KIVO_NoSuchClass", "<ERROR CODE=\"15\""},
        {"XPath", "SELECT * FROM KIVO_DiskDrive", "<ERROR CODE=\"14\""},
        {"CQL", "SELECT * FROM KIVO_DiskDrive", "<ERROR CODE=\"14\""},
    };
    for (Case const& c : cases) {
        HttpResponse r = execQuery(c.query, c.language);
        EXPECT_NE(r.body.find(c.error), std::string::npos) << c.language << " " << c.query << "\n" << r.body;
    }
    // The position reaches the client.
    HttpResponse r = execQuery("SELECT * FORM KIVO_DiskDrive");
    EXPECT_NE(r.body.find("DESCRIPTION=\"at position 10: expected FROM, found 'FORM'"), std::string::npos) << r.body;
}

TEST_F(QueryTest, ASelectListIsAnsweredAsRowsOfTheFromClass) {
    HttpResponse r = execQuery("SELECT DeviceID, Capacity FROM KIVO_DiskDrive WHERE Capacity > 1000000000000");
    EXPECT_EQ(e2e::count(r.body, "<VALUE.OBJECT>"), 1u) << r.body;
    EXPECT_NE(r.body.find("<VALUE.OBJECT><INSTANCE CLASSNAME=\"KIVO_DiskDrive\">"
                          "<PROPERTY NAME=\"DeviceID\" TYPE=\"string\"><VALUE>disk1</VALUE></PROPERTY>"
                          "<PROPERTY NAME=\"Capacity\" TYPE=\"uint64\"><VALUE>2000398934016</VALUE></PROPERTY>"
                          "</INSTANCE></VALUE.OBJECT>"),
              std::string::npos)
        << r.body;

    // Subclass instances as rows of the FROM class (the row path's refusals
    // are checked in CIMXMLExecuteQuery_test).
    r = execQuery("SELECT Caption FROM KIVO_LogicalDevice");
    EXPECT_EQ(e2e::count(r.body, "<INSTANCE CLASSNAME=\"KIVO_LogicalDevice\">"), 3u) << r.body;
}

TEST_F(QueryTest, OpenQueryInstancesTakesTheSameQueriesInCql) {
    HttpResponse r = call("OpenQueryInstances", e2e::valueParam("FilterQueryLanguage", "DMTF:CQL") +
                                                    e2e::valueParam("FilterQuery", "SELECT * FROM KIVO_ComputerSystem") +
                                                    e2e::valueParam("ReturnQueryResultClass", "FALSE") +
                                                    e2e::valueParam("MaxObjectCount", "10"));
    EXPECT_EQ(e2e::count(r.body, "<INSTANCE CLASSNAME=\"KIVO_ComputerSystem\""), 1u) << r.body;
    EXPECT_EQ(r.body.find("<ERROR"), std::string::npos) << r.body;

    r = call("OpenQueryInstances",
             e2e::valueParam("FilterQueryLanguage", "DMTF:CQL") + e2e::valueParam("FilterQuery", "SELECT * FROM"));
    EXPECT_NE(r.body.find("<ERROR CODE=\"15\""), std::string::npos) << r.body;
}

}  // namespace
