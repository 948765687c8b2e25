#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "Http.h"
#include "SignIn.h"

namespace Gateway {

/// What the gateway is started with.
struct Configuration {
    HttpOptions http;
    SignIn::Options signIn;
    std::vector<std::string> hostNames;
    std::string metricsTokenFile;
    std::set<std::uint16_t> modules; ///< types whose modules a scrape wakes; empty for all
    std::string socket;
    std::string data; ///< the folder of the page and the description; empty: relative to the program
    double periodSeconds = 1;
    unsigned streams = 256;
    bool allServices = false;
};

/// Fills it. Returns -1 to go on, or the exit status: what is wrong, the help or the version has then been told.
int ParseCommandLine(int argc, char** argv, Configuration& configuration);

} // namespace Gateway
