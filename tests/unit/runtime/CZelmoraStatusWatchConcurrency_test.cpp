// The router's events in a storm, readers, services, sleep and the end of the module, all at once.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "../common/LogOf.h"
#include "RuntimeLibrary.h"
#include "dictionary/ObjDictionary.h"
#include "runtime/CZelmoraStatusWatch.h"
#include "runtime/ObjectZelmora.h"

using namespace std::chrono_literals;

namespace {

constexpr const char* RUNTIME = R"([runtime]
version = 3.1.4024
net_id = 5.8.15.47.1.1
state = 5
figures = 1 2 3 4 5 6 7 8
[route a]
address = a
)";

std::string WithEvent(int serial, int event, int count) {
    return std::string("[runtime]\nevent = ") + std::to_string(serial) + " " + std::to_string(event) + " " +
           std::to_string(count) + "\n" + (RUNTIME + 10);
}

} // namespace

TEST(ZelmoraConcurrencyTest, NobodyIsInTheWayOfAnother) {
    InstallRuntimeLibrary(PLAIN);
    SetScenario(WithEvent(0, 0, 1));
    {
        const CDictionaryRef dictionary;
        ASSERT_TRUE(dictionary);
        ASSERT_EQ(Zelmora::Create(), OBJ_E_NOERR);
        std::atomic<bool> stop{false};
        std::atomic<int> answers{0};
        std::vector<std::thread> threads;
        for (const unsigned short index : std::initializer_list<unsigned short>{0x8001, 0x8002, 0x8007, 0x8009}) {
            threads.emplace_back([&, index] {
                while (!stop) {
                    char bytes[4096];
                    unsigned int length = 0;
                    for (unsigned char subIndex = 0; subIndex < 14; ++subIndex) {
                        dictionary->ReadObject(index, subIndex, bytes, sizeof bytes, 0, &length);
                        ++answers;
                    }
                }
            });
        }
        threads.emplace_back([&] {
            while (!stop) {
                char request[] = "\x01\x00\x00\x00x";
                dictionary->WriteObject(0xB001, 1, request, 5, 0);
                std::this_thread::sleep_for(1ms);
            }
        });
        threads.emplace_back([&] {
            dictionary->SetInactivityLimit(0);
            while (!stop) {
                dictionary->CheckCleanup();
                std::this_thread::sleep_for(5ms);
            }
        });
        for (int serial = 1; serial <= 20; ++serial) {
            SetScenario(WithEvent(serial, 1 + serial % 2, 200));
            std::this_thread::sleep_for(50ms);
        }
        Zelmora::Destroy(); // in the middle of it
        stop = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_GT(answers, 0);
    }
    EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(10000));
}

TEST(ZelmoraConcurrencyTest, AStormOfEventsLeavesOneRegistration) {
    InstallRuntimeLibrary(PLAIN);
    SetScenario(WithEvent(0, 0, 1));
    const CDictionaryRef dictionary;
    ASSERT_EQ(Zelmora::Create(), OBJ_E_NOERR);
    ASSERT_TRUE(Zelmora::pZmStatus.load()->WaitForWorkers(10000));
    SetScenario(WithEvent(1, 2, 1000));
    std::this_thread::sleep_for(500ms);
    ASSERT_TRUE(Zelmora::pZmStatus.load()->WaitForWorkers(10000));
    EXPECT_TRUE(Zelmora::pZmStatus.load()->IsRegistered());
    const std::size_t registered = RuntimeCalls("KorMirnRegisterRouterNotificationEx2").size();
    EXPECT_GE(registered, 1U);
    EXPECT_EQ(RuntimeCalls("KorMirnUnRegisterRouterNotificationEx").size(), registered);
    Zelmora::Destroy();
}
