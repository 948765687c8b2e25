#include "sysconfig/CSystem.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "log/Logger.h"

using ZMBSD::CSystem;

TEST(SystemConcurrency, ProgramsRunFromManyThreadsAtOnceEachGiveTheirOwnResult) {
    CLogger logger;
    g_pLogger = &logger;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 8; ++i) {
        threads.emplace_back([i] {
            for (int round = 0; round < 5; ++round) {
                const std::string code = "exit " + std::to_string(i);
                EXPECT_EQ(CSystem::ExecuteSecure("/bin/sh", "-c", code.c_str(), nullptr), i);
                unsigned long number = 0;
                EXPECT_EQ(CSystem::Execute("echo " + std::to_string(i), number), 0U);
                EXPECT_EQ(number, i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    g_pLogger = nullptr;
}
