#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "ServiceTest.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint16_t ModuleTypeFiles = 16;

constexpr unsigned List = 0;
constexpr unsigned Read = 1;
constexpr unsigned Write = 2;
constexpr unsigned Copy = 3;
constexpr unsigned Delete = 4;

Bytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

Bytes U32(std::uint64_t value) {
    return Little(value, 4);
}

// A read of one item, with that much room.
Bytes ReadFrame(std::uint16_t index, std::uint8_t subIndex, std::size_t room) {
    return Join({Little(24 + 18 + room, 8),
                 Little(24, 8),
                 Little(24, 8),
                 Little(0, 2),
                 Little(index, 2),
                 {0, subIndex},
                 Little(0, 8),
                 U32(room),
                 Bytes(room)});
}

// A request to a service.
Bytes RequestFrame(std::uint16_t index, const Bytes& request) {
    return Join({Little(24 + 18 + request.size(), 8),
                 Little(24, 8),
                 Little(24 + 18 + request.size(), 8),
                 Little(0, 2),
                 Little(index, 2),
                 {0, 1},
                 Little(0, 8),
                 U32(request.size()),
                 request});
}

std::uint64_t Number(const Bytes& bytes, std::size_t at, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = width; i-- > 0;) {
        value = value << 8 | bytes.at(at + i);
    }
    return value;
}

// The code in the result field of an answer.
std::uint32_t Code(const Bytes& answer) {
    return static_cast<std::uint32_t>(Number(answer, 4 + 6, 4));
}

class FileServicesTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        fs::create_directory(m_folder);
        // The module's slot, from the list of module addresses.
        const Bytes addresses = WireClient::Transact(Join({Little(24 + 18 + 1024, 8),
                                                           Little(24, 8),
                                                           Little(24, 8),
                                                           Little(0, 2),
                                                           Little(0xF020, 2),
                                                           {1, 1},
                                                           Little(0, 8),
                                                           U32(1024),
                                                           Bytes(1024)}));
        for (std::size_t at = 4 + 18; at + 4 <= addresses.size(); at += 4) {
            if (Number(addresses, at + 2, 2) == ModuleTypeFiles) {
                m_slot = static_cast<std::uint16_t>(Number(addresses, at, 2));
            }
        }
        ASSERT_NE(m_slot, 0xFFFF);
    }

    std::uint16_t Index(unsigned k) const { return static_cast<std::uint16_t>(0xB000 + m_slot * 16 + k); }

    // Starts the job, waits for its end and gives the response: status, a zero byte, data.
    Bytes Call(unsigned k, const Bytes& request, std::size_t room = 4096) {
        // The worker of the job before may still be ending.
        Bytes started;
        do {
            started = WireClient::Transact(RequestFrame(Index(k), request));
        } while (Code(started) == 0xECA60200);
        EXPECT_EQ(Code(started), 0U);
        while (WireClient::Transact(ReadFrame(Index(k), 2, 1)).back() > 3) {
        }
        const Bytes answer = WireClient::Transact(ReadFrame(Index(k), 3, room));
        EXPECT_EQ(Code(answer), 0U);
        return {answer.begin() + 22, answer.end()};
    }

    Bytes OpenToRead(const std::string& path, std::uint32_t chunk, std::size_t room = 4096) {
        return Call(Read, Join({U32(path.size()), U32(0), U32(chunk), Text(path)}), room);
    }

    Bytes OpenToWrite(const std::string& path, const std::string& data, bool close) {
        return Call(Write,
                    Join({U32(path.size()), U32(0), U32(data.size()), U32(close ? 1 : 0), Text(path), Text(data)}));
    }

    std::string Path(const std::string& name) const { return m_folder + "/" + name; }

    const std::string m_folder = "/tmp/files";
    std::uint16_t m_slot = 0xFFFF;
};

} // namespace

TEST_F(FileServicesTest, AFileIsListedReadAndDeletedOverTheSocket) {
    std::ofstream(Path("f")) << "hello";
    EXPECT_EQ(Call(List, Join({U32(12), Text("/tmp/files/*")})),
              "01 00  00 00 00 00  2D 00 00 00  00 00 00 00  01 00 00 00  00 00 00 00  18 00 00 00"
              "00 00 00 00  05 00 00 00 00 00 00 00  00 00 00 00  01 00 00 00  66"_hex);
    EXPECT_EQ(OpenToRead(Path("f"), 100), "01 00  05 00 00 00  00 00 00 00  01 00 00 00  68 65 6C 6C 6F"_hex);
    EXPECT_EQ(Call(Delete, Join({U32(12), U32(0), Text("/tmp/files/f")})), "01 00 00 00 00 00"_hex);
    EXPECT_FALSE(fs::exists(Path("f")));
    EXPECT_EQ(Call(Delete, Join({U32(12), U32(0), Text("/tmp/files/f")})), "03 00 02 00 A7 EC"_hex);
}

TEST_F(FileServicesTest, AFullDiskIsToldInTheChunkThatDidNotFit) {
    fs::create_directory(Path("small"));
    ASSERT_EQ(mount("tmpfs", Path("small").c_str(), "tmpfs", 0, "size=64k"), 0);
    const Bytes opened = OpenToWrite(Path("small/f"), "x", false);
    ASSERT_EQ(opened.at(0), 1);
    const std::uint32_t handle = static_cast<std::uint32_t>(Number(opened, 2, 4));
    const std::string chunk(131072, 'y');
    const Bytes next = Join({U32(0), U32(handle), U32(chunk.size()), U32(0), Text(chunk)});
    EXPECT_EQ(Call(Write, next), "03 00 01 00 A6 EC"_hex);
    // The file stays open, and the handle can still close it.
    EXPECT_EQ(Call(Write, Join({U32(0), U32(handle), U32(0), U32(1)})), "01 00 00 00 00 00"_hex);
    EXPECT_EQ(umount(Path("small").c_str()), 0);
}

TEST_F(FileServicesTest, AFileThatVanishesInTheMiddleIsReadToItsEnd) {
    std::ofstream(Path("f")) << std::string(30, 'a');
    const Bytes first = OpenToRead(Path("f"), 12 + 20);
    fs::remove(Path("f"));
    const Bytes rest = Call(Read, Join({U32(0), U32(Number(first, 6, 4)), U32(12 + 20)}));
    EXPECT_EQ(Number(rest, 2, 4), 10U);
    EXPECT_EQ(Number(rest, 10, 4), 1U);
}

TEST_F(FileServicesTest, ProgramsOfTheServiceInheritNeitherFilesOfClientsNorSockets) {
    std::ofstream(Path("f")) << std::string(30, 'a');
    OpenToRead(Path("f"), 12 + 20);
    OpenToWrite(Path("w"), "data", false);
    const WireClient silent;
    // The program that a new device name runs.
    std::ofstream(SYLVARIN_ADAPTERS "/usr/sbin/sysrc") << "#!/bin/sh\nls -l /proc/$$/fd >>/tmp/inherited\n";
    WireClient::Transact("2F 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  2F 00 00 00 00 00 00 00"
                         "00 00  08 10  00  00  00 00 00 00 00 00 00 00  05 00 00 00  62 6F 78 2D 31"_hex);

    std::ifstream file("/tmp/inherited");
    const std::string inherited{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(inherited, testing::HasSubstr("/dev/null"));
    EXPECT_THAT(inherited, testing::Not(testing::HasSubstr("/tmp/files/")));
    EXPECT_THAT(inherited, testing::Not(testing::HasSubstr("socket:")));
}

TEST_F(FileServicesTest, APipeThatNobodyWritesHoldsUpNobody) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(OpenToRead(Path("pipe"), 100), "01 00  00 00 00 00  00 00 00 00  01 00 00 00"_hex);
}

TEST_F(FileServicesTest, AFileThatMayNotBeReadIsRefused) {
    fs::create_directory(Path("d"));
    EXPECT_EQ(OpenToRead(Path("missing"), 100), "03 00 06 01 A6 EC"_hex);
    // A directory opens, and its read fails: that looks like the end of the file.
    EXPECT_EQ(OpenToRead(Path("d"), 100), "01 00  00 00 00 00  00 00 00 00  01 00 00 00"_hex);
}

TEST_F(FileServicesTest, AClientKilledInTheMiddleOfATransferLeavesTheServiceReady) {
    {
        WireClient client;
        const Bytes frame = RequestFrame(
            Index(Write), Join({U32(12), U32(0), U32(100000), U32(0), Text("/tmp/files/f"), Bytes(100000)}));
        client.Send({frame.begin(), frame.begin() + 50000});
        client.Close();
    }
    EXPECT_FALSE(fs::exists(Path("f")));
    EXPECT_EQ(OpenToWrite(Path("f"), "abc", true), "01 00 00 00 00 00"_hex);
    EXPECT_EQ(fs::file_size(Path("f")), 3U);
}

TEST_F(FileServicesTest, TwoClientsOnOneSlotAreToldApartByTheHandle) {
    std::ofstream(Path("one")) << std::string(100, '1');
    std::ofstream(Path("two")) << std::string(100, '2');
    const std::uint64_t one = Number(OpenToRead(Path("one"), 22), 6, 4);
    const std::uint64_t two = Number(OpenToRead(Path("two"), 22), 6, 4);
    EXPECT_NE(one, two);
    EXPECT_EQ(Call(Read, Join({U32(0), U32(one), U32(22)})), "03 00 07 01 A6 EC"_hex);
    EXPECT_EQ(Call(Read, Join({U32(0), U32(two), U32(14)})),
              Join({"01 00  02 00 00 00"_hex, U32(two), "00 00 00 00  32 32"_hex}));
}

TEST_F(FileServicesTest, ADirectoryOfAHundredThousandEntriesIsListedInOneRecord) {
    constexpr std::size_t count = 100000;
    for (std::size_t i = 0; i < count; ++i) {
        std::string name = std::to_string(i);
        name.insert(0, 6 - name.size(), '0');
        ASSERT_EQ(mknod(Path(name).c_str(), S_IFREG | 0600, 0), 0);
    }
    const std::size_t size = 24 + count * 26;
    const Bytes list = Call(List, Join({U32(12), Text("/tmp/files/*")}), size + 2);
    ASSERT_EQ(list.size(), size + 2);
    EXPECT_EQ(Number(list, 2 + 4, 4), size);
    EXPECT_EQ(Number(list, 2 + 12, 4), count);
    // The last entry has no next one, and its name.
    EXPECT_EQ(Bytes(list.end() - 26, list.end()), Join({U32(0), Little(0, 8), U32(0), U32(6), Text("099999")}));
}

TEST_F(FileServicesTest, ClientsOfAllServicesAtOnceDoNotDisturbEachOther) {
    std::ofstream(Path("source")) << "content";
    std::vector<std::thread> clients;
    clients.emplace_back([&] {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(Call(List, Join({U32(17), Text("/tmp/files/source")})).at(0), 1);
        }
    });
    clients.emplace_back([&] {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(Number(OpenToRead(Path("source"), 100), 2, 4), 7U);
        }
    });
    clients.emplace_back([&] {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(OpenToWrite(Path("written"), "w", true).at(0), 1);
        }
    });
    clients.emplace_back([&] {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(
                Call(Copy, Join({U32(17), U32(15), U32(3), Text("/tmp/files/source"), Text("/tmp/files/copy")})).at(0),
                1);
        }
    });
    for (std::thread& client : clients) {
        client.join();
    }
}
