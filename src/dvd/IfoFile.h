// CIfoFile: one DVD-Video information file (.IFO) read whole into memory.
#pragma once

#include "dvd/IfoRecords.h"

#include <string>

namespace zu::dvd {

class CIfoFile {
public:
    // Information files are small: anything outside these bounds is not one.
    static constexpr int64_t kMinSize = 2048;
    static constexpr int64_t kMaxSize = 1000000;

    explicit CIfoFile(std::u16string path) : m_Path(std::move(path)) {}
    virtual ~CIfoFile() = default;
    CIfoFile(const CIfoFile&) = delete;
    CIfoFile& operator=(const CIfoFile&) = delete;

    // Reads the whole file; false when it cannot be read whole or its size is out of bounds.
    bool Load();

    const std::u16string& Path() const { return m_Path; }
    const CBytes& Data() const { return m_Data; }
    bool IsLoaded() const { return m_bLoaded; }

protected:
    std::u16string m_Path;
    CBytes m_Data;
    bool m_bLoaded = false;
};

}  // namespace zu::dvd
