#include "Commands.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <utility>

#include "ObjectView.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

// The service runs each connection on a thread of its own, so that some at once are quicker than one after another.
constexpr std::size_t s_workers = 4;

using ViewResult = Mdp::Result<ObjectView>;

std::vector<ViewResult> ViewAll(const Context& context, const std::vector<std::uint16_t>& indexes) {
    std::vector<ViewResult> views(indexes.size(), ViewResult(Mdp::Error{}));
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        for (std::size_t i = next++; i < indexes.size(); i = next++) {
            const auto object = DescribeObject(context.client, indexes[i], context.language);
            views[i] = object ? ViewObject(context.client, *object, context.language) : ViewResult(object.Error());
        }
    };
    std::vector<std::thread> workers;
    for (std::size_t i = 1; i < std::min(s_workers, indexes.size()); ++i) {
        workers.emplace_back(work);
    }
    work();
    for (std::thread& worker : workers) {
        worker.join();
    }
    return views;
}

// The module that an index belongs to by its slot, or the number of modules for an index of the device itself.
std::size_t OwnerOf(std::uint16_t index, const std::vector<Mdp::Module>& modules) {
    const unsigned nibble = index >> 12;
    const bool slotted = nibble == 0x8 || nibble == 0xB;
    const auto owner = std::find_if(modules.begin(), modules.end(), [&](const Mdp::Module& module) {
        return slotted && module.slot == (index >> 4 & 0xFF);
    });
    return static_cast<std::size_t>(owner - modules.begin());
}

class TreeCommand : public Command {
public:
    int Run(const Context& context) override {
        const auto modules = context.client.ListModules();
        if (!modules) {
            return context.Fail(modules.Error(), "listing the modules");
        }
        const auto indexes = context.client.ListObjects();
        if (!indexes) {
            return context.Fail(indexes.Error(), "listing the objects");
        }
        const std::vector<ViewResult> results = ViewAll(context, *indexes);
        // One group a module, and the device's own objects last in the vector but first in the output.
        std::vector<std::vector<const ObjectView*>> groups(modules->size() + 1);
        for (std::size_t i = 0; i < results.size(); ++i) {
            if (results[i]) {
                groups[OwnerOf((*indexes)[i], *modules)].push_back(&*results[i]);
                continue;
            }
            // An object may vanish with its module between the list and its description.
            if (results[i].Error().code != Mdp::OBJ_E_INVALIDIDX) {
                return context.Fail(results[i].Error(), IndexText((*indexes)[i]));
            }
        }
        if (context.json) {
            PrintJson(context, *modules, groups);
        } else {
            PrintText(context, *modules, groups);
        }
        return ExitOk;
    }

private:
    using Groups = std::vector<std::vector<const ObjectView*>>;

    static Json GroupJson(const std::vector<const ObjectView*>& group) {
        Json objects = Json::Array();
        for (const ObjectView* view : group) {
            objects.Add(ObjectJson(*view));
        }
        return objects;
    }

    static void PrintJson(const Context& context, const std::vector<Mdp::Module>& modules, const Groups& groups) {
        Json list = Json::Array();
        for (std::size_t i = 0; i < modules.size(); ++i) {
            list.Add({{"index", IndexText(modules[i].index)},
                      {"type", modules[i].type},
                      {"typeName", TextJson(modules[i].typeName)},
                      {"name", TextJson(modules[i].name)},
                      {"objects", GroupJson(groups[i])}});
        }
        context.Print({{"device", GroupJson(groups.back())}, {"modules", list}});
    }

    static void AddGroup(Table& table, const std::vector<const ObjectView*>& group) {
        for (const ObjectView* view : group) {
            const std::string index = "  " + IndexText(view->description.index);
            const Cell name{PrintableText(view->description.name), Style::Name};
            if (view->description.objectCode == Mdp::ObjectVariable && view->entries.size() == 1) {
                const EntryView& entry = view->entries.front();
                // A variable is its one entry.
                table.Add({index, name, Mdp::TypeName(entry.description.dataType), AccessText(entry.description),
                           ValueCell(entry)});
                continue;
            }
            table.Add({index, name, Mdp::ObjectCodeName(view->description.objectCode)});
            for (const EntryView& entry : view->entries) {
                table.Add({"    :" + std::to_string(entry.description.subIndex),
                           "  " + PrintableText(entry.description.name), Mdp::TypeName(entry.description.dataType),
                           AccessText(entry.description), ValueCell(entry)});
            }
        }
    }

    static void PrintText(const Context& context, const std::vector<Mdp::Module>& modules, const Groups& groups) {
        Table table({"OBJECT", "NAME", "TYPE", "ACCESS", "VALUE"});
        table.AddTitle("Device");
        AddGroup(table, groups.back());
        for (std::size_t i = 0; i < modules.size(); ++i) {
            std::string title = PrintableText(modules[i].typeName);
            if (const std::string name = PrintableText(modules[i].name); name != title) {
                title.append(" ").append(name);
            }
            table.AddTitle(std::move(title));
            AddGroup(table, groups[i]);
        }
        context.Show(table);
    }
};

} // namespace

std::unique_ptr<Command> MakeTreeCommand() {
    return std::make_unique<TreeCommand>();
}

} // namespace MdpCommand
