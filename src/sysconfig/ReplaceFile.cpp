#include "sysconfig/ReplaceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "platform/CFileDescriptor.h"

namespace ZMBSD {

namespace {

constexpr mode_t s_newFile = 0666;
constexpr mode_t s_onlyOwner = 0600;
constexpr mode_t s_permissions = 07777;
constexpr int s_maxLinks = 40;

// Removes the file of that name at the end, unless it was given up.
class CTemporaryFile {
public:
    explicit CTemporaryFile(std::string name) : m_name(std::move(name)) {}

    ~CTemporaryFile() {
        if (!m_name.empty()) {
            unlink(m_name.c_str());
        }
    }

    CTemporaryFile(const CTemporaryFile&) = delete;
    CTemporaryFile& operator=(const CTemporaryFile&) = delete;

    void GiveUp() { m_name.clear(); }

private:
    std::string m_name;
};

std::uint32_t LastError() {
    return static_cast<std::uint32_t>(errno);
}

// Follows the links of the last component, also one that leads to a file that is not there yet.
std::uint32_t FollowLinks(std::filesystem::path& path) {
    for (int links = 0; links < s_maxLinks; ++links) {
        std::error_code error;
        if (!std::filesystem::is_symlink(path, error)) {
            return 0;
        }
        const std::filesystem::path target = std::filesystem::read_symlink(path, error);
        if (error) {
            return static_cast<std::uint32_t>(error.value());
        }
        path = path.parent_path() / target;
    }
    return ELOOP;
}

std::uint32_t WriteWhole(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(descriptor, content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            return LastError();
        }
        content.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return fsync(descriptor) == 0 ? 0 : LastError();
}

// `old` is null where there is no old file.
std::uint32_t WriteBeside(const std::string& name, const struct stat* old, std::string_view content) {
    const CFileDescriptor file(
        open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, old == nullptr ? s_newFile : s_onlyOwner));
    if (!file) {
        return LastError();
    }
    if (old != nullptr &&
        (fchown(file.Get(), old->st_uid, old->st_gid) != 0 || fchmod(file.Get(), old->st_mode & s_permissions) != 0)) {
        return LastError();
    }
    return WriteWhole(file.Get(), content);
}

// The name lasts on the disk only when its directory is there. A directory that cannot be told so changes nothing of
// what every program sees from now on.
void SyncDirectory(const std::filesystem::path& directory) {
    const CFileDescriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor) {
        fsync(descriptor.Get());
    }
}

} // namespace

std::uint32_t ReplaceFile(const std::string& path, const std::string& content) {
    std::filesystem::path target = path;
    if (const std::uint32_t error = FollowLinks(target); error != 0) {
        return error;
    }
    struct stat old = {};
    const bool exists = stat(target.c_str(), &old) == 0;
    if (!exists && errno != ENOENT) {
        return LastError();
    }
    if (exists && !S_ISREG(old.st_mode)) {
        return EINVAL;
    }
    const std::filesystem::path directory = target.has_parent_path() ? target.parent_path() : ".";
    const std::string beside = directory / ("." + target.filename().string() + ".new");
    unlink(beside.c_str());
    CTemporaryFile temporary(beside);
    if (const std::uint32_t error = WriteBeside(beside, exists ? &old : nullptr, content); error != 0) {
        return error;
    }
    if (std::rename(beside.c_str(), target.c_str()) != 0) {
        return LastError();
    }
    temporary.GiveUp();
    SyncDirectory(directory);
    return 0;
}

} // namespace ZMBSD
