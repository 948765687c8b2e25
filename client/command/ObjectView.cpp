#include "ObjectView.h"

#include "StandardObjects.h"
#include "Text.h"

namespace MdpCommand {

void SplitComplete(std::vector<EntryView>& entries, const Mdp::CompleteValue& complete) {
    const Mdp::ByteView data = complete.data;
    std::size_t offset = 0;
    std::size_t count = 0;
    while (count < entries.size() && entries[count].description.readable) {
        const std::size_t length = entries[count].description.bitLength / 8U;
        if (length > data.size() - offset || (offset == data.size() && length == 0)) {
            break;
        }
        offset += length;
        ++count;
    }
    const bool whole = !Mdp::IsError(complete.code) && count == entries.size();
    if (offset != data.size() || (!whole && !Mdp::IsError(complete.code))) {
        return;
    }
    offset = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t length = entries[i].description.bitLength / 8U;
        const Mdp::ByteView value = data.subspan(offset, length);
        entries[i].value = Mdp::Bytes(value.begin(), value.end());
        offset += length;
    }
}

Mdp::Result<Mdp::ObjectDescription> DescribeObject(const Mdp::Client& client, std::uint16_t index,
                                                   std::uint32_t language) {
    auto object = client.DescribeObject(index, language);
    if (object && object->name.empty()) {
        object->name = StandardName(index, language);
    }
    if (object && object->name.empty() && object->objectCode == Mdp::ObjectVariable) {
        if (auto entry = client.DescribeEntry(index, 0, language)) {
            object->name = std::move(entry->name);
        }
    }
    return object;
}

Mdp::Result<Mdp::EntryDescription> DescribeEntry(const Mdp::Client& client, std::uint16_t index, std::uint8_t subIndex,
                                                 std::uint32_t language) {
    auto entry = client.DescribeEntry(index, subIndex, language);
    if (entry && entry->name.empty()) {
        entry->name = StandardName(index, subIndex, language);
    }
    return entry;
}

Mdp::Result<std::vector<EntryView>> DescribeEntries(const Mdp::Client& client, const Mdp::ObjectDescription& object,
                                                    std::uint8_t first, std::uint32_t language) {
    std::vector<EntryView> entries;
    for (unsigned subIndex = first; subIndex < object.itemCount; ++subIndex) {
        auto entry = DescribeEntry(client, object.index, static_cast<std::uint8_t>(subIndex), language);
        if (!entry) {
            return entry.Error();
        }
        entries.push_back({std::move(*entry), std::nullopt, {}});
    }
    return entries;
}

Mdp::Result<ObjectView> ViewObject(const Mdp::Client& client, const Mdp::ObjectDescription& object,
                                   std::uint32_t language) {
    // Values first: the read brings the lengths that the descriptions then tell up to date.
    Mdp::CompleteValue complete{Mdp::OBJ_E_NODATA, {}};
    if (object.itemCount > 1) {
        Mdp::Result<Mdp::CompleteValue> read = client.ReadComplete(object.index);
        if (!read) {
            return read.Error();
        }
        complete = std::move(*read);
    }
    Mdp::Result<std::vector<EntryView>> entries = DescribeEntries(client, object, 0, language);
    if (!entries) {
        return entries.Error();
    }
    ObjectView view{object, std::move(*entries)};
    SplitComplete(view.entries, complete);
    for (EntryView& entry : view.entries) {
        if (!entry.description.readable || entry.value) {
            continue;
        }
        Mdp::Result<Mdp::Bytes> read = client.Read(object.index, entry.description.subIndex);
        if (read) {
            entry.value = std::move(*read);
        } else if (read.Error().kind == Mdp::ErrorKind::Object) {
            entry.error = read.Error();
        } else {
            return read.Error();
        }
    }
    return view;
}

Cell ValueCell(const EntryView& entry) {
    if (entry.value) {
        const Mdp::Value value = Mdp::DecodeValue(entry.description.dataType, *entry.value);
        const std::size_t digits = HexDigits(entry.description.index, entry.description.subIndex);
        return digits > 0 && value.kind == Mdp::ValueKind::Unsigned ? HexText(value.unsignedNumber, digits)
                                                                    : Mdp::FormatValue(value);
    }
    if (entry.error.code == 0) {
        return "";
    }
    const std::string name = Mdp::CodeName(entry.error.code);
    return {"<" + (name.empty() ? HexText(entry.error.code, 8) : name) + ">", Style::Code};
}

Json CodeJson(Mdp::Code code) {
    return {{"code", HexText(code, 8)}, {"name", Mdp::CodeName(code)}, {"text", Mdp::CodeText(code)}};
}

Json EntryJson(const EntryView& entry) {
    Json json{{"sub", entry.description.subIndex},
              {"name", TextJson(entry.description.name)},
              {"type", Mdp::TypeName(entry.description.dataType)},
              {"access", AccessText(entry.description)}};
    if (entry.value) {
        json.Add("value", ValueJson(Mdp::DecodeValue(entry.description.dataType, *entry.value)));
    } else if (entry.error.code != 0) {
        json.Add("error", CodeJson(entry.error.code));
    }
    return json;
}

Json ObjectJson(const ObjectView& view) {
    Json entries = Json::Array();
    for (const EntryView& entry : view.entries) {
        entries.Add(EntryJson(entry));
    }
    return {{"index", IndexText(view.description.index)},
            {"name", TextJson(view.description.name)},
            {"kind", Mdp::ObjectCodeName(view.description.objectCode)},
            {"entries", entries}};
}

} // namespace MdpCommand
