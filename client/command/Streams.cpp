#include "Streams.h"

#include <cstdlib>

namespace MdpCommand {
namespace {

constexpr const char* s_bold = "\x1b[1m";
constexpr const char* s_red = "\x1b[31m";
constexpr const char* s_reset = "\x1b[0m";

std::string_view Variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

} // namespace

void ChooseColours(Streams& streams, const std::string& when) {
    const std::string_view terminal = Variable("TERM");
    const bool takes = !terminal.empty() && terminal != "dumb" && Variable("NO_COLOR").empty();
    streams.outInColour = when == "always" || (when == "auto" && takes && streams.outIsTerminal);
    streams.errInColour = when == "always" || (when == "auto" && takes && streams.errIsTerminal);
}

std::string Styled(std::string_view text, Style style, bool inColour) {
    if (!inColour || style == Style::Plain || text.empty()) {
        return std::string(text);
    }
    return (style == Style::Name ? s_bold : s_red) + std::string(text) + s_reset;
}

} // namespace MdpCommand
