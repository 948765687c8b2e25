#include "Scenario.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <mutex>
#include <utility>

namespace {

constexpr const char* DEFAULT_PATH = "/run/machine/scenario";
constexpr std::int64_t DEFAULT_STEP_MS = 2000;

// What says that a file is another one than before.
struct TFileState {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    timespec changed = {};

    bool operator==(const TFileState& other) const {
        return device == other.device && inode == other.inode && size == other.size &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
};

struct TRemembered {
    std::string text; // of the file, when it was remembered
    std::int64_t number = 0;
};

// What the process knows. A preloaded library never destroys it: threads that no stop waits for still ask for it. One
// that is unloaded takes it along.
struct TState {
    std::mutex mutex;
    TFileState file;
    std::shared_ptr<const CScenario> scenario = std::make_shared<CScenario>();
    std::map<std::pair<std::string, std::string>, TRemembered> remembered;
};

TState& State() {
#ifdef SYLVARIN_SCENARIO_UNLOADED
    static TState state;
    return state;
#else
    static auto* state = new TState;
    return *state;
#endif
}

TFileState StateOf(const std::string& path) {
    struct stat found = {};
    if (stat(path.c_str(), &found) != 0) {
        return {};
    }
    return {found.st_dev, found.st_ino, found.st_size, found.st_mtim};
}

std::int64_t NowMs() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

std::string Trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::optional<std::int64_t> ToNumber(const std::string& text) {
    const bool isNegative = text.starts_with('-');
    std::string digits = text.substr(isNegative ? 1 : 0);
    const bool isHexadecimal = digits.starts_with("0x");
    digits.erase(0, isHexadecimal ? 2 : 0);
    std::int64_t number = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), number, isHexadecimal ? 16 : 10);
    if (error != std::errc() || digits.empty() || end != digits.data() + digits.size() || number < 0) {
        return std::nullopt;
    }
    return isNegative ? -number : number;
}

// "a | b | c": the parts.
std::vector<std::string> Steps(const std::string& text) {
    std::vector<std::string> steps;
    std::size_t start = 0;
    for (std::size_t bar = 0; bar != std::string::npos; start = bar + 1) {
        bar = text.find('|', start);
        steps.push_back(Trimmed(text.substr(start, bar == std::string::npos ? bar : bar - start)));
    }
    return steps;
}

} // namespace

std::shared_ptr<const CScenario> CScenario::Now() {
    const char* named = std::getenv("SYLVARIN_SCENARIO");
    const std::string path = named != nullptr ? named : DEFAULT_PATH;
    TState& state = State();
    const std::lock_guard lock(state.mutex);
    if (const TFileState file = StateOf(path); !(file == state.file)) {
        state.file = file;
        state.scenario = Read(path);
    }
    return state.scenario;
}

std::shared_ptr<const CScenario> CScenario::Read(const std::string& path) {
    auto scenario = std::make_shared<CScenario>();
    scenario->m_startMs = NowMs();
    std::ifstream file(path);
    std::string section;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        scenario->ReadLine(std::move(line), ++number, section);
    }
    return scenario;
}

void CScenario::ReadLine(std::string line, int number, std::string& section) {
    line = Trimmed(line);
    if (line.empty() || line.front() == '#') {
        return;
    }
    if (line.front() == '[' && line.back() == ']') {
        section = Trimmed(line.substr(1, line.size() - 2));
        m_sections[section];
        return;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || section.empty()) {
        std::fprintf(stderr, "scenario: line %d is neither [section] nor a setting of one\n", number);
        return;
    }
    m_sections[section][Trimmed(line.substr(0, equals))] = Trimmed(line.substr(equals + 1));
}

std::vector<std::string> CScenario::NamesOf(const std::string& kind) const {
    std::vector<std::string> names;
    for (const auto& [section, settings] : m_sections) {
        if (section.starts_with(kind + " ")) {
            names.push_back(Trimmed(section.substr(kind.size())));
        }
    }
    return names;
}

const std::string* CScenario::Find(const std::string& section, const std::string& key) const {
    const auto settings = m_sections.find(section);
    if (settings == m_sections.end()) {
        return nullptr;
    }
    const auto setting = settings->second.find(key);
    return setting == settings->second.end() ? nullptr : &setting->second;
}

std::optional<std::string> CScenario::Text(const std::string& section, const std::string& key) const {
    const std::string* text = Find(section, key);
    if (text == nullptr) {
        return std::nullopt;
    }
    const std::vector<std::string> steps = Steps(*text);
    std::int64_t step = DEFAULT_STEP_MS;
    if (const std::string* every = Find(section, "every"); every != nullptr) {
        step = std::max<std::int64_t>(1, ToNumber(*every).value_or(DEFAULT_STEP_MS));
    }
    return steps[static_cast<std::size_t>((NowMs() - m_startMs) / step) % steps.size()];
}

std::optional<std::int64_t> CScenario::Number(const std::string& section, const std::string& key) const {
    const std::string* text = Find(section, key);
    if (text == nullptr) {
        return std::nullopt;
    }
    {
        TState& state = State();
        const std::lock_guard lock(state.mutex);
        const auto remembered = state.remembered.find({section, key});
        if (remembered != state.remembered.end() && remembered->second.text == *text) {
            return remembered->second.number;
        }
    }
    const std::string now = Text(section, key).value_or("");
    const std::optional<std::int64_t> number = ToNumber(now);
    if (!number) {
        std::fprintf(stderr, "scenario: [%s] %s = %s is not a number\n", section.c_str(), key.c_str(), now.c_str());
    }
    return number;
}

void CScenario::Remember(const std::string& section, const std::string& key, std::int64_t number) const {
    const std::string* text = Find(section, key);
    TState& state = State();
    const std::lock_guard lock(state.mutex);
    state.remembered[{section, key}] = {text != nullptr ? *text : "", number};
}

void CScenario::Record(const std::string& line) const {
    const std::string* journal = Find("scenario", "journal");
    if (journal == nullptr) {
        return;
    }
    const int file = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, journal->c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    if (file < 0) {
        return;
    }
    const std::string whole = line + "\n";
    syscall(SYS_write, file, whole.data(), whole.size());
    syscall(SYS_close, file);
}
