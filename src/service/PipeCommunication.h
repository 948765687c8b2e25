#pragma once

#include <thread>

#include "dictionary/ObjResult.h"
#include "service/TransactionFrame.h"

namespace Hesperd {

// The socket "/tmp/MDP0" and its threads: a receiver, and a detached thread for each connection, which carries one
// transaction. There is no limit on their number, and a stop does not wait for them.
class PipeCommunication {
public:
    // Starts the receiver. A second call while it runs ends the process. Returns 0.
    ObjResult Init();

    // Wakes the receiver, with the terminate flag set before, waits for its end and removes the socket file.
    void Close();

    // The body of one connection's thread; closes the socket.
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
