#include "dictionary/ObjServiceTransfer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <new>
#include <string>
#include <thread>

#include "dictionary/ObjDictionary.h"
#include "log/Logger.h"
#include "platform/OsUserEvent.h"

namespace {

constexpr unsigned short INDEX = 0xB120;

// A service whose job is given by the test.
class CTestService : public CObjServiceTransfer {
public:
    using CObjServiceTransfer::Finish;
    using CObjServiceTransfer::Request;
    using CObjServiceTransfer::RunJob;
    using CObjServiceTransfer::SetProgress;
    using CObjServiceTransfer::WriteState;

    std::function<void(CTestService&)> job;

protected:
    void DoWork(void* /*argument*/) override { job(*this); }
};

class ObjServiceTransfer : public ::testing::Test {
protected:
    void SetUp() override {
        static CLogger logger;
        g_pLogger = &logger;
        m_dictionary = CObjDictionary::QueryDictionary();
        m_service = CRef<CTestService>(new CTestService);
        m_service->Init(INDEX);
        ASSERT_EQ(m_dictionary->AddObject(m_service.Get()), OBJ_E_NOERR);
    }

    void TearDown() override {
        WaitUntilIdle();
        m_service.Reset();
        CObjDictionary::ReleaseDictionary(m_dictionary);
        EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(10000));
    }

    ObjResult Write(std::string request) {
        return m_dictionary->WriteObject(INDEX, 1, request.data(), static_cast<unsigned int>(request.size()), 0);
    }

    int Status() {
        unsigned char status = 0xEE;
        EXPECT_EQ(m_dictionary->ReadObject(INDEX, 2, &status, 1, 0, nullptr), OBJ_E_NOERR);
        return status;
    }

    std::string Response() {
        char bytes[64];
        unsigned int count = 0;
        EXPECT_EQ(m_dictionary->ReadObject(INDEX, 3, bytes, sizeof bytes, 0, &count), OBJ_E_NOERR);
        return {bytes, count};
    }

    // The job has ended, and its worker thread too.
    void WaitUntilIdle() {
        while (m_service && m_service->m_refCount.load() > 2) {
            usleep(1000);
        }
    }

    void RunToEnd(const std::string& request) {
        ASSERT_EQ(Write(request), OBJ_E_NOERR);
        WaitUntilIdle();
    }

    CObjDictionary* m_dictionary = nullptr;
    CRef<CTestService> m_service;
};

} // namespace

TEST_F(ObjServiceTransfer, IsBornIdleWithTwoZeroBytesOfResponse) {
    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Response(), std::string("\0\0", 2));
    EXPECT_EQ(m_service->ObjectCode(), 9U);
    EXPECT_EQ(m_service->NameId(), 0);
}

TEST_F(ObjServiceTransfer, HasItsFourItemsWithTypeAccessAndTextId) {
    struct TExpected {
        std::uint16_t type;
        std::uint16_t access;
        std::int64_t nameId;
    };

    const TExpected expected[] = {{5, 1, 104}, {9, 2, 160}, {55, 1, 161}, {9, 1, 162}};
    ASSERT_EQ(m_service->GetCoutOfInfoItems(), 4U);
    for (unsigned char sub = 0; sub < 4; ++sub) {
        const TInfoItem* item = m_service->GetItem(sub);
        EXPECT_EQ(item->type, expected[sub].type) << int{sub};
        EXPECT_EQ(item->access, expected[sub].access) << int{sub};
        EXPECT_EQ(item->nameId, expected[sub].nameId) << int{sub};
    }
    EXPECT_EQ(m_service->GetItem(0)->data[0], 3);
}

TEST_F(ObjServiceTransfer, TheRequestCannotBeRead) {
    char byte = 0;
    EXPECT_EQ(m_dictionary->ReadObject(INDEX, 1, &byte, 1, 0, nullptr), OBJ_E_INVALACCESS);
}

TEST_F(ObjServiceTransfer, TheJobSeesTheStoredRequest) {
    std::string seen;
    m_service->job = [&](CTestService& self) {
        CSectionLock lock(self.Section());
        const auto request = self.Request();
        seen.assign(request.begin(), request.end());
        self.Finish(0, nullptr, 0);
    };
    RunToEnd(std::string("a\0b", 3));
    EXPECT_EQ(seen, std::string("a\0b", 3));
}

TEST_F(ObjServiceTransfer, AJobThatFindsNoMemoryFailsWithItsCodeAndTheNextRuns) {
    m_service->job = [](CTestService& self) {
        self.RunJob([](auto request, auto&) -> ObjResult {
            if (request.empty()) {
                throw std::bad_alloc();
            }
            return OBJ_E_NOERR;
        });
    };
    RunToEnd("");
    EXPECT_EQ(Status(), 3);
    EXPECT_EQ(Response(), std::string("\x03\0\x04\x01\xA6\xEC", 6));
    RunToEnd("x");
    EXPECT_EQ(Response(), std::string("\x01\0\0\0\0\0", 6));
}

TEST_F(ObjServiceTransfer, AWorkerThatFailsOutsideItsJobEndsWithACodeAndTheNextRuns) {
    m_service->job = [](CTestService&) { throw std::bad_alloc(); };
    EXPECT_EQ(Write("request"), OBJ_E_NOERR);
    WaitUntilIdle();
    EXPECT_EQ(Status(), 3);
    EXPECT_EQ(Response(), std::string("\x03\x00\x04\x01\xA6\xEC", 6));

    m_service->job = [](CTestService& service) { service.Finish(0, nullptr, 0); };
    EXPECT_EQ(Write("request"), OBJ_E_NOERR);
    WaitUntilIdle();
    EXPECT_EQ(Status(), 0);
}

TEST_F(ObjServiceTransfer, ARequestOfZeroBytesStartsTheJobAndIsStoredAsOneNul) {
    bool ran = false;
    m_service->job = [&](CTestService& self) {
        CSectionLock lock(self.Section());
        ran = self.Request().empty();
        self.Finish(0, nullptr, 0);
    };
    RunToEnd("");
    EXPECT_TRUE(ran);
    EXPECT_EQ(m_service->GetItem(1)->size, 1U);
    EXPECT_EQ(m_service->GetItem(1)->data[0], 0);
}

TEST_F(ObjServiceTransfer, WhileRunningTheStatusIs255AndTheResponseTellsItInItsSecondByte) {
    CHandle go(OsUserCreateEvent(nullptr, 1, 0, nullptr));
    m_service->job = [&](CTestService& self) {
        OsUserWaitForSingleObject(go.get(), OSUSER_INFINITE);
        self.Finish(0, nullptr, 0);
    };
    ASSERT_EQ(Write("x"), OBJ_E_NOERR);
    EXPECT_EQ(Status(), 255);
    EXPECT_EQ(Response(), std::string("\x00\xFF", 2));
    OsUserSetEvent(go.get());
    WaitUntilIdle();
}

TEST_F(ObjServiceTransfer, ASecondWriteWhileRunningIsBusyAndKeepsTheStoredRequest) {
    CHandle go(OsUserCreateEvent(nullptr, 1, 0, nullptr));
    m_service->job = [&](CTestService& self) {
        OsUserWaitForSingleObject(go.get(), OSUSER_INFINITE);
        self.Finish(0, nullptr, 0);
    };
    ASSERT_EQ(Write("first"), OBJ_E_NOERR);
    EXPECT_EQ(Write("second"), OBJ_E_BUSY);
    {
        CSectionLock lock(m_service->Section());
        const auto request = m_service->Request();
        EXPECT_EQ(std::string(request.begin(), request.end()), "first");
    }
    OsUserSetEvent(go.get());
    WaitUntilIdle();
    EXPECT_EQ(Write("third"), OBJ_E_NOERR);
    WaitUntilIdle();
}

TEST_F(ObjServiceTransfer, FinishWithAnErrorCodeGivesSixBytes) {
    m_service->job = [](CTestService& self) {
        const std::uint32_t code = 0xECA60107;
        self.Finish(1, &code, sizeof code);
    };
    RunToEnd("x");
    EXPECT_EQ(Status(), 3);
    EXPECT_EQ(Response(), std::string("\x03\x00\x07\x01\xA6\xEC", 6));
}

TEST_F(ObjServiceTransfer, FinishHasOneStatusForEachOutcome) {
    struct TCase {
        int error;
        const char* data;
        unsigned int size;
        std::string response;
    };

    const TCase cases[] = {
        {0, nullptr, 0, std::string("\0\0", 2)},
        {0, "ab", 2, std::string("\x01\0ab", 4)},
        {1, nullptr, 5, std::string("\x02\0", 2)}, // without data the size counts as 0
        {1, "c", 1, std::string("\x03\0c", 3)},
    };
    for (const TCase& row : cases) {
        m_service->job = [&](CTestService& self) { self.Finish(row.error, row.data, row.size); };
        RunToEnd("x");
        EXPECT_EQ(Response(), row.response);
        EXPECT_EQ(Status(), row.response[0]);
    }
}

TEST_F(ObjServiceTransfer, AResponseLargerThanTheBufferIsRefused) {
    m_service->job = [](CTestService& self) { self.Finish(0, "abcd", 4); };
    RunToEnd("x");
    char bytes[5];
    unsigned int count = 77;
    EXPECT_EQ(m_dictionary->ReadObject(INDEX, 3, bytes, sizeof bytes, 0, &count), OBJ_E_BUFFERTOOSMALL);
    EXPECT_EQ(count, 0U);
}

TEST_F(ObjServiceTransfer, ProgressIsTheLowByteOfAHundredfold) {
    const std::pair<int, int> values[] = {{0, 255}, {1, 100}, {10, 232}, {30, 184}, {60, 112}, {90, 40}};
    for (const auto& [value, status] : values) {
        m_service->SetProgress(static_cast<unsigned char>(value));
        EXPECT_EQ(Status(), status) << value;
        EXPECT_EQ(Response(), std::string({'\0', static_cast<char>(status)})) << value;
    }
}

TEST_F(ObjServiceTransfer, WriteStateReplacesTheFirstTwoBytesOfALongerResponse) {
    m_service->job = [](CTestService& self) { self.Finish(0, "ab", 2); };
    RunToEnd("x");
    m_service->WriteState(200);
    EXPECT_EQ(Response(), std::string("\x00\xC8"
                                      "ab",
                                      4));
}

TEST_F(ObjServiceTransfer, AnObjectRemovedWhileRunningLivesUntilItsWorkerEnds) {
    CHandle go(OsUserCreateEvent(nullptr, 1, 0, nullptr));
    std::atomic<bool> done{false};
    auto* service = new CTestService;
    service->Init(0xB130);
    service->job = [&](CTestService& self) {
        OsUserWaitForSingleObject(go.get(), OSUSER_INFINITE);
        self.Finish(0, nullptr, 0);
        done.store(true);
    };
    ASSERT_EQ(m_dictionary->AddObject(service), OBJ_E_NOERR);
    ASSERT_EQ(m_dictionary->WriteObject(0xB130, 1, nullptr, 0, 0), OBJ_E_NOERR);
    ASSERT_EQ(m_dictionary->RemoveObject(0xB130), OBJ_E_NOERR);
    OsUserSetEvent(go.get());
    while (!done.load()) {
        usleep(1000);
    }
}

TEST_F(ObjServiceTransfer, TenThousandRunsEachEndAndLeaveTheServiceReady) {
    std::atomic<int> runs{0};
    m_service->job = [&](CTestService& self) {
        runs.fetch_add(1);
        self.Finish(0, "r", 1);
    };
    for (int i = 0; i < 10000; ++i) {
        ObjResult result = Write("go");
        while (result == OBJ_E_BUSY) {
            std::this_thread::yield();
            result = Write("go");
        }
        ASSERT_EQ(result, OBJ_E_NOERR);
    }
    WaitUntilIdle();
    EXPECT_EQ(runs.load(), 10000);
}

TEST_F(ObjServiceTransfer, ClientsThatPollAndStartAtOnceSeeWholeStates) {
    m_service->job = [](CTestService& self) {
        self.SetProgress(10);
        self.Finish(1, "data", 4);
    };
    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!stop.load()) {
                const std::string response = Response();
                // Either a running head of two bytes or more with a zero in front, or a whole outcome.
                if (response[0] != 0) {
                    EXPECT_EQ(response, std::string("\x03\0data", 6));
                }
            }
        });
    }
    for (int i = 0; i < 300; ++i) {
        Write("x");
        usleep(200);
    }
    stop.store(true);
    for (std::thread& reader : readers) {
        reader.join();
    }
}
