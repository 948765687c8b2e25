#pragma once

#include <map>
#include <optional>
#include <string>

#include "Http.h"

namespace Gateway {

/// The files of a page: all below one folder, read once at the start. No path of a request reaches the file system.
class Files {
public:
    /// A folder that is not there has no files. Hidden files are left out.
    explicit Files(const std::string& folder);

    /// "/" is index.html. Answers If-None-Match.
    std::optional<HttpResponse> Answer(const HttpRequest& request) const;

    std::size_t Count() const { return m_files.size(); }

private:
    struct File {
        std::string type;
        std::string content;
        std::string tag;
    };

    std::map<std::string, File> m_files; // by path
};

/// The content of a file; nothing where it cannot be read.
std::optional<std::string> ReadFile(const std::string& path);

} // namespace Gateway
