// The file of texts against the text ids that the sources of the service use, both ways.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <pugixml.hpp>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct TIdRange {
    long first;
    long last;
};

// A module, the beginning of its files' paths below src/, and the text ids that are its own.
struct TModule {
    std::string_view sources;
    std::vector<TIdRange> ids;
};

const std::vector<TModule> MODULES = {
    {"dictionary/Obj0x8nn0", {{100, 103}}},
    {"dictionary/ItemTable", {{104, 104}}},
    {"dictionary/ObjServiceTransfer", {{160, 162}}},
    {"dictionary/ObjDictionary", {{170, 171}}},
    {"modules/ObjectGeneral", {{500, 504}}},
    {"modules/ObjectCPU", {{1000, 1001}, {10000, 10001}, {20020, 20020}}},
    {"modules/ObjectFSO", {{1030, 1036}}},
    {"modules/ObjectIO", {{1041, 1041}, {1360, 1361}, {10300, 10303}}},
    {"modules/ObjectMemory", {{1050, 1051}, {10004, 10007}, {10070, 10070}}},
    {"modules/ObjectMisc", {{1060, 1064}, {20060, 20065}}},
    {"modules/nic/ObjectNic", {{1070, 1073}, {10008, 10011}, {20030, 20033}}},
    {"modules/user/ObjectNTLMUser", {{1080, 1089}, {10012, 10013}, {10042, 10042}, {11090, 11091}, {20014, 20015}}},
    {"modules/ObjectSwVersions", {{1110, 1114}, {10016, 10019}}},
    {"modules/time/ObjectTime", {{1120, 1123}, {10020, 10027}}},
    {"runtime/ObjectZelmora", {{1130, 1142}, {10030, 10039}, {10050, 10055}, {20040, 20052}}},
    {"modules/ObjectOperatingSystem", {{1210, 1212}, {10100, 10103}, {10110, 10110}}},
    {"modules/ObjectFan", {{1240, 1241}, {10120, 10120}}},
    {"modules/ObjectMainboard", {{1250, 1255}, {10140, 10154}, {10156, 10165}, {20151, 20151}}},
    {"modules/dskmgmt/ObjectDskMgmt", {{1270, 1276}, {10220, 10224}}},
    {"modules/ups/", {{1280, 1282}, {10190, 10210}}},
    {"modules/ObjectMassStorageMonitoring", {{1320, 1335}}},
};

// Every decimal number of a module's sources that lies here is a text id.
const std::vector<TIdRange> ID_RANGES = {{1000, 1399}, {10000, 10399}, {11000, 11099}, {20000, 20199}};

// Numbers in those ranges that are something else, with the module that uses them.
const std::set<std::pair<std::string_view, long>> NO_TEXT_IDS = {
    {"modules/ObjectFSO", 1022},       // bytes of a path that is deleted
    {"modules/ObjectGeneral", 1024},   // bytes of a device name
    {"modules/time/ObjectTime", 1024}, // bytes of the name of a time server
    {"runtime/ObjectZelmora", 1024},   // bytes of the name of a route
};

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// Where a comment or a quoted text that starts at the position ends; the position itself if none starts there.
std::size_t EndOfCommentOrText(std::string_view code, std::size_t position) {
    const auto behind = [code](std::size_t found, std::size_t length) {
        return found == std::string_view::npos ? code.size() : found + length;
    };
    const std::string_view rest = code.substr(position);
    if (rest.starts_with("//")) {
        return behind(code.find('\n', position), 0);
    }
    if (rest.starts_with("/*")) {
        return behind(code.find("*/", position + 2), 2);
    }
    if (rest.front() == '"' || rest.front() == '\'') {
        std::size_t end = position + 1;
        while (end < code.size() && code[end] != rest.front()) {
            end += code[end] == '\\' ? 2 : 1;
        }
        return behind(end, 1);
    }
    return position;
}

bool IsWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.';
}

// The decimal integer literals of C++ code: comments, texts and characters are passed over.
std::set<long> NumbersOf(std::string_view code) {
    std::set<long> numbers;
    for (std::size_t position = 0; position < code.size();) {
        if (const std::size_t end = EndOfCommentOrText(code, position); end != position) {
            position = end;
            continue;
        }
        const bool isNumber = std::isdigit(static_cast<unsigned char>(code[position])) != 0;
        std::size_t end = position;
        while (end < code.size() && (IsWordCharacter(code[end]) || (isNumber && code[end] == '\''))) {
            ++end;
        }
        std::string word(code.substr(position, end - position));
        std::erase(word, '\'');
        const std::size_t digits = std::min(word.find_first_not_of("0123456789"), word.size());
        if (digits > 0 && digits < 10 && word.find_first_not_of("uUlL", digits) == std::string::npos) {
            numbers.insert(std::stol(word));
        }
        position = std::max(end, position + 1);
    }
    return numbers;
}

std::set<long> NumbersOfModule(const TModule& module) {
    const std::filesystem::path prefix = std::filesystem::path(SERVICE_SOURCES) / module.sources;
    std::set<long> numbers;
    if (std::filesystem::exists(prefix.parent_path())) {
        for (const auto& file : std::filesystem::directory_iterator(prefix.parent_path())) {
            if (file.path().string().starts_with(prefix.string())) {
                numbers.merge(NumbersOf(ReadFile(file.path())));
            }
        }
    }
    return numbers;
}

std::set<long> IdsOf(const TModule& module) {
    std::set<long> ids;
    for (const TIdRange& range : module.ids) {
        for (long id = range.first; id <= range.last; ++id) {
            ids.insert(id);
        }
    }
    return ids;
}

// Message id to language id to text, as they stand in the file.
std::map<long, std::map<long, std::string>> TextsOfFile() {
    pugi::xml_document document;
    EXPECT_TRUE(document.load_file(MDPMESSAGE_FILE));
    std::map<long, std::map<long, std::string>> texts;
    for (const pugi::xml_node message : document.document_element()) {
        auto& languages = texts[message.attribute("ID").as_int()];
        for (const pugi::xml_node text : message) {
            EXPECT_TRUE(languages.emplace(text.attribute("LCID").as_int(), text.child_value()).second);
        }
    }
    return texts;
}

TEST(MdpMessageFile, HasANonEmptyTextInEnglishAndGermanForEveryMessage) {
    for (const auto& [id, languages] : TextsOfFile()) {
        for (const long language : {1033L, 1031L}) {
            const auto text = languages.find(language);
            ASSERT_NE(text, languages.end()) << id << " lacks language " << language;
            EXPECT_FALSE(text->second.empty()) << id << " in language " << language;
        }
        EXPECT_EQ(languages.size(), 2U) << id;
    }
}

TEST(MdpMessageFile, IsSortedByIdWithoutDuplicates) {
    pugi::xml_document document;
    ASSERT_TRUE(document.load_file(MDPMESSAGE_FILE));
    int last = 0;
    for (const pugi::xml_node message : document.document_element()) {
        const int id = message.attribute("ID").as_int();
        EXPECT_GT(id, last);
        last = id;
    }
}

TEST(MdpMessageFile, HoldsExactlyTheIdsOfAllModules) {
    std::set<long> inFile;
    for (const auto& [id, languages] : TextsOfFile()) {
        inFile.insert(id);
    }
    std::set<long> inModules;
    for (const TModule& module : MODULES) {
        for (const long id : IdsOf(module)) {
            EXPECT_TRUE(inModules.insert(id).second) << id << " belongs to two modules";
        }
    }
    EXPECT_EQ(inFile, inModules);
}

TEST(MdpMessageFile, EveryIdIsUsedByTheSourcesOfItsModule) {
    for (const TModule& module : MODULES) {
        const std::set<long> numbers = NumbersOfModule(module);
        std::vector<long> unused;
        std::ranges::set_difference(IdsOf(module), numbers, std::back_inserter(unused));
        EXPECT_TRUE(unused.empty()) << module.sources << " does not use " << ::testing::PrintToString(unused);
    }
}

TEST(MdpMessageFile, HasATextForEveryIdInTheSources) {
    const auto texts = TextsOfFile();
    for (const TModule& module : MODULES) {
        for (const long number : NumbersOfModule(module)) {
            const bool looksLikeAnId = std::ranges::any_of(
                ID_RANGES, [number](const TIdRange& range) { return number >= range.first && number <= range.last; });
            if (looksLikeAnId && !NO_TEXT_IDS.contains({module.sources, number})) {
                EXPECT_TRUE(texts.contains(number)) << number << " in " << module.sources;
            }
        }
    }
}

TEST(MdpMessageFile, TheScanOfSourcesSeesNumbersAndPassesOverCommentsAndTexts) {
    EXPECT_EQ(NumbersOf("Item(1, 0x10009, 10008L, 'a', '\\'', \"10010 \\\" 10011\"); // 10012\n/* 10013\n10014 */ "
                        "x10015, 10016U, 10'017"),
              (std::set<long>{1, 10008, 10016, 10017}));
}

} // namespace
