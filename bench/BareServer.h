#pragma once

namespace Bench {

// How the answer goes out: with its length, as the service sends it, or behind it, which takes more calls.
enum class Style { InOneWrite, InTwoWrites };

// The least that a server of this protocol can do for one connection: allocates a frame, reads it in pieces of 512
// bytes, gives one fixed answer and closes. No dictionary, no check of the record, no log.
void Answer(int socket, Style style);

} // namespace Bench
