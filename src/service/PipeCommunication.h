#pragma once

#include <chrono>
#include <thread>

#include "dictionary/ObjResult.h"
#include "service/TransactionFrame.h"

namespace Hesperd {

// The socket "/tmp/MDP0" and its threads. Each connection carries one transaction. The thread that takes it serves it
// too, after it has made sure that another one waits for clients, so that none delays another; there is no limit on
// their number, and a stop does not wait for them. A few wait in a quiet hour. Out of descriptors, memory or threads
// the service goes on with what it has, and ends connections that say nothing.
class PipeCommunication {
public:
    // Starts the receiver. A second call while it runs ends the process. Returns 0.
    ObjResult Init();

    // To be called by the main thread each time CSignals::Wait returns. The time for which that may wait next.
    static std::chrono::milliseconds Tend();

    // Has threads and memory that will not be needed for long given back when it is quiet again. Any thread may call
    // it.
    static void NoteBusy();

    // Whether the receiver has no socket that works, so that nobody can be served any more.
    static bool IsBroken();

    // Ends the receiver and removes the socket file. What is being served is not waited for.
    void Close();

    // Serves one connection; closes the socket.
    static void HandleRequest(int socket);

    // Runs the transaction in place. 0 for a reply of `*replyLength` bytes from `*replyOffset` of the frame; anything
    // else for none. The frame's bytes must be as many as its cbData says.
    static ObjResult ExtractPipeTransactionPackage(_tagTPipeTransact* frame, unsigned int* replyLength,
                                                   unsigned int* replyOffset);

private:
    static void Receiver();

    std::thread m_receiver;
};

} // namespace Hesperd
