#include "CommandsTest.h"

#include <sstream>

#include "Command.h"

namespace {

Ran RunOn(bool isTerminal, std::vector<std::string> arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = MdpCommand::RunMdp(std::move(arguments), {out, err, isTerminal, isTerminal});
    return {status, out.str(), err.str()};
}

} // namespace

Ran CommandsTest::Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--socket", m_service.Path()});
    return RunWords(std::move(arguments));
}

Ran CommandsTest::RunWords(std::vector<std::string> arguments) {
    return RunOn(false, std::move(arguments));
}

Ran CommandsTest::RunOnTerminal(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--socket", m_service.Path()});
    return RunOn(true, std::move(arguments));
}
