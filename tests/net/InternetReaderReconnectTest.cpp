// The option RECONNECT of the Internet reader against the odd server, which cuts its answers short
// on demand: what a caller sees of a broken transfer, and which requests the reader sent to mend it.
#include "net/InternetReader.h"
#include "net/InternetReaderSupport.h"

#include <gtest/gtest.h>

using namespace zutest;
using InternetReaderReconnectTest = CInternetReaderTest;

namespace {

constexpr int64_t MiB = 1024 * 1024;

std::string LargeFile()
{
    static const std::string bytes = ReadFile(ServerPath("NGINX_ROOT") + u"/large.bin");
    return bytes;
}

}  // namespace

TEST_F(InternetReaderReconnectTest, ATransferCutEverySevenMiBArrivesWholeOnlyWithReconnect)
{
    ZU_REQUIRE_SERVERS();
    const std::string tag = UniqueTag("cut7");
    const std::string path = "/file?name=large.bin&cut=" + std::to_string(7 * MiB) + "&tag=" + tag;
    const std::string& large = LargeFile();

    CReaderPtr plain = InternetReader(ServerUrl("ODD_HTTP", "/file?plain=1&" + path.substr(6)), u"", 5000);
    ASSERT_TRUE(plain->Open());
    EXPECT_EQ(7 * MiB, static_cast<int64_t>(ReadToEnd(*plain, 1 << 20).size())) << "without RECONNECT a cut ends it";

    CReaderPtr mended = InternetReader(ServerUrl("ODD_HTTP", path), u"RECONNECT|1", 5000);
    ASSERT_TRUE(mended->Open());
    EXPECT_EQ(static_cast<int64_t>(large.size()), mended->GetLength());
    const std::string got = ReadToEnd(*mended, 1 << 20);
    ASSERT_EQ(large.size(), got.size());
    EXPECT_TRUE(got == large) << "byte-exact";
    EXPECT_EQ(static_cast<int64_t>(large.size()), mended->GetPosition());

    const std::vector<CRecordedRequest> requests = RecordedRequests(path);
    const size_t nExpected = (large.size() + 7 * MiB - 1) / (7 * MiB);
    ASSERT_EQ(nExpected, requests.size());
    EXPECT_EQ("", requests[0].Header("Range"));
    for (size_t i = 1; i < requests.size(); ++i)
        EXPECT_EQ("bytes=" + std::to_string(i * 7 * MiB) + "-", requests[i].Header("Range")) << "request " << i;
}

TEST_F(InternetReaderReconnectTest, OnlyAnAnswerFromTheMissingByteIsTakenAndARangeKeepsItsEnd)
{
    ZU_REQUIRE_SERVERS();
    const std::string body = PatternBytes(100000, 3);

    // Cut once, mended once; a range asked for keeps its last byte across the resume.
    const std::string tag = UniqueTag("cutonce");
    CReaderPtr ranged = InternetReader(ServerUrl("ODD_HTTP", "/file?pattern=100000&cut=3000&cut_first=1&tag=" + tag),
                                       u"RECONNECT|1|RANGE_START|1000|RANGE_FINISH|59999", 5000);
    ASSERT_TRUE(ranged->Open());
    EXPECT_EQ(body.substr(1000, 59000), ReadToEnd(*ranged));
    const std::vector<CRecordedRequest> requests = RecordedRequests("/file?pattern=100000&cut=3000&cut_first=1&tag=" + tag);
    ASSERT_EQ(2u, requests.size());
    EXPECT_EQ("bytes=1000-59999", requests[0].Header("Range"));
    EXPECT_EQ("bytes=4000-59999", requests[1].Header("Range"));

    // A server that answers the resume with the whole body from 0 is not believed.
    CReaderPtr ignored = InternetReader(ServerUrl("ODD_HTTP", "/file?pattern=100000&cut=3000&ranges=0&tag=" +
                                                                  UniqueTag("ignored")),
                                        u"RECONNECT|1", 5000);
    ASSERT_TRUE(ignored->Open());
    EXPECT_EQ(body.substr(0, 3000), ReadToEnd(*ignored));
}

TEST_F(InternetReaderReconnectTest, ALiveStreamReconnectsAndGoesOnButARangeReaderNeverStartsAnew)
{
    ZU_REQUIRE_SERVERS();
    const std::string body = PatternBytes(4000, 3);
    const std::string path = "/file?pattern=100000&length=0&cut=4000&tag=" + UniqueTag("live");
    CReaderPtr live = InternetReader(ServerUrl("ODD_HTTP", path), u"RECONNECT|1", 5000);
    ASSERT_TRUE(live->Open());
    EXPECT_EQ(body + body + body, ReadUpTo(*live, 12000)) << "each connection starts the stream anew";
    EXPECT_EQ(3u, RecordedRequests(path).size());

    CInternetReader placed(Z(ServerUrl("ODD_HTTP", path + "-placed")));
    placed.SetOptions(Z(u"RECONNECT|1"));
    placed.SetTimeout(5000);
    placed.SetLiveReconnect(false);
    ASSERT_TRUE(placed.Open());
    EXPECT_EQ(body, ReadToEnd(placed));
}
