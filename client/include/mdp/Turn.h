#pragma once

#include <functional>
#include <optional>
#include <string>

#include "mdp/Client.h"

namespace Mdp {

/// The turn of this program among those of the same user: of several with the same name one has it at a time, by
/// flock(2) on a file that nobody else can open. The file lies in the first of these directories that is the user's own
/// and that nobody else can write to: that of the socket; /run or /var/run for root; $XDG_RUNTIME_DIR or $HOME for
/// others. The turn ends with the object, and with the program.
class Turn {
public:
    Turn() = default;
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    /// Waits for the turn, at most for the given time, and tells whether it is there. The function is called once if
    /// it is not there after a second. Where there is no such directory nobody waits.
    bool Wait(const std::string& socketPath, const std::string& name, std::optional<Milliseconds> atMost,
              const std::function<void()>& waiting = {});
    /// The same at the service that a client with these options reaches.
    bool Wait(const ClientOptions& options, const std::string& name, std::optional<Milliseconds> atMost,
              const std::function<void()>& waiting = {});

private:
    int m_descriptor = -1;
};

} // namespace Mdp
