#include "mdp/Codes.h"

#include <array>
#include <cstdio>
#include <system_error>

namespace Mdp {
namespace {

struct CodeRow {
    Code code;
    const char* name;
    const char* text;
};

constexpr Code s_extCatchAll = 0xECA80FFF;
constexpr Code s_extNotSupported = 0xECA81000;

constexpr std::array s_codes{
    CodeRow{OBJ_E_NOERR, "OBJ_E_NOERR", "success"},
    CodeRow{OBJ_E_FAILED, "OBJ_E_FAILED", "the operation failed"},
    CodeRow{OBJ_E_INVALIDIDX, "OBJ_E_INVALIDIDX", "the object or entry does not exist"},
    CodeRow{OBJ_E_INVALACCESS, "OBJ_E_INVALACCESS", "the entry does not allow this kind of access"},
    CodeRow{OBJ_E_BUFFERTOOSMALL, "OBJ_E_BUFFERTOOSMALL",
            "the buffer is smaller than the value, or the value written is shorter than the entry"},
    CodeRow{OBJ_E_INVALIDSIZE, "OBJ_E_INVALIDSIZE", "a size that cannot be used"},
    CodeRow{OBJ_E_OUTOFMEMORY, "OBJ_E_OUTOFMEMORY", "the service is out of memory, or the object is full"},
    CodeRow{OBJ_E_NODATA, "OBJ_E_NODATA", "the entry has no value at the moment"},
    CodeRow{OBJ_E_INVALIDDATA, "OBJ_E_INVALIDDATA", "the data cannot be used"},
    CodeRow{OBJ_E_INVALIDARG, "OBJ_E_INVALIDARG", "the value is refused"},
    CodeRow{OBJ_E_OUTOFRANGE, "OBJ_E_OUTOFRANGE", "the value does not fit the entry"},
    CodeRow{OBJ_E_BUSY, "OBJ_E_BUSY", "the service object is still running an earlier job"},
    CodeRow{OBJ_E_NOTIMPL, "OBJ_E_NOTIMPL", "the operation is not implemented"},
    CodeRow{OBJ_E_UNEXPECTED, "OBJ_E_UNEXPECTED", "an internal failure of the service"},
    CodeRow{OBJ_E_NOTSUPPORTED, "OBJ_E_NOTSUPPORTED", "this device does not support the entry"},
    CodeRow{OBJ_E_OS_BASE, "OBJ_E_OS_BASE", "the operating system reported a failure without a cause"},
    CodeRow{OBJ_E_EXT_BASE, "OBJ_E_EXT_BASE", "the hardware or protocol library reported a failure without a cause"},
    CodeRow{s_extCatchAll, "OBJ_E_EXT_BASE+0xFFF", "the automation runtime reported a failure"},
    CodeRow{s_extNotSupported, "OBJ_E_EXT_BASE+0x1000", "the hardware library does not support this"},
    CodeRow{OBJ_E_USEREXISTS, "OBJ_E_USEREXISTS", "a user of this name exists already"},
    CodeRow{OBJ_E_NOSUCHUSER, "OBJ_E_NOSUCHUSER", "there is no user of this name"},
    CodeRow{OBJ_E_GROUPEXISTS, "OBJ_E_GROUPEXISTS", "a group of this name exists already"},
    CodeRow{OBJ_E_NOSUCHGROUP, "OBJ_E_NOSUCHGROUP", "there is no group of this name"},
    CodeRow{OBJ_E_ROUTEPORT, "OBJ_E_ROUTEPORT", "the port of the router refused the request"},
    CodeRow{OBJ_E_PORTCLOSED, "OBJ_E_PORTCLOSED", "the protocol port of the automation runtime could not be opened"},
    CodeRow{OBJ_E_NOFLASHDATA, "OBJ_E_NOFLASHDATA", "the drive has no flash parameters"},
    CodeRow{OBJ_E_NOHDDDATA, "OBJ_E_NOHDDDATA", "the drive has no hard disk parameters"},
    // Status values of the platform below the object layer, which has no names for them.
    CodeRow{0x80004003, "", "a null pointer inside the service"},
    CodeRow{0x80004005, "", "an unspecified failure inside the service"},
    CodeRow{0x8007000E, "", "the service is out of memory"},
    CodeRow{0x80070057, "", "an argument that cannot be used"},
    CodeRow{87, "", "the record is malformed"},
};

const CodeRow* FindRow(Code code) {
    for (const CodeRow& row : s_codes) {
        if (row.code == code) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace

std::string CodeName(Code code) {
    if (const CodeRow* row = FindRow(code)) {
        return row->name;
    }
    if (IsOsError(code)) {
        return "OBJ_E_OS_BASE+" + std::to_string(OsError(code));
    }
    if ((code & 0xFFFF0000U) == OBJ_E_EXT_BASE) {
        char text[32];
        std::snprintf(text, sizeof text, "OBJ_E_EXT_BASE+0x%X", static_cast<unsigned>(code & 0xFFFFU));
        return text;
    }
    return {};
}

std::string CodeText(Code code) {
    if (const CodeRow* row = FindRow(code)) {
        return row->text;
    }
    if (IsOsError(code)) {
        // The number may also be a program's exit status, as it stands or as wait(2) gives it; the code does not tell.
        const int number = OsError(code);
        if (number > 255) {
            return "a program ended with status " + std::to_string(number % 256 == 0 ? number / 256 : number);
        }
        return "the operating system reported error " + std::to_string(number) + " (" +
               std::generic_category().message(number) + "), or a program ended with status " + std::to_string(number);
    }
    if ((code & 0xFFFF0000U) == OBJ_E_EXT_BASE) {
        return "the hardware or protocol library reported error " + std::to_string(code & 0xFFFFU);
    }
    return IsError(code) ? "an unknown failure" : "success with an unknown code";
}

std::string DescribeCode(Code code) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%08X", static_cast<unsigned>(code));
    const std::string name = CodeName(code);
    return std::string(number) + (name.empty() ? "" : " " + name) + ": " + CodeText(code);
}

} // namespace Mdp
