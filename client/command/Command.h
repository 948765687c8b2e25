#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Json.h"
#include "Streams.h"
#include "Table.h"
#include "mdp/Client.h"

// The mdp command: one class a command, one table of all commands. To add one:
//  1. FooCommand.cpp holds a class derived from Command in an unnamed namespace and, at its end, MakeFooCommand, which
//     makes one (see WriteCommand.cpp for a short one). Commands.h declares the maker; s_commands in Command.cpp has a
//     row with its name and summary; CMakeLists.txt has the file.
//  2. Declare tells what the command line takes (Arguments.h): parser, help text and completion go by it. Values arrive
//     in members; words are looked at by TakeAddress (Text.h), TakeRemotePath (RemoteFiles.h) or the like.
//  3. Run asks context.client, gives a Table (Table.h) to context.Show or, if context.json is set, a Json (Json.h) of
//     the same to context.Print, and returns ExitOk. What fails is returned as context.Fail(...).
//     Texts of the machine go through PrintableText or TextJson: they may hold anything.
//  4. With --host, Run runs for each machine in a process of its own, in which context.host names it; files of this
//     side are then not the machine's. Prepare does what is to be done once for several machines, or cannot be done.
//  5. Complete offers what a positional may become, if the machine knows.
//  6. docs/man/mdp.1 tells of it; tests/unit/client has a fixture (CommandsTest.h) with a machine made up by the test.
// No file of a command includes the libraries for JSON or the command line: they take seconds to compile.

namespace MdpCommand {

class Report;

// What mdp ends with.
enum ExitStatus : int {
    ExitOk = 0,
    ExitObject = 1,    // the service answered with an error code
    ExitUsage = 2,     // the command line, or a value in it, cannot be used
    ExitTransport = 3, // no connection, no answer, or not in time
    ExitLocal = 4,     // a file of this side could not be read or written
    ExitRunning = 5,   // the time for a job ran out; it goes on in the service
    // With several machines:
    ExitSomeFailed = 6,    // the command failed on one at least
    ExitSomeUnreached = 7, // it did not, but one at least could not be reached, or gave no answer
};

// How long a job may run before the user is told what mdp waits for.
inline constexpr Mdp::Milliseconds s_noticeAfter{10000};

// What every command is given.
struct Context {
    Mdp::Client client;
    Streams streams;
    bool json = false;
    std::uint32_t language = Mdp::LanguageDefault;
    Mdp::Milliseconds jobTimeout{0}; // 0 waits for ever
    bool isStream = false;
    Mdp::Milliseconds noticeAfter = s_noticeAfter;
    std::string host = {};          // the other machine that the client leads to; empty: this one
    const Report* report = nullptr; // set where it is one of several machines

    // What follows is shown at once, and JSON is one object a line.
    void BeginStream();

    // For a job: it ends with --timeout, and the user is told what is waited for when it takes long.
    Mdp::CallOptions JobOptions(const std::string& subject) const;

    // Tells a failure, on the error stream or, with --json, as an object on the output, and gives the status to end
    // with. The subject, which may be empty, is what the failure is about.
    int Fail(const Mdp::Error& error, const std::string& subject) const;
    // The same for a failure that the service has no code for.
    int Fail(ExitStatus status, const std::string& message) const;
    // For Prepare, of a command that gives bytes as they are.
    int FailRaw() const;

    void Print(const Json& json) const;
    void Show(const Table& table) const;

private:
    void TellFailure(const std::string& message, const Json& error) const;
};

class Command {
public:
    virtual ~Command() = default;

    // Tells the arguments, whose targets are members. A command without any says nothing.
    virtual void Declare(Arguments& /*arguments*/) {}

    virtual int Run(const Context& context) = 0;

    // The machine that the arguments name, in the form of --host; empty if they name none.
    virtual std::string NamedHost() const { return ""; }

    // Before Run is called for several machines; its client leads nowhere. Not ExitOk: nothing is run.
    virtual int Prepare(const Context& /*context*/) { return ExitOk; }

    // Candidates for the word behind the given positional ones; those that do not begin like it are left out later.
    virtual std::vector<Candidate> Complete(const Context&, const std::vector<std::string>& /*positionals*/,
                                            const std::string& /*word*/) {
        return {};
    }
};

struct CommandRow {
    const char* name;
    const char* summary;
    std::unique_ptr<Command> (*make)();
};

// All commands, in the order of the help text.
std::span<const CommandRow> Commands();

// Runs one command line, without the program's name in front, and gives the exit status.
int RunMdp(std::vector<std::string> arguments, Streams streams, Mdp::Milliseconds noticeAfter = s_noticeAfter);

} // namespace MdpCommand
