#include <cstdio>
#include <filesystem>
#include <string>

#include "Files.h"
#include "Http.h"

int main(int argc, char** argv) {
    const std::filesystem::path program = argc > 0 ? std::filesystem::weakly_canonical("/proc/self/exe") : "";
    const Gateway::Files files((program.parent_path() / "../share/sylvarin/gateway").lexically_normal().string());
    Gateway::HttpOptions options;
    options.port = argc > 1 ? static_cast<std::uint16_t>(std::stoi(argv[1])) : 8088;
    Gateway::HttpServer server(options, [&](const Gateway::HttpRequest& request) {
        auto answer = files.Answer(request);
        return answer ? *answer : Gateway::HttpResponse{404, "text/plain", {}, "not found\n", {}};
    });
    if (const std::string wrong = server.Listen(); !wrong.empty()) {
        std::fprintf(stderr, "sylvarin-gateway: %s\n", wrong.c_str());
        return 1;
    }
    std::printf("http://%s:%u/\n", options.address.c_str(), server.Port());
    std::fflush(stdout);
    server.Run();
}
