#include "Commands.h"

#include <cerrno>
#include <ostream>

#include "RemoteFiles.h"
#include "Table.h"
#include "Text.h"

namespace MdpCommand {
namespace {

class ListCommand : public Command {
public:
    void Declare(Arguments& arguments) override {
        arguments.Positional("PATH", &m_path, "a directory, a file or a pattern such as '/etc/*.conf'; / if not given")
            .Take(TakeRemotePath());
        arguments.Flag("-a,--all", m_all, "also names that begin with a dot");
        arguments.Flag("-1,--names", m_names, "only names, one a line");
    }

    int Run(const Context& context) override {
        const auto files = FindFiles(context, m_path);
        if (!files) {
            return context.Fail(files.Error(), m_path);
        }
        const auto status = files->Status(m_path);
        if (!status) {
            return FailFile(context, FileAction::List, status.Error(), m_path);
        }
        Mdp::Listing listing;
        if (*status && (*status)->isDirectory) {
            const std::string inside = JoinPath(Mdp::EscapePattern(m_path), "");
            for (const char* pattern : {".*", "*"}) {
                if (pattern[0] == '.' && !m_all) {
                    continue;
                }
                // A directory without such names is one, too.
                auto part = files->List(inside + pattern);
                if (part) {
                    Append(listing, *part);
                } else if (part.Error().code != (Mdp::OBJ_E_OS_BASE | ENOENT)) {
                    return FailFile(context, FileAction::List, part.Error(), m_path);
                }
            }
        } else {
            auto matches = files->List(*status ? Mdp::EscapePattern(m_path) : m_path);
            if (!matches) {
                return FailFile(context, FileAction::List, matches.Error(), m_path);
            }
            listing = std::move(*matches);
        }
        Show(context, listing);
        return ExitOk;
    }

    std::vector<Candidate> Complete(const Context& context, const std::vector<std::string>& positionals,
                                    const std::string& word) override {
        return positionals.empty() ? CompleteRemote(context, word) : std::vector<Candidate>();
    }

private:
    static void Append(Mdp::Listing& listing, const Mdp::Listing& part) {
        listing.directories.insert(listing.directories.end(), part.directories.begin(), part.directories.end());
        listing.files.insert(listing.files.end(), part.files.begin(), part.files.end());
    }

    void Show(const Context& context, const Mdp::Listing& listing) const {
        if (context.json) {
            Json directories = Json::Array();
            for (const std::string& name : listing.directories) {
                directories.Add({{"name", TextJson(name)}});
            }
            Json files = Json::Array();
            for (const Mdp::RemoteFile& file : listing.files) {
                files.Add({{"name", TextJson(file.name)}, {"size", file.size}});
            }
            context.Print({{"path", TextJson(m_path)}, {"directories", directories}, {"files", files}});
            return;
        }
        if (m_names) {
            for (const std::string& name : listing.directories) {
                context.streams.out << PrintableText(name) << '\n';
            }
            for (const Mdp::RemoteFile& file : listing.files) {
                context.streams.out << PrintableText(file.name) << '\n';
            }
            return;
        }
        Table table({"SIZE", "NAME"});
        table.NameColumn(1);
        table.AlignRight(0);
        for (const std::string& name : listing.directories) {
            table.Add({"-", PrintableText(name) + "/"});
        }
        for (const Mdp::RemoteFile& file : listing.files) {
            table.Add({std::to_string(file.size), PrintableText(file.name)});
        }
        context.Show(table);
    }

    std::string m_path = "/";
    bool m_all = false;
    bool m_names = false;
};

} // namespace

std::unique_ptr<Command> MakeListCommand() {
    return std::make_unique<ListCommand>();
}

} // namespace MdpCommand
