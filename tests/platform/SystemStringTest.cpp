#include "TestSupport.h"

#include "platform/SystemString.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(SystemStringTest, HoldsLengthCharactersAndTerminator)
{
    const std::u16string text(u"a\0b\U0001F3B5", 5);
    ZUBSTR bstr = zu::platform::AllocSystemString(text);
    ASSERT_NE(bstr, nullptr);
    EXPECT_EQ(zu::platform::SystemStringLength(bstr), text.size()) << "embedded zeros count";
    EXPECT_EQ(std::memcmp(bstr, text.data(), text.size() * 2), 0);
    EXPECT_EQ(bstr[text.size()], 0);
    uint32_t nBytes;
    std::memcpy(&nBytes, reinterpret_cast<const char*>(bstr) - 4, 4);
    EXPECT_EQ(nBytes, text.size() * 2) << "the byte length sits just before the characters";
    zu::platform::FreeSystemString(bstr);
    zu::platform::FreeSystemString(nullptr);
    EXPECT_EQ(zu::platform::SystemStringLength(nullptr), 0u);
}
