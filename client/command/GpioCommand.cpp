#include "Commands.h"

#include "Sensors.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

constexpr unsigned s_pins = 7; // data objects of the mainboard
constexpr unsigned s_directions = 8;
constexpr std::uint8_t s_pinCount = 8;

class GpioCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("ACTION", &m_action, "set drives a pin; without it all pins are shown").OneOf({"set"});
        arguments.Positional("PIN", &m_pin, "the number of the pin, 0 to 7");
        arguments.Positional("VALUE", &m_value, "0 or 1").OneOf({"0", "1"});
    }

    int Run(const Context& context) override {
        std::uint8_t subIndex = 0;
        if (!m_action.empty()) {
            const auto pin = ParseNumber(m_pin, s_pinCount - 1U);
            if (!pin || m_value.empty()) {
                return context.Fail(ExitUsage, "name a pin from 0 to 7 and 0 or 1: mdp gpio set PIN 0|1");
            }
            subIndex = static_cast<std::uint8_t>(*pin + 1);
        }
        const auto board = FindModuleOf(context.client, s_moduleTypeMainboard, "mainboard with GPIO pins");
        if (!board) {
            return context.Fail(board.Error(), "finding the pins");
        }
        return m_action.empty() ? Show(context, *board) : Set(context, *board, subIndex);
    }

    std::vector<Candidate> Complete(const Context&, const std::vector<std::string>& positionals,
                                    const std::string&) override {
        if (positionals.empty()) {
            return {{"set", "drive a pin"}};
        }
        std::vector<Candidate> candidates;
        const int last = positionals.size() == 1 ? s_pinCount - 1 : 1;
        for (int number = 0; number <= last && positionals.size() <= 2; ++number) {
            candidates.push_back({std::to_string(number), ""});
        }
        return candidates;
    }

private:
    static int Show(const Context& context, const Mdp::Module& board) {
        Reader reader(context.client);
        Table table({"PIN", "DIRECTION", "VALUE"});
        table.NameColumn(0);
        table.AlignRight(2);
        Json list = Json::Array();
        for (std::uint8_t pin = 0; pin < s_pinCount; ++pin) {
            const auto subIndex = static_cast<std::uint8_t>(pin + 1);
            const auto value = reader.Number(board.Data(s_pins), subIndex, Mdp::TypeUnsigned8);
            const auto mask = reader.Number(board.Data(s_directions), subIndex, Mdp::TypeUnsigned8);
            const char* direction = mask == 0 ? "out" : "in";
            table.Add({std::to_string(pin), mask ? direction : "-", NumberText(value)});
            list.Add({{"pin", pin}, {"direction", mask ? Json(direction) : Json()}, {"value", NumberJson(value)}});
        }
        if (reader.Failure()) {
            return context.Fail(*reader.Failure(), "reading the pins");
        }
        if (context.json) {
            context.Print(list);
        } else {
            context.Show(table);
        }
        return ExitOk;
    }

    int Set(const Context& context, const Mdp::Module& board, std::uint8_t subIndex) const {
        const std::uint8_t value = m_value == "1" ? 1 : 0;
        const auto written = context.client.Write(board.Data(s_pins), subIndex, Mdp::Bytes{value});
        if (!written) {
            return context.Fail(written.Error(), "pin " + m_pin);
        }
        if (context.json) {
            context.Print({{"pin", static_cast<unsigned>(subIndex - 1)}, {"value", value}});
        }
        return ExitOk;
    }

    std::string m_action;
    std::string m_pin;
    std::string m_value;
};

} // namespace

std::unique_ptr<Command> MakeGpioCommand() {
    return std::make_unique<GpioCommand>();
}

} // namespace MdpCommand
