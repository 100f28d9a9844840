#include "platform/NetworkState.h"

#include <windows.h>

namespace zu::platform {
namespace {

typedef BOOL(WINAPI* IsNetworkAliveFn)(LPDWORD);

}  // namespace

// The System Event Notification service answers; where it is missing, assume a network rather than
// report every failure as "no network".
bool IsNetworkAlive()
{
    static const auto isNetworkAlive = reinterpret_cast<IsNetworkAliveFn>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"sensapi.dll"), "IsNetworkAlive")));
    if (!isNetworkAlive)
        return true;
    DWORD flags = 0;
    return isNetworkAlive(&flags) != FALSE;
}

}  // namespace zu::platform
