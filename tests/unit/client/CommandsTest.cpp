#include "CommandsTest.h"

#include <sstream>

#include "Command.h"

Ran CommandsTest::Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--socket", m_service.Path()});
    return RunWords(std::move(arguments));
}

Ran CommandsTest::RunWords(std::vector<std::string> arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = MdpCommand::RunMdp(std::move(arguments), {out, err});
    return {status, out.str(), err.str()};
}
