#include "platform/OsUserPath.h"

#include <algorithm>

std::string OsUserNormalizePath(const char* path) {
    std::string normalized = path;
    std::replace(normalized.begin(), normalized.end(), '\\', '/');
    const auto bothSlashes = [](char left, char right) { return left == '/' && right == '/'; };
    normalized.erase(std::unique(normalized.begin(), normalized.end(), bothSlashes), normalized.end());
    return normalized;
}
