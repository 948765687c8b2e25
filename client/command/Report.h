#pragma once

#include <cstdint>
#include <functional>
#include <streambuf>
#include <string>
#include <string_view>

#include "Table.h"

// What a command that runs for one of several machines, in a process of its own, tells the process that gathers it all.

namespace MdpCommand {

enum class ReportKind : std::uint8_t {
    Text, // of the output
    Table,
    Document,    // JSON
    Failure,     // a failure in words
    ErrorObject, // the same as JSON
    Stream,      // what follows is to be shown at once
};

// The end that tells.
class Report {
public:
    // The pipe is the caller's.
    explicit Report(int descriptor) : m_descriptor(descriptor) {}

    // False once nobody listens.
    bool Tell(ReportKind kind, std::string_view content) const;
    bool Tell(const Table& table) const;

private:
    int m_descriptor;
};

// An output whose texts are told when it is flushed.
class ReportOutput : public std::streambuf {
public:
    explicit ReportOutput(const Report& report) : m_report(report) {}

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int sync() override;

private:
    const Report& m_report;
    std::string m_text;
};

// The end that listens: takes the bytes of a pipe as they come.
class ReportReader {
public:
    using Take = std::function<void(ReportKind kind, const std::string& content)>;

    // Each report that is whole now is given once.
    void Add(std::string_view bytes, const Take& take);

private:
    std::string m_bytes;
};

// The table of a report's content. Rubbish makes an empty one.
Table TableOf(std::string_view content);

} // namespace MdpCommand
