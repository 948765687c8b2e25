#include "Commands.h"

#include "Completion.h"
#include "Text.h"

namespace MdpCommand {
namespace {

class WriteCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments
            .Positional("INDEX:SUB", TakeAddress(m_address), "the entry to write; SUB may be left out for a variable")
            .Required();
        arguments
            .Positional("VALUE", &m_value,
                        "a number, true or false, a text, or hexadecimal digits, as the entry's type needs")
            .Required();
    }

    int Run(const Context& context) override {
        const std::uint8_t subIndex = m_address.subIndex.value_or(0);
        const std::string subject = EntryText(m_address.index, subIndex);
        const auto entry = context.client.DescribeEntry(m_address.index, subIndex, context.language);
        if (!entry) {
            return context.Fail(entry.Error(), subject);
        }
        const Mdp::Result<Mdp::Bytes> bytes = Mdp::EncodeValue(entry->dataType, m_value);
        if (!bytes) {
            return context.Fail(bytes.Error(), subject);
        }
        if (const Mdp::Result<void> written = context.client.Write(m_address.index, subIndex, *bytes); !written) {
            return context.Fail(written.Error(), subject);
        }
        if (context.json) {
            context.Print({{"index", IndexText(m_address.index)}, {"sub", subIndex}, {"written", bytes->size()}});
        }
        return ExitOk;
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string& word) override {
        return positionals.empty() ? CompleteAddress(context, word) : std::vector<Candidate>();
    }

private:
    Address m_address;
    std::string m_value;
};

} // namespace

std::unique_ptr<Command> MakeWriteCommand() {
    return std::make_unique<WriteCommand>();
}

} // namespace MdpCommand
