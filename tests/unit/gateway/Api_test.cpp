#include "Api.h"

#include <algorithm>

#include "Machine.h"

namespace Gateway {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ApiTest : public testing::Test {
protected:
    // Members of "viewers" look, of "editors" change; the password of everybody is "secret".
    void Start(const SignIn::Options& options = {}, Api::Settings settings = {}) {
        settings.maxAge = Dictionary::Milliseconds(0);
        m_signIn = std::make_unique<SignIn>(
            options, [](const std::string&, const std::string& password) { return password == "secret"; },
            [](const std::string& user, const std::string& group) { return user == group; });
        m_api = std::make_unique<Api>(m_dictionary, m_events, m_metrics, *m_signIn, Files("/nowhere"), settings);
    }

    static HttpRequest Request(const std::string& method, const std::string& path, const std::string& body = {}) {
        HttpRequest request;
        request.method = method;
        request.path = path.substr(0, path.find('?'));
        if (const std::size_t query = path.find("?"); query != std::string::npos) {
            const std::string text = path.substr(query + 1);
            request.query.emplace_back(text.substr(0, text.find('=')), text.substr(text.find('=') + 1));
        }
        request.headers = {{"Host", "localhost:8088"}, {"X-Content-Type", "application/json"}};
        request.body = body;
        request.peer = {"127.0.0.1", true, false};
        return request;
    }

    HttpResponse Ask(const std::string& method, const std::string& path, const std::string& body = {}) {
        HttpRequest request = Request(method, path, body);
        if (!m_cookie.empty()) {
            request.headers.emplace_back("Cookie", "other=1; " + m_cookie);
        }
        return m_api->Answer(request);
    }

    static Json Parsed(const HttpResponse& response) { return Json::Parse(response.body).value_or(Json()); }

    Json Get(const std::string& path) {
        const HttpResponse response = Ask("GET", path);
        EXPECT_EQ(response.status, 200) << path << ": " << response.body;
        return Parsed(response);
    }

    static std::string HeaderOf(const HttpResponse& response, const std::string& name) {
        for (const auto& [known, value] : response.headers) {
            if (known == name) {
                return value;
            }
        }
        return {};
    }

    void SignInAs(const std::string& user) {
        const HttpResponse response =
            Ask("POST", "/api/v1/session", R"({"user":")" + user + R"(","password":"secret"})");
        ASSERT_EQ(response.status, 200) << response.body;
        const std::string cookie = HeaderOf(response, "Set-Cookie");
        m_cookie = cookie.substr(0, cookie.find(';'));
    }

    Machine m_machine;
    Dictionary m_dictionary{m_machine.Options()};
    Events m_events{m_dictionary, Events::Options{}};
    Metrics m_metrics{m_dictionary, {}, Dictionary::Milliseconds(0)};
    std::unique_ptr<SignIn> m_signIn;
    std::unique_ptr<Api> m_api;
    std::string m_cookie;
};

TEST_F(ApiTest, TellsTheMachineAtAGlance) {
    Start();
    const Json machine = Get("/api/v1/machine");
    EXPECT_EQ(TextAt(machine, "name"), "IPC-1");
    EXPECT_EQ(TextAt(machine, "health/state"), "warning");
    EXPECT_EQ(TextAt(machine, "health/findings/0/id"), "drive-nearly-worn-out");
    EXPECT_EQ(TextAt(machine, "modules/1/typeName"), "CPU");
    EXPECT_EQ(TextAt(Get("/api/v1/machine?lang=de"), "health/findings/0/text"),
              "Das Laufwerk Flash \"B\"\n (S2) ist fast abgenutzt: 3 % der Lebensdauer sind übrig");
}

TEST_F(ApiTest, TellsAnObjectWithValuesAndCodes) {
    Start();
    const Json object = Get("/api/v1/objects/8001");
    EXPECT_EQ(TextAt(object, "index"), "0x8001");
    EXPECT_EQ(TextAt(object, "name"), "Network settings");
    EXPECT_EQ(TextAt(object, "kind"), "record");
    EXPECT_EQ(TextAt(object, "module"), "0x8000");
    EXPECT_EQ(
        At(object, "entries/2").Written(),
        R"({"index":"0x8001","sub":2,"name":"IPv4 address","type":"VISIBLE_STRING","access":"rw","value":"192.168.10.20"})");
    EXPECT_EQ(TextAt(object, "entries/4/value"), "false");
    EXPECT_EQ(TextAt(object, "entries/7/error/name"), "OBJ_E_NOTSUPPORTED");
    EXPECT_EQ(TextAt(Get("/api/v1/objects/8011/2"), "value"), "25");
    EXPECT_EQ(TextAt(Get("/api/v1/objects/1008"), "name"), "Device name");
}

TEST_F(ApiTest, NumbersThatADoubleCannotHoldAreTexts) {
    Start();
    m_machine.Entry(0x8041, 6).value = ::Number(0xFFFFFFFFFFFFFFFFU, 8);
    EXPECT_EQ(At(Get("/api/v1/objects/8041/6"), "value").Written(), "\"18446744073709551615\"");
    m_machine.Entry(0x8041, 6).value = ::Number(0x20000000000000U, 8);
    EXPECT_EQ(At(Get("/api/v1/objects/8041/6"), "value").Written(), "9007199254740992");
}

TEST_F(ApiTest, HostileTextsArePassedOnAsTexts) {
    Start();
    m_machine.Entry(0x1008, 0).value = ::Text("</script>\"'\x01\n");
    EXPECT_EQ(At(Get("/api/v1/machine"), "name").Written(), R"("</script>\"'\u0001\n")");
    m_machine.Entry(0x1008, 0).value = ::Text("\xFF\xFE");
    EXPECT_EQ(At(Get("/api/v1/objects/1008/0"), "value").Written(), R"({"hex":"fffe"})");
    EXPECT_EQ(At(Get("/api/v1/machine"), "name").Written(), "\"\xEF\xBF\xBD\xEF\xBF\xBD\"");
}

TEST_F(ApiTest, ListsAllObjectsWithTheirModules) {
    Start();
    const Json objects = Get("/api/v1/objects");
    EXPECT_EQ(At(objects, "objects/0").Written(),
              R"({"index":"0x1000","name":"Device type","kind":"variable","entries":1,"module":null})");
    const auto count = std::get<Json::Elements>(At(objects, "objects").Held()).size();
    EXPECT_EQ(count, m_machine.m_dictionary.objects.size());
}

TEST_F(ApiTest, WhatDoesNotExistIsAProblem) {
    Start();
    for (const char* path :
         {"/api/v1/objects/9999", "/api/v1/objects/8011/99", "/api/v1/objects/80", "/api/v1/objects/80111",
          "/api/v1/objects/801g", "/api/v1/objects/8011/x", "/api/v1/objects/8011/256", "/api/v1/objects/",
          "/api/v1/views/nonsense", "/api/v1/views/machine", "/api/v2/machine", "/nonsense", "/api/v1/machine/"}) {
        const HttpResponse response = Ask("GET", path);
        EXPECT_EQ(response.status, 404) << path;
        EXPECT_EQ(response.contentType, "application/problem+json") << path;
    }
    EXPECT_EQ(TextAt(Parsed(Ask("GET", "/api/v1/objects/9999")), "name"), "OBJ_E_INVALIDIDX");
    const HttpResponse wrongMethod = Ask("DELETE", "/api/v1/machine");
    EXPECT_EQ(wrongMethod.status, 405);
    EXPECT_EQ(HeaderOf(wrongMethod, "Allow"), "GET");
}

TEST_F(ApiTest, AServiceThatDoesNotAnswerIsAProblem) {
    Start();
    m_machine.GoDown(true);
    for (const auto& [method, path] : Api::Paths()) {
        if (method != "GET" || path.find("session") != std::string::npos || path.find("events") != std::string::npos ||
            path.find("openapi") != std::string::npos || path == "/metrics" || path.find("jobs") != std::string::npos) {
            continue;
        }
        std::string asked = path;
        for (const auto& [name, value] : {std::pair{"{index}", "8011"}, std::pair{"{sub}", "1"}}) {
            if (const std::size_t at = asked.find(name); at != std::string::npos) {
                asked.replace(at, std::string(name).size(), value);
            }
        }
        const HttpResponse response = Ask("GET", asked);
        EXPECT_EQ(response.status, 503) << asked;
        EXPECT_EQ(TextAt(Parsed(response), "type"), "urn:sylvarin:problem:service-down") << asked;
    }
    EXPECT_THAT(Ask("GET", "/metrics").body, HasSubstr("sylvarin_up 0\n"));
    m_machine.GoDown(false);
    EXPECT_EQ(Ask("GET", "/api/v1/machine").status, 200);
}

TEST_F(ApiTest, EveryAnswerForbidsWhatAPageDoesNotNeed) {
    Start();
    for (const char* path : {"/api/v1/machine", "/nonsense", "/metrics"}) {
        const HttpResponse response = Ask("GET", path);
        EXPECT_THAT(HeaderOf(response, "Content-Security-Policy"),
                    StartsWith("default-src 'none'; script-src 'self'; "));
        EXPECT_THAT(HeaderOf(response, "Content-Security-Policy"), HasSubstr("frame-ancestors 'none'"));
        EXPECT_THAT(HeaderOf(response, "Content-Security-Policy"), Not(HasSubstr("unsafe")));
        EXPECT_EQ(HeaderOf(response, "X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(HeaderOf(response, "Referrer-Policy"), "no-referrer");
        EXPECT_EQ(HeaderOf(response, "Cache-Control"), "no-store");
    }
}

TEST_F(ApiTest, AnswersByItsOwnNamesAlone) {
    Api::Settings settings;
    settings.hostNames = {"Line1.example"};
    Start({}, settings);
    const auto statusOf = [&](const std::string& host) {
        HttpRequest request = Request("GET", "/api/v1/session");
        request.headers.front().second = host;
        return m_api->Answer(request).status;
    };
    for (const char* host : {"localhost", "localhost:8088", "LOCALHOST", "127.0.0.1:8088", "[::1]:8088",
                             "192.168.10.20", "line1.example:8443", "line1.example."}) {
        EXPECT_EQ(statusOf(host), 200) << host;
    }
    for (const char* host :
         {"", "evil.example", "localhost.evil.example", "127.0.0.1.evil.example", "[evil", "1.2.3", ":80"}) {
        EXPECT_EQ(statusOf(host), 421) << host;
    }
    HttpRequest twice = Request("GET", "/api/v1/session");
    twice.headers.emplace_back("host", "localhost");
    EXPECT_EQ(m_api->Answer(twice).status, 421);
}

TEST_F(ApiTest, ReadsOnlyIfNothingElseIsSaid) {
    Start();
    const HttpResponse response = Ask("PUT", "/api/v1/objects/1008/0", R"({"new":"x"})");
    EXPECT_EQ(response.status, 403);
    EXPECT_EQ(Ask("POST", "/api/v1/services/B000", "{}").status, 403);
    EXPECT_EQ(Ask("POST", "/api/v1/session", R"({"user":"editors","password":"secret"})").status, 403);
    EXPECT_TRUE(m_machine.m_dictionary.writes.empty());
    EXPECT_EQ(TextAt(Get("/api/v1/session"), "signIn"), "none");
}

TEST_F(ApiTest, NothingIsSeenBeforeSigningInWhereThatIsNeeded) {
    Start({"viewers", ""});
    for (const auto& [method, path] : Api::Paths()) {
        const bool isOpen = path == "/api/v1/session" || path == "/api/v1/openapi.yaml";
        EXPECT_EQ(Ask(method, path).status == 401, !isOpen) << method << " " << path;
    }
    EXPECT_EQ(TextAt(Get("/api/v1/session"), "signIn"), "needed");
    EXPECT_EQ(TextAt(Get("/api/v1/session"), "mayLook"), "false");
    SignInAs("viewers");
    EXPECT_EQ(TextAt(Get("/api/v1/session"), "user"), "viewers");
    EXPECT_EQ(Ask("GET", "/api/v1/machine").status, 200);
    EXPECT_EQ(Ask("PUT", "/api/v1/objects/1008/0", R"({"new":"x"})").status, 403);
    EXPECT_EQ(Ask("DELETE", "/api/v1/session").status, 204);
    EXPECT_EQ(Ask("GET", "/api/v1/machine").status, 401);
}

TEST_F(ApiTest, AMonitoringSystemHasTheMetricsByItsToken) {
    Api::Settings settings;
    settings.metricsToken = "token";
    Start({"viewers", ""}, settings);
    HttpRequest request = Request("GET", "/metrics");
    request.headers.emplace_back("Authorization", "Bearer token");
    EXPECT_EQ(m_api->Answer(request).status, 200);
    request.path = "/api/v1/machine";
    EXPECT_EQ(m_api->Answer(request).status, 401);
    for (const char* wrong : {"Bearer toke", "Bearer tokens", "Bearer ", "", "token", "Bearer Token"}) {
        request = Request("GET", "/metrics");
        request.headers.emplace_back("Authorization", wrong);
        EXPECT_EQ(m_api->Answer(request).status, 401) << wrong;
    }
}

TEST_F(ApiTest, TheCookieIsOfNoUseToScriptsAndOtherSites) {
    Start({"", "editors"});
    HttpRequest request = Request("POST", "/api/v1/session", R"({"user":"editors","password":"secret"})");
    const std::string plain = HeaderOf(m_api->Answer(request), "Set-Cookie");
    EXPECT_THAT(plain, StartsWith("sylvarin="));
    EXPECT_THAT(plain, EndsWith("; Path=/; HttpOnly; SameSite=Strict"));
    request.peer = {"192.168.10.9", false, true};
    const std::string tls = HeaderOf(m_api->Answer(request), "Set-Cookie");
    EXPECT_THAT(tls, StartsWith("__Host-sylvarin="));
    EXPECT_THAT(tls, EndsWith("; Path=/; HttpOnly; SameSite=Strict; Secure"));
}

TEST_F(ApiTest, NoPasswordGoesOverAConnectionThatOthersCanRead) {
    Start({"", "editors"});
    HttpRequest request = Request("POST", "/api/v1/session", R"({"user":"editors","password":"secret"})");
    request.peer = {"192.168.10.9", false, false};
    EXPECT_EQ(m_api->Answer(request).status, 403);
}

TEST_F(ApiTest, AnEditorWritesWithTheOldAndTheNewValue) {
    Start({"", "editors"});
    EXPECT_EQ(Ask("PUT", "/api/v1/objects/8001/2", R"({"new":"10.0.0.1"})").status, 401);
    SignInAs("editors");
    const HttpResponse response = Ask("PUT", "/api/v1/objects/8001/2", R"({"old":"192.168.10.20","new":"10.0.0.1"})");
    EXPECT_EQ(response.status, 200) << response.body;
    const FakeDictionary::Written expected{0x8001, 2, ::Text("10.0.0.1")};
    EXPECT_THAT(m_machine.m_dictionary.writes, testing::ElementsAre(expected));
}

TEST_F(ApiTest, AValueThatSomebodyElseHasChangedIsNotOverwritten) {
    Start({"", "editors"});
    SignInAs("editors");
    const HttpResponse response = Ask("PUT", "/api/v1/objects/8001/2", R"({"old":"10.0.0.9","new":"10.0.0.1"})");
    EXPECT_EQ(response.status, 409);
    EXPECT_EQ(TextAt(Parsed(response), "current"), "192.168.10.20");
    EXPECT_TRUE(m_machine.m_dictionary.writes.empty());
}

TEST_F(ApiTest, ValuesAreWrittenByTheTypeOfTheEntry) {
    Start({"", "editors"});
    SignInAs("editors");
    EXPECT_EQ(Ask("PUT", "/api/v1/objects/8001/4", R"({"old":false,"new":true})").status, 200);
    EXPECT_EQ(Ask("PUT", "/api/v1/objects/8001/2", R"({"new":{"hex":"3100"}})").status, 200);
    const std::vector<FakeDictionary::Written> expected{{0x8001, 4, {1}}, {0x8001, 2, {0x31, 0}}};
    EXPECT_EQ(m_machine.m_dictionary.writes, expected);
    for (const char* body : {R"({"new":1})", R"({"new":"true"})", R"({"new":null})", R"({"new":[true]})",
                             R"({"new":{}})", R"({"new":{"hex":"0"}})"}) {
        EXPECT_EQ(Ask("PUT", "/api/v1/objects/8001/4", body).status, 422) << body;
    }
    for (const char* body : {"", "{}", "[]", "x", R"({"old":true})", R"({"new":true,"more":1})"}) {
        EXPECT_EQ(Ask("PUT", "/api/v1/objects/8001/4", body).status, 400) << body;
    }
    EXPECT_EQ(Ask("PUT", "/api/v1/objects/8001/1", R"({"new":"x"})").status, 403); // is only read
    EXPECT_EQ(Ask("PUT", "/api/v1/objects/8001/99", R"({"new":"x"})").status, 404);
    EXPECT_EQ(Ask("PUT", "/api/v1/objects/B000/1", R"({"new":"x"})").status, 403); // is a service
    EXPECT_EQ(m_machine.m_dictionary.writes, expected);
}

TEST_F(ApiTest, ARefusedWriteTellsTheCode) {
    Start({"", "editors"});
    SignInAs("editors");
    m_machine.m_dictionary.objects[0x8001].entries[6].code = 0xECA60106;
    const HttpResponse response = Ask("PUT", "/api/v1/objects/8001/6", R"({"new":"x"})");
    EXPECT_EQ(response.status, 422);
    EXPECT_EQ(TextAt(Parsed(response), "name"), "OBJ_E_INVALIDDATA");
}

TEST_F(ApiTest, APageFromElsewhereMayChangeNothing) {
    Start({"", "editors"});
    SignInAs("editors");
    const auto statusWith = [&](const std::string& header, const std::string& value) {
        HttpRequest request = Request("PUT", "/api/v1/objects/8001/4", R"({"new":true})");
        request.headers.emplace_back("Cookie", m_cookie);
        request.headers.emplace_back(header, value);
        return m_api->Answer(request).status;
    };
    EXPECT_EQ(statusWith("Origin", "http://evil.example"), 403);
    EXPECT_EQ(statusWith("Origin", "null"), 403);
    EXPECT_EQ(statusWith("Origin", "https://localhost:8088"), 403);
    EXPECT_EQ(statusWith("Sec-Fetch-Site", "cross-site"), 403);
    EXPECT_EQ(statusWith("Sec-Fetch-Site", "same-site"), 403);
    EXPECT_EQ(statusWith("Origin", "http://localhost:8088"), 200);
    EXPECT_EQ(statusWith("Sec-Fetch-Site", "same-origin"), 200);
    HttpRequest form = Request("PUT", "/api/v1/objects/8001/4", R"({"new":true})");
    form.headers = {{"Host", "localhost"}, {"Cookie", m_cookie}, {"X-Content-Type", "text/plain"}};
    EXPECT_EQ(m_api->Answer(form).status, 415);
}

TEST_F(ApiTest, AServiceIsStartedAndItsEndFound) {
    Start({"", "editors"});
    SignInAs("editors");
    const HttpResponse response = Ask("POST", "/api/v1/services/B000", R"({"text":"abc"})");
    EXPECT_EQ(response.status, 200) << response.body;
    const Json job = Parsed(response);
    EXPECT_EQ(TextAt(job, "state"), "done");
    EXPECT_EQ(TextAt(job, "response/hex"), "616263");
    EXPECT_EQ(TextAt(job, "response/text"), "abc");
    EXPECT_EQ(TextAt(Get("/api/v1/jobs/" + TextAt(job, "id")), "state"), "done");
    EXPECT_EQ(Ask("GET", "/api/v1/jobs/0123").status, 404);
}

TEST_F(ApiTest, AFailedServiceTellsItsCode) {
    Start({"", "editors"});
    SignInAs("editors");
    m_machine.m_dictionary.serve = [](std::uint16_t, const TestBytes&) {
        return FakeResponse{3, ::Number(0xECA60106, 4)};
    };
    const Json job = Parsed(Ask("POST", "/api/v1/services/B000", R"({"hex":"00"})"));
    EXPECT_EQ(TextAt(job, "state"), "failed");
    EXPECT_EQ(TextAt(job, "error/name"), "OBJ_E_INVALIDDATA");
}

TEST_F(ApiTest, FilesAndAccountsAreNotOffered) {
    Start({"", "editors"});
    SignInAs("editors");
    EXPECT_EQ(Ask("POST", "/api/v1/services/B080", R"({"text":"abc"})").status, 403);
    EXPECT_EQ(Ask("POST", "/api/v1/services/B990", R"({"text":"abc"})").status, 404);
    EXPECT_EQ(Ask("POST", "/api/v1/services/8001", R"({"text":"abc"})").status, 404);
    EXPECT_EQ(Ask("POST", "/api/v1/services/B000", R"({"text":"abc","hex":"00"})").status, 400);
    EXPECT_TRUE(m_machine.m_dictionary.writes.empty());
    Api::Settings settings;
    settings.allServices = true;
    Start({"", "editors"}, settings);
    SignInAs("editors");
    EXPECT_EQ(Ask("POST", "/api/v1/services/B080", R"({"text":"abc"})").status, 200);
}

TEST_F(ApiTest, AStreamIsOpenedForSubjectsThatThereAre) {
    Start();
    EXPECT_TRUE(Ask("GET", "/api/v1/events?views=machine,sensors").stream);
    EXPECT_TRUE(Ask("GET", "/api/v1/events?objects=8001,80A1").stream);
    EXPECT_EQ(Ask("GET", "/api/v1/events?views=nonsense").status, 400);
    EXPECT_EQ(Ask("GET", "/api/v1/events?objects=80").status, 400);
    std::string many = "8000";
    for (int i = 1; i < 33; ++i) {
        many += ",8001";
    }
    EXPECT_EQ(Ask("GET", "/api/v1/events?objects=" + many).status, 400);
    EXPECT_EQ(m_events.Streams(), 0U);
}

} // namespace
} // namespace Gateway
