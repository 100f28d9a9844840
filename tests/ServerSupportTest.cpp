#include "ServerSupport.h"

#include "TestSupport.h"
#include "platform/System.h"

#include <gtest/gtest.h>

namespace zutest {
namespace {

// The record file is read while the server appends to it, and the network tests look for the
// absence of headers as well as their values: a line cut short must be passed over, and every
// header must come back as the bytes the server received.
TEST(ServerSupport, ParsesTheRequestRecord)
{
    const auto requests = ParseRecordedRequests(
        R"({"method":"POST","path":"/echo?t=1","headers":[["Host","127.0.0.1:1"],["X-Repeat","one"],)"
        R"(["x-repeat","two"],["User-Agent","caf\u00e9 \"q\" \\ \/\n"]],"raw_head":"POST /echo?t=1 HTTP/1.1\r\n\r\n",)"
        R"("body_length":12})"
        "\r\n"
        R"({"method":"GET","path":"/x","headers":[["A","\u20ac"]],"raw_head":"","body_length":0})"
        "\n"
        R"({"method":"GET","path":)");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].m_strMethod, "POST");
    EXPECT_EQ(requests[0].m_strPath, "/echo?t=1");
    EXPECT_EQ(requests[0].m_nBodyLength, 12);
    EXPECT_EQ(requests[0].m_strRawHead, "POST /echo?t=1 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(requests[0].HeaderValues("X-REPEAT"), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(requests[0].Header("user-agent"), "caf\xE9 \"q\" \\ /\n");
    EXPECT_EQ(requests[0].Header("Cookie"), "");
}

TEST(ServerSupport, ReadsAccessLogFields)
{
    const std::string line =
        R"(http GET "/dir/hello.txt?k=1" 200 16 pauth="Basic eA==" ua="Agent \x22quoted\x22 \x5Cslash" auth="-")";
    EXPECT_EQ(AccessLogField(line, "ua"), "Agent \"quoted\" \\slash");
    EXPECT_EQ(AccessLogField(line, "auth"), "-");
    EXPECT_EQ(AccessLogField(line, "th"), "");
    EXPECT_EQ(AccessLogField("ua=\"unterminated", "ua"), "");
}

// A ports file the test command names but this program cannot read would quietly skip every
// network test; under Wine this also proves the Unix paths reach the program as Z: paths.
TEST(ServerSupport, TheNamedPortsFileLeadsToTheServersFiles)
{
    if (zu::platform::GetEnvironmentText(u"ZU_TEST_SERVERS").empty())
        GTEST_SKIP() << ServersUnavailableReason();
    ASSERT_TRUE(ServersAvailable()) << ServersUnavailableReason();
    const std::u16string separator(1, zu::platform::PathSeparator());
    EXPECT_TRUE(ReadFile(ServerPath("NGINX_ROOT") + separator + u"pattern.bin") == ServedPattern());
    EXPECT_TRUE(ReadFile(ServerPath("FTP_HOME") + separator + u"pattern.bin") == ServedPattern("FTP_"));
    EXPECT_GT(ServerPort("ODD_HTTP"), 1024);
}

}  // namespace
}  // namespace zutest
