// Network-state seam: whether the machine has any network besides loopback, which tells a
// transport failure ("no network") apart from an unreachable server.
#pragma once

namespace zu::platform {

bool IsNetworkAlive();

}  // namespace zu::platform
