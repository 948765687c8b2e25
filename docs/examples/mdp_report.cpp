// Prints every module of the machine with its objects, entries and values:
//
//     mdp_report [SOCKET]

#include <cstdio>
#include <cstdlib>

#include "mdp/Client.h"
#include "mdp/Value.h"

namespace {

[[noreturn]] void Fail(const Mdp::Error& error) {
    std::fprintf(stderr, "mdp_report: %s\n", error.Message().c_str());
    std::exit(1);
}

void PrintEntry(const Mdp::Client& client, std::uint16_t index, std::uint8_t subIndex) {
    const auto entry = client.DescribeEntry(index, subIndex, Mdp::LanguageEnglish);
    if (!entry) {
        return; // taken away since the object was described
    }
    std::string value;
    if (entry->readable) {
        const auto bytes = client.Read(index, subIndex);
        // An entry that has no value on this machine is no failure of the report.
        value = bytes ? Mdp::FormatValue(entry->dataType, *bytes) : "(" + Mdp::CodeName(bytes.Error().code) + ")";
    }
    std::printf("    %3u  %-40s %s\n", subIndex, entry->name.c_str(), value.c_str());
}

void PrintObject(const Mdp::Client& client, std::uint16_t index) {
    const auto object = client.DescribeObject(index, Mdp::LanguageEnglish);
    if (!object) {
        return; // a module has fewer objects than indexes
    }
    std::printf("  %04X  %s\n", index, object->name.c_str());
    for (unsigned subIndex = 0; subIndex < object->itemCount; ++subIndex) {
        PrintEntry(client, index, static_cast<std::uint8_t>(subIndex));
    }
}

} // namespace

int main(int argc, char** argv) {
    Mdp::ClientOptions options;
    if (argc > 1) {
        options.socketPath = argv[1];
    }
    const Mdp::Client client(options);

    const auto modules = client.ListModules();
    if (!modules) {
        Fail(modules.Error());
    }
    for (const Mdp::Module& module : *modules) {
        std::printf("%s \"%s\"\n", module.typeName.c_str(), module.name.c_str());
        for (unsigned k = 1; k < 16; ++k) {
            PrintObject(client, module.Data(k));
        }
    }
    return 0;
}
