#include "Commands.h"

#include <ostream>

#include "Completion.h"
#include "ObjectView.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

Json DescriptionJson(const Mdp::EntryDescription& entry) {
    return {{"sub", entry.subIndex},
            {"name", TextJson(entry.name)},
            {"type", Mdp::TypeName(entry.dataType)},
            {"bits", entry.bitLength},
            {"access", AccessText(entry)}};
}

class DescribeCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("INDEX[:SUB]", TakeAddress(m_address), "the object or entry to describe").Required();
    }

    int Run(const Context& context) override {
        return m_address.subIndex ? RunEntry(context, *m_address.subIndex) : RunObject(context);
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string& word) override {
        return positionals.empty() ? CompleteAddress(context, word) : std::vector<Candidate>();
    }

private:
    int RunEntry(const Context& context, std::uint8_t subIndex) const {
        const auto entry = DescribeEntry(context.client, m_address.index, subIndex, context.language);
        if (!entry) {
            return context.Fail(entry.Error(), EntryText(m_address.index, subIndex));
        }
        if (context.json) {
            Json json{{"index", IndexText(m_address.index)}};
            json.AddAll(DescriptionJson(*entry));
            context.Print(json);
            return ExitOk;
        }
        std::ostream& out = context.streams.out;
        out << "name:    " << Styled(PrintableText(entry->name), Style::Name, context.streams.outInColour) << '\n'
            << "type:    " << Mdp::TypeName(entry->dataType) << '\n'
            << "bits:    " << entry->bitLength << '\n'
            << "access:  " << AccessText(*entry) << '\n';
        return ExitOk;
    }

    int RunObject(const Context& context) const {
        const auto object = DescribeObject(context.client, m_address.index, context.language);
        if (!object) {
            return context.Fail(object.Error(), IndexText(m_address.index));
        }
        const auto entries = DescribeEntries(context.client, *object, 0, context.language);
        if (!entries) {
            return context.Fail(entries.Error(), IndexText(m_address.index));
        }
        if (context.json) {
            Json list = Json::Array();
            for (const EntryView& entry : *entries) {
                list.Add(DescriptionJson(entry.description));
            }
            context.Print({{"index", IndexText(object->index)},
                           {"name", TextJson(object->name)},
                           {"kind", Mdp::ObjectCodeName(object->objectCode)},
                           {"entries", list}});
            return ExitOk;
        }
        context.streams.out << IndexText(object->index) << "  "
                            << Styled(PrintableText(object->name), Style::Name, context.streams.outInColour) << " ("
                            << Mdp::ObjectCodeName(object->objectCode) << ")\n";
        Table table({"SUB", "NAME", "TYPE", "BITS", "ACCESS"});
        table.NameColumn(1);
        table.AlignRight(0);
        table.AlignRight(3);
        for (const EntryView& view : *entries) {
            const Mdp::EntryDescription& entry = view.description;
            table.Add({std::to_string(entry.subIndex), PrintableText(entry.name), Mdp::TypeName(entry.dataType),
                       std::to_string(entry.bitLength), AccessText(entry)});
        }
        context.Show(table);
        return ExitOk;
    }

    Address m_address;
};

} // namespace

std::unique_ptr<Command> MakeDescribeCommand() {
    return std::make_unique<DescribeCommand>();
}

} // namespace MdpCommand
