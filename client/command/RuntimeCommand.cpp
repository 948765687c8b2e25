#include "Commands.h"

#include "Reader.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::uint16_t s_moduleTypeRuntime = 8;

// Data objects of the module, and entries of the first.
constexpr unsigned s_information = 1;
constexpr unsigned s_figures = 9;
constexpr std::uint8_t s_subVersion = 1;
constexpr std::uint8_t s_subRevision = 2;
constexpr std::uint8_t s_subBuild = 3;
constexpr std::uint8_t s_subNetId = 4;
constexpr std::uint8_t s_subState = 6;
constexpr std::uint8_t s_subSystemId = 11;
constexpr std::uint8_t s_subFullRevision = 12;
constexpr std::uint8_t s_subSinceChange = 13;

// What the state is where nothing is connected to the runtime's port; the others are the runtime's own.
constexpr std::int64_t s_notConnected = 6;

struct Figure {
    std::string name;
    std::optional<std::int64_t> value;
};

struct Runtime {
    std::string version; // empty where it cannot be asked
    std::optional<std::int64_t> fullRevision;
    std::optional<std::string> netId;
    std::optional<std::string> systemId;
    std::optional<std::int64_t> state;
    std::optional<std::int64_t> sinceChange; // seconds
    std::vector<Figure> figures;
};

std::string VersionOf(Reader& reader, std::uint16_t index) {
    const auto version = reader.Number(index, s_subVersion, Mdp::TypeUnsigned16);
    const auto revision = reader.Number(index, s_subRevision, Mdp::TypeUnsigned16);
    const auto build = reader.Number(index, s_subBuild, Mdp::TypeUnsigned16);
    return version && revision && build ? NumberText(version) + "." + NumberText(revision) + "." + NumberText(build)
                                        : std::string();
}

// "1 d 02:03:04"
std::string DurationText(std::optional<std::int64_t> seconds) {
    if (!seconds) {
        return "-";
    }
    const auto twoDigits = [](std::int64_t number) { return PadLeft(std::to_string(number), 2, '0'); };
    const std::int64_t days = *seconds / 86400;
    return (days > 0 ? std::to_string(days) + " d " : "") + twoDigits(*seconds / 3600 % 24) + ":" +
           twoDigits(*seconds / 60 % 60) + ":" + twoDigits(*seconds % 60);
}

std::string StateText(std::optional<std::int64_t> state) {
    return state == s_notConnected ? "6 (nothing connected)" : NumberText(state);
}

std::string TextOr(const std::optional<std::string>& text, const char* missing) {
    return text && !text->empty() ? PrintableText(*text) : missing;
}

Json OptionalJson(const std::optional<std::string>& text) {
    return text && !text->empty() ? TextJson(*text) : Json();
}

class RuntimeCommand : public Command {
public:
    int Run(const Context& context) override {
        const auto module = FindModuleOf(context.client, s_moduleTypeRuntime, "automation runtime");
        if (!module) {
            return context.Fail(module.Error(), "reading the runtime");
        }
        const auto runtime = ReadRuntime(context, *module);
        if (!runtime) {
            return context.Fail(runtime.Error(), "reading the runtime");
        }
        Show(context, *runtime);
        return ExitOk;
    }

private:
    static Mdp::Result<Runtime> ReadRuntime(const Context& context, const Mdp::Module& module) {
        Reader reader(context.client);
        const std::uint16_t index = module.Data(s_information);
        Runtime runtime{VersionOf(reader, index),
                        reader.Number(index, s_subFullRevision, Mdp::TypeUnsigned16),
                        reader.Text(index, s_subNetId),
                        reader.Text(index, s_subSystemId),
                        reader.Number(index, s_subState, Mdp::TypeUnsigned16),
                        reader.Number(index, s_subSinceChange, Mdp::TypeUnsigned64),
                        {}};
        if (reader.Failure()) {
            return *reader.Failure();
        }
        const std::uint16_t figures = module.Data(s_figures);
        const auto object = context.client.DescribeObject(figures, context.language);
        if (!object) {
            return object.Error();
        }
        for (std::uint8_t sub = 1; sub < object->itemCount; ++sub) {
            const auto entry = context.client.DescribeEntry(figures, sub, context.language);
            if (!entry) {
                return entry.Error();
            }
            runtime.figures.push_back(
                {entry->name, reader.Number(figures, sub, static_cast<Mdp::DataType>(entry->dataType))});
        }
        return reader.Failure() ? Mdp::Result<Runtime>(*reader.Failure()) : runtime;
    }

    static void Show(const Context& context, const Runtime& runtime) {
        if (context.json) {
            Json figures = Json::Array();
            for (const Figure& figure : runtime.figures) {
                figures.Add({{"name", TextJson(figure.name)}, {"value", NumberJson(figure.value)}});
            }
            context.Print({{"version", runtime.version.empty() ? Json() : Json(runtime.version)},
                           {"fullRevision", NumberJson(runtime.fullRevision)},
                           {"netId", OptionalJson(runtime.netId)},
                           {"systemId", OptionalJson(runtime.systemId)},
                           {"state", NumberJson(runtime.state)},
                           {"secondsSinceChange", NumberJson(runtime.sinceChange)},
                           {"figures", std::move(figures)}});
            return;
        }
        Table table({"RUNTIME", ""});
        table.NameColumn(0);
        table.Add({"Version", runtime.version.empty() ? "-" : runtime.version});
        table.Add({"Revision", NumberText(runtime.fullRevision)});
        table.Add({"Net id", TextOr(runtime.netId, "-")});
        table.Add({"System id", TextOr(runtime.systemId, "-")});
        table.Add({"State", StateText(runtime.state)});
        table.Add({"Time since the last change", DurationText(runtime.sinceChange)});
        for (const Figure& figure : runtime.figures) {
            table.Add({PrintableText(figure.name), NumberText(figure.value)});
        }
        context.Show(table);
    }
};

} // namespace

std::unique_ptr<Command> MakeRuntimeCommand() {
    return std::make_unique<RuntimeCommand>();
}

} // namespace MdpCommand
