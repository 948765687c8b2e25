#include "Arguments.h"

#include <algorithm>

namespace MdpCommand {

Argument& Argument::Required() {
    required = true;
    return *this;
}

Argument& Argument::ShowDefault() {
    showsDefault = true;
    return *this;
}

Argument& Argument::Take(TakeText how) {
    take = std::move(how);
    return *this;
}

Argument& Argument::OneOf(std::vector<std::string> allowed) {
    words = std::move(allowed);
    return *this;
}

Argument& Argument::InRange(double low, double high) {
    range = NumberRange{low, high};
    return *this;
}

Argument& Argument::Needs(const Argument& other) {
    needed.push_back(&other);
    return *this;
}

Argument& Argument::Excludes(const Argument& other) {
    excluded.push_back(&other);
    return *this;
}

Argument& Argument::Offer(std::vector<Candidate> offered) {
    candidates = std::move(offered);
    return *this;
}

std::vector<std::string> Argument::OptionNames() const {
    std::vector<std::string> all;
    if (kind == ArgumentKind::Positional) {
        return all;
    }
    std::size_t begin = 0;
    while (begin <= names.size()) {
        const std::size_t end = std::min(names.find(',', begin), names.size());
        all.push_back(names.substr(begin, end - begin));
        begin = end + 1;
    }
    return all;
}

bool Argument::IsNamed(const std::string& word) const {
    const std::vector<std::string> all = OptionNames();
    return std::find(all.begin(), all.end(), word) != all.end();
}

Arguments::Arguments() {
    Add(ArgumentKind::Help, "-h,--help", {}, "Print this help message and exit");
}

Argument& Arguments::Positional(std::string name, ArgumentTarget target, std::string description) {
    return Add(ArgumentKind::Positional, std::move(name), std::move(target), std::move(description));
}

Argument& Arguments::Option(std::string names, ArgumentTarget target, std::string description) {
    return Add(ArgumentKind::Option, std::move(names), std::move(target), std::move(description));
}

Argument& Arguments::Flag(std::string names, bool& target, std::string description) {
    return Add(ArgumentKind::Flag, std::move(names), &target, std::move(description));
}

Argument& Arguments::Version(std::string names, std::string description) {
    return Add(ArgumentKind::Version, std::move(names), {}, std::move(description));
}

const Argument* Arguments::Find(const std::string& word) const {
    const auto found =
        std::find_if(m_all.begin(), m_all.end(), [&](const Argument& argument) { return argument.IsNamed(word); });
    return found == m_all.end() ? nullptr : &*found;
}

Argument& Arguments::Add(ArgumentKind kind, std::string names, ArgumentTarget target, std::string description) {
    Argument& added = m_all.emplace_back();
    added.kind = kind;
    added.names = std::move(names);
    added.target = std::move(target);
    added.description = std::move(description);
    return added;
}

} // namespace MdpCommand
