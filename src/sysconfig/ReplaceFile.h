#pragma once

#include <cstdint>
#include <string>

namespace ZMBSD {

// Gives the file, or the one that a symbolic link of that name leads to, a new content as a whole: a reader, a crash
// and a power cut meet the old file or the new one. It is written beside as ".NAME.new", with the owner and mode of
// the old file, put on the disk and renamed; without an old file it is made with the mode that the umask leaves of
// 0666. 0 or errno: the old file stays then, and nothing beside it. EINVAL for a name that is no regular file's.
// The caller holds CSettingsLock: what a killed process left beside is written over.
std::uint32_t ReplaceFile(const std::string& path, const std::string& content);

} // namespace ZMBSD
