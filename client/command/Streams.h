#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

namespace MdpCommand {

// Where a command's words go.
struct Streams {
    std::ostream& out;
    std::ostream& err;
    bool outIsTerminal = false;
    bool errIsTerminal = false;
    bool outInColour = false;
    bool errInColour = false;
};

// When there are colours: "auto" has them on a terminal that takes them, unless NO_COLOR is set.
void ChooseColours(Streams& streams, const std::string& when);

// What stands out where there are colours: the name of what a row tells, and the code of a failure.
enum class Style { Plain, Name, Code };

std::string Styled(std::string_view text, Style style, bool inColour);

} // namespace MdpCommand
