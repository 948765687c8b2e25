#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "ServiceUnderTest.h"
#include "SyslogSink.h"
#include "WireClient.h"

// A test with a system log that starts services as it likes. At its end no sanitizer may have found anything.
class LogTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(ServiceUnderTest::SanitizerReports(), ""); }

    SyslogSink m_log;
};

// A test against one running service in the foreground, with progress in the log. At its end the service must still
// run, and stop in good order.
class ServiceTest : public LogTest {
protected:
    void SetUp() override {
        m_service = std::make_unique<ServiceUnderTest>(Start());
        ASSERT_TRUE(m_service->WaitUntilAnswering()) << m_service->Output();
        ASSERT_TRUE(m_log.WaitFor("Info: Sylvarin started."));
    }

    void TearDown() override {
        if (m_service) {
            EXPECT_TRUE(m_service->IsRunning()) << m_service->Output();
            const Ending ending = m_service->Stop();
            EXPECT_EQ(ending.exitStatus, 0) << "signal " << ending.signal << "\n" << m_service->Output();
        }
        LogTest::TearDown();
    }

    // What the service of this test is started with.
    virtual ServiceStart Start() { return {{"-nof", "-v"}, "sylvarin", {}}; }

    std::unique_ptr<ServiceUnderTest> m_service;
};
