#include "modules/ObjectFSO.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "dictionary/ModuleObjects.h"
#include "platform/CFileDescriptor.h"
#include "platform/LittleEndian.h"
#include "platform/OsUserFile.h"
#include "platform/OsUserFindFile.h"
#include "platform/OsUserSystem.h"

namespace FSO {

namespace {

constexpr unsigned short MODULE_TYPE = 16;
constexpr const char* MODULE_NAME = "FSO";
constexpr std::int64_t TEXT_ID_MODULE = 1030;

constexpr ObjResult NOTHING_FOUND = OsResult(ENOENT);

// Sizes of the fixed heads of the records.
constexpr std::size_t LIST_HEAD = 24;
constexpr std::size_t DIRECTORY_ENTRY_HEAD = 8;
constexpr std::size_t FILE_ENTRY_HEAD = 20;
constexpr std::size_t READ_HEAD = 12;

constexpr std::uint32_t COPY_FLAG_COPY = 1; // clear: move
constexpr std::uint32_t COPY_FLAG_OVERWRITE = 2;

constexpr unsigned int ATTRIBUTE_READONLY = 1;
constexpr mode_t MODE_EXECUTE = 0111;
constexpr mode_t MODE_READONLY = 0444;
constexpr mode_t MODE_WRITABLE = 0664;

// A recursive deletion goes no deeper: each level holds a descriptor, and what is below the last one stays.
constexpr int DELETE_DEPTH = 512;

ObjResult LastError() {
    return OsResult(static_cast<std::uint32_t>(OsUserGetLastError()));
}

bool IsDirectory(const _WIN32_FIND_DATAA& entry) {
    // Meant: the attribute word of sockets, devices and pipes has all bits set, so they count as directories.
    return (entry.dwFileAttributes & OSUSER_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsDotEntry(const _WIN32_FIND_DATAA& entry) {
    return std::strcmp(entry.cFileName, ".") == 0 || std::strcmp(entry.cFileName, "..") == 0;
}

// A search that ends with its scope.
class CSearch {
public:
    CSearch(const char* pattern, _WIN32_FIND_DATAA& entry) : m_handle(OsUserFindFirstFile(pattern, &entry)) {}

    ~CSearch() { OsUserFindClose(m_handle); }

    CSearch(const CSearch&) = delete;
    CSearch& operator=(const CSearch&) = delete;

    explicit operator bool() const { return m_handle != nullptr; }

    bool Next(_WIN32_FIND_DATAA& entry) { return OsUserFindNextFile(m_handle, &entry) != 0; }

private:
    TFindHandle* m_handle;
};

// Paths are C texts below: they end at the first zero byte.
std::string TakePath(CRecordReader& record, std::uint32_t length) {
    const std::string path = record.TakeText(length);
    return path.substr(0, path.find('\0'));
}

// Writes the directory entries or the file entries of a listing, each with the offset of the next, 0 in the last.
class CListWriter {
public:
    explicit CListWriter(unsigned char* record) : m_record(record) {}

    void PutDirectories(const std::vector<_WIN32_FIND_DATAA>& entries) {
        for (const _WIN32_FIND_DATAA& entry : entries) {
            const std::size_t length = std::strlen(entry.cFileName);
            unsigned char* at = m_record + m_offset;
            PutNext(at, DIRECTORY_ENTRY_HEAD + length, &entry == &entries.back());
            StoreLe(at + 4, static_cast<std::uint32_t>(length));
            std::memcpy(at + DIRECTORY_ENTRY_HEAD, entry.cFileName, length);
        }
    }

    void PutFiles(const std::vector<_WIN32_FIND_DATAA>& entries) {
        for (const _WIN32_FIND_DATAA& entry : entries) {
            const std::size_t length = std::strlen(entry.cFileName);
            unsigned char* at = m_record + m_offset;
            PutNext(at, FILE_ENTRY_HEAD + length, &entry == &entries.back());
            StoreLe(at + 4, std::uint64_t{entry.nFileSizeHigh} << 32 | entry.nFileSizeLow);
            StoreLe(at + 16, static_cast<std::uint32_t>(length));
            std::memcpy(at + FILE_ENTRY_HEAD, entry.cFileName, length);
        }
    }

private:
    void PutNext(unsigned char* at, std::size_t size, bool isLast) {
        m_offset += size;
        StoreLe(at, isLast ? 0U : static_cast<std::uint32_t>(m_offset));
    }

    unsigned char* m_record;
    std::size_t m_offset = LIST_HEAD;
};

std::size_t ListSize(const std::vector<_WIN32_FIND_DATAA>& entries, std::size_t entryHead) {
    std::size_t size = 0;
    for (const _WIN32_FIND_DATAA& entry : entries) {
        size += entryHead + std::strlen(entry.cFileName);
    }
    return size;
}

ObjResult CopyOrMove(std::span<const unsigned char> request) {
    CRecordReader record(request);
    const auto sourceLength = record.Take<std::uint32_t>();
    const auto destinationLength = record.Take<std::uint32_t>();
    const auto flags = record.Take<std::uint32_t>();
    const std::string source = TakePath(record, sourceLength);
    const std::string destination = TakePath(record, destinationLength);
    if (record.Failed()) {
        return OBJ_E_INVALIDDATA;
    }
    const bool overwrite = (flags & COPY_FLAG_OVERWRITE) != 0;
    bool done = false;
    if ((flags & COPY_FLAG_COPY) != 0) {
        done = OsUserCopyFile(source.c_str(), destination.c_str(), overwrite ? 0 : 1) != 0;
    } else {
        if (overwrite) {
            OsUserDeleteFile(destination.c_str());
        }
        done = OsUserMoveFile(source.c_str(), destination.c_str(), 0) != 0;
    }
    return done ? OBJ_E_NOERR : LastError();
}

mode_t ModeFor(mode_t present, unsigned int attributes) {
    const mode_t mode = (attributes & ATTRIBUTE_READONLY) != 0 ? MODE_READONLY : MODE_WRITABLE;
    return (present & MODE_EXECUTE) | mode;
}

// Special files are not; a link is deleted itself, whatever it points to.
bool IsDeletable(mode_t mode) {
    return S_ISREG(mode) || S_ISLNK(mode);
}

// The names in a directory but those that begin with a dot, as a listing tells them.
std::vector<std::string> NamesIn(int directory) {
    std::vector<std::string> names;
    CFileDescriptor descriptor(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(descriptor.Get()), &closedir);
    if (stream == nullptr) {
        return names;
    }
    descriptor.Release(); // the stream's now
    while (const dirent* entry = readdir(stream.get())) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool DeleteEntry(int directory, const char* name, int depth);

// Deletes the directory `name` in an open one with what is in it. Everything goes through open directories, and none is
// opened through a link: whoever moves entries about meanwhile cannot lead the deletion elsewhere.
bool DeleteTree(int parent, const char* name, int depth) {
    bool done = true;
    if (depth > 0) {
        const CFileDescriptor directory(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        // One that cannot be read counts as empty.
        if (directory) {
            for (const std::string& entry : NamesIn(directory.Get())) {
                done &= DeleteEntry(directory.Get(), entry.c_str(), depth - 1);
            }
        }
    }
    return unlinkat(parent, name, AT_REMOVEDIR) == 0 && done;
}

bool DeleteEntry(int directory, const char* name, int depth) {
    struct stat status {};

    if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    if (S_ISDIR(status.st_mode)) {
        return DeleteTree(directory, name, depth);
    }
    if (IsDeletable(status.st_mode)) {
        return unlinkat(directory, name, 0) == 0;
    }
    // Meant: it stays, but writable, since all bits of its attribute word are set and one of them means read-only.
    fchmodat(directory, name, ModeFor(status.st_mode, 0), AT_SYMLINK_NOFOLLOW);
    return false;
}

ObjResult Delete(std::span<const unsigned char> request) {
    CRecordReader record(request);
    const auto length = record.Take<std::uint32_t>();
    const auto recursive = record.Take<std::uint32_t>();
    const std::string path = TakePath(record, length);
    if (record.Failed()) {
        return OBJ_E_INVALIDDATA;
    }
    if (path.empty()) {
        return OBJ_E_INVALIDARG;
    }

    // A slash at the end of a link's name would lead behind it.
    const std::size_t end = path.find_last_not_of('/') + 1;
    const std::string entry = path.substr(0, std::max<std::size_t>(end, 1));

    struct stat status {};

    if (lstat(entry.c_str(), &status) != 0) {
        return LastError();
    }
    const bool isDirectory = S_ISDIR(status.st_mode);
    if (!isDirectory && !S_ISLNK(status.st_mode) && path.back() == '/') {
        return OsResult(ENOTDIR);
    }
    bool done = false;
    if (isDirectory) {
        done = recursive != 0 ? DeleteDirectory(entry.c_str()) : unlinkat(AT_FDCWD, entry.c_str(), AT_REMOVEDIR) == 0;
    } else if (IsDeletable(status.st_mode)) {
        done = unlinkat(AT_FDCWD, entry.c_str(), 0) == 0;
    }
    return done ? OBJ_E_NOERR : OBJ_E_FAILED;
}

ObjResult CreateOneDirectory(const std::string& path) {
    return OsUserCreateDirectory(path.c_str()) != 0 ? OBJ_E_NOERR : LastError();
}

ObjResult MakeDirectory(std::span<const unsigned char> request) {
    CRecordReader record(request);
    const auto length = record.Take<std::uint32_t>();
    const auto recursive = record.Take<std::uint32_t>();
    std::string path = TakePath(record, length);
    if (record.Failed()) {
        return OBJ_E_INVALIDDATA;
    }
    if (recursive == 0 || path.empty()) {
        return CreateOneDirectory(path);
    }
    // The last prefix decides: earlier ones mostly fail because they exist, the empty one in front of a leading slash
    // always does.
    ObjResult result = OBJ_E_NOERR;
    for (std::size_t at = 0; at < path.size(); ++at) {
        at = std::min(path.find_first_of("\\/", at), path.size());
        result = CreateOneDirectory(path.substr(0, at));
        if (at < path.size()) {
            path[at] = '/';
        }
    }
    return result;
}

} // namespace

ObjResult Create() {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    const unsigned short slot =
        AddModuleHeader(*dictionary.Get(), MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
    AddModuleObject<CObj0xBnn0>(*dictionary.Get(), 1031, ServiceIndex(slot, 0));
    AddModuleObject<CObj0xBnn1>(*dictionary.Get(), 1032, ServiceIndex(slot, 1));
    AddModuleObject<CObj0xBnn2>(*dictionary.Get(), 1033, ServiceIndex(slot, 2));
    AddModuleObject<CObj0xBnn3>(*dictionary.Get(), 1034, ServiceIndex(slot, 3));
    AddModuleObject<CObj0xBnn4>(*dictionary.Get(), 1035, ServiceIndex(slot, 4));
    AddModuleObject<CObj0xBnn5>(*dictionary.Get(), 1036, ServiceIndex(slot, 5));
    return OBJ_E_NOERR;
}

bool DeleteDirectory(const char* path) {
    return DeleteTree(AT_FDCWD, path, DELETE_DEPTH);
}

int SetFileAttributes(const char* path, unsigned int attributes) {
    struct stat status {};

    if (stat(path, &status) != 0) {
        return 0;
    }
    return chmod(path, ModeFor(status.st_mode, attributes)) == 0 ? 1 : 0;
}

void CObj0xBnn0::DoWork(void* /*argument*/) {
    RunJob([this](auto request, TOutcome& outcome) { return List(request, outcome); });
}

ObjResult CObj0xBnn0::List(std::span<const unsigned char> request, TOutcome& outcome) {
    CRecordReader record(request);
    const auto length = record.Take<std::uint32_t>();
    const std::string pattern = TakePath(record, length);
    if (record.Failed()) {
        return OBJ_E_INVALIDDATA;
    }
    SetProgress(1);
    if (pattern.empty()) {
        return OBJ_E_INVALIDARG;
    }
    std::vector<_WIN32_FIND_DATAA> directories;
    std::vector<_WIN32_FIND_DATAA> files;
    {
        _WIN32_FIND_DATAA entry;
        CSearch search(pattern.c_str(), entry);
        bool more = static_cast<bool>(search);
        for (; more; more = search.Next(entry)) {
            if (!IsDirectory(entry)) {
                files.push_back(entry);
            } else if (!IsDotEntry(entry)) {
                directories.push_back(entry);
            }
        }
    }
    if (directories.empty() && files.empty()) {
        return NOTHING_FOUND;
    }

    SetProgress(10);
    const std::size_t directoriesSize = ListSize(directories, DIRECTORY_ENTRY_HEAD);
    const std::size_t size = LIST_HEAD + directoriesSize + ListSize(files, FILE_ENTRY_HEAD);
    if (!outcome.Allocate(size)) {
        return OBJ_E_OUTOFMEMORY;
    }
    outcome.size = static_cast<unsigned int>(size);
    const std::size_t firstFile = LIST_HEAD + directoriesSize;
    const std::uint32_t head[LIST_HEAD / sizeof(std::uint32_t)] = {
        0,
        outcome.size,
        static_cast<std::uint32_t>(directories.size()),
        static_cast<std::uint32_t>(files.size()),
        directories.empty() ? 0 : static_cast<std::uint32_t>(LIST_HEAD),
        files.empty() ? 0 : static_cast<std::uint32_t>(firstFile),
    };
    std::memset(outcome.Data(), 0, size); // the reserved fields stay so
    std::memcpy(outcome.Data(), head, sizeof head);
    SetProgress(30);
    CListWriter writer(outcome.Data());
    writer.PutDirectories(directories);
    SetProgress(60);
    writer.PutFiles(files);
    SetProgress(90);
    return OBJ_E_NOERR;
}

std::uint32_t CObj0xBnnXHandle::GetNextHandle() {
    ++nextHandle;
    return nextHandle != 0 ? nextHandle : 1;
}

std::uint32_t CObj0xBnnXHandle::SetHandle(std::FILE* stream) {
    file = stream;
    currentHandle = 0;
    if (stream != nullptr) {
        nextHandle = GetNextHandle();
        currentHandle = nextHandle;
    }
    return currentHandle;
}

void CObj0xBnnXHandle::OsUserCloseHandle() {
    if (file != nullptr) {
        std::fclose(file);
        file = nullptr;
    }
    currentHandle = 0;
}

void CObj0xBnn1::DoWork(void* /*argument*/) {
    RunJob([this](auto request, TOutcome& outcome) { return ReadChunk(request, outcome); });
}

ObjResult CObj0xBnn1::Open(const std::string& path) {
    OsUserCloseHandle();
    // Only reading refuses this, on purpose: writing normalises it.
    if (path.find("\\\\") != std::string::npos) {
        return OBJ_E_INVALIDDATA;
    }
    return SetHandle(os_fopen(path.c_str(), "rb")) != 0 ? OBJ_E_NOERR : OBJ_E_INVALIDDATA;
}

ObjResult CObj0xBnn1::ReadChunk(std::span<const unsigned char> request, TOutcome& outcome) {
    CRecordReader record(request);
    const auto pathLength = record.Take<std::uint32_t>();
    const auto handle = record.Take<std::uint32_t>();
    const auto chunkSize = record.Take<std::uint32_t>();
    const std::string path = TakePath(record, pathLength);
    if (record.Failed()) {
        return OBJ_E_INVALIDDATA;
    }
    if (chunkSize < READ_HEAD) {
        return OBJ_E_INVALIDARG;
    }
    if (pathLength != 0 && handle == 0) {
        const ObjResult result = Open(path);
        if (result != OBJ_E_NOERR) {
            return result;
        }
    } else if (pathLength != 0 || !IsCurrent(handle)) {
        return OBJ_E_INVALIDARG;
    }
    // The two largest chunks are a little less, with the head of the response.
    const std::uint32_t capacity = std::min(chunkSize, TOutcome::LARGEST);
    if (!outcome.Allocate(capacity)) {
        OsUserCloseHandle(); // a client that has just opened the file does not know its handle
        return OBJ_E_OUTOFMEMORY;
    }
    unsigned char* data = outcome.Data() + READ_HEAD;
    const std::size_t wanted = capacity - READ_HEAD;
    const std::size_t count = std::fread(data, 1, wanted, file);
    // A chunk without room for data is never full: it ends the file.
    const bool isEnd = count < wanted || wanted == 0;
    if (isEnd) {
        OsUserCloseHandle();
    }
    StoreLe(outcome.Data(), static_cast<std::uint32_t>(count));
    StoreLe(outcome.Data() + 4, currentHandle);
    StoreLe(outcome.Data() + 8, std::uint32_t{isEnd});
    outcome.size = static_cast<unsigned int>(READ_HEAD + count);
    return OBJ_E_NOERR;
}

void CObj0xBnn2::DoWork(void* /*argument*/) {
    RunJob([this](auto request, TOutcome& outcome) { return WriteChunk(request, outcome); });
}

ObjResult CObj0xBnn2::WriteChunk(std::span<const unsigned char> request, TOutcome& outcome) {
    CRecordReader record(request);
    const auto pathLength = record.Take<std::uint32_t>();
    const auto handle = record.Take<std::uint32_t>();
    const auto dataLength = record.Take<std::uint32_t>();
    const auto closeAfter = record.Take<std::uint32_t>();
    const std::string path = TakePath(record, pathLength);
    const std::span<const unsigned char> data = record.TakeBytes(dataLength);
    if (record.Failed()) {
        return OBJ_E_INVALIDDATA;
    }
    if (pathLength != 0 && handle == 0) {
        OsUserCloseHandle();
        if (SetHandle(os_fopen(path.c_str(), "wb")) == 0) {
            return OBJ_E_FAILED;
        }
        // A full disk shows in the chunk that did not fit.
        std::setvbuf(file, nullptr, _IONBF, 0);
    } else if (pathLength != 0 || !IsCurrent(handle)) {
        return OBJ_E_INVALIDARG;
    }
    if (std::fwrite(data.data(), 1, data.size(), file) < data.size()) {
        return OBJ_E_FAILED;
    }
    if (closeAfter != 0) {
        OsUserCloseHandle();
    }
    if (!outcome.Allocate(sizeof currentHandle)) {
        return OBJ_E_OUTOFMEMORY;
    }
    StoreLe(outcome.Data(), currentHandle);
    outcome.size = sizeof currentHandle;
    return OBJ_E_NOERR;
}

void CObj0xBnn3::DoWork(void* /*argument*/) {
    RunJob([](auto request, TOutcome& /*outcome*/) { return CopyOrMove(request); });
}

void CObj0xBnn4::DoWork(void* /*argument*/) {
    RunJob([](auto request, TOutcome& /*outcome*/) { return Delete(request); });
}

void CObj0xBnn5::DoWork(void* /*argument*/) {
    RunJob([](auto request, TOutcome& /*outcome*/) { return MakeDirectory(request); });
}

} // namespace FSO
