#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// How a command tells what its command line takes. The parser, the help text and the completion all go by it.

namespace MdpCommand {

// What a word of a command line may become.
struct Candidate {
    std::string text;
    std::string description;
};

// Stands for the names of the shell's own files in the place of a candidate.
inline constexpr const char* s_completeFiles = ":files";

// Takes the text of an argument, which it may bring into another form. What is wrong with it, or nothing.
using TakeText = std::function<std::string(std::string& text)>;

enum class ArgumentKind { Positional, Option, Flag, Help, Version };

// Where the parsed value goes; the target outlives the parsing. Several texts take all words that are left or, as an
// option, one each time that it is given.
using ArgumentTarget =
    std::variant<std::monostate, bool*, std::string*, std::vector<std::string>*, double*, std::uint64_t*, TakeText>;

struct NumberRange {
    double low;
    double high;
};

// One positional, option or flag. The functions below declare more about it and give it back, to be chained.
struct Argument {
    ArgumentKind kind;
    std::string names; // "PATH" of a positional; "-a,--all" of an option, with commas between
    ArgumentTarget target;
    std::string description;

    bool required = false;
    bool showsDefault = false;
    TakeText take;                  // for each text of the target
    std::vector<std::string> words; // the only ones that it may be, if there are any
    std::optional<NumberRange> range;
    std::vector<const Argument*> needed;
    std::vector<const Argument*> excluded;
    std::vector<Candidate> candidates;

    Argument& Required();
    // The help text tells the value that the target has before.
    Argument& ShowDefault();
    Argument& Take(TakeText how);
    Argument& OneOf(std::vector<std::string> allowed);
    // A number within the limits; "nan" is none.
    Argument& InRange(double low, double high);
    // Other arguments of the same command without which, or with which, this one is wrong.
    Argument& Needs(const Argument& other);
    Argument& Excludes(const Argument& other);
    // What completion offers for the value of an option.
    Argument& Offer(std::vector<Candidate> offered);

    // An option that a value follows.
    bool TakesValue() const { return kind == ArgumentKind::Option; }

    // Each name of an option or flag; a positional has none.
    std::vector<std::string> OptionNames() const;
    bool IsNamed(const std::string& word) const;
};

// The arguments of one command, or those that all commands take. References to them stay valid.
class Arguments {
public:
    // With "--help", which everything has.
    Arguments();
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    // In the order of the command line.
    Argument& Positional(std::string name, ArgumentTarget target, std::string description);
    Argument& Option(std::string names, ArgumentTarget target, std::string description);
    Argument& Flag(std::string names, bool& target, std::string description);
    Argument& Version(std::string names, std::string description);

    const std::deque<Argument>& All() const { return m_all; }

    // The option or flag of that name, or null.
    const Argument* Find(const std::string& word) const;

private:
    Argument& Add(ArgumentKind kind, std::string names, ArgumentTarget target, std::string description);

    std::deque<Argument> m_all;
};

} // namespace MdpCommand
