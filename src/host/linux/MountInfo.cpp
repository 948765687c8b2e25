#include "host/linux/MountInfo.h"

#include <algorithm>

namespace Host {

namespace {

// Fields of a line: number, parent, device, root, mount point, options, any number of tags, "-", type, source, options.
constexpr std::size_t FIELD_MOUNT_POINT = 4;
constexpr std::size_t FIRST_TAG = 6;
constexpr std::string_view END_OF_TAGS = "-";

bool IsOctal(char c) {
    return c >= '0' && c <= '7';
}

std::string Unescape(std::string_view field) {
    std::string text;
    for (std::size_t at = 0; at < field.size(); ++at) {
        const std::string_view rest = field.substr(at);
        if (rest.size() >= 4 && rest[0] == '\\' && std::ranges::all_of(rest.substr(1, 3), IsOctal)) {
            text += static_cast<char>((rest[1] - '0') << 6 | (rest[2] - '0') << 3 | (rest[3] - '0'));
            at += 3;
        } else {
            text += rest[0];
        }
    }
    return text;
}

// The fields are split at single blanks: one of them, the source, may be empty.
std::vector<std::string_view> SplitFields(std::string_view line) {
    std::vector<std::string_view> fields;
    for (;;) {
        const std::size_t blank = line.find(' ');
        fields.push_back(line.substr(0, blank));
        if (blank == std::string_view::npos) {
            return fields;
        }
        line.remove_prefix(blank + 1);
    }
}

} // namespace

std::vector<TMountInfo> ParseMountInfo(std::string_view text) {
    std::vector<TMountInfo> mounts;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::vector<std::string_view> fields = SplitFields(line);
        if (fields.size() <= FIRST_TAG) {
            continue;
        }
        const auto end = std::find(fields.begin() + FIRST_TAG, fields.end(), END_OF_TAGS);
        if (fields.end() - end > 2) {
            mounts.push_back({Unescape(fields[FIELD_MOUNT_POINT]), Unescape(end[1]), Unescape(end[2])});
        }
    }
    return mounts;
}

} // namespace Host
