// Recordings made by zureader record: a header file whose chunks lie beside it, read through the
// splitter reader.
#pragma once

#include "ReaderPtr.h"

#include <string>

namespace zucli {

// A local file that starts with a recording's header.
bool IsRecording(const std::u16string& location);

// The splitter reader for the recording at path, not opened; it looks at the header at most five
// times a second.
CReaderPtr MakeRecordingReader(const std::u16string& path);

}  // namespace zucli
