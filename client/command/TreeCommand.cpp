#include "Commands.h"

#include <algorithm>
#include <utility>

#include "ObjectView.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

constexpr std::uint16_t s_indexAddresses = 0xF020;
constexpr std::uint16_t s_indexNames = 0xF060;
constexpr std::size_t s_subTypeName = 2; // of a module's header

const ObjectView* Find(const std::vector<ObjectView>& objects, std::uint16_t index) {
    const auto found = std::find_if(objects.begin(), objects.end(),
                                    [&](const ObjectView& view) { return view.description.index == index; });
    return found == objects.end() ? nullptr : &*found;
}

// The text of an entry; empty where it has none, as an empty text has no data.
std::string TextOf(const ObjectView* view, std::size_t subIndex) {
    const bool hasValue = view != nullptr && subIndex < view->entries.size() && view->entries[subIndex].value;
    return hasValue ? Mdp::DecodeValue(Mdp::TypeVisibleString, *view->entries[subIndex].value).text : std::string();
}

// The modules in the order in which they registered, as the objects tell them. An element of the list of addresses has
// the slot in its low half and the type in the high one.
std::vector<Mdp::Module> ModulesOf(const std::vector<ObjectView>& objects) {
    std::vector<Mdp::Module> modules;
    const ObjectView* addresses = Find(objects, s_indexAddresses);
    const ObjectView* names = Find(objects, s_indexNames);
    for (std::size_t i = 1; addresses != nullptr && i < addresses->entries.size(); ++i) {
        const std::optional<Mdp::Bytes>& address = addresses->entries[i].value;
        if (!address || address->size() != 4) {
            continue;
        }
        Mdp::Module module;
        module.slot = address->front();
        module.index = static_cast<std::uint16_t>(0x8000U + module.slot * 16U);
        module.type = static_cast<std::uint16_t>((*address)[2] | (*address)[3] << 8);
        module.typeName = TextOf(Find(objects, module.index), s_subTypeName);
        module.name = TextOf(names, i);
        modules.push_back(std::move(module));
    }
    return modules;
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
        const auto indexes = context.client.ListObjects();
        if (!indexes) {
            return context.Fail(indexes.Error(), "listing the objects");
        }
        const ObjectViews views = ViewObjects(context.client, *indexes, context.language);
        if (views.failure) {
            return context.Fail(views.failure->error, IndexText((*indexes)[views.failure->number]));
        }
        const std::vector<Mdp::Module> modules = ModulesOf(views.objects);
        // One group a module, and the device's own objects last in the vector but first in the output.
        std::vector<std::vector<const ObjectView*>> groups(modules.size() + 1);
        for (const ObjectView& view : views.objects) {
            groups[OwnerOf(view.description.index, modules)].push_back(&view);
        }
        if (context.json) {
            PrintJson(context, modules, groups);
        } else {
            PrintText(context, modules, groups);
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
