#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "DictionaryTest.h"
#include "dictionary/ObjHelper.h"

using namespace std::chrono_literals;

namespace {

// Runs the action on as many threads at once, each with its number.
void OnThreads(int count, const std::function<void(int)>& action) {
    std::atomic<int> waiting{count};
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&, number] {
            --waiting;
            while (waiting > 0) {
                std::this_thread::yield();
            }
            action(number);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// The counter behind the trigger's item is plain: the object's section has to guard it.
ObjResult CountUp(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
    auto* counter = static_cast<std::uint32_t*>(item->context);
    ++*counter;
    if (const ObjResult result = AllocateBuffer(item, 4); result != OBJ_E_NOERR) {
        return result;
    }
    std::memcpy(item->data, counter, sizeof *counter);
    return OBJ_E_NOERR;
}

using DictionaryConcurrencyTest = DictionaryTest;

} // namespace

TEST_F(DictionaryConcurrencyTest, OneObjectServesOneRequestAtATime) {
    std::uint32_t counter = 0;
    AddVariable(0x8001, TYPE_UNSIGNED32, ACCESS_READ, "abcd", CountUp, nullptr, &counter);
    OnThreads(8, [&](int) {
        for (int i = 0; i < 500; ++i) {
            ASSERT_EQ(ReadObject(0x8001, 0, 4).result, 0U);
        }
    });
    EXPECT_EQ(counter, 4000U);
}

TEST_F(DictionaryConcurrencyTest, DifferentObjectsAreServedAtOnce) {
    static std::atomic<int> s_inside;
    s_inside = 0;
    // Ends only when the other one has been entered too.
    const TOnRead meet = [](TInfoItem*, unsigned short, unsigned char) -> ObjResult {
        ++s_inside;
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (s_inside < 2 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
        }
        return s_inside < 2 ? OBJ_E_FAILED : OBJ_E_NOERR;
    };
    AddVariable(0x8001, TYPE_UNSIGNED8, ACCESS_READ, "a", meet);
    AddVariable(0x8002, TYPE_UNSIGNED8, ACCESS_READ, "b", meet);
    OnThreads(
        2, [&](int number) { EXPECT_EQ(ReadObject(static_cast<unsigned short>(0x8001 + number), 0, 1).result, 0U); });
}

TEST_F(DictionaryConcurrencyTest, WrittenTextsAreNeverTorn) {
    AddVariable(0x8001, TYPE_VISIBLE_STRING, ACCESS_READ | ACCESS_WRITE, "a");
    OnThreads(6, [&](int number) {
        const std::string mine(static_cast<std::size_t>(10 + number * 50), static_cast<char>('a' + number));
        for (int i = 0; i < 300; ++i) {
            if (number < 3) {
                ASSERT_EQ(WriteObject(0x8001, 0, mine), 0U);
                continue;
            }
            const TReadAnswer answer = ReadObject(0x8001, 0, 256);
            ASSERT_EQ(answer.result, 0U);
            const std::string text = answer.buffer.substr(0, answer.bytesRead);
            ASSERT_EQ(text.find_first_not_of(text[0]), text.size() > 1 ? text.size() - 1 : std::string::npos);
        }
    });
}

TEST_F(DictionaryConcurrencyTest, ObjectsAreAddedAndRegisteredWhileOthersRead) {
    constexpr int THREADS = 8;
    constexpr int EACH = 30;
    OnThreads(THREADS, [&](int number) {
        for (int i = 0; i < EACH; ++i) {
            const auto index = static_cast<unsigned short>(0x2000 + number * 0x100 + i);
            ASSERT_EQ(AddVariable(index, TYPE_UNSIGNED16, ACCESS_READ | ACCESS_WRITE, "ab"), 0U);
            const CRef<CObj0x8nn0> header(new CObj0x8nn0);
            header->Init(index, "T", "N", 1, 0);
            ASSERT_EQ(Dictionary().RegisterObject(header.Get()), 0U);
            ASSERT_EQ(WriteObject(index, 0, "cd"), 0U);
            ASSERT_EQ(ReadObject(index, 0, 2), (TReadAnswer{0, 2, "cd"}));
            ReadObject(0x2000, 0, 2);
            unsigned short list[1024];
            unsigned int size = sizeof list;
            ASSERT_EQ(Dictionary().GetOdList(1, list, &size), 0U);
        }
    });
    EXPECT_EQ(static_cast<unsigned char>(ReadObject(0xF010, 0, 2).buffer[0]), THREADS * EACH);
}

TEST_F(DictionaryConcurrencyTest, TheSameIndexIsAddedOnce) {
    for (unsigned short index = 0x8001; index < 0x8041; ++index) {
        std::atomic<int> taken{0};
        OnThreads(4, [&](int) {
            if (AddVariable(index, TYPE_UNSIGNED8, ACCESS_READ, "a") == OBJ_E_NOERR) {
                ++taken;
            }
        });
        EXPECT_EQ(taken, 1);
    }
}

TEST_F(DictionaryConcurrencyTest, ObjectsAreRemovedUnderUse) {
    std::atomic<bool> done{false};
    OnThreads(5, [&](int number) {
        if (number == 0) {
            for (int i = 0; i < 5000; ++i) {
                ASSERT_EQ(AddVariable(0x8001, TYPE_UNSIGNED8, ACCESS_READ, "a"), 0U);
                ASSERT_EQ(Dictionary().RemoveObject(0x8001), 0U);
            }
            done = true;
            return;
        }
        while (!done) {
            if (number == 1) { // one that holds on to the object beyond its removal
                if (const CRef<CObject> object = Dictionary().GetObjectRef(0x8001)) {
                    EXPECT_EQ(Read(*object, 0, 1), (TReadAnswer{0, 1, "a"}));
                }
                std::this_thread::sleep_for(1ms);
                continue;
            }
            const TReadAnswer answer = ReadObject(0x8001, 0, 1);
            ASSERT_TRUE(answer == (TReadAnswer{0, 1, "a"}) || answer == (TReadAnswer{0xECA60100, 0, "#"}));
            std::this_thread::sleep_for(1ms); // the exclusive hold has no precedence
        }
    });
}

// Modules

TEST_F(DictionaryConcurrencyTest, ClientsThatWakeOneModuleFindItsObjectsAndWakeItOnce) {
    for (int round = 0; round < 100; ++round) {
        const auto slot = static_cast<unsigned char>(round);
        const auto index = static_cast<unsigned short>(0x8001 + round * 16);
        const CRef<CCountingActivator> activator(new CCountingActivator(index));
        ASSERT_EQ(Dictionary().SetModuleActivator(slot, activator.Get()), 0U);
        OnThreads(2, [&](int) { EXPECT_EQ(ReadObject(index, 0, 1), (TReadAnswer{0, 1, "\x01"})); });
        EXPECT_EQ(activator->m_activations, 1);
    }
}

TEST_F(DictionaryConcurrencyTest, TwoModulesWakeAtOnce) {
    for (int round = 0; round < 50; ++round) {
        const CRef<CCountingActivator> activators[] = {
            CRef(new CCountingActivator(static_cast<unsigned short>(0x8001 + round * 32))),
            CRef(new CCountingActivator(static_cast<unsigned short>(0x8011 + round * 32)))};
        for (int i = 0; i < 2; ++i) {
            ASSERT_EQ(Dictionary().SetModuleActivator(static_cast<unsigned char>(round * 2 + i), activators[i].Get()),
                      0U);
        }
        OnThreads(4, [&](int number) {
            EXPECT_EQ(ReadObject(activators[number % 2]->m_dataIndex, 0, 1), (TReadAnswer{0, 1, "\x01"}));
        });
    }
}

TEST_F(DictionaryConcurrencyTest, ModulesSleepAndWakeInAStormOfReaders) {
    constexpr int MODULES = 4;
    std::vector<CRef<CCountingActivator>> activators;
    for (int i = 0; i < MODULES; ++i) {
        activators.emplace_back(new CCountingActivator(static_cast<unsigned short>(0x8001 + i * 16)));
        Dictionary().SetModuleActivator(static_cast<unsigned char>(i), activators.back().Get());
    }
    Dictionary().SetInactivityLimit(0); // the cleanup thread runs a pass every 50 ms, and puts all to sleep
    // A pass starts anew after each module, and those in front may be awake again by then: on a busy machine the last
    // wait long for their turn.
    const auto start = std::chrono::steady_clock::now();
    const auto isOver = [&] {
        const auto passed = std::chrono::steady_clock::now() - start;
        return passed >= 60s || (passed >= 2s && std::ranges::all_of(activators, [](const auto& activator) {
                                     return activator->m_deactivations >= 1;
                                 }));
    };
    OnThreads(8, [&](int number) {
        for (int i = 0; !isOver(); ++i) {
            const auto index = static_cast<unsigned short>(0x8001 + (number + i) % MODULES * 16);
            ASSERT_EQ(ReadObject(index, 0, 1).result, 0U); // never without its object, however the pass falls
            if (i % 50 == 0) {
                unsigned short list[64];
                unsigned int size = sizeof list;
                ASSERT_EQ(Dictionary().GetOdList(1, list, &size), 0U);
                unsigned char code = 0;
                ASSERT_EQ(Dictionary().GetObjDescription(index, 0, &code, nullptr, nullptr, nullptr, nullptr), 0U);
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200 * (number + 1)));
        }
    });
    for (const auto& activator : activators) {
        EXPECT_GE(activator->m_deactivations, 1); // the storm left gaps
        EXPECT_GE(activator->m_activations, activator->m_deactivations);
        EXPECT_LE(activator->m_activations, activator->m_deactivations + 1);
    }
}

TEST_F(DictionaryConcurrencyTest, ModulesAreAddedWhileThePassesRun) {
    Dictionary().SetInactivityLimit(0);
    OnThreads(3, [&](int number) {
        for (int i = 0; i < 80; ++i) {
            if (number == 0) {
                Dictionary().CheckCleanup();
                continue;
            }
            const int slot = number * 100 + i;
            const auto index = static_cast<unsigned short>(0x8001 + slot * 16);
            const CRef<CCountingActivator> activator(new CCountingActivator(index));
            ASSERT_EQ(Dictionary().SetModuleActivator(static_cast<unsigned char>(slot), activator.Get()), 0U);
            ASSERT_EQ(ReadObject(index, 0, 1).result, 0U);
        }
    });
}

namespace {

// Says that it is being put to sleep and takes its time for it.
class CLongSleeper : public CCountingActivator {
public:
    using CCountingActivator::CCountingActivator;

    ObjResult DoDeactivate() override {
        isFallingAsleep = true;
        std::this_thread::sleep_for(50ms);
        return CCountingActivator::DoDeactivate();
    }

    std::atomic<bool> isFallingAsleep{false};
};

} // namespace

TEST_F(DictionaryConcurrencyTest, ARequestDuringTheSleepingWaitsAndWakesTheModuleAgain) {
    const CRef<CLongSleeper> activator(new CLongSleeper(0x8001));
    Dictionary().SetModuleActivator(0, activator.Get());
    ASSERT_EQ(ReadObject(0x8001, 0, 1), (TReadAnswer{0, 1, "\x01"}));
    std::thread pass([&] {
        Dictionary().SetInactivityLimit(0);
        Dictionary().CheckCleanup();
    });
    while (!activator->isFallingAsleep) {
        std::this_thread::sleep_for(1ms);
    }
    Dictionary().SetInactivityLimit(31000);
    EXPECT_EQ(ReadObject(0x8001, 0, 1), (TReadAnswer{0, 1, "\x02"}));
    pass.join();
    EXPECT_EQ(activator->m_deactivations, 1);
    EXPECT_TRUE(activator->IsActive());
}

namespace {

// Says that it is being woken and takes its time for it.
class CLongWaker : public CModuleActivator {
public:
    ObjResult DoActivate() override {
        isWaking = true;
        while (!mayGoOn) {
            std::this_thread::sleep_for(1ms);
        }
        return OBJ_E_NOERR;
    }

    ObjResult DoDeactivate() override { return OBJ_E_NOERR; }

    std::atomic<bool> isWaking{false};
    std::atomic<bool> mayGoOn{false};
};

} // namespace

TEST(ModuleActivatorConcurrency, AModuleThatIsBeingWokenIsNotPutToSleepNorWaitedFor) {
    CLongWaker activator;
    std::thread waking([&] { EXPECT_EQ(activator.Activate(), 0U); });
    while (!activator.isWaking) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(activator.Deactivate(), 0xECA60200U);
    activator.mayGoOn = true;
    waking.join();
    EXPECT_TRUE(activator.IsActive());
    EXPECT_EQ(activator.Deactivate(), 0U);
    EXPECT_FALSE(activator.IsActive());
}

// The life of the dictionary

TEST(DictionaryLifeConcurrency, StartAndFinishAgainstReaders) {
    std::atomic<int> found{0};
    std::atomic<int> notFound{0};
    OnThreads(6, [&](int number) {
        for (int i = 0; i < 300; ++i) {
            const CDictionaryRef dictionary;
            if (!dictionary) {
                ++notFound;
                continue;
            }
            ++found;
            char count[2] = {};
            ASSERT_EQ(dictionary.Get()->ReadObject(0xF000, 0, count, 2, 0, nullptr), 0U);
            ASSERT_EQ(count[0], 4);
            if (number == 0) {
                const CRef<CCountingActivator> activator(new CCountingActivator(0x8001));
                dictionary.Get()->SetModuleActivator(0, activator.Get());
                dictionary.Get()->ReadObject(0x8001, 0, count, 2, 0, nullptr);
            }
        }
    });
    EXPECT_EQ(found + notFound, 1800);
    EXPECT_GT(found, 0);
    EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(10000));
}

TEST(DictionaryLifeConcurrency, TheEndWithAWakeModuleAgainstReaders) {
    for (int round = 0; round < 40; ++round) {
        auto use = std::make_unique<CDictionaryRef>();
        const CRef<CCountingActivator> activator(new CCountingActivator(0x8001));
        ASSERT_TRUE(*use);
        use->Get()->SetInactivityLimit(0);
        use->Get()->SetModuleActivator(0, activator.Get());
        OnThreads(4, [&](int number) {
            if (number == 0) {
                use.reset();
                return;
            }
            const CDictionaryRef dictionary;
            char byte = 0;
            // A reader that comes after the end has made a dictionary of its own, without the module.
            if (dictionary && dictionary.Get()->ReadObject(0x8001, 0, &byte, 1, 0, nullptr) == OBJ_E_NOERR) {
                EXPECT_GT(byte, 0);
            }
        });
        EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(10000));
        EXPECT_FALSE(activator->IsActive());
        EXPECT_EQ(activator->m_activations, activator->m_deactivations);
    }
}

TEST(DictionaryLifeConcurrency, AWaitForTheFinalReleaseEndsWithIt) {
    auto use = std::make_unique<CDictionaryRef>();
    std::atomic<bool> isReleased{false};
    std::thread waiter([&] { isReleased = CObjDictionary::WaitForFinalRelease(20000); });
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(isReleased);
    use.reset();
    waiter.join();
    EXPECT_TRUE(isReleased);
}
