// Every test run gets its own ZUREADER_HOME, so no test reads or writes a real user's settings,
// key file or log.
#include "TestSupport.h"

#include "platform/System.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    zutest::CTempFolder home;
    zu::platform::SetEnvironmentText(u"ZUREADER_HOME", home.Path());
    return RUN_ALL_TESTS();
}
