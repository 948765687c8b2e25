#include "Commands.h"

#include <ctime>

#include <algorithm>
#include <array>
#include <map>
#include <ostream>
#include <thread>

#include "Completion.h"
#include "ObjectView.h"
#include "Text.h"

namespace MdpCommand {
namespace {

std::string TimeOfDay() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, 16> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return {text.data(), length};
}

class WatchCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("INDEX[:SUB]", &m_words, "what to watch; without SUB all entries of the object")
            .Required();
        arguments.Option("--period", &m_period, "seconds between two looks").InRange(0.01, 86400.0).ShowDefault();
        arguments.Option("--count", &m_count, "end after so many looks; for ever if not given").InRange(1, 1e9);
    }

    int Run(const Context& given) override {
        Context context = given;
        context.BeginStream();
        std::vector<EntryView> entries;
        for (const std::string& word : m_words) {
            const auto address = ParseAddress(word);
            if (!address) {
                return context.Fail(ExitUsage, "\"" + word + "\" does not have the form 0x8011 or 0x8011:2");
            }
            if (const Mdp::Result<void> added = Add(context, *address, entries); !added) {
                return context.Fail(added.Error(), word);
            }
        }
        auto next = std::chrono::steady_clock::now();
        for (std::uint64_t round = 1;; ++round) {
            for (EntryView& entry : entries) {
                if (const Mdp::Result<void> looked = Look(context, entry, round == 1); !looked) {
                    return context.Fail(looked.Error(), EntryText(entry.description.index, entry.description.subIndex));
                }
            }
            // A reader that has gone ends it.
            if (round == m_count || !context.streams.out.flush()) {
                return ExitOk;
            }
            // What was missed while the program was stopped is not made up for.
            next = std::max(next + std::chrono::milliseconds(static_cast<long long>(m_period * 1000)),
                            std::chrono::steady_clock::now());
            std::this_thread::sleep_until(next);
        }
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>&,
                                    const std::string& word) override {
        return CompleteAddress(context, word);
    }

private:
    static Mdp::Result<void> Add(const Context& context, const Address& address, std::vector<EntryView>& entries) {
        if (address.subIndex) {
            auto entry = DescribeEntry(context.client, address.index, *address.subIndex, context.language);
            if (!entry) {
                return entry.Error();
            }
            entries.push_back({std::move(*entry), std::nullopt, {}});
            return {};
        }
        const auto object = DescribeObject(context.client, address.index, context.language);
        if (!object) {
            return object.Error();
        }
        auto all = DescribeEntries(context.client, *object, 0, context.language);
        if (!all) {
            return all.Error();
        }
        for (EntryView& entry : *all) {
            if (entry.description.readable) {
                entries.push_back(std::move(entry));
            }
        }
        return {};
    }

    // Reads the entry and shows it if its value, or the code in its place, is another than before.
    static Mdp::Result<void> Look(const Context& context, EntryView& entry, bool first) {
        const Mdp::EntryDescription& description = entry.description;
        Mdp::Result<Mdp::Bytes> read = context.client.Read(description.index, description.subIndex);
        if (!read && read.Error().kind != Mdp::ErrorKind::Object) {
            return read.Error();
        }
        EntryView now{description, std::nullopt, {}};
        if (read) {
            now.value = std::move(*read);
        } else {
            now.error = read.Error();
        }
        if (!first && now.value == entry.value && now.error.code == entry.error.code) {
            return {};
        }
        entry = std::move(now);
        if (context.json) {
            Json json{{"time", TimeOfDay()}, {"index", IndexText(entry.description.index)}};
            json.AddAll(EntryJson(entry));
            context.Print(json);
            context.streams.out.flush();
        } else {
            const Cell value = ValueCell(entry);
            const bool inColour = context.streams.outInColour;
            context.streams.out << TimeOfDay() << "  " << EntryText(entry.description.index, entry.description.subIndex)
                                << "  " << Styled(PrintableText(entry.description.name), Style::Name, inColour) << "  "
                                << Styled(value.text, value.style, inColour) << std::endl;
        }
        return {};
    }

    std::vector<std::string> m_words;
    double m_period = 1;
    std::uint64_t m_count = 0; // 0 goes on for ever
};

} // namespace

std::unique_ptr<Command> MakeWatchCommand() {
    return std::make_unique<WatchCommand>();
}

} // namespace MdpCommand
