#pragma once

#include <atomic>
#include <functional>
#include <limits>
#include <memory>
#include <span>

#include "dictionary/ObjectRecord.h"
#include "platform/CHandle.h"

// A long operation: the client writes a request to sub-index 1, a worker thread does the job, the client follows the
// status in sub-index 2 and reads the response from sub-index 3. A subclass does the job in DoWork.
class CObjServiceTransfer : public CObjectRecord {
public:
    static constexpr unsigned char SUB_REQUEST = 1;
    static constexpr unsigned char SUB_STATUS = 2;
    static constexpr unsigned char SUB_RESPONSE = 3;

    // Status bytes. Any value from 4 on means that the job runs.
    static constexpr unsigned char STATUS_DONE = 0;
    static constexpr unsigned char STATUS_DONE_DATA = 1;
    static constexpr unsigned char STATUS_FAILED = 2;
    static constexpr unsigned char STATUS_FAILED_DATA = 3;
    static constexpr unsigned char STATUS_RUNNING = 255;

    // `codeSize`: the bytes in which the service tells the code of a failure.
    explicit CObjServiceTransfer(unsigned int codeSize = sizeof(ObjResult)) : m_codeSize(codeSize) {}

    ObjResult Init(unsigned short index);

    // Begins a job on a worker thread of its own. OBJ_E_BUSY while one runs, OBJ_E_UNEXPECTED without a thread.
    ObjResult Start(void* argument);

protected:
    // The job, on the worker thread, without the section: long jobs let clients read the status meanwhile. It begins by
    // entering the section, which the writing client holds until the request is stored, and calls Finish exactly once
    // on every path.
    virtual void DoWork(void* argument) = 0;

    // The bytes of the request, without the NUL that storing put behind them; they are the item's. Under the section.
    std::span<const unsigned char> Request();

    void WriteState(unsigned char state);
    // Tells a progress; see the definition for what clients read.
    void SetProgress(unsigned char value);
    // Bytes of a response in front of the outcome's data.
    static constexpr unsigned int RESPONSE_HEAD = 2; // status at the end of the job, status while it runs

    // An outcome that is built where it will lie: `size` bytes of data behind room for the head.
    struct TOutcome {
        // With the head it still has a size of 32 bits.
        static constexpr std::uint32_t LARGEST = std::numeric_limits<std::uint32_t>::max() - RESPONSE_HEAD;

        std::unique_ptr<unsigned char[]> response;
        unsigned int size = 0;

        // Room for an outcome of up to `capacity` bytes, which are not set. False where memory is short.
        bool Allocate(std::size_t capacity);

        unsigned char* Data() { return response.get() + RESPONSE_HEAD; }
    };

    // A job that holds the section from start to end: `work` takes the request and gives the code, and the outcome
    // where there is one. It may throw bad_alloc for OBJ_E_OUTOFMEMORY. A failure ends the service with the code as its
    // data.
    void RunJob(const std::function<ObjResult(std::span<const unsigned char> request, TOutcome& outcome)>& work);

    // Ends the job: `error` nonzero for a failure, `data` of `size` bytes or null as its outcome. By convention the
    // data of a failure are its code.
    void Finish(int error, const void* data, unsigned int size);
    // The same for an outcome with data, which becomes the response without a copy.
    void Finish(int error, TOutcome outcome);
    // Ends the job with a failure's code as its data.
    void Fail(ObjResult code);

private:
    static ObjResult _statOnWrite(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                  unsigned int size);
    static std::uint32_t _statWorkerThread(void* block);

    const unsigned int m_codeSize;
    std::atomic<std::uint32_t> m_executing{0};
    CHandle m_worker; // under the section
};
