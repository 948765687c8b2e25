#pragma once

#include "Command.h"

namespace MdpCommand {

// The turn of this mdp among others. The service has one open file for reading and one for writing, whoever asks, and
// its answers do not tell of which file they are: of two transfers in the same direction at once, one may take what
// answers the other for its own, and if the lengths fit nobody notices. So mdp moves one file in each direction at a
// time, by locks that every program of this machine can take. They are on directories, which are there without being
// made and can be locked by whoever can read them: that of the socket for get and the root for put, two different ones
// so that "mdp get A - | mdp put - B" does not wait for itself. Other clients do not take them, so that what arrives is
// checked all the same.
class TransferLock {
public:
    TransferLock() = default;
    ~TransferLock();
    TransferLock(const TransferLock&) = delete;
    TransferLock& operator=(const TransferLock&) = delete;

    // Wait for the turn, at most for the time of --timeout, which is then the error Timeout. Where a directory cannot
    // be locked there is no waiting. The turn ends with the object.
    Mdp::Result<void> WaitToGet(const Context& context);
    Mdp::Result<void> WaitToPut(const Context& context);

private:
    Mdp::Result<void> Wait(const std::string& directory, Mdp::Milliseconds timeout);

    int m_descriptor = -1;
};

} // namespace MdpCommand
