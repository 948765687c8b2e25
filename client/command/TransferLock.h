#pragma once

#include "Command.h"
#include "mdp/Turn.h"

namespace MdpCommand {

// The turn of this mdp among others. The service has one open file for reading and one for writing, whoever asks, and
// its answers do not tell of which file they are: of two transfers in the same direction at once, one may take what
// answers the other for its own, and if the lengths fit nobody notices. So mdp moves one file in each direction at a
// time, by turns that are the user's own; one for each direction, so that "mdp get A - | mdp put - B" does not wait for
// itself. Other clients do not take them, so that what arrives is checked all the same.
class TransferLock {
public:
    // Wait for the turn, at most for the time of --timeout, which is then the error Timeout; the user is told of a
    // wait. The turn ends with the object.
    Mdp::Result<void> WaitToGet(const Context& context) { return Wait(context, "get"); }

    Mdp::Result<void> WaitToPut(const Context& context) { return Wait(context, "put"); }

private:
    Mdp::Result<void> Wait(const Context& context, const char* direction);

    Mdp::Turn m_turn;
};

} // namespace MdpCommand
