// Every test run gets its own ZUREADER_HOME, so no test reads or writes a real user's settings,
// key file or log.
#include "TestSupport.h"
#include "TestWatchdog.h"

#include "platform/System.h"

#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    // Far above the slowest test under Wine on a loaded machine, well below the runner's limit.
    const char* pszLimit = std::getenv("ZU_TEST_LIMIT_S");
    const long nLimit = pszLimit ? std::atol(pszLimit) : 240;
    testing::UnitTest::GetInstance()->listeners().Append(new zutest::CTestWatchdog(std::chrono::seconds(nLimit)));
    zutest::CTempFolder home;
    zu::platform::SetEnvironmentText(u"ZUREADER_HOME", home.Path());
    return RUN_ALL_TESTS();
}
