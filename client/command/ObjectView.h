#pragma once

#include <optional>
#include <vector>

#include "Command.h"
#include "Table.h"
#include "WorkQueue.h"
#include "mdp/Value.h"

// An object with its entries and their values, as read and tree show it.

namespace MdpCommand {

struct EntryView {
    Mdp::EntryDescription description;
    std::optional<Mdp::Bytes> value;
    Mdp::Error error; // why there is no value, for a readable entry
};

struct ObjectView {
    Mdp::ObjectDescription description;
    std::vector<EntryView> entries; // by sub-index
};

// As the client's, with the profile's names for what the dictionary leaves without one. An unnamed variable has the
// name of its entry.
Mdp::Result<Mdp::ObjectDescription> DescribeObject(const Mdp::Client& client, std::uint16_t index,
                                                   std::uint32_t language);
Mdp::Result<Mdp::EntryDescription> DescribeEntry(const Mdp::Client& client, std::uint16_t index, std::uint8_t subIndex,
                                                 std::uint32_t language);

// Describes all entries of the object and reads the readable ones, some at a time. An entry that cannot be read has its
// error in the view; only a failure to describe or to reach the service fails the whole.
Mdp::Result<ObjectView> ViewObject(const Mdp::Client& client, const Mdp::ObjectDescription& object,
                                   std::uint32_t language);

// Views of some objects, in the order in which they were asked for, or the failure that left none. Its number is that
// of the object that could not be viewed.
struct ObjectViews {
    std::vector<ObjectView> objects;
    std::optional<WorkQueue::Failure> failure;
};

// The same for some objects, some transactions at a time. An object that is not there is left out: it may vanish with
// its module at any moment.
ObjectViews ViewObjects(const Mdp::Client& client, const std::vector<std::uint16_t>& indexes, std::uint32_t language);

// The descriptions of the object's entries from the first on, without values. Some transactions at a time.
Mdp::Result<std::vector<EntryView>> DescribeEntries(const Mdp::Client& client, const Mdp::ObjectDescription& object,
                                                    std::uint8_t first, std::uint32_t language);

// Cuts the bytes of a complete read into the entries' values, by the lengths that the descriptions tell. Values from
// the entry on at which the read stopped, or all if the lengths do not fit the bytes, stay empty.
void SplitComplete(std::vector<EntryView>& entries, const Mdp::CompleteValue& complete);

// The value, or what is in its place: the name of the error, or nothing for an entry that is write-only.
Cell ValueCell(const EntryView& entry);

// JSON objects of a whole object, an entry and an error code.
Json ObjectJson(const ObjectView& view);
Json EntryJson(const EntryView& entry);
Json CodeJson(Mdp::Code code);

} // namespace MdpCommand
