#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Json.h"
#include "Views.h"

// The views as JSON, by name.

namespace Gateway {

/// Names of all views, "machine" the first.
std::vector<std::string> ViewNames();

bool IsView(std::string_view name);

/// The view; what it holds counts only if the look has no failure.
Json ViewJson(std::string_view name, Look& look, Language language);

/// A number, boolean or text; a text of digits for a number that is not exact as a double; {"hex": digits} for octets
/// and for texts that are not UTF-8.
Json ValueJson(std::uint16_t type, Mdp::ByteView bytes);

/// Of a module in a list.
Json ModuleJson(const Mdp::Module& module);

} // namespace Gateway
