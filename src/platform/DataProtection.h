// Data-protection seam: seals small secrets (stored credentials) for the current user. Windows uses
// DPAPI with the seed as extra entropy; elsewhere AES-256-GCM with a key kept in a 0600 per-user key
// file and the seed as associated data. A sealed value opens only with the same seed, for the same
// user (and key file).
#pragma once

#include <string>

namespace zu::platform {

bool SealData(const std::string& plain, const std::u16string& seed, const std::u16string& keyFile,
              std::string& sealed);
bool UnsealData(const std::string& sealed, const std::u16string& seed, const std::u16string& keyFile,
                std::string& plain);

}  // namespace zu::platform
