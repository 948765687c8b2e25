#include "Commands.h"

#include <ostream>

#include "Completion.h"
#include "ObjectView.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

class ReadCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments
            .Positional("INDEX[:SUB]", TakeAddress(m_address), "what to read; without SUB all entries of the object")
            .Required();
        Argument& complete = arguments.Flag("--complete", m_complete, "read all entries in one transaction");
        arguments.Flag("--raw", m_raw, "write the bytes of the value as they are").Excludes(complete);
    }

    int Prepare(const Context& context) override { return m_raw ? context.FailRaw() : int{ExitOk}; }

    int Run(const Context& context) override {
        if (m_complete) {
            return RunComplete(context);
        }
        if (m_address.subIndex) {
            return RunEntry(context, *m_address.subIndex);
        }
        const auto object = DescribeObject(context.client, m_address.index, context.language);
        if (!object) {
            return context.Fail(object.Error(), IndexText(m_address.index));
        }
        if (m_raw || object->objectCode == Mdp::ObjectVariable) {
            return RunEntry(context, 0);
        }
        const Mdp::Result<ObjectView> view = ViewObject(context.client, *object, context.language);
        if (!view) {
            return context.Fail(view.Error(), IndexText(m_address.index));
        }
        return PrintObject(context, *view);
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string& word) override {
        return positionals.empty() ? CompleteAddress(context, word) : std::vector<Candidate>();
    }

private:
    int RunEntry(const Context& context, std::uint8_t subIndex) const {
        const Mdp::Result<Mdp::Bytes> bytes = context.client.Read(m_address.index, subIndex);
        if (!bytes) {
            return context.Fail(bytes.Error(), EntryText(m_address.index, subIndex));
        }
        if (m_raw) {
            context.streams.out.write(reinterpret_cast<const char*>(bytes->data()),
                                      static_cast<std::streamsize>(bytes->size()));
            return ExitOk;
        }
        const auto entry = DescribeEntry(context.client, m_address.index, subIndex, context.language);
        if (!entry) {
            return context.Fail(entry.Error(), EntryText(m_address.index, subIndex));
        }
        const EntryView view{*entry, *bytes, {}};
        if (context.json) {
            Json json{{"index", IndexText(m_address.index)}};
            json.AddAll(EntryJson(view));
            context.Print(json);
        } else {
            context.streams.out << ValueCell(view).text << '\n';
        }
        return ExitOk;
    }

    int RunComplete(const Context& context) const {
        const std::uint8_t first = m_address.subIndex.value_or(0);
        const std::string subject = EntryText(m_address.index, first) + " complete";
        const auto complete = context.client.ReadComplete(m_address.index, first);
        if (!complete) {
            return context.Fail(complete.Error(), subject);
        }
        if (Mdp::IsError(complete->code) && complete->data.empty()) {
            return context.Fail({Mdp::ErrorKind::Object, complete->code, 0, {}}, subject);
        }
        const auto object = DescribeObject(context.client, m_address.index, context.language);
        if (!object) {
            return context.Fail(object.Error(), IndexText(m_address.index));
        }
        // Described after the read, which brought the lengths up to date.
        auto entries = DescribeEntries(context.client, *object, first, context.language);
        if (!entries) {
            return context.Fail(entries.Error(), IndexText(m_address.index));
        }
        ObjectView view{*object, std::move(*entries)};
        SplitComplete(view.entries, *complete);
        std::erase_if(view.entries, [](const EntryView& entry) { return !entry.value; });
        if (context.json) {
            Json json = ObjectJson(view);
            json.Add("hex", Mdp::ToHex(complete->data));
            if (Mdp::IsError(complete->code)) {
                json.Add("error", CodeJson(complete->code));
            }
            context.Print(json);
            return Mdp::IsError(complete->code) ? ExitObject : ExitOk;
        }
        if (view.entries.empty() && !complete->data.empty()) {
            context.streams.out << "0x" << Mdp::ToHex(complete->data) << '\n';
        } else {
            PrintTable(context, view);
        }
        if (Mdp::IsError(complete->code)) {
            return context.Fail({Mdp::ErrorKind::Object, complete->code, 0, {}}, subject);
        }
        return ExitOk;
    }

    static void PrintTable(const Context& context, const ObjectView& view) {
        Table table({"SUB", "NAME", "TYPE", "ACCESS", "VALUE"});
        table.NameColumn(1);
        table.AlignRight(0);
        for (const EntryView& entry : view.entries) {
            table.Add({std::to_string(entry.description.subIndex), PrintableText(entry.description.name),
                       Mdp::TypeName(entry.description.dataType), AccessText(entry.description), ValueCell(entry)});
        }
        context.Show(table);
    }

    static int PrintObject(const Context& context, const ObjectView& view) {
        if (context.json) {
            context.Print(ObjectJson(view));
        } else {
            PrintTable(context, view);
        }
        return ExitOk;
    }

    Address m_address;
    bool m_complete = false;
    bool m_raw = false;
};

} // namespace

std::unique_ptr<Command> MakeReadCommand() {
    return std::make_unique<ReadCommand>();
}

} // namespace MdpCommand
