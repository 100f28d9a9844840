#include "host/HostCallbacks.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>

using zu::host::CHostCallbacks;
using zu::host::EPromptAnswer;

namespace {

// What the fake host saw and how it answers. It always scribbles into both buffers, with a short
// terminated answer or, when careless, with no terminator at all.
struct CFakeHost {
    uint32_t m_nUserCapacity = 0, m_nPasswordCapacity = 0;
    int m_nCalls = 0;
    bool m_bRetry = true;
    bool m_bFillWithoutTerminator = false;
};

ZUBOOL Prompt(void* pContext, const ZUCHAR*, const ZUCHAR*, ZUCHAR* pszUser, uint32_t nUserCapacity,
              ZUCHAR* pszPassword, uint32_t nPasswordCapacity)
{
    CFakeHost& host = *static_cast<CFakeHost*>(pContext);
    ++host.m_nCalls;
    host.m_nUserCapacity = nUserCapacity;
    host.m_nPasswordCapacity = nPasswordCapacity;
    std::fill(pszUser, pszUser + nUserCapacity, u'x');
    std::fill(pszPassword, pszPassword + nPasswordCapacity, u'x');
    if (!host.m_bFillWithoutTerminator)
        pszUser[3] = pszPassword[3] = 0;
    return host.m_bRetry ? 1 : 0;
}

ZUHostCallbacks CallbacksFor(CFakeHost& host)
{
    ZUHostCallbacks callbacks{};
    callbacks.cbSize = sizeof(callbacks);
    callbacks.pContext = &host;
    callbacks.PromptCredentials = &Prompt;
    return callbacks;
}

EPromptAnswer Ask(std::u16string& user, std::u16string& password)
{
    return CHostCallbacks::PromptCredentials(u"example.org:80", u"http://example.org/a", user, password);
}

// Leaves the process with the library's defaults whatever a test did.
class HostCallbacksTest : public testing::Test {
protected:
    void TearDown() override { ZUReaderSetHostCallbacks(nullptr); }
};

}  // namespace

TEST_F(HostCallbacksTest, InstallingChecksTheSizeAndNullRestoresTheDefault)
{
    std::u16string user = u"kept", password = u"kept";
    EXPECT_EQ(Ask(user, password), EPromptAnswer::NoHost);

    CFakeHost host;
    ZUHostCallbacks callbacks = CallbacksFor(host);
    callbacks.cbSize = offsetof(ZUHostCallbacks, PromptCredentials);
    EXPECT_EQ(ZUReaderSetHostCallbacks(&callbacks), 0) << "too small to hold the prompt";
    EXPECT_EQ(Ask(user, password), EPromptAnswer::NoHost) << "a refused table installs nothing";

    callbacks.cbSize = sizeof(callbacks);
    ASSERT_EQ(ZUReaderSetHostCallbacks(&callbacks), 1);
    callbacks.cbSize = 4;
    EXPECT_EQ(ZUReaderSetHostCallbacks(&callbacks), 0);
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Retry) << "a refused table leaves the installed one in place";
    EXPECT_EQ(host.m_nCalls, 1);

    EXPECT_EQ(ZUReaderSetHostCallbacks(nullptr), 1);
    user = password = u"kept";
    EXPECT_EQ(Ask(user, password), EPromptAnswer::NoHost);
    EXPECT_EQ(host.m_nCalls, 1);
    EXPECT_EQ(user, u"kept");

    // A table from a later version of the header, larger than ours, is taken as far as we know it.
    struct {
        ZUHostCallbacks known;
        void* pLaterMember;
    } larger{CallbacksFor(host), nullptr};
    larger.known.cbSize = sizeof(larger);
    EXPECT_EQ(ZUReaderSetHostCallbacks(&larger.known), 1);
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Retry);
    EXPECT_EQ(host.m_nCalls, 2);
}

// What a well-behaved host answers is checked against a real server in the Internet reader's tests;
// here what a careless one does.
TEST_F(HostCallbacksTest, ACarelessHostNeitherLeaksACancelledAnswerNorOverrunsItsBuffers)
{
    CFakeHost host;
    const ZUHostCallbacks callbacks = CallbacksFor(host);
    ASSERT_EQ(ZUReaderSetHostCallbacks(&callbacks), 1);

    host.m_bRetry = false;
    std::u16string user = u"before", password = u"before";
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Cancelled);
    EXPECT_EQ(user, u"before") << "a cancelled prompt gives no credentials";
    EXPECT_EQ(password, u"before");
    EXPECT_GE(host.m_nUserCapacity, 128u);
    EXPECT_GE(host.m_nPasswordCapacity, 128u);

    // A host that fills every character without a terminator is cut one short of the capacity.
    host.m_bRetry = true;
    host.m_bFillWithoutTerminator = true;
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Retry);
    EXPECT_EQ(user, std::u16string(host.m_nUserCapacity - 1, u'x'));
    EXPECT_EQ(password, std::u16string(host.m_nPasswordCapacity - 1, u'x'));
}
