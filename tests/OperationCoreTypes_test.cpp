// Client information, request URL and adapter exception: their argument
// orders differ from their field orders, which is what these tests pin.
#include "Cimom/ProtocolAdapter/Common/QORAClientInfo.h"

#include "Cimom/ProtocolAdapter/Common/AdapterException.h"
#include "Cimom/ProtocolAdapter/Common/KivoURL.h"

#include <gtest/gtest.h>

namespace {

TEST(QORAClientInfoTest, LocalValuesComeFirstAmongArgumentsPeerFirstAmongGetters) {
    KVOSmrPtr<KVOValSlist<KVOString>> roles(new KVOValSlist<KVOString>{"admin"});
    bool imported = false;
    QORAClientInfo info("10.0.0.1", "5988", "10.0.0.2", "40000", false, true, "alice", roles, nullptr, &imported);
    EXPECT_EQ(info.getPeerIPAddress(), "10.0.0.2");
    EXPECT_EQ(info.getPeerPort(), "40000");
    EXPECT_EQ(info.getLocalIPAddress(), "10.0.0.1");
    EXPECT_EQ(info.getLocalPort(), "5988");
    EXPECT_FALSE(info.isPPP());
    EXPECT_TRUE(info.isLoopback());
    EXPECT_EQ(info.getUserName(), "alice");
    EXPECT_TRUE(info.getUserRoles() == roles) << "the role list is shared, not copied";
    info.setPersistentConnection();
    EXPECT_TRUE(imported);

    QORAClientInfo noRoles("a", "1", "b", "2", true, false, "", nullptr, nullptr, nullptr);
    EXPECT_TRUE(noRoles.getUserRoles().isNull());
    EXPECT_TRUE(noRoles.isPPP());
    noRoles.setPersistentConnection();  // no flag to set: nothing happens
}

TEST(KivoURLTest, ArgumentOrderIsTypeHostNamespacePort) {
    KivoURL url("http", "host1", "root/cimv2", 5988);
    EXPECT_EQ(url.getHostPort(), 5988);
    EXPECT_EQ(url.getHostName(), "host1");
    EXPECT_EQ(url.getNamespace(), "root/cimv2");
    EXPECT_EQ(url.getNamespaceType(), "http");
}

TEST(AdapterExceptionTest, KeepsFieldsInConstructorOrderAndCodeZero) {
    AdapterException e("type", "where", "who", "message", 0);
    KivoBaseException const& base = e;
    EXPECT_EQ(base.getType(), "type");
    EXPECT_EQ(base.getWhere(), "where");
    EXPECT_EQ(base.getWho(), "who");
    EXPECT_EQ(base.getMessage(), "message");
    EXPECT_EQ(base.getCode(), 0);
    EXPECT_EQ(AdapterException().getCode(), 0);
}

}  // namespace
