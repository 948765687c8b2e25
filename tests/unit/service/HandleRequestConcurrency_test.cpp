// Connections as their threads see them, on socket pairs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

#include "../common/Hex.h"
#include "../common/LogOf.h"
#include "../dictionary/DictionaryTest.h"
#include "service/CSignals.h"
#include "service/CSilentClient.h"
#include "service/PipeCommunication.h"

using Hesperd::CSignals;
using Hesperd::PipeCommunication;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string READ_FRAME = "2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                               "00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex;
const std::string READ_REPLY =
    "16 00 00 00  00 00  01 80  00  00  00 00 00 00 00 00 00 00  04 00 00 00  61 62 63 64"_hex;

// A connection whose thread runs.
class Connection {
public:
    Connection() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        m_client = ends[0];
        m_thread = std::thread(PipeCommunication::HandleRequest, ends[1]);
    }

    ~Connection() {
        Close();
        m_thread.join();
    }

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Send(const std::string& bytes) const {
        EXPECT_EQ(send(m_client, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }

    void EndSending() const { shutdown(m_client, SHUT_WR); }

    bool HasEnded() const {
        char byte = 0;
        return recv(m_client, &byte, 1, MSG_DONTWAIT) == 0;
    }

    // Up to the end of the connection.
    std::string Receive() const {
        std::string all;
        char bytes[4096];
        for (;;) {
            const ssize_t count = recv(m_client, bytes, sizeof bytes, 0);
            if (count <= 0) {
                return all;
            }
            all.append(bytes, static_cast<std::size_t>(count));
        }
    }

    void Close() {
        if (m_client >= 0) {
            close(m_client);
            m_client = -1;
        }
    }

private:
    int m_client = -1;
    std::thread m_thread;
};

std::atomic<int> s_yields{0};

class HandleRequestTest : public DictionaryTest {
protected:
    void SetUp() override {
        DictionaryTest::SetUp();
        CSignals::InitSignals();
        AddVariable(0x8001, TYPE_UNSIGNED32, ACCESS_READ | ACCESS_WRITE, "abcd");
    }

    void TearDown() override {
        std::signal(SIGTERM, SIG_DFL);
        DictionaryTest::TearDown();
    }
};

} // namespace

// In the place of the system's own.
extern "C" int __real_sched_yield();

extern "C" int __wrap_sched_yield() {
    ++s_yields;
    return __real_sched_yield();
}

TEST_F(HandleRequestTest, AFrameIsAnsweredAndTheConnectionCloses) {
    EXPECT_THAT(LogOf({LOG_SEVERITY_PROGRESS, LOG_SEVERITY_ERROR},
                      [] {
                          const Connection connection;
                          connection.Send(READ_FRAME);
                          EXPECT_EQ(connection.Receive(), READ_REPLY);
                      }),
                IsEmpty());
}

TEST_F(HandleRequestTest, AFrameMayComeInPieces) {
    const Connection connection;
    for (const char byte : READ_FRAME) {
        connection.Send(std::string(1, byte));
        std::this_thread::yield();
    }
    EXPECT_EQ(connection.Receive(), READ_REPLY);
}

TEST_F(HandleRequestTest, AFrameThatComesSlowlyIsWaitedForAsleep) {
    s_yields = 0;
    {
        // A write of 20000 bytes, of which some come one by one.
        Connection connection;
        connection.Send("4A 4E 00 00 00 00 00 00  18 00 00 00 00 00 00 00  4A 4E 00 00 00 00 00 00"
                        "00 00  01 80  00  00  00 00 00 00 00 00 00 00  20 4E 00 00"_hex);
        for (int i = 0; i < 200; ++i) {
            connection.Send("x");
            usleep(1000);
        }
    }
    // Asked for 200 times with each byte it would be 40000.
    EXPECT_LE(s_yields, 2000);
}

TEST_F(HandleRequestTest, AClientThatSaysNothingForLongIsEndedWhereOthersNeedRoom) {
    const Connection connection;
    connection.Send(READ_FRAME.substr(0, 23)); // all but the last byte of a header
    Hesperd::CSilentClient::EndThose();
    EXPECT_FALSE(connection.HasEnded());
    while (!connection.HasEnded()) {
        Hesperd::CSilentClient::EndThose(std::chrono::milliseconds(0));
    }
}

TEST_F(HandleRequestTest, AFrameOfManyChunksIsReadWhole) {
    // A write of 5000 bytes, of which the item takes the first four.
    const Connection connection;
    connection.Send("B2 13 00 00 00 00 00 00  18 00 00 00 00 00 00 00  B2 13 00 00 00 00 00 00"
                    "00 00  01 80  00  00  00 00 00 00 00 00 00 00  88 13 00 00"_hex +
                    std::string(5000, 'z'));
    EXPECT_EQ(connection.Receive(), "12 00 00 00  00 00  01 80  00  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex);
    EXPECT_EQ(ReadObject(0x8001, 0, 4).buffer, "zzzz");
}

TEST_F(HandleRequestTest, AnEmptyReplyIsFourBytes) {
    const Connection connection;
    connection.Send("18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"_hex);
    EXPECT_EQ(connection.Receive(), "00 00 00 00"_hex);
}

TEST_F(HandleRequestTest, AnEarlyEndIsToldWithTheNumbersAndClosesWithoutAReply) {
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS, LOG_SEVERITY_ERROR}, [] {
        for (const std::size_t length : {std::size_t{45}, std::size_t{24}, std::size_t{8}}) {
            const Connection connection;
            connection.Send(READ_FRAME.substr(0, length));
            connection.EndSending();
            EXPECT_EQ(connection.Receive(), "");
        }
    });
    const std::string text = "Error: HandleRequest: Number of bytes read does not match data length! bytesRead:";
    EXPECT_THAT(lines, ElementsAre(text + "45 cbData:46", text + "24 cbData:46", text + "8 cbData:46"));
}

TEST_F(HandleRequestTest, ARefusedFrameIsToldWithItsCodeAndClosesWithoutAReply) {
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS, LOG_SEVERITY_ERROR}, [] {
        std::string frame = READ_FRAME;
        frame[24] = 5;
        const Connection refused;
        refused.Send(frame);
        EXPECT_EQ(refused.Receive(), "");
        frame[24] = 0;
        frame[38] = 5;
        const Connection malformed;
        malformed.Send(frame);
        EXPECT_EQ(malformed.Receive(), "");
    });
    const std::string text = "Error: PipeCommunication: ExtractPipeTransactionPackage failed: ";
    EXPECT_THAT(lines, testing::UnorderedElementsAre(text + std::to_string(static_cast<std::int32_t>(0xECA61000)),
                                                     text + "87"));
}

TEST_F(HandleRequestTest, ALackOfMemoryClosesOneConnectionWithoutAReply) {
    const TOnRead findNoMemory = [](TInfoItem*, unsigned short, unsigned char) -> ObjResult { throw std::bad_alloc(); };
    AddVariable(0x8002, TYPE_UNSIGNED32, ACCESS_READ, "abcd", findNoMemory);
    std::string frame = READ_FRAME;
    frame[26] = 2;
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS, LOG_SEVERITY_ERROR}, [&] {
        const Connection connection;
        connection.Send(frame);
        EXPECT_EQ(connection.Receive(), "");
    });
    EXPECT_THAT(lines, ElementsAre("Error: PipeCommunication: ExtractPipeTransactionPackage failed: " +
                                   std::to_string(static_cast<std::int32_t>(0xECA60104))));
    // Nothing stays locked.
    EXPECT_EQ(Dictionary().RemoveObject(0x8002), OBJ_E_NOERR);
    const Connection next;
    next.Send(READ_FRAME);
    EXPECT_EQ(next.Receive(), READ_REPLY);
}

TEST_F(HandleRequestTest, AClientThatIsGoneBeforeTheReplyIsNoted) {
    static std::atomic<bool> s_isGone;
    s_isGone = false;
    const TOnRead waitForTheClient = [](TInfoItem*, unsigned short, unsigned char) -> ObjResult {
        while (!s_isGone) {
            std::this_thread::yield();
        }
        return OBJ_E_NOERR;
    };
    AddVariable(0x8002, TYPE_UNSIGNED32, ACCESS_READ, "abcd", waitForTheClient);
    std::string frame = READ_FRAME;
    frame[26] = 2;
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS}, [&] {
        Connection connection;
        connection.Send(frame);
        connection.Close();
        s_isGone = true;
    });
    EXPECT_THAT(lines, ElementsAre("None: Sylvarin->SignalHandlerPipe: Client crashed!",
                                   "None: Write socket failed (client terminated): 32"));
}

TEST_F(HandleRequestTest, ADescriptorThatCannotBeReadOrClosedIsToldWithItsError) {
    EXPECT_THAT(LogOf({LOG_SEVERITY_PROGRESS}, [] { PipeCommunication::HandleRequest(-1); }),
                ElementsAre("None: Read socket failed (client terminated): 9", "None: Close socket failed: 9"));
}

TEST_F(HandleRequestTest, ManyConnectionsOnOneAndOnManyObjects) {
    for (int i = 0; i < 4; ++i) {
        AddVariable(static_cast<unsigned short>(0x8010 + i), TYPE_UNSIGNED32, ACCESS_READ, "item");
    }
    std::vector<std::thread> clients;
    for (int client = 0; client < 8; ++client) {
        clients.emplace_back([client] {
            for (int i = 0; i < 50; ++i) {
                std::string frame = READ_FRAME;
                std::string reply = READ_REPLY;
                if (client % 2 == 1) {
                    frame[26] = reply[6] = static_cast<char>(0x10 + i % 4);
                    reply.replace(22, 4, "item");
                }
                const Connection connection;
                connection.Send(frame);
                ASSERT_EQ(connection.Receive(), reply);
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
}

TEST_F(HandleRequestTest, ConnectionsWithoutADictionaryAnswerNothing) {
    EndDictionary(); // each request makes one of its own then, or finds one that is being made or ended
    std::vector<std::thread> clients;
    for (int client = 0; client < 4; ++client) {
        clients.emplace_back([] {
            for (int i = 0; i < 100; ++i) {
                const Connection connection;
                connection.Send(READ_FRAME);
                const std::string reply = connection.Receive();
                // Without one there is an empty reply, else the index is not in the fresh one.
                ASSERT_TRUE(reply == "00 00 00 00"_hex ||
                            reply == "12 00 00 00  00 00  01 80  00  00  00 01 A6 EC FF FF FF FF  00 00 00 00"_hex);
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
}
