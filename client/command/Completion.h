#pragma once

#include <string>
#include <vector>

#include "Command.h"

// Completion for shells: "mdp __complete -- WORD..." prints what the last word may become.

namespace MdpCommand {

// The word by which a shell asks.
inline constexpr const char* s_completeWord = "__complete";

// The words are those behind the program's name, the last one, perhaps empty, being completed. One line a candidate:
// its text and, behind a tab, what it stands for.
int RunCompletion(const std::vector<std::string>& words, Streams streams);

// Indexes of objects, or entries of the object once the word has a colon.
std::vector<Candidate> CompleteAddress(const Context& context, const std::string& word);

} // namespace MdpCommand
