#include "platform/OsUserCriticalSection.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

int TryEnterFromAnotherThread(OsUserCriticalSection* section) {
    int entered = -1;
    std::thread other([&] {
        entered = OsUserTryEnterCriticalSection(section);
        if (entered != 0) {
            OsUserLeaveCriticalSection(section);
        }
    });
    other.join();
    return entered;
}

class OsUserCriticalSectionTest : public testing::Test {
protected:
    OsUserCriticalSectionTest() { OsUserInitializeCriticalSection(&m_section); }

    ~OsUserCriticalSectionTest() override { OsUserDeleteCriticalSection(&m_section); }

    OsUserCriticalSection m_section;
};

TEST_F(OsUserCriticalSectionTest, FreeSectionCanBeEnteredByAnyThread) {
    EXPECT_NE(TryEnterFromAnotherThread(&m_section), 0);
}

TEST_F(OsUserCriticalSectionTest, SectionEnteredTwiceNeedsTwoLeaves) {
    OsUserEnterCriticalSection(&m_section);
    OsUserEnterCriticalSection(&m_section);
    EXPECT_EQ(TryEnterFromAnotherThread(&m_section), 0);

    OsUserLeaveCriticalSection(&m_section);
    EXPECT_EQ(TryEnterFromAnotherThread(&m_section), 0);

    OsUserLeaveCriticalSection(&m_section);
    EXPECT_NE(TryEnterFromAnotherThread(&m_section), 0);
}

TEST_F(OsUserCriticalSectionTest, TryEnterSucceedsForTheHolder) {
    OsUserEnterCriticalSection(&m_section);
    EXPECT_NE(OsUserTryEnterCriticalSection(&m_section), 0);
    OsUserLeaveCriticalSection(&m_section);
    EXPECT_EQ(TryEnterFromAnotherThread(&m_section), 0);
    OsUserLeaveCriticalSection(&m_section);
}

TEST(CSectionLockTest, HoldsTheSectionToTheEndOfItsScope) {
    CSection section;
    const auto tryFromAnotherThread = [&section] {
        bool entered = false;
        std::thread other([&] {
            entered = section.TryEnter();
            if (entered) {
                section.Leave();
            }
        });
        other.join();
        return entered;
    };
    {
        CSectionLock lock(section);
        EXPECT_FALSE(tryFromAnotherThread());
    }
    EXPECT_TRUE(tryFromAnotherThread());
}

} // namespace
