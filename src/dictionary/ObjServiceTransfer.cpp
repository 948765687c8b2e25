#include "dictionary/ObjServiceTransfer.h"

#include <cstring>
#include <exception>
#include <memory>
#include <new>

#include "dictionary/ItemTable.h"
#include "dictionary/ObjDictionary.h"
#include "dictionary/ObjHelper.h"
#include "platform/OsUserThread.h"

namespace {

// What a worker thread is given.
struct TWork {
    CRef<CObjServiceTransfer> object; // outlives a removal from the dictionary
    void* argument;
};

} // namespace

ObjResult CObjServiceTransfer::Init(unsigned short index) {
    const ObjResult result = CObjectRecord::Init(index, OBJCODE_RECORD, 0);
    AppendItems(*this,
                {
                    // The string type serves to take a block of free length.
                    {SUB_REQUEST, TypeAccess(TYPE_VISIBLE_STRING, ACCESS_WRITE), 160, nullptr, _statOnWrite, {}, this},
                    {SUB_STATUS, TypeAccess(TYPE_BIT8, ACCESS_READ), 161, nullptr, nullptr, ItemValue(std::uint8_t{0})},
                    {SUB_RESPONSE, TypeAccess(TYPE_VISIBLE_STRING, ACCESS_READ), 162, nullptr, nullptr,
                     ItemValue(std::uint16_t{0})},
                });
    return result;
}

ObjResult CObjServiceTransfer::_statOnWrite(TInfoItem* item, unsigned short /*index*/, unsigned char /*subIndex*/,
                                            void* /*data*/, unsigned int /*size*/) {
    return static_cast<CObjServiceTransfer*>(item->context)->Start(nullptr);
}

ObjResult CObjServiceTransfer::Start(void* argument) {
    // Held to the end: a worker cannot be done before the object knows that it runs.
    CSectionLock lock(Section());
    if (m_executing.load() != 0 || m_worker != nullptr) {
        return OBJ_E_BUSY;
    }
    auto work = std::make_unique<TWork>(TWork{CRef<CObjServiceTransfer>(this), argument});
    m_worker.reset(OsUserCreateThread(nullptr, 0, _statWorkerThread, work.get(), 0, nullptr));
    if (m_worker == nullptr) {
        return OBJ_E_UNEXPECTED;
    }
    [[maybe_unused]] const TWork* ownedByTheWorker = work.release();
    WriteState(STATUS_RUNNING);
    m_executing.store(1);
    return OBJ_E_NOERR;
}

std::uint32_t CObjServiceTransfer::_statWorkerThread(void* block) {
    const std::unique_ptr<TWork> work(static_cast<TWork*>(block));
    CObjServiceTransfer& object = *work->object;
    try {
        object.DoWork(work->argument);
    } catch (const std::exception&) {
        // For want of memory, mostly. A service without an end would refuse all further work.
        object.Fail(OBJ_E_OUTOFMEMORY);
    }

    CSectionLock lock(object.Section());
    object.m_worker.reset();
    object.m_executing.store(0);
    return 0;
}

std::span<const unsigned char> CObjServiceTransfer::Request() {
    const TInfoItem* item = GetItem(SUB_REQUEST);
    if (item == nullptr || item->data == nullptr || item->size == 0) {
        return {};
    }
    return {item->data, item->size - 1};
}

void CObjServiceTransfer::WriteState(unsigned char state) {
    CSectionLock lock(Section());
    TInfoItem* status = GetItem(SUB_STATUS);
    TInfoItem* response = GetItem(SUB_RESPONSE);
    if (status == nullptr || response == nullptr) {
        return;
    }
    status->data[0] = state;
    if (response->size < RESPONSE_HEAD && AllocateBuffer(response, RESPONSE_HEAD) != OBJ_E_NOERR) {
        return;
    }
    response->data[0] = 0;
    response->data[1] = state;
}

void CObjServiceTransfer::SetProgress(unsigned char value) {
    // Meant: the low byte of the product, so 1 reads as 100, 10 as 232 and 30 as 184.
    WriteState(value == 0 ? STATUS_RUNNING : static_cast<unsigned char>(value * 100));
}

bool CObjServiceTransfer::TOutcome::Allocate(std::size_t capacity) {
    if (capacity > LARGEST) {
        return false;
    }
    response.reset(new (std::nothrow) unsigned char[capacity + RESPONSE_HEAD]);
    return response != nullptr;
}

void CObjServiceTransfer::RunJob(
    const std::function<ObjResult(std::span<const unsigned char> request, TOutcome& outcome)>& work) {
    TOutcome outcome;
    ObjResult code = OBJ_E_UNEXPECTED;
    CDictionaryRef dictionary; // goes last: with it the dictionary may end, whose threads may want the section
    CSectionLock lock(Section());
    if (dictionary) {
        try {
            code = work(Request(), outcome);
        } catch (const std::bad_alloc&) {
            code = OBJ_E_OUTOFMEMORY;
        }
    }
    if (IsError(code)) {
        Fail(code);
    } else if (outcome.response == nullptr) {
        Finish(0, &code, sizeof code);
    } else {
        Finish(0, std::move(outcome));
    }
}

void CObjServiceTransfer::Fail(ObjResult code) {
    const std::uint64_t wideCode = code;
    Finish(1, &wideCode, m_codeSize);
}

void CObjServiceTransfer::Finish(int error, const void* data, unsigned int size) {
    TOutcome outcome;
    if (data != nullptr && outcome.Allocate(size)) {
        outcome.size = size;
        std::memcpy(outcome.Data(), data, size);
    }
    Finish(error, std::move(outcome));
}

void CObjServiceTransfer::Finish(int error, TOutcome outcome) {
    unsigned char status = error == 0 ? STATUS_DONE : STATUS_FAILED;
    if (outcome.response != nullptr) {
        ++status;
    } else if (!outcome.Allocate(0)) {
        return;
    }
    outcome.response[0] = status;
    outcome.response[1] = 0;

    CSectionLock lock(Section());
    TInfoItem* statusItem = GetItem(SUB_STATUS);
    TInfoItem* response = GetItem(SUB_RESPONSE);
    if (statusItem == nullptr || response == nullptr) {
        return;
    }
    statusItem->data[0] = status;
    DeallocateBuffer(response);
    response->data = outcome.response.release();
    response->size = outcome.size + RESPONSE_HEAD;
}
