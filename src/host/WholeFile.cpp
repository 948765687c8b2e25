#include "host/WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <memory>

namespace Host {

int ReadWholeFile(const std::string& path, std::string& content) {
    content.clear();
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"), &std::fclose);
    if (file == nullptr) {
        return errno;
    }
    char chunk[4096];
    for (std::size_t got = sizeof chunk; got == sizeof chunk;) {
        got = std::fread(chunk, 1, sizeof chunk, file.get());
        content.append(chunk, got);
    }
    return std::ferror(file.get()) != 0 ? EIO : 0;
}

std::string ReadFirstLine(const std::string& path) {
    std::string content;
    ReadWholeFile(path, content);
    return content.substr(0, content.find('\n'));
}

} // namespace Host
