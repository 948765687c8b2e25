#include "platform/OsUserFindFile.h"

#include <glob.h>
#include <libgen.h>

#include <cstring>
#include <memory>

#include "host/FileTimes.h"
#include "platform/OsUserFileRecord.h"
#include "platform/OsUserPath.h"

struct TFindHandle {
    TFindHandle() = default;

    ~TFindHandle() { globfree(&m_glob); }

    TFindHandle(const TFindHandle&) = delete;
    TFindHandle& operator=(const TFindHandle&) = delete;

    glob_t m_glob = {};
    char m_path[1024] = {};
    std::int32_t m_index = -1; // of the last delivered path
};

TFindHandle* OsUserFindFirstFile(const char* pattern, _WIN32_FIND_DATAA* findData) {
    auto handle = std::make_unique<TFindHandle>();
    *findData = {};
    glob(OsUserNormalizePath(pattern).c_str(), 0, nullptr, &handle->m_glob);
    if (handle->m_glob.gl_pathc == 0 || OsUserFindNextFile(handle.get(), findData) == 0) {
        return nullptr;
    }
    return handle.release();
}

std::int32_t OsUserFindNextFile(TFindHandle* handle, _WIN32_FIND_DATAA* findData) {
    if (handle == nullptr) {
        return 0;
    }
    const auto count = static_cast<std::int32_t>(handle->m_glob.gl_pathc);
    std::int32_t index = handle->m_index + 1;
    while (index < count && std::strlen(handle->m_glob.gl_pathv[index]) >= sizeof handle->m_path) {
        ++index;
    }
    if (index >= count) {
        return 0;
    }
    const char* path = handle->m_glob.gl_pathv[index];
    std::memcpy(handle->m_path, path, std::strlen(path) + 1);
    const char* name = basename(handle->m_path);
    if (name == nullptr) {
        return 0;
    }
    struct stat status;
    if (stat(path, &status) != 0) {
        // Meant: later paths are not tried, so that a dangling link cuts the list.
        return 0;
    }
    // The system's names have 255 bytes at most; a longer one of some file system is cut.
    std::strncpy(findData->cFileName, name, sizeof findData->cFileName - 1);
    findData->cFileName[sizeof findData->cFileName - 1] = '\0';
    FillFileRecord(*findData, status, Host::GetBirthTime(path));
    handle->m_index = index;
    return 1;
}

std::int32_t OsUserFindClose(TFindHandle* handle) {
    if (handle == nullptr) {
        return 0;
    }
    delete handle;
    return 1;
}
