#pragma once

#include <stdexcept>

namespace Hesperd {

class MdpException : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class SignalException : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace Hesperd
