#include "platform/NetworkState.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

// The answer must match the interfaces the system lists (Linux: /sys/class/net/*/operstate).
TEST(NetworkStateTest, AgreesWithTheSystemsInterfaceList)
{
    std::ifstream routes("/proc/net/dev");
    if (!routes)
        GTEST_SKIP() << "no /proc/net/dev to compare with";
    bool bOtherUp = false;
    std::string line;
    while (std::getline(routes, line)) {
        const size_t colon = line.find(':');
        if (colon == std::string::npos)
            continue;
        std::string name = line.substr(0, colon);
        name.erase(0, name.find_first_not_of(' '));
        if (name == "lo")
            continue;
        std::ifstream state("/sys/class/net/" + name + "/operstate");
        std::string value;
        state >> value;
        bOtherUp = bOtherUp || value == "up" || value == "unknown";
    }
    EXPECT_EQ(zu::platform::IsNetworkAlive(), bOtherUp);
}
