#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Json.h"
#include "settings/Settings.h"

// The document that settings are saved in: JSON of the form of docs/settings.schema.json.

namespace MdpCommand {

// What is wrong: the place in the document, such as "net.em0.mask", and what to do. The place is empty for the whole.
struct Fault {
    std::string place;
    std::string text;
};

std::string FaultText(const Fault& fault);

// The document, as text with a line end behind it.
Json DocumentJson(const Settings& settings);
std::string DocumentText(const Settings& settings);

// Takes a document apart. Where it has not the form of one, gives nothing and says what is wrong. Whether the values
// can be set is CheckSettings' to tell.
std::optional<Settings> ParseDocument(std::string_view text, std::vector<Fault>& faults);

// What no machine would take, with where it stands.
std::vector<Fault> CheckSettings(const Settings& settings);

// Puts another value at a place such as "net.em0.address". The value is a text of a command line or table: "none" for
// no server or gateway, commas between several. What is wrong with the place or the form of the value, or nothing.
std::string SetValue(Settings& settings, const std::string& place, const std::string& value);

// Parts of the document, and the same in words.
Json AdapterJson(const AdapterSettings& adapter);
Json MembersJson(const GroupMembers& members);
Json TextsJson(const std::vector<std::string>& texts);
Json TextOrNull(const std::string& text);
std::string AdapterWords(const AdapterSettings& adapter);
std::string MembersWords(const GroupMembers& members);
std::string TextsWords(const std::vector<std::string>& texts);

// Forms of single values.
bool IsDeviceName(const std::string& text);
bool IsAccountName(const std::string& text); // also of groups
bool IsHostAddress(const std::string& text); // IPv4, of one host
bool IsMac(const std::string& text);

} // namespace MdpCommand
