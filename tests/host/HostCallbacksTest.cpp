#include "host/HostCallbacks.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

using zu::host::CHostCallbacks;
using zu::host::EPromptAnswer;

namespace {

// What the fake host saw and how it answers.
struct CFakeHost {
    std::u16string m_Site, m_Url;
    uint32_t m_nUserCapacity = 0, m_nPasswordCapacity = 0;
    int m_nCalls = 0;
    bool m_bRetry = true;
    std::u16string m_User = u"ann", m_Password = u"s3cret";
    bool m_bFillWithoutTerminator = false;
};

void Fill(ZUCHAR* pBuffer, uint32_t nCapacity, const std::u16string& text, bool bWithoutTerminator)
{
    if (bWithoutTerminator) {
        for (uint32_t i = 0; i < nCapacity; ++i)
            pBuffer[i] = u'x';
        return;
    }
    for (size_t i = 0; i <= text.size() && i < nCapacity; ++i)
        pBuffer[i] = i < text.size() ? text[i] : 0;
}

ZUBOOL Prompt(void* pContext, const ZUCHAR* pszSite, const ZUCHAR* pszUrl, ZUCHAR* pszUser, uint32_t nUserCapacity,
              ZUCHAR* pszPassword, uint32_t nPasswordCapacity)
{
    CFakeHost& host = *static_cast<CFakeHost*>(pContext);
    ++host.m_nCalls;
    host.m_Site = reinterpret_cast<const char16_t*>(pszSite);
    host.m_Url = reinterpret_cast<const char16_t*>(pszUrl);
    host.m_nUserCapacity = nUserCapacity;
    host.m_nPasswordCapacity = nPasswordCapacity;
    // A host that gives up may still have scribbled into the buffers.
    Fill(pszUser, nUserCapacity, host.m_User, host.m_bFillWithoutTerminator);
    Fill(pszPassword, nPasswordCapacity, host.m_Password, host.m_bFillWithoutTerminator);
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
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Retry);
    EXPECT_EQ(host.m_nCalls, 1);

    // A refused table leaves the installed one in place.
    callbacks.cbSize = 4;
    EXPECT_EQ(ZUReaderSetHostCallbacks(&callbacks), 0);
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Retry);

    EXPECT_EQ(ZUReaderSetHostCallbacks(nullptr), 1);
    user = password = u"kept";
    EXPECT_EQ(Ask(user, password), EPromptAnswer::NoHost);
    EXPECT_EQ(host.m_nCalls, 2);
    EXPECT_EQ(user, u"kept");

    // A table from a later version of the header, larger than ours, is taken as far as we know it.
    struct {
        ZUHostCallbacks known;
        void* pLaterMember;
    } larger{CallbacksFor(host), nullptr};
    larger.known.cbSize = sizeof(larger);
    EXPECT_EQ(ZUReaderSetHostCallbacks(&larger.known), 1);
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Retry);
    EXPECT_EQ(host.m_nCalls, 3);
}

TEST_F(HostCallbacksTest, TheHostsAnswerComesBackAndNeverOverrunsItsBuffers)
{
    CFakeHost host;
    const ZUHostCallbacks callbacks = CallbacksFor(host);
    ASSERT_EQ(ZUReaderSetHostCallbacks(&callbacks), 1);

    std::u16string user, password;
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Retry);
    EXPECT_EQ(host.m_Site, u"example.org:80");
    EXPECT_EQ(host.m_Url, u"http://example.org/a");
    EXPECT_EQ(user, u"ann");
    EXPECT_EQ(password, u"s3cret");
    EXPECT_GE(host.m_nUserCapacity, 128u);
    EXPECT_GE(host.m_nPasswordCapacity, 128u);

    host.m_bRetry = false;
    user = password = u"before";
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Cancelled);
    EXPECT_EQ(user, u"before") << "a cancelled prompt gives no credentials";
    EXPECT_EQ(password, u"before");

    // A host that fills every character without a terminator is cut one short of the capacity.
    host.m_bRetry = true;
    host.m_bFillWithoutTerminator = true;
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Retry);
    EXPECT_EQ(user, std::u16string(host.m_nUserCapacity - 1, u'x'));
    EXPECT_EQ(password, std::u16string(host.m_nPasswordCapacity - 1, u'x'));

    // Non-ASCII answers pass through as UTF-16 unchanged.
    host.m_bFillWithoutTerminator = false;
    host.m_User = u"J\u00fcrgen";
    host.m_Password = u"\u00df\u20ac\U0001F511";
    EXPECT_EQ(Ask(user, password), EPromptAnswer::Retry);
    EXPECT_EQ(user, host.m_User);
    EXPECT_EQ(password, host.m_Password);
}
