#pragma once

#include <functional>

#include "Command.h"
#include "settings/SettingsPlan.h"

namespace MdpCommand {

// How a step ended.
struct StepOutcome {
    bool isDone = false;
    Mdp::Error error;       // of a step that is not done
    bool isLost = false;    // the machine could not be asked any more
    bool isExpired = false; // the time for it is over
};

// Makes one change and waits until the machine shows it, at most for the given time. A service that goes away meanwhile
// is waited for too, and asked again.
StepOutcome RunStep(const Context& context, const Settings& wanted, const Step& step, Mdp::Milliseconds atMost);

} // namespace MdpCommand
