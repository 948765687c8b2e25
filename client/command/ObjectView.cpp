#include "ObjectView.h"

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "StandardObjects.h"
#include "Text.h"

namespace MdpCommand {
namespace {

const Mdp::Error s_gone{Mdp::ErrorKind::Object, Mdp::OBJ_E_INVALIDIDX, 0, {}};

bool IsGone(const Mdp::Error& error) {
    return error.kind == s_gone.kind && error.code == s_gone.code;
}

void NameByProfile(Mdp::EntryDescription& entry, std::uint32_t language) {
    if (entry.name.empty()) {
        entry.name = StandardName(entry.index, entry.subIndex, language);
    }
}

// Describes entries, those that are alike once. Any thread.
class Describer {
public:
    Describer(const Mdp::Client& client, std::uint32_t language) : m_client(client), m_language(language) {}

    Mdp::Result<Mdp::EntryDescription> Describe(const Mdp::ObjectDescription& object, std::uint8_t subIndex) {
        const auto kind = KindOfEntry(object, subIndex);
        std::optional<Mdp::EntryDescription> known = kind ? Find(*kind) : std::nullopt;
        if (!known) {
            auto described = m_client.DescribeEntry(object.index, subIndex, m_language);
            if (!described) {
                return described;
            }
            known = std::move(*described);
            if (kind) {
                Keep(*kind, *known);
            }
        }
        known->index = object.index;
        known->subIndex = subIndex;
        NameByProfile(*known, m_language);
        return std::move(*known);
    }

private:
    using Kind = std::pair<std::uint16_t, std::uint8_t>;

    std::optional<Mdp::EntryDescription> Find(const Kind& kind) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_known.find(kind);
        return found == m_known.end() ? std::nullopt : std::optional(found->second);
    }

    void Keep(const Kind& kind, const Mdp::EntryDescription& entry) {
        const std::lock_guard lock(m_mutex);
        m_known.emplace(kind, entry);
    }

    const Mdp::Client& m_client;
    const std::uint32_t m_language;
    std::mutex m_mutex;
    std::map<Kind, Mdp::EntryDescription> m_known;
};

// An object on its way into a view, which may vanish with its module meanwhile. The work on it runs on some threads;
// each entry is one thread's at a time.
class Viewing {
public:
    Viewing(const Mdp::Client& client, std::uint32_t language, Describer& describer, WorkQueue& queue,
            std::size_t number)
        : m_client(client), m_language(language), m_describer(describer), m_queue(queue), m_number(number) {}

    // Reads what comes in one transaction, and adds the rest of the work to the queue. Values first: the read brings
    // the lengths that the descriptions then tell up to date.
    Mdp::Result<void> Begin(const Mdp::ObjectDescription& object);
    // Describes the object, too.
    Mdp::Result<void> Begin(std::uint16_t index);

    // What became of it, when the queue has run without a failure. Nothing if it is gone.
    std::optional<ObjectView> Take();

private:
    Mdp::Result<void> Describe(std::uint8_t subIndex);
    Mdp::Result<void> Read(EntryView& entry) const;
    // All descriptions are there.
    void CutAndReadTheRest();

    const Mdp::Client& m_client;
    const std::uint32_t m_language;
    Describer& m_describer;
    WorkQueue& m_queue;
    const std::size_t m_number;
    ObjectView m_view;
    Mdp::CompleteValue m_complete{Mdp::OBJ_E_NODATA, {}};
    std::atomic<std::size_t> m_undescribed{0};
    std::atomic<bool> m_isGone{false};
};

Mdp::Result<void> Viewing::Begin(std::uint16_t index) {
    const auto object = DescribeObject(m_client, index, m_language);
    if (object) {
        return Begin(*object);
    }
    m_isGone = IsGone(object.Error());
    return m_isGone ? Mdp::Result<void>() : object.Error();
}

Mdp::Result<void> Viewing::Begin(const Mdp::ObjectDescription& object) {
    if (object.objectCode != Mdp::ObjectVariable) {
        auto read = m_client.ReadComplete(object.index);
        if (!read) {
            return read.Error();
        }
        m_complete = std::move(*read);
    }
    m_view.description = object;
    m_view.entries.resize(object.itemCount);
    m_undescribed = object.itemCount;
    for (unsigned subIndex = 0; subIndex < object.itemCount; ++subIndex) {
        m_queue.Add(m_number, [this, subIndex] { return Describe(static_cast<std::uint8_t>(subIndex)); });
    }
    return {};
}

Mdp::Result<void> Viewing::Describe(std::uint8_t subIndex) {
    auto entry = m_describer.Describe(m_view.description, subIndex);
    if (entry) {
        m_view.entries[subIndex].description = std::move(*entry);
    } else if (IsGone(entry.Error())) {
        m_isGone = true;
    } else {
        return entry.Error();
    }
    if (--m_undescribed == 0 && !m_isGone) {
        CutAndReadTheRest();
    }
    return {};
}

void Viewing::CutAndReadTheRest() {
    SplitComplete(m_view.entries, m_complete);
    for (EntryView& entry : m_view.entries) {
        if (entry.description.readable && !entry.value) {
            m_queue.Add(m_number, [this, &entry] { return Read(entry); });
        }
    }
}

Mdp::Result<void> Viewing::Read(EntryView& entry) const {
    auto read = m_client.Read(entry.description.index, entry.description.subIndex);
    if (read) {
        entry.value = std::move(*read);
    } else if (read.Error().kind == Mdp::ErrorKind::Object) {
        entry.error = read.Error();
    } else {
        return read.Error();
    }
    return {};
}

std::optional<ObjectView> Viewing::Take() {
    return m_isGone ? std::nullopt : std::optional(std::move(m_view));
}

} // namespace

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
    if (entry) {
        NameByProfile(*entry, language);
    }
    return entry;
}

Mdp::Result<std::vector<EntryView>> DescribeEntries(const Mdp::Client& client, const Mdp::ObjectDescription& object,
                                                    std::uint8_t first, std::uint32_t language) {
    std::vector<EntryView> entries(object.itemCount > first ? object.itemCount - first : 0U);
    WorkQueue queue;
    for (unsigned subIndex = first; subIndex < object.itemCount; ++subIndex) {
        EntryView& view = entries[subIndex - first];
        queue.Add(subIndex, [&, subIndex]() -> Mdp::Result<void> {
            auto entry = DescribeEntry(client, object.index, static_cast<std::uint8_t>(subIndex), language);
            if (!entry) {
                return entry.Error();
            }
            view.description = std::move(*entry);
            return {};
        });
    }
    if (auto failure = queue.Run()) {
        return std::move(failure->error);
    }
    return entries;
}

Mdp::Result<ObjectView> ViewObject(const Mdp::Client& client, const Mdp::ObjectDescription& object,
                                   std::uint32_t language) {
    WorkQueue queue;
    Describer describer(client, language);
    Viewing viewing(client, language, describer, queue, 0);
    if (const auto begun = viewing.Begin(object); !begun) {
        return begun.Error();
    }
    if (auto failure = queue.Run()) {
        return std::move(failure->error);
    }
    auto view = viewing.Take();
    return view ? Mdp::Result<ObjectView>(std::move(*view)) : s_gone;
}

ObjectViews ViewObjects(const Mdp::Client& client, const std::vector<std::uint16_t>& indexes, std::uint32_t language) {
    WorkQueue queue;
    Describer describer(client, language);
    std::deque<Viewing> all; // stays in its place
    for (const std::uint16_t index : indexes) {
        Viewing& one = all.emplace_back(client, language, describer, queue, all.size());
        queue.Add(all.size() - 1, [&one, index] { return one.Begin(index); });
    }
    ObjectViews views{{}, queue.Run()};
    if (!views.failure) {
        for (Viewing& one : all) {
            if (auto view = one.Take()) {
                views.objects.push_back(std::move(*view));
            }
        }
    }
    return views;
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
