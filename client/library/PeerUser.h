#pragma once

#include <sys/types.h>

#include <optional>

namespace Mdp {

// The user who listens behind a connected Unix socket; nothing, with errno, where the system does not tell.
std::optional<uid_t> PeerUser(int socket);

} // namespace Mdp
