#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Dictionary.h"
#include "Events.h"
#include "Files.h"
#include "Http.h"
#include "Jobs.h"
#include "Json.h"
#include "Metrics.h"
#include "Sessions.h"
#include "SignIn.h"

namespace Gateway {

/// What the gateway answers to a request, and to whom. For use by several threads.
class Api {
public:
    struct Settings {
        std::vector<std::string> hostNames;   ///< besides localhost and addresses, by which the gateway may be called
        std::string metricsToken;             ///< who sends it may have the metrics without a session; empty: nobody
        std::string description;              ///< of the interface, as YAML
        bool allServices = false;             ///< those of files and accounts, too
        Dictionary::Milliseconds maxAge{500}; ///< of values in views
    };

    Api(Dictionary& dictionary, Events& events, Metrics& metrics, SignIn& signIn, Files files, Settings settings)
        : m_dictionary(dictionary), m_events(events), m_metrics(metrics), m_signIn(signIn), m_files(std::move(files)),
          m_settings(std::move(settings)), m_jobs(dictionary.Client()) {}

    HttpResponse Answer(const HttpRequest& request);

    /// Method and path of all that is answered besides the page's files, with {name} for what varies.
    static std::vector<std::pair<std::string, std::string>> Paths();

private:
    // What a route needs.
    enum class Access { Anybody, Look, Metrics, Change };

    struct Asked {
        const HttpRequest& request;
        Language language;
        std::vector<std::string> parts; // what stands in the place of the braces
        std::optional<Session> session;
    };

    using Handler = HttpResponse (Api::*)(const Asked&);

    struct Route {
        const char* method;
        const char* path;
        Access access;
        Handler handler;
    };

    static const Route s_routes[];

    HttpResponse Routed(const HttpRequest& request);
    bool IsOurHost(const std::string& host) const;
    static bool IsFromElsewhere(const HttpRequest& request);
    std::optional<HttpResponse> Refusal(Access access, const Asked& asked) const;
    Json SessionJson(const std::optional<Session>& session, const Peer& peer) const;
    Json EntryJson(const ObjectShape& names, const ObjectValues& values, std::size_t sub) const;
    static Json JobJson(const Jobs::Job& job);

    HttpResponse GetModules(const Asked& asked);
    HttpResponse GetObjects(const Asked& asked);
    HttpResponse GetObject(const Asked& asked);
    HttpResponse GetEntry(const Asked& asked);
    HttpResponse PutEntry(const Asked& asked);
    HttpResponse StartService(const Asked& asked);
    HttpResponse GetJob(const Asked& asked);
    HttpResponse GetMachine(const Asked& asked);
    HttpResponse GetView(const Asked& asked);
    HttpResponse View(const std::string& name, const Asked& asked);
    HttpResponse GetEvents(const Asked& asked);
    HttpResponse GetSession(const Asked& asked);
    HttpResponse BeginSession(const Asked& asked);
    HttpResponse EndSession(const Asked& asked);
    HttpResponse GetDescription(const Asked& asked);
    HttpResponse GetMetrics(const Asked& asked);

    Json ModuleOf(std::uint16_t index);
    std::string NameOf(const Mdp::ObjectDescription& head, Language language);

    Dictionary& m_dictionary;
    Events& m_events;
    Metrics& m_metrics;
    SignIn& m_signIn;
    const Files m_files;
    const Settings m_settings;
    Sessions m_sessions;
    Jobs m_jobs;
    std::mutex m_writing; // from the look at the old value to the new one

    std::mutex m_listing;
    std::array<std::string, 2> m_list; // of all objects, by language
    std::array<std::chrono::steady_clock::time_point, 2> m_listedAt;
};

} // namespace Gateway
