#include "platform/OsUserFileHandle.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "TemporaryDirectory.h"
#include "WrappedCalls.h"
#include "host/FileTimes.h"
#include "platform/CHandle.h"
#include "platform/OsUserEvent.h"
#include "platform/OsUserHandleImpl.h"

namespace {

constexpr std::uint32_t READ = 0x80000000;
constexpr std::uint32_t WRITE = 0x40000000;
constexpr std::uint32_t READ_WRITE = READ | WRITE;
constexpr std::uint32_t FAILED = 0xFFFFFFFF;
constexpr const char* CREATE_SIGNATURE =
    "OS_USER_FILE_HANDLE OsUserCreateFile(LPCSTR, DWORD, DWORD, PVOID, DWORD, DWORD, OS_USER_FILE_HANDLE)";

class OsUserFileHandleTest : public testing::Test {
protected:
    CHandle Open(const std::string& name, std::uint32_t access, std::uint32_t disposition,
                 std::uint32_t shareMode = 0) const {
        errno = 0;
        return CHandle(
            OsUserCreateFile((m_directory / name).c_str(), access, shareMode, nullptr, disposition, 0, nullptr));
    }

    // The path that is opened for a name.
    std::string PathOpenedFor(const std::string& name) const {
        std::string path;
        WrappedCalls::CatchNextOpen(&path);
        EXPECT_EQ(OsUserCreateFile(name.c_str(), READ, 0, nullptr, 3, 0, nullptr), nullptr);
        EXPECT_EQ(errno, ENOENT);
        return path;
    }

    TemporaryDirectory m_directory;
    CHandle m_event{OsUserCreateEvent(nullptr, 1, 1, nullptr)};
};

TEST_F(OsUserFileHandleTest, HandleIsOfKindFileAndCannotBeWaitedOn) {
    m_directory.Write("file", "");
    const CHandle file = Open("file", READ, 3);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->m_kind, 1u);
    EXPECT_FALSE(file->SupportsAdditionalEvents());
    EXPECT_FALSE(file->IsEventSignalled());
    errno = 0;
    EXPECT_EQ(OsUserWaitForSingleObject(file.get(), 0), OSUSER_WAIT_FAILED);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(OsUserFileHandleTest, ReadAndWriteMoveBytes) {
    const CHandle file = Open("file", READ_WRITE, 1);
    ASSERT_TRUE(file);
    std::uint32_t count = 0;
    EXPECT_EQ(OsUserWriteFile(file.get(), "0123456789", 10, &count, nullptr), 1);
    EXPECT_EQ(count, 10u);
    EXPECT_EQ(OsUserWriteFile(file.get(), "x", 1, nullptr, nullptr), 1);
    EXPECT_EQ(m_directory.Read("file"), "0123456789x");

    EXPECT_EQ(OsUserSetFilePointer(file.get(), 8, nullptr, 0), 8u);
    char buffer[16] = {};
    EXPECT_EQ(OsUserReadFile(file.get(), buffer, sizeof buffer, &count, nullptr), 1);
    EXPECT_EQ(count, 3u);
    EXPECT_STREQ(buffer, "89x");
    EXPECT_EQ(OsUserReadFile(file.get(), buffer, sizeof buffer, &count, nullptr), 1);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(OsUserReadFile(file.get(), buffer, sizeof buffer, nullptr, nullptr), 1);
}

TEST_F(OsUserFileHandleTest, AccessDecidesWhatMayBeDone) {
    m_directory.Write("file", "text");
    char byte = 0;
    std::uint32_t count = 77;
    const CHandle reader = Open("file", READ, 3, 1);
    EXPECT_EQ(OsUserWriteFile(reader.get(), "x", 1, &count, nullptr), 0);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(OsUserReadFile(reader.get(), &byte, 1, nullptr, nullptr), 1);
    const CHandle writer = Open("file", WRITE, 3, 1);
    EXPECT_EQ(OsUserReadFile(writer.get(), &byte, 1, &count, nullptr), 0);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(OsUserWriteFile(writer.get(), "x", 1, nullptr, nullptr), 1);
    EXPECT_EQ(count, 77u);
    // Any other value means both.
    const CHandle both = Open("file", 1, 3, 1);
    EXPECT_EQ(OsUserReadFile(both.get(), &byte, 1, nullptr, nullptr), 1);
    EXPECT_EQ(OsUserWriteFile(both.get(), "x", 1, nullptr, nullptr), 1);

    EXPECT_FALSE(Open("file", 0, 3));
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(OsUserFileHandleTest, OverlappedIsRefusedWithAMessage) {
    m_directory.Write("file", "text");
    const CHandle file = Open("file", READ_WRITE, 3);
    int overlapped = 0;
    char byte = 0;
    testing::internal::CaptureStderr();
    errno = 0;
    EXPECT_EQ(OsUserReadFile(file.get(), &byte, 1, nullptr, &overlapped), 0);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "BOOL OsUserReadFile(OS_USER_FILE_HANDLE, LPVOID, DWORD, LPDWORD, PVOID): lpOverlapped not supported");

    testing::internal::CaptureStderr();
    errno = 0;
    EXPECT_EQ(OsUserWriteFile(file.get(), &byte, 1, nullptr, &overlapped), 0);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "BOOL OsUserWriteFile(OS_USER_FILE_HANDLE, LPCVOID, DWORD, LPDWORD, PVOID): lpOverlapped not supported");
    EXPECT_EQ(m_directory.Read("file"), "text");
}

TEST_F(OsUserFileHandleTest, HandlesThatAreNoFilesGiveEinval) {
    for (_OsUserHandle* handle : {m_event.get(), static_cast<_OsUserHandle*>(nullptr)}) {
        char byte = 0;
        std::int32_t high = 0;
        std::uint32_t word = 0;
        _BY_HANDLE_FILE_INFORMATION information;
        const auto expectEinval = [](bool failed) {
            EXPECT_TRUE(failed);
            EXPECT_EQ(errno, EINVAL);
            errno = 0;
        };
        errno = 0;
        expectEinval(OsUserReadFile(handle, &byte, 1, &word, nullptr) == 0);
        expectEinval(OsUserWriteFile(handle, &byte, 1, &word, nullptr) == 0);
        expectEinval(OsUserCloseFile(handle) == 0);
        expectEinval(OsUserDeviceIoControl(handle, 1, nullptr, 0, nullptr, 0, &word) == 0);
        expectEinval(OsUserGetFileInformationByHandle(handle, &information) == 0);
        expectEinval(OsUserGetFileSize(handle, &word) == FAILED);
        expectEinval(OsUserSetFilePointer(handle, 0, &high, 0) == FAILED);
        expectEinval(OsUserSetEndOfFile(handle) == 0);
    }
}

TEST_F(OsUserFileHandleTest, CloseEndsTheHandle) {
    m_directory.Write("file", "");
    EXPECT_EQ(OsUserCloseFile(Open("file", READ, 3).release()), 1);
    EXPECT_EQ(OsUserCloseHandle(Open("file", READ, 3).release()), 1);
    // The lock is gone with it.
    EXPECT_TRUE(Open("file", READ, 3));
}

TEST_F(OsUserFileHandleTest, DispositionDecidesOnMakingAndTruncating) {
    m_directory.Write("file", "text");
    EXPECT_FALSE(Open("file", READ_WRITE, 1));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_TRUE(Open("new1", READ_WRITE, 1));

    EXPECT_TRUE(Open("file", READ_WRITE, 3));
    EXPECT_TRUE(Open("file", READ_WRITE, 4));
    EXPECT_TRUE(Open("file", READ_WRITE, 9));
    EXPECT_EQ(m_directory.Read("file"), "text");
    EXPECT_TRUE(Open("file", WRITE, 2));
    EXPECT_EQ(m_directory.Read("file"), "");

    EXPECT_FALSE(Open("missing", READ_WRITE, 3));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Open("missing", READ_WRITE, 5));
    EXPECT_FALSE(Open("missing", READ_WRITE, 0));
    const mode_t mask = umask(0);
    EXPECT_TRUE(Open("new2", WRITE, 2));
    EXPECT_TRUE(Open("new4", WRITE, 4));
    umask(mask);
    struct stat status;
    ASSERT_EQ(stat((m_directory / "new4").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u);
}

TEST_F(OsUserFileHandleTest, TruncationNeedsTheRightToRead) {
    m_directory.Write("file", "text");
    EXPECT_FALSE(Open("file", WRITE, 5));
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(m_directory.Read("file"), "text");
    EXPECT_TRUE(Open("file", READ_WRITE, 5));
    EXPECT_EQ(m_directory.Read("file"), "");
}

TEST_F(OsUserFileHandleTest, TemplateAndAttributesAreRefusedWithAMessage) {
    m_directory.Write("file", "");
    const std::string path = m_directory / "file";
    testing::internal::CaptureStderr();
    errno = 0;
    EXPECT_EQ(OsUserCreateFile(path.c_str(), READ, 0, nullptr, 3, 0, m_event.get()), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string(CREATE_SIGNATURE) + ": hTemplateFile not supported\n");

    testing::internal::CaptureStderr();
    errno = 0;
    EXPECT_EQ(OsUserCreateFile(path.c_str(), READ, 0, nullptr, 3, 0x40000000, nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string(CREATE_SIGNATURE) + ": only FILE_ATTRIBUTE_NORMAL supported\n");

    const int security = 0;
    EXPECT_TRUE(CHandle(OsUserCreateFile(path.c_str(), READ, 0, &security, 3, 0x40000080, nullptr)));
}

TEST_F(OsUserFileHandleTest, FilesAreLockedSharedOrExclusively) {
    m_directory.Write("file", "");
    {
        const CHandle exclusive = Open("file", READ, 3);
        ASSERT_TRUE(exclusive);
        EXPECT_FALSE(Open("file", READ, 3));
        EXPECT_EQ(errno, EACCES);
        EXPECT_FALSE(Open("file", READ, 3, 1));
        EXPECT_EQ(errno, EACCES);
    }
    const CHandle shared = Open("file", READ, 3, 1);
    EXPECT_TRUE(shared);
    EXPECT_TRUE(Open("file", READ, 3, 3));
    EXPECT_FALSE(Open("file", READ, 3, 2));
    EXPECT_EQ(errno, EACCES);
}

TEST_F(OsUserFileHandleTest, MissingLocksAreIgnored) {
    m_directory.Write("file", "");
    WrappedCalls::FailNextFlock(EOPNOTSUPP);
    EXPECT_TRUE(Open("file", READ, 3));
    WrappedCalls::FailNextFlock(ENOLCK);
    EXPECT_FALSE(Open("file", READ, 3));
    EXPECT_EQ(errno, EACCES);
}

TEST_F(OsUserFileHandleTest, NamesAreNormalised) {
    EXPECT_EQ(PathOpenedFor("\\tmp\\\\x//y"), "/tmp/x/y");
}

TEST_F(OsUserFileHandleTest, DeviceNamesLeadToDev) {
    EXPECT_EQ(PathOpenedFor("\\\\.\\COM2"), "/dev/cuau1");
    EXPECT_EQ(PathOpenedFor("\\\\.\\HwApi"), "/dev/hwapi");
    EXPECT_EQ(PathOpenedFor("\\\\.\\ab"), "/dev/ab");
    // Too short for a device.
    EXPECT_EQ(PathOpenedFor("\\\\.\\a"), "/./a");
}

TEST_F(OsUserFileHandleTest, SerialPortsAreTranslated) {
    const auto translated = [](const std::string& name) {
        std::string out;
        check_and_translate_device(name.c_str(), out);
        return out;
    };
    EXPECT_EQ(translated("COM1"), "cuau0");
    EXPECT_EQ(translated("COM9"), "cuau8");
    EXPECT_EQ(translated("xCOM3y"), "cuau2");
    EXPECT_EQ(translated("COM12"), "cuau0");
    EXPECT_EQ(translated("com1"), "com1");
    EXPECT_EQ(translated("hwapi"), "hwapi");
    EXPECT_EQ(translated(std::string(300, 'x')), std::string(255, 'x'));
    EXPECT_EQ(translated("COM").size(), 5u);
}

TEST_F(OsUserFileHandleTest, DeviceRequestCarriesOneRecord) {
    m_directory.Write("device", "");
    const CHandle device = Open("device", READ_WRITE, 3);
    char in[3] = {};
    char out[5] = {};

    const struct {
        std::uint32_t code, inSize, returned, outSize;
        void* inBuffer;
        void* outBuffer;
    } expected = {0x11223344, sizeof in, 0, sizeof out, in, out};

    static_assert(sizeof expected == 32);
    WrappedCalls::TIoctl call;
    call.answer[8] = 4;
    std::uint32_t returned = 77;
    WrappedCalls::AnswerNextIoctl(&call);
    EXPECT_EQ(OsUserDeviceIoControl(device.get(), 0x11223344, in, sizeof in, out, sizeof out, &returned), 1);
    EXPECT_EQ(call.request, 0xC0205401u);
    EXPECT_EQ(std::memcmp(call.received, &expected, sizeof expected), 0);
    EXPECT_EQ(returned, 4u);

    WrappedCalls::AnswerNextIoctl(&call);
    EXPECT_EQ(OsUserDeviceIoControl(device.get(), 1, in, sizeof in, out, sizeof out, nullptr), 1);

    // A regular file knows no such request.
    returned = 77;
    EXPECT_EQ(OsUserDeviceIoControl(device.get(), 1, in, sizeof in, out, sizeof out, &returned), 0);
    EXPECT_EQ(returned, 77u);
}

TEST_F(OsUserFileHandleTest, InformationIsThatOfAFindRecord) {
    const std::string path = m_directory.Write("file", "12345");
    const CHandle file = Open("file", READ_WRITE, 3);
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    _BY_HANDLE_FILE_INFORMATION information;
    std::memset(&information, 0xFF, sizeof information);
    EXPECT_EQ(OsUserGetFileInformationByHandle(file.get(), &information), 1);
    EXPECT_EQ(information.dwFileAttributes, 128u);
    EXPECT_EQ(_FILETIME{information.ftCreationTime}, Timespec2FileTime(Host::GetBirthTime(path.c_str())));
    EXPECT_EQ(_FILETIME{information.ftLastAccessTime}, Timespec2FileTime(status.st_atim));
    EXPECT_EQ(_FILETIME{information.ftLastWriteTime}, Timespec2FileTime(status.st_mtim));
    EXPECT_EQ(information.dwVolumeSerialNumber, 0u);
    EXPECT_EQ(information.nFileSizeHigh, 0u);
    EXPECT_EQ(information.nFileSizeLow, 5u);
    EXPECT_EQ(information.nNumberOfLinks, 0u);
    EXPECT_EQ(information.nFileIndexHigh, 0u);
    EXPECT_EQ(information.nFileIndexLow, 0u);
    EXPECT_EQ(offsetof(_BY_HANDLE_FILE_INFORMATION, nFileSizeHigh), 32u);
}

TEST_F(OsUserFileHandleTest, SizeHasTwoWords) {
    const CHandle file = Open("file", READ_WRITE, 1);
    std::int32_t one = 1;
    EXPECT_EQ(OsUserSetFilePointer(file.get(), 3, &one, 0), 3u);
    EXPECT_EQ(OsUserSetEndOfFile(file.get()), 1);
    std::uint32_t high = 77;
    EXPECT_EQ(OsUserGetFileSize(file.get(), &high), 3u);
    EXPECT_EQ(high, 1u);
    EXPECT_EQ(OsUserGetFileSize(file.get(), nullptr), 3u);
}

TEST_F(OsUserFileHandleTest, PointerMovesByTheThreeMethods) {
    m_directory.Write("file", "0123456789");
    const CHandle file = Open("file", READ_WRITE, 3);
    EXPECT_EQ(OsUserSetFilePointer(file.get(), 4, nullptr, 0), 4u);
    EXPECT_EQ(OsUserSetFilePointer(file.get(), -1, nullptr, 1), 3u);
    EXPECT_EQ(OsUserSetFilePointer(file.get(), -2, nullptr, 2), 8u);
    errno = 0;
    EXPECT_EQ(OsUserSetFilePointer(file.get(), 0, nullptr, 3), FAILED);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(OsUserSetFilePointer(file.get(), -1, nullptr, 0), FAILED);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(OsUserSetFilePointer(file.get(), 0, nullptr, 1), 8u);
}

TEST_F(OsUserFileHandleTest, PointerOf64BitsTellsItsHighWord) {
    const CHandle file = Open("file", READ_WRITE, 1);
    std::int32_t high = 2;
    EXPECT_EQ(OsUserSetFilePointer(file.get(), -16, &high, 0), 0xFFFFFFF0u);
    EXPECT_EQ(high, 2);
    high = -1;
    EXPECT_EQ(OsUserSetFilePointer(file.get(), -0x10, &high, 1), 0xFFFFFFE0u);
    EXPECT_EQ(high, 2);

    // A low word that looks like the failure.
    high = 1;
    errno = ENOENT;
    EXPECT_EQ(OsUserSetFilePointer(file.get(), -1, &high, 0), FAILED);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(high, 1);

    high = -5;
    EXPECT_EQ(OsUserSetFilePointer(file.get(), 0, &high, 0), FAILED);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(high, -5);
}

TEST_F(OsUserFileHandleTest, EndOfFileIsSetAtThePosition) {
    m_directory.Write("file", "0123456789");
    const CHandle file = Open("file", READ_WRITE, 3, 1);
    OsUserSetFilePointer(file.get(), 4, nullptr, 0);
    EXPECT_EQ(OsUserSetEndOfFile(file.get()), 1);
    EXPECT_EQ(m_directory.Read("file"), "0123");
    const CHandle reader = Open("file", READ, 3, 1);
    EXPECT_EQ(OsUserSetEndOfFile(reader.get()), 0);
}

} // namespace
