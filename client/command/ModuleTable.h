#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Reader.h"
#include "mdp/Client.h"

// Modules that publish a table: an array a column, whose elements of one sub-index belong together.

namespace MdpCommand {

// The table of one module at one moment.
class ModuleTable {
public:
    // Column k is the module's data object k; the key column tells the rows apart.
    ModuleTable(const Mdp::Client& client, const Mdp::Module& module, unsigned keyColumn);

    std::size_t Rows() const { return m_keys.size(); }

    const std::vector<std::string>& Keys() const { return m_keys; }

    // The value in the row, counted from 0. None, or an empty text, where the machine has no value.
    std::string Text(unsigned column, std::size_t row);
    std::optional<std::int64_t> Number(unsigned column, std::size_t row);

    // What kept the table from being read.
    const std::optional<Mdp::Error>& Failure() const { return m_noCount ? m_noCount : m_reader.Failure(); }

private:
    std::optional<Mdp::Bytes> Read(unsigned column, std::size_t row);

    Reader m_reader;
    const Mdp::Module& m_module;
    std::vector<std::string> m_keys;
    std::optional<Mdp::Error> m_noCount;
};

// "75% [########  ]", "-" for none. The bar stays between empty and full.
std::string PercentText(const std::optional<std::int64_t>& percent);

// The rows of all modules of the type. A table may be made anew while it is read: then it is read again.
template <typename Row>
Mdp::Result<std::vector<Row>> ReadModuleTable(const Mdp::Client& client, std::uint16_t moduleType, unsigned keyColumn,
                                              Mdp::Result<std::vector<Row>> (*readRows)(ModuleTable&)) {
    constexpr int tries = 5;
    const auto modules = client.ListModules(moduleType);
    if (!modules) {
        return modules.Error();
    }
    std::vector<Row> all;
    for (const Mdp::Module& module : *modules) {
        for (int left = tries;;) {
            ModuleTable table(client, module, keyColumn);
            auto rows = readRows(table);
            const bool isSame = ModuleTable(client, module, keyColumn).Keys() == table.Keys();
            if (isSame || --left == 0) {
                if (!rows) {
                    return rows.Error();
                }
                all.insert(all.end(), rows->begin(), rows->end());
                break;
            }
        }
    }
    return all;
}

} // namespace MdpCommand
