#include "Api.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <iterator>

#include "Log.h"
#include "Problem.h"
#include "ViewsJson.h"
#include "mdp/Value.h"

namespace Gateway {
namespace {

constexpr std::chrono::milliseconds s_shortJob{2000};
constexpr std::chrono::seconds s_listAge{2};
constexpr std::size_t s_mostObjects = 32; // in one stream
constexpr std::size_t s_digits = 4;

// Scripts and styles of the page itself alone, and nobody may put it into a frame.
constexpr std::pair<const char*, const char*> s_headers[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; font-src 'self'; "
     "connect-src 'self'; manifest-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

// Over TLS browsers see to it that nobody but this host has set it.
const char* CookieName(const Peer& peer) {
    return peer.tls ? "__Host-sylvarin" : "sylvarin";
}

std::vector<std::string> SplitAt(std::string_view text, char separator) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

// What stands for the braces of the pattern; nothing where the path is another one.
std::optional<std::vector<std::string>> Match(std::string_view pattern, std::string_view path) {
    std::vector<std::string> parts;
    while (!pattern.empty()) {
        if (pattern.front() == '{') {
            const std::size_t end = std::min(path.find('/'), path.size());
            if (end == 0) {
                return std::nullopt;
            }
            parts.emplace_back(path.substr(0, end));
            path.remove_prefix(end);
            pattern.remove_prefix(pattern.find('}') + 1);
        } else if (!path.empty() && path.front() == pattern.front()) {
            path.remove_prefix(1);
            pattern.remove_prefix(1);
        } else {
            return std::nullopt;
        }
    }
    return path.empty() ? std::optional(parts) : std::nullopt;
}

std::optional<std::uint16_t> ParseIndex(std::string_view text) {
    std::uint16_t index = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index, 16);
    return text.size() == s_digits && error == std::errc() && end == text.data() + text.size() ? std::optional(index)
                                                                                               : std::nullopt;
}

std::optional<std::uint8_t> ParseSub(std::string_view text) {
    std::uint8_t sub = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), sub);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(sub) : std::nullopt;
}

bool IsAddress(const std::string& text) {
    in6_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 || inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

// The host of "host", "host:port" and "[address]:port", in lower case.
std::string HostOf(const std::string& header) {
    std::string host = header;
    if (header.starts_with('[')) {
        host = header.substr(1, header.find(']') - 1);
    } else {
        host = header.substr(0, header.find(':'));
    }
    std::transform(host.begin(), host.end(), host.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return host.ends_with('.') ? host.substr(0, host.size() - 1) : host;
}

Language LanguageOf(const HttpRequest& request) {
    if (const auto asked = request.Query("lang")) {
        return *asked == "de" ? Language::German : Language::English;
    }
    // The first of the two that stands there: browsers send the one that is liked best first.
    const std::string accepted = request.Header("Accept-Language");
    const std::size_t german = accepted.find("de");
    return german != std::string::npos && german < accepted.find("en") ? Language::German : Language::English;
}

// As long for an equal text as for any other one.
bool IsSame(const std::string& a, const std::string& b) {
    unsigned char difference = a.size() == b.size() ? 0 : 1;
    for (std::size_t i = 0; i < a.size(); ++i) {
        difference = static_cast<unsigned char>(difference | (a[i] ^ (i < b.size() ? b[i] : 0)));
    }
    return difference == 0;
}

const char* AccessText(const EntryShape& entry) {
    return entry.readable ? (entry.writable ? "rw" : "r-") : entry.writable ? "-w" : "--";
}

std::string KindText(const ObjectShape& shape) {
    return Mdp::ObjectCodeName(shape.objectCode);
}

// The bytes of a value of a request, by the type of the entry.
Mdp::Result<Mdp::Bytes> BytesOf(const Json& json, std::uint16_t type) {
    const Mdp::ValueKind kind = Mdp::KindOfType(type);
    const bool isNumber =
        kind == Mdp::ValueKind::Signed || kind == Mdp::ValueKind::Unsigned || kind == Mdp::ValueKind::Real;
    const Mdp::Error wrong{Mdp::ErrorKind::Argument, 0, 0, "a value of type " + Mdp::TypeName(type) + " is needed"};
    if (const Json* hex = json.Find("hex")) {
        return hex->Text() != nullptr && json.AsObject()->size() == 1 ? Mdp::FromHex(*hex->Text()) : wrong;
    }
    if (const std::string* text = json.Text()) {
        return kind == Mdp::ValueKind::Boolean || kind == Mdp::ValueKind::Octets ? Mdp::Result<Mdp::Bytes>(wrong)
                                                                                 : Mdp::EncodeValue(type, *text);
    }
    const bool isBoolean = std::holds_alternative<bool>(json.Held());
    if (isBoolean ? kind != Mdp::ValueKind::Boolean : !isNumber) {
        return wrong;
    }
    const bool isScalar = json.AsObject() == nullptr && !std::holds_alternative<Json::Elements>(json.Held()) &&
                          !std::holds_alternative<std::monostate>(json.Held());
    return isScalar ? Mdp::EncodeValue(type, json.Written()) : wrong;
}

bool IsSameValue(std::uint16_t type, const Mdp::Bytes& a, const Mdp::Bytes& b) {
    return Mdp::KindOfType(type) == Mdp::ValueKind::Text
               ? Mdp::DecodeValue(type, a).text == Mdp::DecodeValue(type, b).text
               : a == b;
}

HttpResponse NotThere(const std::string& detail) {
    return Problem(404, ProblemType::Blank, "There is nothing here", detail);
}

HttpResponse BadRequest(const std::string& detail) {
    return Problem(400, ProblemType::Blank, "The request cannot be understood", detail);
}

} // namespace

const Api::Route Api::s_routes[] = {
    {"GET", "/api/v1/machine", Access::Look, &Api::GetMachine},
    {"GET", "/api/v1/modules", Access::Look, &Api::GetModules},
    {"GET", "/api/v1/objects", Access::Look, &Api::GetObjects},
    {"GET", "/api/v1/objects/{index}", Access::Look, &Api::GetObject},
    {"GET", "/api/v1/objects/{index}/{sub}", Access::Look, &Api::GetEntry},
    {"PUT", "/api/v1/objects/{index}/{sub}", Access::Change, &Api::PutEntry},
    {"POST", "/api/v1/services/{index}", Access::Change, &Api::StartService},
    {"GET", "/api/v1/jobs/{id}", Access::Change, &Api::GetJob},
    {"GET", "/api/v1/views/{view}", Access::Look, &Api::GetView},
    {"GET", "/api/v1/events", Access::Look, &Api::GetEvents},
    {"GET", "/api/v1/session", Access::Anybody, &Api::GetSession},
    {"POST", "/api/v1/session", Access::Anybody, &Api::BeginSession},
    {"DELETE", "/api/v1/session", Access::Anybody, &Api::EndSession},
    {"GET", "/api/v1/openapi.yaml", Access::Anybody, &Api::GetDescription},
    {"GET", "/metrics", Access::Metrics, &Api::GetMetrics},
};

std::vector<std::pair<std::string, std::string>> Api::Paths() {
    std::vector<std::pair<std::string, std::string>> paths;
    for (const Route& route : s_routes) {
        const std::string path = route.path;
        const std::size_t view = path.find("{view}");
        if (view == std::string::npos) {
            paths.emplace_back(route.method, path);
            continue;
        }
        for (const std::string& name : ViewNames()) {
            if (name != "machine") { // which has a path of its own
                paths.emplace_back(route.method, path.substr(0, view) + name);
            }
        }
    }
    return paths;
}

HttpResponse Api::Answer(const HttpRequest& request) {
    HttpResponse response = Routed(request);
    for (const auto& [name, value] : s_headers) {
        response.headers.emplace_back(name, value);
    }
    const bool isCached = std::any_of(response.headers.begin(), response.headers.end(),
                                      [](const auto& header) { return header.first == "Cache-Control"; });
    if (!isCached) {
        response.headers.emplace_back("Cache-Control", "no-store");
    }
    return response;
}

bool Api::IsOurHost(const std::string& header) const {
    // A page of another name that was made to lead here (rebinding) comes by that name; by an address nobody is led.
    const std::string host = HostOf(header);
    return host == "localhost" || IsAddress(host) ||
           std::any_of(m_settings.hostNames.begin(), m_settings.hostNames.end(),
                       [&](const std::string& name) { return HostOf(name) == host; });
}

bool Api::IsFromElsewhere(const HttpRequest& request) {
    const std::string site = request.Header("Sec-Fetch-Site");
    if (!site.empty() && site != "same-origin" && site != "none") {
        return true;
    }
    const std::string origin = request.Header("Origin");
    return !origin.empty() && origin != (request.peer.tls ? "https://" : "http://") + request.Header("Host");
}

std::optional<HttpResponse> Api::Refusal(Access access, const Asked& asked) const {
    if (access == Access::Anybody) {
        return std::nullopt;
    }
    if (access == Access::Metrics && !m_settings.metricsToken.empty() &&
        IsSame(asked.request.Header("Authorization"), "Bearer " + m_settings.metricsToken)) {
        return std::nullopt;
    }
    if (m_signIn.IsNeededToLook() && !(asked.session && asked.session->mayLook)) {
        return Problem(401, ProblemType::SignInNeeded, "Sign in first");
    }
    if (access != Access::Change) {
        return std::nullopt;
    }
    if (!asked.request.peer.Private()) {
        return Problem(403, ProblemType::NotAllowed, "Nothing is changed over a connection that others can read");
    }
    if (!m_signIn.MayAnybodyChange()) {
        return Problem(403, ProblemType::NotAllowed, "This gateway only reads");
    }
    if (!asked.session) {
        return Problem(401, ProblemType::SignInNeeded, "Sign in first");
    }
    if (!asked.session->mayChange) {
        return Problem(403, ProblemType::NotAllowed, "This account may look, but not change");
    }
    return std::nullopt;
}

HttpResponse Api::Routed(const HttpRequest& request) {
    if (request.CountOf("Host") != 1 || !IsOurHost(request.Header("Host"))) {
        return Problem(421, ProblemType::Blank, "This is not a name of the gateway",
                       "It is started with --host-name for each name by which it may be called");
    }
    const std::string method = request.method == "HEAD" ? "GET" : request.method;
    std::string allowed;
    for (const Route& route : s_routes) {
        auto parts = Match(route.path, request.path);
        if (!parts) {
            continue;
        }
        if (method != route.method) {
            allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
            continue;
        }
        if (method != "GET") {
            const std::string type = request.Header("X-Content-Type");
            if (type.substr(0, type.find(';')) != "application/json") {
                return Problem(415, ProblemType::Blank, "Content-Type: application/json is needed");
            }
            if (IsFromElsewhere(request)) {
                return Problem(403, ProblemType::WrongOrigin, "A page from elsewhere may change nothing here");
            }
        }
        const Asked asked{request, LanguageOf(request), std::move(*parts),
                          m_sessions.Find(request.Cookie(CookieName(request.peer)))};
        if (auto refusal = Refusal(route.access, asked)) {
            return std::move(*refusal);
        }
        return (this->*route.handler)(asked);
    }
    if (!allowed.empty()) {
        HttpResponse response = Problem(405, ProblemType::Blank, "Not by this method");
        response.headers.emplace_back("Allow", allowed);
        return response;
    }
    if (method == "GET") {
        if (auto file = m_files.Answer(request)) {
            return std::move(*file);
        }
    }
    return NotThere({});
}

// --- the dictionary
// ----------------------------------------------------------------------------------------------------

Json Api::ModuleOf(std::uint16_t index) {
    // Data objects follow the header of their module; services have the module's slot.
    const bool isOfModule = (index >> 12 == 0x8 || index >> 12 == 0xB);
    const auto header = static_cast<std::uint16_t>(0x8000U | (index & 0x0FF0U));
    const auto modules = isOfModule ? m_dictionary.ListModules(m_settings.maxAge)
                                    : Mdp::Result<std::shared_ptr<const Dictionary::Modules>>(Mdp::Error{});
    const bool isThere = modules && std::any_of((*modules)->begin(), (*modules)->end(),
                                                [&](const Mdp::Module& module) { return module.index == header; });
    return isThere ? Json(IndexText(header)) : Json();
}

HttpResponse Api::GetModules(const Asked&) {
    const auto modules = m_dictionary.ListModules(m_settings.maxAge);
    if (!modules) {
        return Problem(modules.Error());
    }
    Json list = Json::Array();
    for (const Mdp::Module& module : **modules) {
        list.Add(ModuleJson(module));
    }
    return Gateway::Answer({{"modules", std::move(list)}});
}

HttpResponse Api::GetObjects(const Asked& asked) {
    const auto language = static_cast<std::size_t>(asked.language);
    const std::lock_guard lock(m_listing);
    const auto now = std::chrono::steady_clock::now();
    if (m_list[language].empty() || now - m_listedAt[language] > s_listAge) {
        const auto indexes = m_dictionary.ListObjects();
        if (!indexes) {
            return Problem(indexes.Error());
        }
        Json list = Json::Array();
        for (const std::uint16_t index : *indexes) {
            const auto head = m_dictionary.DescribeHead(index, asked.language);
            if (!head && !IsTold(head.Error())) {
                return Problem(head.Error());
            }
            if (head) { // otherwise it has gone meanwhile
                list.Add({{"index", IndexText(index)},
                          {"name", NameOf(*head, asked.language)},
                          {"kind", Mdp::ObjectCodeName(head->objectCode)},
                          {"entries", head->itemCount},
                          {"module", ModuleOf(index)}});
            }
        }
        m_list[language] = Json{{"objects", std::move(list)}}.Written();
        m_listedAt[language] = now;
    }
    HttpResponse response;
    response.contentType = "application/json";
    response.body = m_list[language];
    return response;
}

std::string Api::NameOf(const Mdp::ObjectDescription& head, Language language) {
    // A variable has its name at its one entry.
    if (!head.name.empty() || head.objectCode != Mdp::ObjectVariable) {
        return head.name;
    }
    const auto shape = m_dictionary.Describe(head.index, language);
    return shape && !(*shape)->entries.empty() ? (*shape)->entries[0].name : std::string();
}

Json Api::EntryJson(const ObjectShape& names, const ObjectValues& values, std::size_t sub) const {
    const EntryShape& shape = names.entries[sub];
    Json json{{"index", IndexText(names.index)},
              {"sub", sub},
              {"name", shape.name},
              {"type", Mdp::TypeName(shape.type)},
              {"access", AccessText(shape)}};
    const EntryValue& value = values.entries[sub];
    if (value.value) {
        json.Add("value", ValueJson(shape.type, *value.value));
    } else if (value.code != Mdp::OBJ_E_NOERR) {
        json.Add("error", CodeJson(value.code));
    }
    return json;
}

HttpResponse Api::GetObject(const Asked& asked) {
    const auto index = ParseIndex(asked.parts[0]);
    if (!index) {
        return NotThere("An index has four hexadecimal digits");
    }
    const auto values = m_dictionary.Read(*index, m_settings.maxAge);
    if (!values) {
        return Problem(values.Error());
    }
    const auto names = m_dictionary.Describe(*index, asked.language);
    if (!names) {
        return Problem(names.Error());
    }
    Json entries = Json::Array();
    for (std::size_t sub = 0; sub < std::min((*values)->entries.size(), (*names)->entries.size()); ++sub) {
        entries.Add(EntryJson(**names, **values, sub));
    }
    return Gateway::Answer(
        {{"index", IndexText(*index)},
         {"name", (*names)->name.empty() && (*names)->entries.size() == 1 ? (*names)->entries[0].name : (*names)->name},
         {"kind", KindText(**names)},
         {"module", ModuleOf(*index)},
         {"entries", std::move(entries)}});
}

HttpResponse Api::GetEntry(const Asked& asked) {
    const auto index = ParseIndex(asked.parts[0]);
    const auto sub = ParseSub(asked.parts[1]);
    if (!index || !sub) {
        return NotThere("An index has four hexadecimal digits, a sub-index is a number up to 255");
    }
    const auto values = m_dictionary.Read(*index, m_settings.maxAge);
    if (!values) {
        return Problem(values.Error());
    }
    const auto names = m_dictionary.Describe(*index, asked.language);
    if (!names) {
        return Problem(names.Error());
    }
    if (*sub >= std::min((*values)->entries.size(), (*names)->entries.size())) {
        return Problem(Mdp::Error{Mdp::ErrorKind::Object, Mdp::OBJ_E_INVALIDIDX, 0, {}});
    }
    return Gateway::Answer(EntryJson(**names, **values, *sub));
}

HttpResponse Api::PutEntry(const Asked& asked) {
    const auto body = Json::Parse(asked.request.body);
    const Json* wanted = body ? body->Find("new") : nullptr;
    const Json* old = body ? body->Find("old") : nullptr;
    if (wanted == nullptr || body->AsObject()->size() != (old != nullptr ? 2U : 1U)) {
        return BadRequest("The body is an object with \"new\" and, if it is to be compared, \"old\"");
    }
    const auto index = ParseIndex(asked.parts[0]);
    const auto sub = ParseSub(asked.parts[1]);
    if (!index || !sub) {
        return NotThere("An index has four hexadecimal digits, a sub-index is a number up to 255");
    }
    if (*index >> 12 == 0xB) {
        return Problem(403, ProblemType::NotAllowed, "A service is started by POST");
    }
    const std::lock_guard lock(m_writing);
    const auto values = m_dictionary.Read(*index, Dictionary::Milliseconds(0));
    if (!values) {
        return Problem(values.Error());
    }
    if (*sub >= (*values)->entries.size()) {
        return Problem(Mdp::Error{Mdp::ErrorKind::Object, Mdp::OBJ_E_INVALIDIDX, 0, {}});
    }
    const EntryShape& shape = (*values)->shape->entries[*sub];
    const EntryValue& now = (*values)->entries[*sub];
    if (!shape.writable) {
        return Problem(Mdp::Error{Mdp::ErrorKind::Object, Mdp::OBJ_E_INVALACCESS, 0, {}});
    }
    const auto bytes = BytesOf(*wanted, shape.type);
    if (!bytes) {
        return Problem(bytes.Error());
    }
    if (old != nullptr) {
        const auto expected = BytesOf(*old, shape.type);
        if (!now.value || !expected || !IsSameValue(shape.type, *expected, *now.value)) {
            Json more = Json::Object();
            if (now.value) {
                more.Add("current", ValueJson(shape.type, *now.value));
            }
            return Problem(409, ProblemType::ChangedMeanwhile, "Somebody has changed the value meanwhile", {}, more);
        }
    }
    const auto written = m_dictionary.Write(*index, *sub, *bytes);
    const std::string place = IndexText(*index) + ":" + std::to_string(*sub);
    const std::string change = Quoted(asked.session->user) + " from " + asked.request.peer.address + ": " + place +
                               " from " + (now.value ? Mdp::FormatValue(shape.type, *now.value) : "nothing") + " to " +
                               Mdp::FormatValue(shape.type, *bytes);
    if (!written) {
        Log(LogKind::Notice, change + " failed: " + written.Error().Message());
        return Problem(written.Error());
    }
    Log(LogKind::Notice, change);
    return GetEntry(asked);
}

// --- services
// ------------------------------------------------------------------------------------------------------------

Json Api::JobJson(const Jobs::Job& job) {
    Json json{{"id", job.id}, {"index", IndexText(job.index)}};
    if (!job.outcome) {
        json.Add("state", "running");
        return json;
    }
    const auto& outcome = *job.outcome;
    const bool isDone = outcome && !outcome->status.Failed();
    json.Add("state", isDone ? "done" : "failed");
    if (outcome) {
        Json response{{"hex", Mdp::ToHex(outcome->data)}};
        const std::string text(outcome->data.begin(), outcome->data.end());
        if (Mdp::IsUtf8(text)) {
            response.Add("text", text);
        }
        json.Add("response", std::move(response));
    }
    if (!isDone && (outcome || outcome.Error().kind == Mdp::ErrorKind::Object)) {
        json.Add("error", CodeJson(outcome ? outcome->FailureCode() : outcome.Error().code));
    } else if (!isDone) {
        json.Add("detail", outcome.Error().Message());
    }
    return json;
}

HttpResponse Api::StartService(const Asked& asked) {
    const auto index = ParseIndex(asked.parts[0]);
    if (!index || *index >> 12 != 0xB) {
        return NotThere("Services are the objects B000 to BFFF");
    }
    const auto body = Json::Parse(asked.request.body);
    const Json* text = body ? body->Find("text") : nullptr;
    const Json* hex = body ? body->Find("hex") : nullptr;
    const std::size_t members = (text != nullptr ? 1U : 0U) + (hex != nullptr ? 1U : 0U);
    if (!body || body->AsObject() == nullptr || body->AsObject()->size() != members || members > 1 ||
        (text != nullptr && text->Text() == nullptr) || (hex != nullptr && hex->Text() == nullptr)) {
        return BadRequest("The body is an object with \"text\" or \"hex\", or an empty one");
    }
    const auto modules = m_dictionary.ListModules(m_settings.maxAge);
    if (!modules) {
        return Problem(modules.Error());
    }
    const auto slot = static_cast<std::uint8_t>(*index >> 4);
    const auto module = std::find_if((*modules)->begin(), (*modules)->end(),
                                     [&](const Mdp::Module& each) { return each.slot == slot; });
    if (module == (*modules)->end()) {
        return Problem(Mdp::Error{Mdp::ErrorKind::Object, Mdp::OBJ_E_INVALIDIDX, 0, {}});
    }
    if (!m_settings.allServices && (module->type == TypeFiles || module->type == TypeUsers)) {
        return Problem(403, ProblemType::NotAllowed, "This gateway does not offer files and accounts",
                       "It does when it is started with --all-services");
    }
    Mdp::Bytes request;
    if (hex != nullptr) {
        auto bytes = Mdp::FromHex(*hex->Text());
        if (!bytes) {
            return Problem(bytes.Error());
        }
        request = std::move(*bytes);
    } else if (text != nullptr) {
        request.assign(text->Text()->begin(), text->Text()->end());
    }
    // What the request holds is not told: it may be a password.
    Log(LogKind::Notice, Quoted(asked.session->user) + " from " + asked.request.peer.address + ": service " +
                             IndexText(*index) + " with " + std::to_string(request.size()) + " bytes");
    const auto job = m_jobs.Start(asked.session->user, *index, std::move(request), s_shortJob);
    if (!job) {
        return TooMany(503, "Too many jobs are running", 5);
    }
    HttpResponse response = Gateway::Answer(JobJson(*job), job->outcome ? 200 : 202);
    if (!job->outcome) {
        response.headers.emplace_back("Location", "/api/v1/jobs/" + job->id);
    }
    return response;
}

HttpResponse Api::GetJob(const Asked& asked) {
    const auto job = m_jobs.Find(asked.session->user, asked.parts[0]);
    return job ? Gateway::Answer(JobJson(*job)) : NotThere("No such job");
}

// --- views, events and metrics
// -----------------------------------------------------------------------------------------

HttpResponse Api::View(const std::string& name, const Asked& asked) {
    Look look(m_dictionary, m_settings.maxAge, asked.language);
    const Json json = ViewJson(name, look, asked.language);
    return look.Failure() ? Problem(*look.Failure()) : Gateway::Answer(json);
}

HttpResponse Api::GetMachine(const Asked& asked) {
    return View("machine", asked);
}

HttpResponse Api::GetView(const Asked& asked) {
    const std::string& name = asked.parts[0];
    return IsView(name) && name != "machine" ? View(name, asked) : NotThere("No such view");
}

HttpResponse Api::GetEvents(const Asked& asked) {
    std::vector<Events::Subject> subjects;
    for (const std::string& word : SplitAt(asked.request.Query("objects").value_or(""), ',')) {
        const auto index = ParseIndex(word);
        if (!index || *index == 0) {
            return BadRequest("An index has four hexadecimal digits");
        }
        subjects.push_back({*index, {}, Language::English});
    }
    if (subjects.size() > s_mostObjects) {
        return BadRequest("At most " + std::to_string(s_mostObjects) + " objects");
    }
    for (const std::string& word : SplitAt(asked.request.Query("views").value_or(""), ',')) {
        if (!IsView(word)) {
            return BadRequest("No such view: " + word);
        }
        subjects.push_back({0, word, asked.language});
    }
    HttpResponse response;
    response.contentType = "text/event-stream";
    if (asked.request.method == "HEAD") {
        return response;
    }
    // A session that ends takes its streams with it.
    std::function<bool()> goesOn = [] { return true; };
    if (m_signIn.IsNeededToLook()) {
        goesOn = [this, token = asked.request.Cookie(CookieName(asked.request.peer))] {
            return m_sessions.IsThere(token);
        };
    }
    response.stream = m_events.Open(std::move(subjects), std::move(goesOn));
    return response.stream ? response : TooMany(503, "Too many pages look at once", 10);
}

HttpResponse Api::GetMetrics(const Asked&) {
    HttpResponse response;
    response.contentType = Metrics::ContentType;
    response.body = m_metrics.Scrape();
    return response;
}

HttpResponse Api::GetDescription(const Asked&) {
    HttpResponse response;
    response.contentType = "application/yaml";
    response.body = m_settings.description;
    return response;
}

// --- sessions
// --------------------------------------------------------------------------------------------------------------

Json Api::SessionJson(const std::optional<Session>& session, const Peer& peer) const {
    const bool isNeeded = m_signIn.IsNeededToLook();
    return {{"signedIn", session.has_value()},
            {"user", session ? Json(session->user) : Json()},
            {"mayLook", !isNeeded || (session && session->mayLook)},
            {"mayChange", session && session->mayChange && peer.Private()},
            {"signIn", isNeeded               ? "needed"
                       : m_signIn.IsOffered() ? "offered"
                                              : "none"}};
}

HttpResponse Api::GetSession(const Asked& asked) {
    return Gateway::Answer(SessionJson(asked.session, asked.request.peer));
}

HttpResponse Api::BeginSession(const Asked& asked) {
    const Peer& peer = asked.request.peer;
    if (!m_signIn.IsOffered()) {
        return Problem(403, ProblemType::NotAllowed, "This gateway only reads, and needs nobody to sign in");
    }
    if (!peer.Private()) {
        return Problem(403, ProblemType::NotAllowed, "No password over a connection that others can read");
    }
    const auto body = Json::Parse(asked.request.body);
    const Json* user = body ? body->Find("user") : nullptr;
    const Json* password = body ? body->Find("password") : nullptr;
    constexpr std::size_t longestName = 256;
    constexpr std::size_t longestPassword = 1024;
    if (user == nullptr || user->Text() == nullptr || password == nullptr || password->Text() == nullptr ||
        body->AsObject()->size() != 2 || user->Text()->size() > longestName ||
        password->Text()->size() > longestPassword) {
        return BadRequest("The body is an object with \"user\" and \"password\"");
    }
    const SignIn::Outcome outcome = m_signIn.Try(*user->Text(), *password->Text(), peer);
    if (!outcome.session) {
        return outcome.status == 401 ? Problem(401, ProblemType::SignInNeeded,
                                               "The name or the password is wrong, or the account may "
                                               "do nothing here")
                                     : TooMany(outcome.status, "Too many attempts", outcome.retryAfterSeconds);
    }
    m_sessions.End(asked.request.Cookie(CookieName(peer)));
    const std::string token = m_sessions.Begin(*outcome.session);
    if (token.empty()) {
        return Problem(500, ProblemType::Blank, "No session can be made");
    }
    HttpResponse response = Gateway::Answer(SessionJson(outcome.session, peer));
    response.headers.emplace_back("Set-Cookie", std::string(CookieName(peer)) + "=" + token +
                                                    "; Path=/; HttpOnly; SameSite=Strict" +
                                                    (peer.tls ? "; Secure" : ""));
    return response;
}

HttpResponse Api::EndSession(const Asked& asked) {
    m_sessions.End(asked.request.Cookie(CookieName(asked.request.peer)));
    HttpResponse response;
    response.status = 204;
    response.headers.emplace_back("Set-Cookie", std::string(CookieName(asked.request.peer)) +
                                                    "=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict" +
                                                    (asked.request.peer.tls ? "; Secure" : ""));
    return response;
}

} // namespace Gateway
