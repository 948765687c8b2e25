#include "ObjectView.h"

#include <fmt/format.h>

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

Mdp::Result<ObjectView> ViewObject(const Mdp::Client& client, std::uint16_t index, std::uint32_t language) {
    Mdp::Result<Mdp::ObjectDescription> object = client.DescribeObject(index, language);
    if (!object) {
        return object.Error();
    }
    ObjectView view{std::move(*object), {}};
    // Values first: the read brings the lengths that the descriptions then tell up to date.
    Mdp::CompleteValue complete{Mdp::OBJ_E_NODATA, {}};
    if (view.description.itemCount > 1) {
        Mdp::Result<Mdp::CompleteValue> read = client.ReadComplete(index);
        if (!read) {
            return read.Error();
        }
        complete = std::move(*read);
    }
    for (unsigned subIndex = 0; subIndex < view.description.itemCount; ++subIndex) {
        Mdp::Result<Mdp::EntryDescription> entry =
            client.DescribeEntry(index, static_cast<std::uint8_t>(subIndex), language);
        if (!entry) {
            return entry.Error();
        }
        view.entries.push_back({std::move(*entry), std::nullopt, {}});
    }
    SplitComplete(view.entries, complete);
    for (EntryView& entry : view.entries) {
        if (!entry.description.readable || entry.value) {
            continue;
        }
        Mdp::Result<Mdp::Bytes> read = client.Read(index, entry.description.subIndex);
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

std::string ValueText(const EntryView& entry) {
    if (entry.value) {
        return Mdp::FormatValue(entry.description.dataType, *entry.value);
    }
    if (!entry.description.readable) {
        return "";
    }
    const std::string name = Mdp::CodeName(entry.error.code);
    return "<" + (name.empty() ? fmt::format("0x{:08X}", entry.error.code) : name) + ">";
}

Json EntryJson(const EntryView& entry) {
    Json json{{"sub", entry.description.subIndex},
              {"name", TextJson(entry.description.name)},
              {"type", Mdp::TypeName(entry.description.dataType)},
              {"access", AccessText(entry.description)}};
    if (entry.value) {
        json["value"] = ValueJson(Mdp::DecodeValue(entry.description.dataType, *entry.value));
    } else if (entry.description.readable) {
        json["error"] = {{"code", fmt::format("0x{:08X}", entry.error.code)},
                         {"name", Mdp::CodeName(entry.error.code)},
                         {"text", Mdp::CodeText(entry.error.code)}};
    }
    return json;
}

} // namespace MdpCommand
