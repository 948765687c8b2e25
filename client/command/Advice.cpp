#include "Advice.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace MdpCommand {
namespace {

struct AdviceRow {
    Mdp::Code code;
    const char* advice;
};

constexpr const char* s_seeLog = "the machine's system log may tell why";
constexpr const char* s_seeTree = "mdp tree shows what this machine has";
constexpr const char* s_seeType = "mdp describe shows the type of the entry";
constexpr const char* s_seeUsers = "mdp user lists the users";
constexpr const char* s_seeGroups = "mdp group lists the groups";

constexpr std::array s_onCodes{
    AdviceRow{Mdp::OBJ_E_INVALIDIDX, s_seeTree},
    AdviceRow{Mdp::OBJ_E_INVALACCESS, "mdp describe shows what can be read and written"},
    AdviceRow{Mdp::OBJ_E_BUFFERTOOSMALL, s_seeType},
    AdviceRow{Mdp::OBJ_E_INVALIDSIZE, s_seeType},
    AdviceRow{Mdp::OBJ_E_OUTOFRANGE, s_seeType},
    AdviceRow{Mdp::OBJ_E_OUTOFMEMORY, "try again later"},
    AdviceRow{Mdp::OBJ_E_NODATA, "it may have one later: try again"},
    AdviceRow{Mdp::OBJ_E_BUSY, "try again when it has ended"},
    AdviceRow{Mdp::OBJ_E_NOTIMPL, s_seeTree},
    AdviceRow{Mdp::OBJ_E_NOTSUPPORTED, s_seeTree},
    AdviceRow{Mdp::OBJ_E_USEREXISTS, s_seeUsers},
    AdviceRow{Mdp::OBJ_E_NOSUCHUSER, s_seeUsers},
    AdviceRow{Mdp::OBJ_E_GROUPEXISTS, s_seeGroups},
    AdviceRow{Mdp::OBJ_E_NOSUCHGROUP, s_seeGroups},
    AdviceRow{Mdp::OBJ_E_ROUTEPORT, "mdp routes shows those that it has"},
    AdviceRow{Mdp::OBJ_E_PORTCLOSED, "is the runtime running? mdp runtime shows its state"},
    AdviceRow{Mdp::OBJ_E_NOFLASHDATA, "mdp drives shows what the drive tells"},
    AdviceRow{Mdp::OBJ_E_NOHDDDATA, "mdp drives shows what the drive tells"},
};

const char* AdviceOnCode(Mdp::Code code) {
    const auto* row = std::find_if(s_onCodes.begin(), s_onCodes.end(),
                                   [code](const AdviceRow& candidate) { return candidate.code == code; });
    return row != s_onCodes.end() ? row->advice : s_seeLog;
}

} // namespace

std::string AdviceOn(const Mdp::Error& error, bool isHere) {
    switch (error.kind) {
    case Mdp::ErrorKind::Object:
        // A command that says more about a code than its meaning has said this, too.
        return error.detail.empty() ? AdviceOnCode(error.code) : "";
    case Mdp::ErrorKind::Timeout:
        return "what was asked for may still be done; --timeout waits longer";
    case Mdp::ErrorKind::Connect:
        if (!isHere) {
            return "";
        }
        return error.systemError == EACCES ? "run mdp as a user who may use the socket"
                                           : "is the service running? --socket tells another path";
    case Mdp::ErrorKind::Closed:
        return "it refuses the request, or was stopped; mdp tree shows what it has";
    case Mdp::ErrorKind::Transport:
        return "try again";
    case Mdp::ErrorKind::Protocol:
    case Mdp::ErrorKind::Argument:
    case Mdp::ErrorKind::Local:
        break;
    }
    return "";
}

} // namespace MdpCommand
