#include "platform/OsUserFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "platform/CFileDescriptor.h"
#include "platform/OsUserPath.h"

namespace {

// What a copy takes of a mode: it never runs with the rights of an owner or a group, least of all the service's.
constexpr mode_t COPIED_MODE = 07777 & ~(S_ISUID | S_ISGID);

constexpr std::size_t COPY_BLOCK_SIZE = 65536;

// What every file is opened with: a pipe or a device must not hold its user up, no terminal becomes the service's own,
// and the programs that the service runs do not inherit what clients have open.
constexpr int OPEN_ALWAYS = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// The flags of open for a mode of fopen, or nothing where it is none.
std::optional<int> OpenFlags(const char* mode) {
    const bool both = std::strchr(mode, '+') != nullptr;
    switch (*mode) {
    case 'r':
        return both ? O_RDWR : O_RDONLY;
    case 'w':
        return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
    case 'a':
        return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
    default:
        return std::nullopt;
    }
}

bool IsRegularFile(const std::string& normalizedPath) {
    struct stat status;
    return stat(normalizedPath.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool WriteAll(int descriptor, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = write(descriptor, data, size);
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool CopyContents(int source, int destination) {
    std::vector<char> block(COPY_BLOCK_SIZE);
    for (;;) {
        const ssize_t count = read(source, block.data(), block.size());
        if (count <= 0) {
            // A pipe or device that has no data now is at its end.
            return count == 0 || errno == EAGAIN;
        }
        if (!WriteAll(destination, block.data(), static_cast<std::size_t>(count))) {
            return false;
        }
    }
}

} // namespace

std::FILE* os_fopen(const char* path, const char* mode) {
    std::string normalized;
    try {
        normalized = OsUserNormalizePath(path);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return nullptr;
    }
    const std::optional<int> flags = OpenFlags(mode);
    if (!flags) {
        errno = EINVAL;
        return nullptr;
    }
    CFileDescriptor descriptor(open(normalized.c_str(), *flags | OPEN_ALWAYS, 0666));
    if (!descriptor) {
        return nullptr;
    }
    std::FILE* file = fdopen(descriptor.Get(), mode);
    if (file == nullptr) {
        return nullptr;
    }
    descriptor.Release();
    if (std::strncmp(mode, "a+", 2) == 0) {
        std::fseek(file, 0, SEEK_SET);
    }
    return file;
}

int os_mkdir(const char* path, mode_t mode) {
    return mkdir(OsUserNormalizePath(path).c_str(), mode);
}

int os_rmdir(const char* path) {
    return rmdir(OsUserNormalizePath(path).c_str());
}

std::int32_t OsUserDeleteFile(const char* path) {
    return unlink(OsUserNormalizePath(path).c_str()) == 0 ? 1 : 0;
}

std::int32_t OsUserCreateDirectory(const char* path) {
    return os_mkdir(path, 0775) == 0 ? 1 : 0;
}

std::int32_t OsUserRemoveDirectory(const char* path) {
    return os_rmdir(path) == 0 ? 1 : 0;
}

std::int32_t OsUserGetCurrentDirectory(std::size_t size, char* buffer) {
    return getcwd(buffer, size) != nullptr ? 1 : 0;
}

std::uint32_t OsUserGetFileAttributes(const char* path) {
    struct stat status;
    if (stat(OsUserNormalizePath(path).c_str(), &status) != 0) {
        return OSUSER_ATTRIBUTE_FAILED;
    }
    return OsUserGetFileAttributesInternal(status);
}

std::uint32_t OsUserGetFileAttributesInternal(const struct stat& status) {
    if (S_ISDIR(status.st_mode)) {
        return OSUSER_ATTRIBUTE_DIRECTORY;
    }
    if (S_ISREG(status.st_mode)) {
        return OSUSER_ATTRIBUTE_NORMAL;
    }
    // Meant: all bits, which a client also sees as a directory.
    return OSUSER_ATTRIBUTE_OTHER;
}

std::int32_t OsUserPathFileExists(const char* path) {
    return IsRegularFile(OsUserNormalizePath(path)) ? 1 : 0;
}

std::int32_t OsUserMoveFile(const char* source, const char* destination, std::uint32_t flags) {
    const std::string from = OsUserNormalizePath(source);
    const std::string to = OsUserNormalizePath(destination);
    if ((flags & OSUSER_MOVE_REPLACE_EXISTING) == 0 && IsRegularFile(to)) {
        errno = EEXIST;
        return 0;
    }
    return std::rename(from.c_str(), to.c_str()) == 0 ? 1 : 0;
}

std::int32_t OsUserCopyFile(const char* source, const char* destination, std::int32_t failIfExists) {
    const CFileDescriptor from(open(OsUserNormalizePath(source).c_str(), O_RDONLY | OPEN_ALWAYS));
    if (!from) {
        return 0;
    }
    const int exclusive = failIfExists != 0 ? O_EXCL : 0;
    const CFileDescriptor to(
        open(OsUserNormalizePath(destination).c_str(), O_WRONLY | O_CREAT | O_TRUNC | OPEN_ALWAYS | exclusive, 0));
    struct stat status;
    if (!to || fstat(from.Get(), &status) != 0 || fchmod(to.Get(), status.st_mode & COPIED_MODE) != 0) {
        return 0;
    }
    return CopyContents(from.Get(), to.Get()) ? 1 : 0;
}
