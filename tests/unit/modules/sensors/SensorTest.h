#pragma once

#include <unistd.h>

#include "../../hardware/FakeDevice.h"
#include "../ModuleTest.h"
#include "dictionary/ModuleActivator.h"
#include "hardware/ZmVtDevWrapper.h"

// A dictionary with a board that answers what the test says. At the end no use of the device may be left.
class SensorTest : public ModuleTest {
protected:
    static constexpr unsigned short FIRST = 0x8000; // header of the first module

    void SetUp() override {
        FakeDevice::Reset();
        ModuleTest::SetUp();
    }

    void TearDown() override {
        ModuleTest::TearDown();
        EXPECT_EQ(CZmVtDevWrapper::RefCounter(), 0);
    }

    // One cleanup that finds no module asked for within half a minute.
    void CleanUp() {
        Dictionary().SetInactivityLimit(0);
        Dictionary().CheckCleanup();
        Dictionary().SetInactivityLimit(31000);
    }

    // Puts all modules to sleep. One whose tick is under way refuses once.
    void SleepAll() {
        CleanUp();
        for (int i = 0; i < 100 && CZmVtDevWrapper::RefCounter() > 0; ++i) {
            usleep(1000);
            CleanUp();
        }
    }

    // Runs a module's timer procedure once, as its timer does. The activator is one outside of the dictionary, made of
    // `arguments`.
    template <typename TActivator, typename... TArguments>
    static void Tick(unsigned short header, TArguments... arguments) {
        struct TAwake : TActivator {
            explicit TAwake(TArguments... values) : TActivator(values...) { this->m_timer.Open(); }
        } activator(arguments...);

        activator.MdpTimerproc(1, header, reinterpret_cast<void*>(std::uintptr_t{header}));
    }

    // What an entry's description tells of its flags: readable 7, writable 56.
    unsigned int AccessOf(unsigned short index, int subIndex) {
        const auto object = Dictionary().GetObjectRef(index);
        const TInfoItem* item = object ? object->GetItem(static_cast<unsigned char>(subIndex)) : nullptr;
        return item != nullptr ? item->type | static_cast<unsigned int>(item->access) << 16 : 0;
    }

    std::int64_t TextOf(unsigned short index, int subIndex) {
        const auto object = Dictionary().GetObjectRef(index);
        const TInfoItem* item = object ? object->GetItem(static_cast<unsigned char>(subIndex)) : nullptr;
        return item != nullptr ? item->nameId : -1;
    }

    std::int64_t TextOf(unsigned short index) {
        const auto object = Dictionary().GetObjectRef(index);
        return object ? object->NameId() : -1;
    }

    static constexpr ObjResult NO_DATA = 0xECA60105;
    static constexpr ObjResult NOT_SUPPORTED = 0xECA61000;

    static TAnswer None(ObjResult code) { return {code, ""}; }

    static TAnswer Value(const std::string& digits) { return {0, Bytes(digits)}; }

    static TAnswer Text(const std::string& text) { return {0, text}; }
};
