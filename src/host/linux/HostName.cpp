#include "host/HostName.h"

#include <unistd.h>

namespace Host {

int SetHostName(std::string_view name) {
    return sethostname(name.data(), name.size());
}

} // namespace Host
