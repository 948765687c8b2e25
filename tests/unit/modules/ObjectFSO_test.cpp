#include "modules/ObjectFSO.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>

#include "dictionary/ObjDictionary.h"
#include "log/Logger.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

constexpr unsigned short SLOT = 0x8000;
constexpr unsigned short LIST = 0xB000;
constexpr unsigned short READ = 0xB001;
constexpr unsigned short WRITE = 0xB002;
constexpr unsigned short COPY = 0xB003;
constexpr unsigned short DELETE = 0xB004;
constexpr unsigned short MAKE_DIRECTORY = 0xB005;

// Four bytes of a record.
std::string U32(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(value >> shift & 0xFF);
    }
    return bytes;
}

std::string U64(std::uint64_t value) {
    return U32(static_cast<std::uint32_t>(value)) + U32(static_cast<std::uint32_t>(value >> 32));
}

std::uint32_t GetU32(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i) {
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + static_cast<std::size_t>(i)));
    }
    return value;
}

std::uint32_t Length(const std::string& text) {
    return static_cast<std::uint32_t>(text.size());
}

// What a service answered: the status byte and the data behind the two bytes of the head.
struct TAnswer {
    int status;
    std::string data;
};

bool operator==(const TAnswer& a, const TAnswer& b) {
    return a.status == b.status && a.data == b.data;
}

std::ostream& operator<<(std::ostream& out, const TAnswer& answer) {
    return out << "status " << answer.status << " data " << ::testing::PrintToString(answer.data);
}

TAnswer Failure(std::uint32_t code) {
    return {3, U32(code)};
}

const TAnswer DONE = {1, U32(0)};

// Called once, when the directory or the mode of an entry called "swapped" is asked for: behind the look at what it is.
std::function<void()> s_swap;

void Swap(const char* name) {
    if (s_swap != nullptr && std::strcmp(name, "swapped") == 0) {
        std::exchange(s_swap, nullptr)();
    }
}

std::string ListRequest(const std::string& pattern) {
    return U32(Length(pattern)) + pattern;
}

std::string OpenRequest(const std::string& path, std::uint32_t chunkSize) {
    return U32(Length(path)) + U32(0) + U32(chunkSize) + path;
}

std::string NextRequest(std::uint32_t handle, std::uint32_t chunkSize) {
    return U32(0) + U32(handle) + U32(chunkSize);
}

std::string WriteOpenRequest(const std::string& path, const std::string& data, std::uint32_t close) {
    return U32(Length(path)) + U32(0) + U32(Length(data)) + U32(close) + path + data;
}

std::string WriteNextRequest(std::uint32_t handle, const std::string& data, std::uint32_t close) {
    return U32(0) + U32(handle) + U32(Length(data)) + U32(close) + data;
}

std::string CopyRequest(const std::string& source, const std::string& destination, std::uint32_t flags) {
    return U32(Length(source)) + U32(Length(destination)) + U32(flags) + source + destination;
}

std::string PathRequest(const std::string& path, std::uint32_t recursive) {
    return U32(Length(path)) + U32(recursive) + path;
}

class ObjectFSO : public ::testing::Test {
protected:
    void SetUp() override {
        static CLogger logger;
        g_pLogger = &logger;
        m_dictionary = CObjDictionary::QueryDictionary();
        ASSERT_EQ(FSO::Create(), OBJ_E_NOERR);
        char folder[] = "/tmp/fso.XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        m_folder = folder;
    }

    void TearDown() override {
        CObjDictionary::ReleaseDictionary(m_dictionary);
        EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(10000)); // a worker lives a little longer than its job
        fs::remove_all(m_folder);
    }

    std::string Path(const std::string& name) const { return m_folder + "/" + name; }

    void MakeFile(const std::string& name, const std::string& content) const {
        std::ofstream(Path(name), std::ios::binary) << content;
    }

    std::string Content(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // Starts the service and waits for its end.
    TAnswer Call(unsigned short index, std::string request) {
        const auto size = static_cast<unsigned int>(request.size());
        while (m_dictionary->WriteObject(index, 1, request.data(), size, 0) == OBJ_E_BUSY) {
            usleep(200); // the worker of the call before ends
        }
        unsigned char status = 255;
        while (status > 3) {
            EXPECT_EQ(m_dictionary->ReadObject(index, 2, &status, 1, 0, nullptr), OBJ_E_NOERR);
        }
        std::string response(1 << 16, '\0');
        unsigned int count = 0;
        EXPECT_EQ(
            m_dictionary->ReadObject(index, 3, response.data(), static_cast<unsigned int>(response.size()), 0, &count),
            OBJ_E_NOERR);
        response.resize(count);
        EXPECT_EQ(response.at(0), static_cast<char>(status));
        EXPECT_EQ(response.at(1), 0);
        return {status, response.substr(2)};
    }

    CObjDictionary* m_dictionary = nullptr;
    std::string m_folder;
};

template <typename TFunction>
TFunction* Real(const char* name) {
    return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// In the place of the system's.
extern "C" {

int openat(int directory, const char* name, int flags, ...) {
    Swap(name);
    return Real<int(int, const char*, int, ...)>("openat")(directory, name, flags, 0666);
}

int fchmodat(int directory, const char* name, mode_t mode, int flags) noexcept {
    Swap(name);
    return Real<int(int, const char*, mode_t, int)>("fchmodat")(directory, name, mode, flags);
}
}

TEST_F(ObjectFSO, PublishesItsHeaderAndSixServicesWithTheirTextIds) {
    struct TExpected {
        unsigned short index;
        std::int64_t nameId;
    };

    const TExpected expected[] = {{0x8000, 1030}, {0xB000, 1031}, {0xB001, 1032}, {0xB002, 1033},
                                  {0xB003, 1034}, {0xB004, 1035}, {0xB005, 1036}};
    for (const TExpected& row : expected) {
        const CRef<CObject> object = m_dictionary->GetObjectRef(row.index);
        ASSERT_TRUE(object) << row.index;
        EXPECT_EQ(object->NameId(), row.nameId) << row.index;
    }
    std::uint32_t ident = 0;
    EXPECT_EQ(m_dictionary->ReadObject(SLOT, 4, &ident, 4, 0, nullptr), OBJ_E_NOERR);
    EXPECT_EQ(ident, 0x00102710U);
    char name[16] = {};
    EXPECT_EQ(m_dictionary->ReadObject(SLOT, 3, name, sizeof name, 0, nullptr), OBJ_E_NOERR);
    EXPECT_STREQ(name, "FSO");
}

TEST_F(ObjectFSO, AListHasDirectoriesFirstThenFilesInOrderOfTheirNames) {
    MakeFile("b", "12345");
    MakeFile("d.txt", "");
    fs::create_directory(Path("a"));
    fs::create_directory(Path("cc"));
    const TAnswer answer = Call(LIST, ListRequest(Path("*")));
    const std::string expected = U32(0) + U32(24 + 9 + 10 + 21 + 25) + U32(2) + U32(2) + U32(24) + U32(43) + // head
                                 U32(33) + U32(1) + "a" +                                                    // at 24
                                 U32(0) + U32(2) + "cc" +                                                    // at 33
                                 U32(64) + U64(5) + U32(0) + U32(1) + "b" +                                  // at 43
                                 U32(0) + U64(0) + U32(0) + U32(5) + "d.txt";                                // at 64
    EXPECT_EQ(answer, (TAnswer{1, expected}));
}

TEST_F(ObjectFSO, AListOfFilesOnlyHasNoDirectoryOffsetAndTheOtherWayRound) {
    MakeFile("f", "x");
    EXPECT_EQ(Call(LIST, ListRequest(Path("*"))), (TAnswer{1, U32(0) + U32(45) + U32(0) + U32(1) + U32(0) + U32(24) +
                                                                  U32(0) + U64(1) + U32(0) + U32(1) + "f"}));
    fs::remove(Path("f"));
    fs::create_directory(Path("d"));
    EXPECT_EQ(Call(LIST, ListRequest(Path("*"))),
              (TAnswer{1, U32(0) + U32(33) + U32(1) + U32(0) + U32(24) + U32(0) + U32(0) + U32(1) + "d"}));
}

TEST_F(ObjectFSO, APathWithoutAWildcardListsItselfWithItsSize) {
    MakeFile("big", "");
    fs::resize_file(Path("big"), 0x123456789AULL);
    const TAnswer answer = Call(LIST, ListRequest(Path("big")));
    ASSERT_EQ(answer.status, 1);
    EXPECT_EQ(answer.data.substr(24), U32(0) + U64(0x123456789AULL) + U32(0) + U32(3) + "big");
}

TEST_F(ObjectFSO, AListOfNothingFailsInsteadOfBeingEmpty) {
    EXPECT_EQ(Call(LIST, ListRequest(Path("none*"))), Failure(0xECA70002));
    EXPECT_EQ(Call(LIST, ListRequest(Path("missing"))), Failure(0xECA70002));
}

TEST_F(ObjectFSO, AListOfTheDotEntriesOnlyFails) {
    EXPECT_EQ(Call(LIST, ListRequest(Path(".*"))), Failure(0xECA70002));
}

TEST_F(ObjectFSO, AListPassesOverTheDotEntriesBesideOthers) {
    MakeFile(".hidden", "");
    const TAnswer answer = Call(LIST, ListRequest(Path(".*")));
    EXPECT_EQ(GetU32(answer.data, 8), 0U);
    EXPECT_EQ(GetU32(answer.data, 12), 1U);
}

TEST_F(ObjectFSO, ASpecialFileIsListedAmongTheDirectories) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(Call(LIST, ListRequest(Path("*"))),
              (TAnswer{1, U32(0) + U32(36) + U32(1) + U32(0) + U32(24) + U32(0) + U32(0) + U32(4) + "pipe"}));
}

TEST_F(ObjectFSO, AListRefusesRecordsThatDoNotFit) {
    EXPECT_EQ(Call(LIST, ""), Failure(0xECA60106));
    EXPECT_EQ(Call(LIST, "\x01\0\0"s), Failure(0xECA60106));
    EXPECT_EQ(Call(LIST, U32(4) + "/*"), Failure(0xECA60106));
    EXPECT_EQ(Call(LIST, U32(0xFFFFFFFF) + "/*"), Failure(0xECA60106));
    EXPECT_EQ(Call(LIST, U32(0xFFFFFFFC) + "/*"), Failure(0xECA60106)); // plus 4 is 0 in 32 bits
}

TEST_F(ObjectFSO, AListOfAnEmptyPathIsRefused) {
    EXPECT_EQ(Call(LIST, U32(0)), Failure(0xECA60107));
    EXPECT_EQ(Call(LIST, U32(2) + "\0x"s), Failure(0xECA60107));
}

TEST_F(ObjectFSO, AListTakesBackslashes) {
    MakeFile("f", "");
    std::string pattern = Path("*");
    std::replace(pattern.begin(), pattern.end(), '/', '\\');
    EXPECT_EQ(Call(LIST, ListRequest(pattern)).status, 1);
}

TEST_F(ObjectFSO, AFileIsReadInChunksUntilTheEndFlag) {
    MakeFile("f", "0123456789");
    EXPECT_EQ(Call(READ, OpenRequest(Path("f"), 16)), (TAnswer{1, U32(4) + U32(1) + U32(0) + "0123"}));
    EXPECT_EQ(Call(READ, NextRequest(1, 16)), (TAnswer{1, U32(4) + U32(1) + U32(0) + "4567"}));
    EXPECT_EQ(Call(READ, NextRequest(1, 16)), (TAnswer{1, U32(2) + U32(0) + U32(1) + "89"}));
    EXPECT_EQ(Call(READ, NextRequest(1, 16)), Failure(0xECA60107));
}

TEST_F(ObjectFSO, AFileOfWholeChunksEndsWithAnEmptyOne) {
    MakeFile("f", "0123");
    EXPECT_EQ(Call(READ, OpenRequest(Path("f"), 16)), (TAnswer{1, U32(4) + U32(1) + U32(0) + "0123"}));
    EXPECT_EQ(Call(READ, NextRequest(1, 16)), (TAnswer{1, U32(0) + U32(0) + U32(1)}));
}

TEST_F(ObjectFSO, AChunkOfTwelveBytesHasNoDataAndEndsTheFile) {
    MakeFile("f", "0123");
    EXPECT_EQ(Call(READ, OpenRequest(Path("f"), 12)), (TAnswer{1, U32(0) + U32(0) + U32(1)}));
    EXPECT_EQ(Call(READ, NextRequest(1, 16)), Failure(0xECA60107));
}

TEST_F(ObjectFSO, AChunkMayBeAsLargeAsItsFieldTells) {
    MakeFile("f", "01234");
    EXPECT_EQ(Call(READ, OpenRequest(Path("f"), 0xFFFFFFFF)), (TAnswer{1, U32(5) + U32(0) + U32(1) + "01234"}));
}

TEST_F(ObjectFSO, AnEmptyFileEndsAtOnce) {
    MakeFile("f", "");
    EXPECT_EQ(Call(READ, OpenRequest(Path("f"), 100)), (TAnswer{1, U32(0) + U32(0) + U32(1)}));
}

TEST_F(ObjectFSO, AStaleHandleIsRefused) {
    MakeFile("f", "0123456789");
    ASSERT_EQ(Call(READ, OpenRequest(Path("f"), 14)).data.substr(4, 4), U32(1));
    ASSERT_EQ(Call(READ, OpenRequest(Path("f"), 14)).data.substr(4, 4), U32(2));
    EXPECT_EQ(Call(READ, NextRequest(1, 14)), Failure(0xECA60107));
    EXPECT_EQ(Call(READ, NextRequest(2, 14)).status, 1);
}

TEST_F(ObjectFSO, AReadWithNeitherOrBothOfPathAndHandleIsRefused) {
    MakeFile("f", "0123456789");
    EXPECT_EQ(Call(READ, NextRequest(0, 14)), Failure(0xECA60107));
    ASSERT_EQ(Call(READ, OpenRequest(Path("f"), 14)).status, 1);
    EXPECT_EQ(Call(READ, U32(1) + U32(1) + U32(14) + "f"), Failure(0xECA60107));
}

TEST_F(ObjectFSO, AReadRefusesRecordsThatDoNotFitAndChunksThatAreTooSmall) {
    EXPECT_EQ(Call(READ, U32(0) + U32(0) + "\x0C\0\0"s), Failure(0xECA60106));
    EXPECT_EQ(Call(READ, U32(2) + U32(0) + U32(12) + "f"), Failure(0xECA60106));
    EXPECT_EQ(Call(READ, U32(0xFFFFFFF4) + U32(0) + U32(12) + "f"), Failure(0xECA60106));
    EXPECT_EQ(Call(READ, OpenRequest(Path("f"), 11)), Failure(0xECA60107));
    EXPECT_EQ(Call(READ, OpenRequest(Path("f"), 0)), Failure(0xECA60107));
}

TEST_F(ObjectFSO, AReadOfAMissingFileOrOneWithADoubleBackslashIsRefusedAndClosesTheOpenOne) {
    MakeFile("f", "0123456789");
    EXPECT_EQ(Call(READ, OpenRequest(Path("missing"), 100)), Failure(0xECA60106));
    ASSERT_EQ(Call(READ, OpenRequest(Path("f"), 14)).data.substr(4, 4), U32(1));
    EXPECT_EQ(Call(READ, OpenRequest(m_folder + "\\\\f", 100)), Failure(0xECA60106));
    EXPECT_EQ(Call(READ, NextRequest(1, 14)), Failure(0xECA60107));
    EXPECT_EQ(Call(READ, OpenRequest(m_folder + "\\f", 100)).status, 1);
}

TEST_F(ObjectFSO, APipeThatNobodyWritesIsAtItsEnd) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(Call(READ, OpenRequest(Path("pipe"), 100)), (TAnswer{1, U32(0) + U32(0) + U32(1)}));
}

TEST_F(ObjectFSO, APipeGivesWhatItHasNowAndIsThenAtItsEnd) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    const int pipe = open(Path("pipe").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(write(pipe, "abc", 3), 3);
    EXPECT_EQ(Call(READ, OpenRequest(Path("pipe"), 100)), (TAnswer{1, U32(3) + U32(0) + U32(1) + "abc"}));
    EXPECT_EQ(Call(COPY, CopyRequest(Path("pipe"), Path("copy"), 1)), DONE);
    EXPECT_EQ(Content("copy"), "");
    close(pipe);
}

TEST_F(ObjectFSO, APipeThatNobodyReadsIsNotOpenedForWriting) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    MakeFile("f", "content");
    EXPECT_EQ(Call(WRITE, WriteOpenRequest(Path("pipe"), "data", 1)), Failure(0xECA60001));
    EXPECT_EQ(Call(COPY, CopyRequest(Path("f"), Path("pipe"), 3)), Failure(0xECA70000 | ENXIO));
}

TEST_F(ObjectFSO, APipeThatIsFullTakesNoMore) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    const int pipe = open(Path("pipe").c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(Call(WRITE, WriteOpenRequest(Path("pipe"), std::string(1 << 20, 'x'), 1)), Failure(0xECA60001));
    close(pipe);
}

TEST_F(ObjectFSO, FilesOfClientsAreNotForTheProgramsThatAreStarted) {
    MakeFile("f", "content");
    const TAnswer opened = Call(READ, OpenRequest(Path("f"), 14));
    const TAnswer written = Call(WRITE, WriteOpenRequest(Path("w"), "data", 0));
    ASSERT_EQ(opened.status, 1);
    ASSERT_EQ(written.status, 1);
    int seen = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = fs::read_symlink(entry.path(), error);
        if (target == Path("f") || target == Path("w")) {
            ++seen;
            EXPECT_NE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0) << target;
        }
    }
    EXPECT_EQ(seen, 2);
    Call(WRITE, WriteNextRequest(GetU32(written.data, 0), "", 1));
}

TEST_F(ObjectFSO, AFileIsWrittenInChunks) {
    EXPECT_EQ(Call(WRITE, WriteOpenRequest(Path("f"), "abc", 0)), (TAnswer{1, U32(1)}));
    EXPECT_EQ(Call(WRITE, WriteNextRequest(1, "\0de"s, 0)), (TAnswer{1, U32(1)}));
    EXPECT_EQ(Call(WRITE, WriteNextRequest(1, "", 1)), (TAnswer{1, U32(0)}));
    EXPECT_EQ(Content("f"), "abc\0de"s);
    EXPECT_EQ(Call(WRITE, WriteNextRequest(1, "x", 1)), Failure(0xECA60107));
}

TEST_F(ObjectFSO, OpeningForWritingEmptiesTheFile) {
    MakeFile("f", "old content");
    EXPECT_EQ(Call(WRITE, WriteOpenRequest(Path("f"), "new", 1)), (TAnswer{1, U32(0)}));
    EXPECT_EQ(Content("f"), "new");
}

TEST_F(ObjectFSO, AWriteToADoubleBackslashIsNormalised) {
    EXPECT_EQ(Call(WRITE, WriteOpenRequest(m_folder + "\\\\f", "x", 1)).status, 1);
    EXPECT_EQ(Content("f"), "x");
}

TEST_F(ObjectFSO, AWriteRefusesRecordsThatDoNotFit) {
    EXPECT_EQ(Call(WRITE, U32(0) + U32(0) + U32(0) + "\0\0\0"s), Failure(0xECA60106));
    EXPECT_EQ(Call(WRITE, U32(1) + U32(0) + U32(1) + U32(1) + "f"), Failure(0xECA60106));
    EXPECT_EQ(Call(WRITE, U32(0x80000000) + U32(0) + U32(0x7FFFFFF0) + U32(1) + "f"), Failure(0xECA60106));
    EXPECT_EQ(Call(WRITE, U32(1) + U32(0) + U32(0xFFFFFFFF) + U32(1) + "fg"), Failure(0xECA60106));
}

TEST_F(ObjectFSO, AWriteToAFolderThatIsNotThereFails) {
    EXPECT_EQ(Call(WRITE, WriteOpenRequest(Path("no/such"), "x", 1)), Failure(0xECA60001));
    EXPECT_EQ(Call(WRITE, WriteNextRequest(1, "x", 1)), Failure(0xECA60107));
}

TEST_F(ObjectFSO, AChunkThatTheDiskDoesNotTakeFailsAndTheFileStaysOpen) {
    EXPECT_EQ(Call(WRITE, WriteOpenRequest("/dev/full", "x", 0)), Failure(0xECA60001));
    EXPECT_EQ(Call(WRITE, WriteNextRequest(1, "", 1)), (TAnswer{1, U32(0)}));
}

TEST_F(ObjectFSO, ASecondOpenTakesTheSlotOfTheFirst) {
    ASSERT_EQ(Call(WRITE, WriteOpenRequest(Path("one"), "1", 0)), (TAnswer{1, U32(1)}));
    ASSERT_EQ(Call(WRITE, WriteOpenRequest(Path("two"), "2", 0)), (TAnswer{1, U32(2)}));
    EXPECT_EQ(Call(WRITE, WriteNextRequest(1, "x", 1)), Failure(0xECA60107));
    EXPECT_EQ(Call(WRITE, WriteNextRequest(2, "x", 1)), (TAnswer{1, U32(0)}));
    EXPECT_EQ(Content("one"), "1");
    EXPECT_EQ(Content("two"), "2x");
}

TEST_F(ObjectFSO, AFileIsCopiedWithItsMode) {
    MakeFile("a", "content");
    fs::permissions(Path("a"), fs::perms{0640});
    EXPECT_EQ(Call(COPY, CopyRequest(Path("a"), Path("b"), 1)), DONE);
    EXPECT_EQ(Content("b"), "content");
    EXPECT_EQ(Content("a"), "content");
    EXPECT_EQ(fs::status(Path("b")).permissions(), fs::perms{0640});
}

TEST_F(ObjectFSO, CopyingOntoAFileNeedsTheOverwriteFlag) {
    MakeFile("a", "new");
    MakeFile("b", "old");
    EXPECT_EQ(Call(COPY, CopyRequest(Path("a"), Path("b"), 1)), Failure(0xECA70000 | EEXIST));
    EXPECT_EQ(Content("b"), "old");
    EXPECT_EQ(Call(COPY, CopyRequest(Path("a"), Path("b"), 3)), DONE);
    EXPECT_EQ(Content("b"), "new");
}

TEST_F(ObjectFSO, MovingOntoAFileNeedsTheOverwriteFlag) {
    MakeFile("a", "new");
    MakeFile("b", "old");
    EXPECT_EQ(Call(COPY, CopyRequest(Path("a"), Path("b"), 0)), Failure(0xECA70000 | EEXIST));
    EXPECT_EQ(Call(COPY, CopyRequest(Path("a"), Path("b"), 2)), DONE);
    EXPECT_EQ(Content("b"), "new");
    EXPECT_FALSE(fs::exists(Path("a")));
}

TEST_F(ObjectFSO, MovingAMissingFileWithOverwriteLosesTheDestinationAllTheSame) {
    MakeFile("b", "old");
    EXPECT_EQ(Call(COPY, CopyRequest(Path("missing"), Path("b"), 2)), Failure(0xECA70000 | ENOENT));
    EXPECT_FALSE(fs::exists(Path("b")));
}

TEST_F(ObjectFSO, CopyAndMoveRefuseRecordsThatDoNotFit) {
    EXPECT_EQ(Call(COPY, U32(0) + U32(0) + "\x01\0\0"s), Failure(0xECA60106));
    EXPECT_EQ(Call(COPY, U32(1) + U32(2) + U32(1) + "ab"), Failure(0xECA60106));
    EXPECT_EQ(Call(COPY, U32(0xFFFFFFFF) + U32(1) + U32(1) + "ab"), Failure(0xECA60106));
    EXPECT_EQ(Call(COPY, CopyRequest(Path("missing"), Path("b"), 1)), Failure(0xECA70000 | ENOENT));
}

TEST_F(ObjectFSO, AFileIsDeleted) {
    MakeFile("f", "x");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("f"), 0)), DONE);
    EXPECT_FALSE(fs::exists(Path("f")));
    EXPECT_EQ(Call(DELETE, PathRequest(Path("f"), 0)), Failure(0xECA70000 | ENOENT));
}

TEST_F(ObjectFSO, ADirectoryWithContentNeedsTheRecursiveField) {
    fs::create_directories(Path("d/e/f"));
    MakeFile("d/one", "1");
    MakeFile("d/e/two", "2");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 0)), Failure(0xECA60001));
    EXPECT_TRUE(fs::exists(Path("d/e/two")));
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 1)), DONE);
    EXPECT_FALSE(fs::exists(Path("d")));
}

TEST_F(ObjectFSO, AnEmptyDirectoryIsDeletedEitherWay) {
    fs::create_directory(Path("d"));
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 0)), DONE);
    fs::create_directory(Path("d"));
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 1)), DONE);
}

TEST_F(ObjectFSO, ASpecialFileIsNotDeleted) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(Call(DELETE, PathRequest(Path("pipe"), 0)), Failure(0xECA60001));
    EXPECT_TRUE(fs::exists(Path("pipe")));
}

TEST_F(ObjectFSO, DeletingGoesOnBehindAFailureAndTellsIt) {
    // A hidden entry is not found by the search, so the directory cannot go; what is found goes all the same.
    fs::create_directory(Path("d"));
    MakeFile("d/.hidden", "");
    MakeFile("d/seen", "");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 1)), Failure(0xECA60001));
    EXPECT_FALSE(fs::exists(Path("d/seen")));
    EXPECT_TRUE(fs::exists(Path("d/.hidden")));
}

TEST_F(ObjectFSO, DeletingADirectoryDeletesItsLinksAndNothingBehindThem) {
    fs::create_directories(Path("d/sub"));
    fs::create_directories(Path("outside"));
    MakeFile("outside/kept", "");
    ASSERT_EQ(mkfifo(Path("device").c_str(), 0600), 0);
    fs::create_directory_symlink(Path("outside"), Path("d/directory"));
    fs::create_directory_symlink(Path("outside"), Path("d/sub/directory"));
    fs::create_symlink(Path("outside/kept"), Path("d/file"));
    fs::create_symlink(Path("device"), Path("d/device"));
    fs::create_symlink(Path("nothing"), Path("d/a-dangling-one"));
    MakeFile("d/x", "");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 1)), DONE);
    EXPECT_FALSE(fs::exists(Path("d")));
    EXPECT_TRUE(fs::exists(Path("outside/kept")));
    EXPECT_EQ(fs::status(Path("device")).permissions(), fs::perms{0600});
}

TEST_F(ObjectFSO, AnEntryThatBecomesALinkMeanwhileLeadsTheDeletionNowhere) {
    const auto becomeALinkTo = [this](const char* target) {
        s_swap = [this, target] {
            fs::rename(Path("d/swapped"), Path("aside"));
            fs::create_symlink(Path(target), Path("d/swapped"));
        };
    };
    fs::create_directories(Path("d/swapped"));
    fs::create_directories(Path("outside"));
    MakeFile("outside/kept", "");
    becomeALinkTo("outside");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 1)), Failure(0xECA60001));
    EXPECT_EQ(s_swap, nullptr);
    EXPECT_TRUE(fs::exists(Path("outside/kept")));

    fs::remove_all(Path("d"));
    fs::remove_all(Path("aside"));
    fs::create_directory(Path("d"));
    for (const char* pipe : {"d/swapped", "device"}) {
        ASSERT_EQ(mkfifo(Path(pipe).c_str(), 0600), 0);
    }
    becomeALinkTo("device");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 1)), Failure(0xECA60001));
    EXPECT_EQ(s_swap, nullptr);
    EXPECT_EQ(fs::status(Path("device")).permissions(), fs::perms{0600});
}

TEST_F(ObjectFSO, DeletingALinkLeavesWhatItPointsTo) {
    fs::create_directories(Path("outside"));
    MakeFile("outside/kept", "");
    ASSERT_EQ(mkfifo(Path("device").c_str(), 0600), 0);
    for (const char* target : {"outside", "outside/kept", "device", "nothing"}) {
        for (const char* spelling : {"link", "link/", "link//"}) {
            for (const std::uint32_t recursive : {0U, 1U}) {
                fs::create_symlink(Path(target), Path("link"));
                EXPECT_EQ(Call(DELETE, PathRequest(Path(spelling), recursive)), DONE) << target << spelling;
                EXPECT_FALSE(fs::is_symlink(fs::symlink_status(Path("link")))) << target << spelling;
            }
        }
    }
    EXPECT_TRUE(fs::exists(Path("outside/kept")));
    EXPECT_EQ(fs::status(Path("device")).permissions(), fs::perms{0600});
}

TEST_F(ObjectFSO, ADirectoryBehindALinkInThePathIsDeleted) {
    fs::create_directories(Path("outside/d"));
    fs::create_directory_symlink(Path("outside"), Path("link"));
    EXPECT_EQ(Call(DELETE, PathRequest(Path("link/d/"), 1)), DONE);
    EXPECT_FALSE(fs::exists(Path("outside/d")));
    EXPECT_TRUE(fs::exists(Path("outside")));
}

TEST_F(ObjectFSO, ASlashBehindAFileIsNoDirectory) {
    MakeFile("f", "");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("f/"), 1)), Failure(0xECA70000 | ENOTDIR));
    EXPECT_TRUE(fs::exists(Path("f")));
}

TEST_F(ObjectFSO, DeletingADirectoryLeavesSpecialFilesWritable) {
    fs::create_directories(Path("d"));
    ASSERT_EQ(mkfifo(Path("d/pipe").c_str(), 0500), 0);
    MakeFile("d/x", "");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 1)), Failure(0xECA60001));
    EXPECT_TRUE(fs::exists(Path("d/pipe")));
    EXPECT_EQ(fs::status(Path("d/pipe")).permissions(), fs::perms{0764});
    EXPECT_FALSE(fs::exists(Path("d/x")));
}

TEST_F(ObjectFSO, DeletingTakesNamesAsTheyAre) {
    fs::create_directory(Path("d"));
    MakeFile("d/f", "");
    MakeFile("d\\f", "");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d\\f"), 0)), DONE);
    EXPECT_TRUE(fs::exists(Path("d/f")));
    EXPECT_FALSE(fs::exists(Path("d\\f")));

    // Its path in one piece would be longer than a path may be.
    fs::path deep = Path("deep");
    const fs::path start = fs::current_path();
    fs::create_directory(deep);
    fs::current_path(deep);
    for (int level = 0; level < 20; ++level) {
        fs::create_directory(std::string(255, 'x'));
        fs::current_path(std::string(255, 'x'));
    }
    fs::current_path(start);
    EXPECT_EQ(Call(DELETE, PathRequest(deep, 1)), DONE);
    EXPECT_FALSE(fs::exists(deep));
}

TEST_F(ObjectFSO, ATreeThatIsTooDeepIsDeletedDownToItsLimit) {
    const fs::path start = fs::current_path();
    fs::create_directory(Path("d"));
    fs::current_path(Path("d"));
    for (int level = 0; level < 600; ++level) {
        fs::create_directory("x");
        fs::current_path("x");
    }
    fs::current_path(start);
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d"), 1)), Failure(0xECA60001));
    EXPECT_TRUE(fs::exists(Path("d")));
}

TEST_F(ObjectFSO, DeletingTakesNoBackslashes) {
    fs::create_directory(Path("d"));
    MakeFile("d/f", "");
    EXPECT_EQ(Call(DELETE, PathRequest(Path("d\\f"), 0)), Failure(0xECA70000 | ENOENT));
    EXPECT_TRUE(fs::exists(Path("d/f")));
}

TEST_F(ObjectFSO, DeletingRefusesRecordsThatDoNotFitAndAnEmptyPath) {
    EXPECT_EQ(Call(DELETE, U32(0) + "\0\0\0"s), Failure(0xECA60106));
    EXPECT_EQ(Call(DELETE, U32(2) + U32(0) + "f"), Failure(0xECA60106));
    EXPECT_EQ(Call(DELETE, U32(0xFFFFFFF8) + U32(0) + "f"), Failure(0xECA60106));
    EXPECT_EQ(Call(DELETE, U32(0) + U32(1)), Failure(0xECA60107));
}

TEST_F(ObjectFSO, ADirectoryIsMade) {
    EXPECT_EQ(Call(MAKE_DIRECTORY, PathRequest(Path("d"), 0)), DONE);
    EXPECT_TRUE(fs::is_directory(Path("d")));
    EXPECT_EQ(Call(MAKE_DIRECTORY, PathRequest(Path("d"), 0)), Failure(0xECA70000 | EEXIST));
    EXPECT_EQ(Call(MAKE_DIRECTORY, PathRequest(Path("x/y"), 0)), Failure(0xECA70000 | ENOENT));
    EXPECT_EQ(Call(MAKE_DIRECTORY, PathRequest("", 1)), Failure(0xECA70000 | ENOENT));
}

TEST_F(ObjectFSO, MissingParentsAreMadeWithTheRecursiveField) {
    EXPECT_EQ(Call(MAKE_DIRECTORY, PathRequest(Path("a/b/c/"), 1)), DONE);
    EXPECT_TRUE(fs::is_directory(Path("a/b/c")));
    EXPECT_EQ(Call(MAKE_DIRECTORY, PathRequest(Path("a/b/c/"), 1)), Failure(0xECA70000 | EEXIST));
    EXPECT_EQ(Call(MAKE_DIRECTORY, PathRequest(Path("a\\b\\d"), 1)), DONE);
    EXPECT_TRUE(fs::is_directory(Path("a/b/d")));
}

TEST_F(ObjectFSO, MakingADirectoryRefusesRecordsThatDoNotFit) {
    EXPECT_EQ(Call(MAKE_DIRECTORY, U32(0) + "\0\0\0"s), Failure(0xECA60106));
    EXPECT_EQ(Call(MAKE_DIRECTORY, U32(2) + U32(0) + "f"), Failure(0xECA60106));
    EXPECT_EQ(Call(MAKE_DIRECTORY, U32(0xFFFFFFF8) + U32(1) + "f"), Failure(0xECA60106));
}

TEST_F(ObjectFSO, NamesMayHoldEveryByteButSlashAndNul) {
    std::string name;
    for (int byte = 1; byte < 256; ++byte) {
        // A backslash in a path is a slash, and the wildcards are the pattern's.
        if (std::string("/\\*?[").find(static_cast<char>(byte)) == std::string::npos) {
            name += static_cast<char>(byte);
        }
    }
    EXPECT_EQ(Call(WRITE, WriteOpenRequest(Path(name), "x", 1)).status, 1);
    EXPECT_EQ(Content(name), "x");
    const TAnswer answer = Call(LIST, ListRequest(Path("*")));
    EXPECT_EQ(answer.data.substr(44), name);
    EXPECT_EQ(Call(DELETE, PathRequest(Path(name), 0)), DONE);
}

TEST(FsoSlot, HandlesNeverAreZeroWhenTheRunningNumberWraps) {
    class CSlot : public FSO::CObj0xBnnXHandle {
    public:
        using CObj0xBnnXHandle::nextHandle;

        void DoWork(void* /*argument*/) override {}
    };

    CSlot slot;
    EXPECT_EQ(slot.GetNextHandle(), 1U);
    slot.nextHandle = 0xFFFFFFFF;
    EXPECT_EQ(slot.GetNextHandle(), 1U);
    EXPECT_EQ(slot.nextHandle, 0U);

    slot.nextHandle = 0xFFFFFFFF;
    EXPECT_EQ(slot.SetHandle(std::fopen("/dev/null", "r")), 1U);
    EXPECT_EQ(slot.nextHandle, 1U);
    slot.OsUserCloseHandle();
    EXPECT_EQ(slot.SetHandle(nullptr), 0U);
}

TEST(FsoAttributes, ReadOnlyTakesTheWriteBitsAndKeepsTheExecuteBits) {
    char path[] = "/tmp/fso.XXXXXX";
    const int descriptor = mkstemp(path);
    ASSERT_GE(descriptor, 0);
    ASSERT_EQ(fchmod(descriptor, 0755), 0);
    EXPECT_EQ(FSO::SetFileAttributes(path, 1), 1);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms{0555});
    EXPECT_EQ(FSO::SetFileAttributes(path, 0), 1);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms{0775});
    close(descriptor);
    unlink(path);
    EXPECT_EQ(FSO::SetFileAttributes(path, 0), 0);
}
