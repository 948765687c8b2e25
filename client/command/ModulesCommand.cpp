#include "Commands.h"

#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

class ModulesCommand : public Command {
public:
    int Run(const Context& context) override {
        const Mdp::Result<std::vector<Mdp::Module>> modules = context.client.ListModules();
        if (!modules) {
            return context.Fail(modules.Error(), "listing the modules");
        }
        if (context.json) {
            Json list = Json::Array();
            for (const Mdp::Module& module : *modules) {
                list.Add({{"index", IndexText(module.index)},
                          {"slot", module.slot},
                          {"type", module.type},
                          {"typeName", TextJson(module.typeName)},
                          {"name", TextJson(module.name)}});
            }
            context.Print(list);
            return ExitOk;
        }
        Table table({"INDEX", "TYPE", "KIND", "NAME"});
        table.NameColumn(3);
        for (const Mdp::Module& module : *modules) {
            table.Add({IndexText(module.index), HexText(module.type, 4), PrintableText(module.typeName),
                       PrintableText(module.name)});
        }
        context.Show(table);
        return ExitOk;
    }
};

} // namespace

std::unique_ptr<Command> MakeModulesCommand() {
    return std::make_unique<ModulesCommand>();
}

} // namespace MdpCommand
