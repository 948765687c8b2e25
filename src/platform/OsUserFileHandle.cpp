#include "platform/OsUserFileHandle.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>

#include "host/FileTimes.h"
#include "platform/CFileDescriptor.h"
#include "platform/OsUserFileRecord.h"
#include "platform/OsUserHandleImpl.h"
#include "platform/OsUserPath.h"

namespace {

class _OsUserFileHandle : public _OsUserHandle {
public:
    explicit _OsUserFileHandle(int descriptor) : m_descriptor(descriptor) { m_kind = OSUSER_KIND_FILE; }

    int m_descriptor;
    bool m_locked = false; // never set: the lock goes with the descriptor
};

constexpr std::uint32_t FILE_ATTRIBUTE_NORMAL_BIT = 128;
constexpr char DEVICE_PREFIX[] = "\\\\.\\";
constexpr char CREATE_FILE_SIGNATURE[] =
    "OS_USER_FILE_HANDLE OsUserCreateFile(LPCSTR, DWORD, DWORD, PVOID, DWORD, DWORD, OS_USER_FILE_HANDLE)";

// The one request of the manufacturer's devices: read and write, group 'T', number 1, 32 bytes.
constexpr unsigned long DEVICE_REQUEST = 0xC0205401;

struct TDeviceRequest {
    std::uint32_t code;
    std::uint32_t inSize;
    std::uint32_t bytesReturned; // filled by the driver
    std::uint32_t outSize;
    void* inBuffer;
    void* outBuffer;
};

static_assert(sizeof(TDeviceRequest) == 32);

// Null with EINVAL for what is no file handle.
_OsUserFileHandle* FileOf(_OsUserHandle* handle) {
    if (handle == nullptr || handle->m_kind != OSUSER_KIND_FILE) {
        errno = EINVAL;
        return nullptr;
    }
    return static_cast<_OsUserFileHandle*>(handle);
}

// The flags of open for the access and the disposition, or nothing where they do not fit.
std::optional<int> OpenFlags(std::uint32_t access, std::uint32_t disposition) {
    if (access == 0) {
        return std::nullopt;
    }
    int flags = O_RDWR;
    if (access == OSUSER_GENERIC_READ) {
        flags = O_RDONLY;
    } else if (access == OSUSER_GENERIC_WRITE) {
        flags = O_WRONLY;
    }
    switch (disposition) {
    case OSUSER_CREATE_NEW:
        return flags | O_CREAT | O_EXCL;
    case OSUSER_CREATE_ALWAYS:
        return flags | O_CREAT | O_TRUNC;
    case OSUSER_OPEN_ALWAYS:
        return flags | O_CREAT;
    case OSUSER_TRUNCATE_EXISTING:
        // Meant: it is the right to read that is asked for.
        if ((access & OSUSER_GENERIC_READ) == 0) {
            return std::nullopt;
        }
        return flags | O_TRUNC;
    default:
        return flags;
    }
}

std::string PathOf(const char* name) {
    constexpr std::size_t PREFIX_LENGTH = sizeof DEVICE_PREFIX - 1;
    if (std::strlen(name) < 6 || std::strncmp(name, DEVICE_PREFIX, PREFIX_LENGTH) != 0) {
        return OsUserNormalizePath(name);
    }
    std::string device;
    check_and_translate_device(name + PREFIX_LENGTH, device);
    std::string path = "/dev/" + device;
    for (char& character : path) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return path;
}

std::int32_t Transferred(ssize_t count, std::uint32_t* countOut) {
    if (count < 0) {
        return 0;
    }
    if (countOut != nullptr) {
        *countOut = static_cast<std::uint32_t>(count);
    }
    return 1;
}

bool RefuseOverlapped(const void* overlapped, const char* signature) {
    if (overlapped == nullptr) {
        return false;
    }
    std::fprintf(stderr, "%s: lpOverlapped not supported", signature);
    errno = EINVAL;
    return true;
}

} // namespace

_OsUserHandle* OsUserCreateFile(const char* name, std::uint32_t access, std::uint32_t shareMode,
                                const void* /*security*/, std::uint32_t disposition, std::uint32_t flagsAndAttributes,
                                _OsUserHandle* templateFile) {
    if (templateFile != nullptr) {
        std::fprintf(stderr, "%s: hTemplateFile not supported\n", CREATE_FILE_SIGNATURE);
        errno = EINVAL;
        return nullptr;
    }
    if (flagsAndAttributes != 0 && (flagsAndAttributes & FILE_ATTRIBUTE_NORMAL_BIT) == 0) {
        std::fprintf(stderr, "%s: only FILE_ATTRIBUTE_NORMAL supported\n", CREATE_FILE_SIGNATURE);
        errno = EINVAL;
        return nullptr;
    }
    const std::optional<int> flags = OpenFlags(access, disposition);
    if (!flags) {
        errno = EINVAL;
        return nullptr;
    }
    CFileDescriptor descriptor(open(PathOf(name).c_str(), *flags | O_CLOEXEC, 0700));
    if (!descriptor) {
        return nullptr;
    }
    const int lock = (shareMode & OSUSER_SHARE_READ) != 0 ? LOCK_SH : LOCK_EX;
    // A file system without locks does without.
    if (flock(descriptor.Get(), lock | LOCK_NB) != 0 && errno != EOPNOTSUPP) {
        errno = EACCES;
        return nullptr;
    }
    auto handle = std::make_unique<_OsUserFileHandle>(descriptor.Get());
    descriptor.Release();
    return handle.release();
}

std::int32_t OsUserReadFile(_OsUserHandle* handle, void* buffer, std::uint32_t length, std::uint32_t* bytesRead,
                            void* overlapped) {
    if (RefuseOverlapped(overlapped, "BOOL OsUserReadFile(OS_USER_FILE_HANDLE, LPVOID, DWORD, LPDWORD, PVOID)")) {
        return 0;
    }
    const _OsUserFileHandle* file = FileOf(handle);
    return file != nullptr ? Transferred(read(file->m_descriptor, buffer, length), bytesRead) : 0;
}

std::int32_t OsUserWriteFile(_OsUserHandle* handle, const void* buffer, std::uint32_t length,
                             std::uint32_t* bytesWritten, void* overlapped) {
    if (RefuseOverlapped(overlapped, "BOOL OsUserWriteFile(OS_USER_FILE_HANDLE, LPCVOID, DWORD, LPDWORD, PVOID)")) {
        return 0;
    }
    const _OsUserFileHandle* file = FileOf(handle);
    return file != nullptr ? Transferred(write(file->m_descriptor, buffer, length), bytesWritten) : 0;
}

std::int32_t OsUserCloseFile(_OsUserHandle* handle) {
    const _OsUserFileHandle* file = FileOf(handle);
    if (file == nullptr) {
        return 0;
    }
    const int result = close(file->m_descriptor);
    delete file;
    return result == 0 ? 1 : 0;
}

std::int32_t OsUserDeviceIoControl(_OsUserHandle* handle, std::uint32_t code, void* inBuffer, std::uint32_t inSize,
                                   void* outBuffer, std::uint32_t outSize, std::uint32_t* bytesReturned) {
    const _OsUserFileHandle* file = FileOf(handle);
    if (file == nullptr) {
        return 0;
    }
    TDeviceRequest request = {code, inSize, 0, outSize, inBuffer, outBuffer};
    if (ioctl(file->m_descriptor, DEVICE_REQUEST, &request) < 0) {
        return 0;
    }
    if (bytesReturned != nullptr) {
        *bytesReturned = request.bytesReturned;
    }
    return 1;
}

std::int32_t OsUserGetFileInformationByHandle(_OsUserHandle* handle, _BY_HANDLE_FILE_INFORMATION* information) {
    const _OsUserFileHandle* file = FileOf(handle);
    if (file == nullptr) {
        return 0;
    }
    *information = {};
    struct stat status;
    if (fstat(file->m_descriptor, &status) != 0) {
        errno = EINVAL;
        return 0;
    }
    FillFileRecord(*information, status, Host::GetBirthTime(file->m_descriptor));
    return 1;
}

std::uint32_t OsUserGetFileSize(_OsUserHandle* handle, std::uint32_t* high) {
    _BY_HANDLE_FILE_INFORMATION information;
    if (OsUserGetFileInformationByHandle(handle, &information) == 0) {
        return OSUSER_INVALID_FILE_SIZE;
    }
    if (high != nullptr) {
        *high = information.nFileSizeHigh;
    }
    return information.nFileSizeLow;
}

std::uint32_t OsUserSetFilePointer(_OsUserHandle* handle, std::int32_t low, std::int32_t* high, std::uint32_t method) {
    static constexpr int WHENCE[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    const _OsUserFileHandle* file = FileOf(handle);
    if (file == nullptr) {
        return OSUSER_INVALID_SET_FILE_POINTER;
    }
    if (method >= std::size(WHENCE)) {
        errno = EINVAL;
        return OSUSER_INVALID_SET_FILE_POINTER;
    }
    std::int64_t offset = low;
    if (high != nullptr) {
        offset = static_cast<std::int64_t>(static_cast<std::uint64_t>(static_cast<std::uint32_t>(*high)) << 32 |
                                           static_cast<std::uint32_t>(low));
    }
    const off_t position = lseek(file->m_descriptor, offset, WHENCE[method]);
    if (position < 0) {
        return OSUSER_INVALID_SET_FILE_POINTER;
    }
    const auto lowWord = static_cast<std::uint32_t>(position);
    if (high != nullptr) {
        *high = static_cast<std::int32_t>(position >> 32);
        if (lowWord == OSUSER_INVALID_SET_FILE_POINTER) {
            errno = 0;
        }
    }
    return lowWord;
}

std::int32_t OsUserSetEndOfFile(_OsUserHandle* handle) {
    const _OsUserFileHandle* file = FileOf(handle);
    if (file == nullptr) {
        return 0;
    }
    const off_t position = lseek(file->m_descriptor, 0, SEEK_CUR);
    return position >= 0 && ftruncate(file->m_descriptor, position) == 0 ? 1 : 0;
}

void check_and_translate_device(const char* name, std::string& out) {
    if (const char* port = std::strstr(name, "COM")) {
        out = "cuauX";
        out[4] = static_cast<char>(port[3] - 1);
        return;
    }
    out.assign(name, strnlen(name, 255));
}
