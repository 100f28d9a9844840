#include "platform/NetworkState.h"

#include <ifaddrs.h>
#include <net/if.h>

namespace zu::platform {

// Alive when an interface other than loopback is up and running.
bool IsNetworkAlive()
{
    ifaddrs* pList = nullptr;
    if (getifaddrs(&pList) != 0)
        return false;
    bool bAlive = false;
    for (const ifaddrs* p = pList; p && !bAlive; p = p->ifa_next) {
        const unsigned flags = p->ifa_flags;
        bAlive = (flags & IFF_UP) && (flags & IFF_RUNNING) && !(flags & IFF_LOOPBACK);
    }
    freeifaddrs(pList);
    return bAlive;
}

}  // namespace zu::platform
