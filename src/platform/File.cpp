#include "platform/File.h"

namespace zu::platform {

bool CreateFolders(const std::u16string& folder)
{
    if (folder.empty() || IsDirectory(folder))
        return !folder.empty();
    const std::u16string parent = FolderOf(folder);
    if (!parent.empty() && parent != folder && !CreateFolders(parent))
        return false;
    return MakeFolder(folder);
}

}  // namespace zu::platform
