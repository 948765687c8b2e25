#pragma once

namespace Bench {

// The least that a server of this protocol can do for one connection: allocates a frame, reads it in the same pieces as
// the service, gives one fixed answer in the same writes and closes. No dictionary, no check of the record, no log.
void Answer(int socket);

} // namespace Bench
