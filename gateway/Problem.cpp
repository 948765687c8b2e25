#include "Problem.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace Gateway {
namespace {

// What a code of the dictionary is in terms of HTTP. Anything else is a failure of what stands behind the gateway.
constexpr std::pair<Mdp::Code, int> s_statuses[] = {
    {Mdp::OBJ_E_INVALIDIDX, 404},  {Mdp::OBJ_E_INVALACCESS, 403},  {Mdp::OBJ_E_BUFFERTOOSMALL, 422},
    {Mdp::OBJ_E_INVALIDSIZE, 422}, {Mdp::OBJ_E_INVALIDDATA, 422},  {Mdp::OBJ_E_INVALIDARG, 422},
    {Mdp::OBJ_E_OUTOFRANGE, 422},  {Mdp::OBJ_E_NOTSUPPORTED, 422}, {Mdp::OBJ_E_NODATA, 422},
    {Mdp::OBJ_E_BUSY, 503},        {Mdp::OBJ_E_NOTIMPL, 501},      {Mdp::OBJ_E_USEREXISTS, 422},
    {Mdp::OBJ_E_NOSUCHUSER, 422},  {Mdp::OBJ_E_GROUPEXISTS, 422},  {Mdp::OBJ_E_NOSUCHGROUP, 422},
};

int StatusOf(Mdp::Code code) {
    const auto found = std::find_if(std::begin(s_statuses), std::end(s_statuses),
                                    [code](const auto& pair) { return pair.first == code; });
    return found != std::end(s_statuses) ? found->second : 502;
}

std::string Hex(unsigned number, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", digits, number);
    return text;
}

} // namespace

std::string IndexText(std::uint16_t index) {
    return Hex(index, 4);
}

Json CodeJson(Mdp::Code code) {
    return {{"code", Hex(code, 8)}, {"name", Mdp::CodeName(code)}, {"text", Mdp::CodeText(code)}};
}

HttpResponse Answer(const Json& json, int status) {
    HttpResponse response;
    response.status = status;
    response.contentType = "application/json";
    response.body = json.Written();
    return response;
}

HttpResponse Problem(int status, const char* type, const std::string& title, const std::string& detail,
                     const Json& more) {
    Json json{{"type", type}, {"title", title}, {"status", status}};
    if (!detail.empty()) {
        json.Add("detail", detail);
    }
    for (const Json::Member& member : *more.AsObject()) {
        json.Add(member.name, member.value);
    }
    HttpResponse response = Answer(json, status);
    response.contentType = "application/problem+json";
    return response;
}

HttpResponse TooMany(int status, const std::string& title, int retryAfterSeconds) {
    HttpResponse response = Problem(status, ProblemType::TooMany, title, {}, Json{{"retryAfter", retryAfterSeconds}});
    response.headers.emplace_back("Retry-After", std::to_string(retryAfterSeconds));
    return response;
}

HttpResponse Problem(const Mdp::Error& error) {
    if (error.kind == Mdp::ErrorKind::Object) {
        return Problem(StatusOf(error.code), ProblemType::ObjectCode, Mdp::CodeText(error.code), error.detail,
                       CodeJson(error.code));
    }
    if (error.kind == Mdp::ErrorKind::Argument) {
        return Problem(422, ProblemType::Blank, "The value does not fit", error.detail);
    }
    HttpResponse response =
        Problem(503, ProblemType::ServiceDown, "The service does not answer", error.Message(), Json::Object());
    response.headers.emplace_back("Retry-After", "5");
    return response;
}

} // namespace Gateway
