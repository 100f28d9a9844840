#include "TestSupport.h"

#include "platform/SharedSection.h"

#include <gtest/gtest.h>

#include <cstring>

using zu::platform::CSharedSection;

TEST(SharedSectionTest, TwoMappingsOfOneNameShareTheirBytes)
{
    const std::u16string name = u"http://127.0.0.1:8080/a b/c?d=\\e&f=" + std::u16string(300, u'x');
    CSharedSection writer;
    ASSERT_TRUE(writer.Open(name, 1028, true));
    std::memcpy(static_cast<char*>(writer.Data()) + 4, u"id=42", 12);

    CSharedSection reader;
    ASSERT_TRUE(reader.Open(name, 1028, false));
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(static_cast<const char*>(reader.Data()) + 4)),
              u"id=42");

    CSharedSection other;
    if (other.Open(name + u"2", 1028, false)) {
        EXPECT_EQ(static_cast<const char*>(other.Data())[4], 0) << "a section nobody wrote is empty";
        other.Close();
    }
    writer.Close();
    reader.Close();
    CSharedSection::Remove(name);
    CSharedSection::Remove(name + u"2");
}
