#pragma once

#include <atomic>

#include "../dictionary/DictionaryTest.h"
#include "dictionary/ObjHelper.h"

// Service objects need but three items here: the request, the state, and the response. The state comes from a script.
class ServiceStandIn : public DictionaryTest {
protected:
    static constexpr unsigned short SERVICE = 0xB010;

    // Gives the code for the n-th reading of the state, n from 1, and puts the state in the item.
    using TState = ObjResult (*)(int reading, unsigned char& state);

    void AddService(TState state) {
        s_state = state;
        s_readings = 0;
        const CRef<CObjectRecord> service(new CObjectRecord);
        service->Init(SERVICE, OBJCODE_RECORD, 0);
        Append(*service, TYPE_VISIBLE_STRING, ACCESS_READ | ACCESS_WRITE, "request");
        Append(*service, TYPE_UNSIGNED8, ACCESS_READ, "x", ReadState);
        Append(*service, TYPE_VISIBLE_STRING, ACCESS_READ, "response");
        ASSERT_EQ(Dictionary().AddObject(service.Get()), 0U);
    }

    static ObjResult ReadState(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/) {
        return s_state(++s_readings, *item->data);
    }

    static inline TState s_state = nullptr;
    static inline std::atomic<int> s_readings{0};
};
