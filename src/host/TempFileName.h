// Names for the library's temporary files: the temporary folder, a base name, " - " and the calling
// thread's identifier, then a part nobody can guess and the extension. The temporary folder is
// shared with every other account, so a name that could be foreseen could be taken first by a link
// to somebody's file; a file is only ever made under a name that is free at that moment.
#pragma once

#include <functional>
#include <string>

namespace zu::host {

class CTempFileName {
public:
    // What one attempt to make the file under a proposed name came to.
    enum class EAttempt { Created, NameTaken, Failed };

    // "<temp>/<base> - <thread id> (<16 hex digits>).<extension>", the digits from the system's
    // unpredictable source; empty when that source fails. An empty extension gives no dot.
    static std::u16string MakeUnpredictable(const std::u16string& base, const std::u16string& extension);

    // Proposes names until create makes the file under one (which must fail, not reuse, when the
    // name exists), or fails for another reason than the name. path is the last name proposed.
    static bool Create(const std::u16string& base, const std::u16string& extension,
                       const std::function<EAttempt(const std::u16string&)>& create, std::u16string& path);
};

}  // namespace zu::host
