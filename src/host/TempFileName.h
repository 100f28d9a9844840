// Names for the library's temporary files: the temporary folder, a base name, " - " and the calling
// thread's identifier, then the extension, numbered further when a file of that name exists.
#pragma once

#include <string>

namespace zu::host {

class CTempFileName {
public:
    // "<temp>/<base> - <thread id>.<extension>", or "<temp>/<base> - <thread id> (<n>).<extension>"
    // with the lowest n that names nothing yet. An empty extension gives a name without a dot. The
    // name is only free when it is made: the caller creates the file.
    static std::u16string MakeUnique(const std::u16string& base, const std::u16string& extension);
};

}  // namespace zu::host
