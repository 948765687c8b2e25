#include "Files.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace Gateway {
namespace {

constexpr std::pair<const char*, const char*> s_types[] = {
    {".html", "text/html; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".mjs", "text/javascript; charset=utf-8"},
    {".json", "application/json"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".ico", "image/x-icon"},
    {".webmanifest", "application/manifest+json"},
    {".txt", "text/plain; charset=utf-8"},
    {".map", "application/json"},
    {".woff2", "font/woff2"},
};

const char* TypeOf(const std::string& extension) {
    for (const auto& [known, type] : s_types) {
        if (extension == known) {
            return type;
        }
    }
    return "application/octet-stream";
}

// FNV-1a: tells contents apart, and nobody gains by making two alike.
std::string TagOf(const std::string& content) {
    std::uint64_t hash = 14695981039346656037U;
    for (const char byte : content) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
    std::ostringstream tag;
    tag << '"' << std::hex << hash << '"';
    return tag.str();
}

} // namespace

std::optional<std::string> ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (!file || !(content << file.rdbuf())) {
        return std::nullopt;
    }
    return content.str();
}

Files::Files(const std::string& folder) {
    namespace fs = std::filesystem;
    std::error_code failure;
    fs::recursive_directory_iterator entry(folder, failure);
    for (const fs::recursive_directory_iterator end; !failure && entry != end; entry.increment(failure)) {
        if (entry->path().filename().string().starts_with('.')) {
            entry.disable_recursion_pending();
            continue;
        }
        std::error_code ignored;
        if (!entry->is_regular_file(ignored)) {
            continue;
        }
        if (auto content = ReadFile(entry->path().string())) {
            File file{TypeOf(entry->path().extension().string()), std::move(*content), {}};
            file.tag = TagOf(file.content);
            m_files.emplace("/" + entry->path().lexically_relative(folder).generic_string(), std::move(file));
        }
    }
}

std::optional<HttpResponse> Files::Answer(const HttpRequest& request) const {
    const auto found = m_files.find(request.path == "/" ? "/index.html" : request.path);
    if (found == m_files.end()) {
        return std::nullopt;
    }
    const File& file = found->second;
    HttpResponse response;
    response.headers = {{"ETag", file.tag}, {"Cache-Control", "no-cache"}};
    if (request.Header("If-None-Match") == file.tag) {
        response.status = 304;
        return response;
    }
    response.contentType = file.type;
    response.body = file.content;
    return response;
}

} // namespace Gateway
