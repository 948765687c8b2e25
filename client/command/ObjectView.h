#pragma once

#include <optional>
#include <vector>

#include "Command.h"
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

// Describes the object and all its entries and reads the readable ones. An entry that cannot be read has its error in
// the view; only a failure to describe or to reach the service fails the whole.
Mdp::Result<ObjectView> ViewObject(const Mdp::Client& client, std::uint16_t index, std::uint32_t language);

// Cuts the bytes of a complete read into the entries' values, by the lengths that the descriptions tell. Values from
// the entry on at which the read stopped, or all if the lengths do not fit the bytes, stay empty.
void SplitComplete(std::vector<EntryView>& entries, const Mdp::CompleteValue& complete);

// The value, or what is in its place: the name of the error, or nothing for an entry that is write-only.
std::string ValueText(const EntryView& entry);

// The members of an entry's JSON object.
Json EntryJson(const EntryView& entry);

} // namespace MdpCommand
