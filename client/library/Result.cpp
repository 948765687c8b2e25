#include "mdp/Result.h"

#include <system_error>

namespace Mdp {

std::string Error::Message() const {
    std::string message = detail;
    if (kind == ErrorKind::Object) {
        message += (message.empty() ? "" : ": ") + DescribeCode(code);
    }
    if (systemError != 0) {
        message += (message.empty() ? "" : ": ") + std::generic_category().message(systemError);
    }
    return message;
}

} // namespace Mdp
