#include "TransferLock.h"

#include <ostream>

namespace MdpCommand {

Mdp::Result<void> TransferLock::Wait(const Context& context, const char* direction) {
    const auto limit = context.jobTimeout.count() > 0 ? std::optional(context.jobTimeout) : std::nullopt;
    const auto tell = [&] {
        context.streams.err << "mdp: waiting for another mdp " << direction << " to end" << std::endl;
    };
    if (!m_turn.Wait(context.client.Options(), direction, limit, tell)) {
        return Mdp::Error{Mdp::ErrorKind::Timeout, 0, 0, "another mdp moves files for longer than --timeout"};
    }
    return {};
}

} // namespace MdpCommand
