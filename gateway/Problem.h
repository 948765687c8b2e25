#pragma once

#include <string>

#include "Http.h"
#include "Json.h"
#include "mdp/Client.h"

// Failures as problem details, and the JSON of answers.

namespace Gateway {

/// Kinds of problems beyond what the status tells.
namespace ProblemType {
inline constexpr const char* Blank = "about:blank";
inline constexpr const char* ObjectCode = "urn:sylvarin:problem:object-code";
inline constexpr const char* ServiceDown = "urn:sylvarin:problem:service-down";
inline constexpr const char* ChangedMeanwhile = "urn:sylvarin:problem:changed-meanwhile";
inline constexpr const char* SignInNeeded = "urn:sylvarin:problem:sign-in-needed";
inline constexpr const char* NotAllowed = "urn:sylvarin:problem:not-allowed";
inline constexpr const char* TooMany = "urn:sylvarin:problem:too-many";
inline constexpr const char* WrongOrigin = "urn:sylvarin:problem:wrong-origin";
} // namespace ProblemType

/// More members may be added to `more`, an object.
HttpResponse Problem(int status, const char* type, const std::string& title, const std::string& detail = {},
                     const Json& more = Json::Object());

/// What the client library told.
HttpResponse Problem(const Mdp::Error& error);

/// Later is as good as never only after so many seconds.
HttpResponse TooMany(int status, const std::string& title, int retryAfterSeconds);

HttpResponse Answer(const Json& json, int status = 200);

/// Number, name and meaning.
Json CodeJson(Mdp::Code code);

/// "0x8001"
std::string IndexText(std::uint16_t index);

} // namespace Gateway
