#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "DeviceType.h"
#include "ServiceTest.h"

namespace {

constexpr int s_clients = 200;

const Bytes s_readProfile = "3C 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                            "00 00  00 F0  01  00  00 00 00 00 00 00 00 00  12 00 00 00"
                            "00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"_hex;
const Bytes s_profile = "24 00 00 00  00 00  00 F0  01  00  00 00 00 00 00 00 00 00  12 00 00 00"
                        "04 00  10 00 00 00  FF 00 00 00  00 00 00 00  0F 00 00 00"_hex;
const Bytes s_readNothing = "2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                            "00 00  34 12  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex;
const Bytes s_nothing = "12 00 00 00  00 00  34 12  00  00  00 01 A6 EC FF FF FF FF  00 00 00 00"_hex;
const Bytes s_readName = "5A 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                         "00 00  08 10  00  00  00 00 00 00 00 00 00 00  30 00 00 00"
                         "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                         "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"_hex;
const Bytes s_nameWritten = "12 00 00 00  00 00  08 10  00  00  00 00 00 00 00 00 00 00  00 00 00 00"_hex;
const Bytes s_broken = "FF FF 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"_hex;

Bytes WriteName(const std::string& name) {
    const std::size_t size = 24 + 18 + name.size();
    return Join({Little(size, 8), Little(24, 8), Little(size, 8), "00 00  08 10  00  00  00 00 00 00 00 00 00 00"_hex,
                 Little(name.size(), 4), Bytes(name.begin(), name.end())});
}

// Of an answer to s_readName.
std::string NameIn(const Bytes& answer) {
    return answer.size() < 22 ? std::string() : std::string(answer.begin() + 22, answer.end());
}

// Clients that ask again and again, whether there is a service or not. They end with the object.
class RestlessClients {
public:
    explicit RestlessClients(int count) {
        for (int number = 0; number < count; ++number) {
            m_threads.emplace_back([this, number] { Run(number); });
        }
    }

    ~RestlessClients() {
        m_isEnding = true;
        for (auto& thread : m_threads) {
            thread.join();
        }
    }

    RestlessClients(const RestlessClients&) = delete;
    RestlessClients& operator=(const RestlessClients&) = delete;

    // Whether so many more answers came within a minute.
    bool GetAnswers(int more) const {
        const int wanted = m_right + more;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (m_right < wanted && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return m_right >= wanted;
    }

    int WrongAnswers() const { return m_wrong; }

private:
    void Run(int number) {
        while (!m_isEnding) {
            try {
                WireClient client;
                client.TrySend(ReadDeviceType);
                if (number % 16 == 0) {
                    continue; // gone before its answer
                }
                const Bytes answer = client.ReceiveAll();
                ++(answer == DeviceTypeAnswer ? m_right : answer.empty() ? m_none : m_wrong);
            } catch (const std::exception&) { // the service is not there, or went meanwhile
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        }
    }

    std::atomic<bool> m_isEnding{false};
    std::atomic<int> m_right{0};
    std::atomic<int> m_none{0};
    std::atomic<int> m_wrong{0};
    std::vector<std::thread> m_threads;
};

class ConcurrencyTest : public ServiceTest {
protected:
    // Some clients that say nothing take so many of few descriptors that the others run out of them.
    void RunOutOfDescriptors() {
        if (std::string(SYLVARIN_SANITIZERS).find("undefined") != std::string::npos) {
            return; // it needs descriptors itself, and calls what it cannot look at broken
        }
        rlimit before{};
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_NOFILE, nullptr, &before), 0);
        rlimit few = before;
        few.rlim_cur = 24;
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_NOFILE, &few, nullptr), 0);
        std::vector<std::unique_ptr<WireClient>> silent;
        for (int i = 0; i < 8; ++i) {
            silent.push_back(std::make_unique<WireClient>());
        }
        EXPECT_TRUE(m_log.WaitFor("Error: Accept failed: 24"));
        ASSERT_EQ(prlimit(m_service->Pid(), RLIMIT_NOFILE, &before, nullptr), 0);
    }
};

} // namespace

TEST_F(ConcurrencyTest, TwoHundredClientsAtOnceGetTheirOwnAnswers) {
    std::atomic<int> wrong{0};
    std::atomic<int> ready{0};
    auto expect = [&wrong](const Bytes& frame, const Bytes& answer) {
        if (WireClient::Transact(frame) != answer) {
            ++wrong;
        }
    };
    std::vector<std::thread> clients;
    for (int number = 0; number < s_clients; ++number) {
        clients.emplace_back([&, number] {
            ++ready;
            while (ready < s_clients) {
                std::this_thread::yield();
            }
            for (int round = 0; round < 10; ++round) {
                expect(ReadDeviceType, DeviceTypeAnswer);
                expect(s_readProfile, s_profile);
                expect(s_readNothing, s_nothing);
                if (NameIn(WireClient::Transact(s_readName)).empty()) {
                    ++wrong;
                }
                if (number % 20 == 0) {
                    WireClient vanishing;
                    vanishing.TrySend(s_broken);
                }
            }
            // A write runs a program: not as often.
            if (number % 10 == 0) {
                expect(WriteName("box-" + std::to_string(number)), s_nameWritten);
            }
        });
    }
    for (auto& client : clients) {
        client.join();
    }

    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(NameIn(WireClient::Transact(s_readName)).substr(0, 4), "box-");
}

TEST_F(ConcurrencyTest, TwoHundredOpenConnectionsAreServedInAnyOrder) {
    std::vector<std::unique_ptr<WireClient>> clients;
    for (int i = 0; i < s_clients; ++i) {
        clients.push_back(std::make_unique<WireClient>());
        clients.back()->Send(Bytes(ReadDeviceType.begin(), ReadDeviceType.begin() + 30));
    }
    std::reverse(clients.begin(), clients.end());
    for (const auto& client : clients) {
        client->Send(Bytes(ReadDeviceType.begin() + 30, ReadDeviceType.end()));
        EXPECT_EQ(client->ReceiveAll(), DeviceTypeAnswer);
    }
}

TEST_F(ConcurrencyTest, WritersOfOneItemLeaveOneOfTheirValuesWhole) {
    std::vector<std::thread> writers;
    for (int number = 0; number < 16; ++number) {
        writers.emplace_back([number] {
            const std::string name(static_cast<std::size_t>(8 + number), static_cast<char>('a' + number));
            WireClient::Transact(WriteName(name));
        });
    }
    for (int i = 0; i < 200; ++i) {
        const std::string name = NameIn(WireClient::Transact(s_readName));
        ASSERT_FALSE(name.empty());
        if (name != "IPC-4711") {
            EXPECT_EQ(name, std::string(name.size(), name[0]));
            EXPECT_EQ(name.size(), static_cast<std::size_t>(8 + name[0] - 'a'));
        }
    }
    for (auto& writer : writers) {
        writer.join();
    }
}

TEST_F(ConcurrencyTest, AStopInTheMiddleOfManyRequestsEndsInGoodOrder) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> clients;
    for (int number = 0; number < 50; ++number) {
        clients.emplace_back([&stop] {
            while (!stop) {
                try {
                    WireClient client;
                    client.TrySend(s_readName);
                    client.ReceiveAll();
                } catch (const std::exception&) {
                    return; // the socket is gone
                }
            }
        });
    }
    const Ending ending = m_service->Stop();
    stop = true;
    for (auto& client : clients) {
        client.join();
    }
    EXPECT_EQ(ending.exitStatus, 0) << "signal " << ending.signal << "\n" << m_service->Output();
    EXPECT_EQ(m_log.Count("None: ------------- Sylvarin (END) -------------"), 1U);
    m_service.reset();
}

TEST_F(ConcurrencyTest, SixtyFourClientsGetTheirAnswersBeforeAndAfterStopsAndShortages) {
    const RestlessClients clients(64);
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(clients.GetAnswers(500));
        RunOutOfDescriptors();
        ASSERT_TRUE(clients.GetAnswers(500));
        const Ending ending = m_service->Stop();
        ASSERT_EQ(ending.exitStatus, 0) << "signal " << ending.signal << "\n" << m_service->Output();
        m_log.Clear();
        m_service = std::make_unique<ServiceUnderTest>(Start());
    }
    EXPECT_TRUE(clients.GetAnswers(500));
    EXPECT_EQ(clients.WrongAnswers(), 0);
}
