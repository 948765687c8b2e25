#include "Dictionary.h"

#include <algorithm>

#include "mdp/Value.h"

namespace Gateway {
namespace {

constexpr std::uint16_t s_deviceType = 0x1000;
constexpr std::uint16_t s_moduleAddresses = 0xF020;
constexpr std::uint16_t s_moduleNames = 0xF060;

std::uint32_t Identifier(Language language) {
    return language == Language::German ? Mdp::LanguageGerman : Mdp::LanguageEnglish;
}

std::uint64_t NumberOf(Mdp::ByteView bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) {
        number = number << 8 | bytes[i - 1];
    }
    return number;
}

constexpr std::pair<std::uint16_t, const char*> s_typeNames[] = {
    {TypeNic, "Nic"},
    {TypeTime, "Time"},
    {TypeUsers, "User Management"},
    {TypeRuntime, "Zelmora"},
    {TypeSoftware, "Software"},
    {TypeProcessor, "CPU"},
    {TypeMemory, "Memory"},
    {TypeFiles, "FSO"},
    {TypeOperatingSystem, "OperatingSystem"},
    {TypeFan, "FAN"},
    {TypeMainboard, "MAINBOARD"},
    {TypeDiskManagement, "DiskManagement"},
    {TypeUps, "UPS"},
    {TypeMassStorage, "MassStorageMonitoring"},
    {TypeIo, "IO"},
};

// The values of a complete read, as far as it shows where one ends and the next begins: up to the first text. Numbers
// have as many bytes as they had before: not always those of their type. None where that does not fit.
std::optional<std::size_t> Split(const ObjectValues& before, Mdp::ByteView data, bool isWhole,
                                 std::vector<EntryValue>& entries) {
    const ObjectShape& shape = *before.shape;
    std::size_t count = 0;
    std::size_t offset = 0;
    bool isText = false;
    for (; count < shape.entries.size() && offset < data.size(); ++count) {
        const auto& known = before.entries[count].value;
        isText = Mdp::TypeSize(shape.entries[count].type) == 0;
        // Entry 0 takes two bytes here, though it is a number of one.
        const std::size_t size = count == 0 ? 2 : known ? known->size() : 0;
        if (isText || size == 0 || size > data.size() - offset) {
            break;
        }
        const Mdp::ByteView value = data.subspan(offset, count == 0 ? 1 : size);
        entries[count].value = Mdp::Bytes(value.begin(), value.end());
        offset += size;
    }
    const bool isFitting = isText || (offset == data.size() && (!isWhole || count == shape.entries.size()));
    return isFitting ? std::optional(count) : std::nullopt;
}

} // namespace

std::string ModuleTypeName(std::uint16_t type) {
    for (const auto& [known, name] : s_typeNames) {
        if (known == type) {
            return name;
        }
    }
    return "module " + std::to_string(type);
}

bool IsTold(const Mdp::Error& error) {
    return error.kind == Mdp::ErrorKind::Object || error.kind == Mdp::ErrorKind::Argument;
}

Dictionary::Dictionary(Mdp::ClientOptions options) : m_client(std::move(options)) {}

std::shared_ptr<Dictionary::Slot> Dictionary::SlotOf(std::uint16_t index) {
    const std::lock_guard lock(m_mutex);
    std::shared_ptr<Slot>& slot = m_slots[index];
    if (slot == nullptr) {
        slot = std::make_shared<Slot>();
    }
    return slot;
}

Mdp::Result<void> Dictionary::Probe() const {
    const auto read = m_client.Read(s_deviceType, 0);
    return read || IsTold(read.Error()) ? Mdp::Result<void>() : read.Error();
}

void Dictionary::Forget() {
    {
        const std::lock_guard lock(m_modulesMutex);
        m_modules.reset();
    }
    const std::lock_guard lock(m_mutex);
    m_slots.clear();
}

Mdp::Result<std::shared_ptr<const Dictionary::Modules>> Dictionary::ListModules(Milliseconds maxAge) {
    const std::lock_guard lock(m_modulesMutex);
    if (m_modules != nullptr && Clock::now() - m_modulesReadAt <= maxAge) {
        return m_modules;
    }
    const auto addresses = Read(s_moduleAddresses, maxAge);
    if (!addresses) {
        return addresses.Error();
    }
    const auto names = Read(s_moduleNames, maxAge);
    if (!names) {
        return names.Error();
    }
    auto modules = std::make_shared<Modules>();
    for (std::size_t i = 1; i < (*addresses)->entries.size(); ++i) {
        const auto& address = (*addresses)->entries[i].value;
        if (!address || address->size() != 4) {
            continue;
        }
        Mdp::Module module;
        module.slot = (*address)[0];
        module.index = static_cast<std::uint16_t>(0x8000U + module.slot * 16U);
        module.type = static_cast<std::uint16_t>(NumberOf(*address) >> 16);
        module.typeName = ModuleTypeName(module.type);
        if (i < (*names)->entries.size() && (*names)->entries[i].value) {
            module.name = Mdp::DecodeValue(Mdp::TypeVisibleString, *(*names)->entries[i].value).text;
        }
        modules->push_back(std::move(module));
    }
    m_modules = std::move(modules);
    m_modulesReadAt = Clock::now();
    return m_modules;
}

Mdp::Result<std::vector<std::uint16_t>> Dictionary::ListObjects() {
    return m_client.ListObjects();
}

Mdp::Result<Mdp::ObjectDescription> Dictionary::DescribeHead(std::uint16_t index, Language language) {
    const auto slot = SlotOf(index);
    const std::lock_guard lock(slot->mutex);
    std::optional<Mdp::ObjectDescription>& head = slot->heads[static_cast<std::size_t>(language)];
    if (!head) {
        auto described = m_client.DescribeObject(index, Identifier(language));
        if (!described) {
            return described.Error();
        }
        head = std::move(*described);
    }
    return *head;
}

Mdp::Result<Dictionary::Shape> Dictionary::DescribeIn(Slot& slot, std::uint16_t index, Language language) const {
    Shape& kept = slot.shapes[static_cast<std::size_t>(language)];
    if (kept != nullptr) {
        return kept;
    }
    const auto object = m_client.DescribeObject(index, Identifier(language));
    if (!object) {
        return object.Error();
    }
    auto shape = std::make_shared<ObjectShape>();
    shape->index = index;
    shape->objectCode = object->objectCode;
    shape->name = object->name;
    for (unsigned subIndex = 0; subIndex < object->itemCount; ++subIndex) {
        auto entry = m_client.DescribeEntry(index, static_cast<std::uint8_t>(subIndex), Identifier(language));
        if (!entry) {
            return entry.Error();
        }
        shape->entries.push_back({entry->dataType, entry->readable, entry->writable, std::move(entry->name)});
    }
    kept = std::move(shape);
    return kept;
}

Mdp::Result<Dictionary::Shape> Dictionary::Describe(std::uint16_t index, Language language) {
    const auto slot = SlotOf(index);
    const std::lock_guard lock(slot->mutex);
    return DescribeIn(*slot, index, language);
}

Mdp::Result<Dictionary::Values> Dictionary::ReadIn(Slot& slot, std::uint16_t index) const {
    constexpr int tries = 3; // a list may be made anew between its description and its values
    for (int left = tries;; --left) {
        const auto described = DescribeIn(slot, index, Language::English);
        if (!described) {
            return described.Error();
        }
        const ObjectShape& shape = **described;
        auto values = std::make_shared<ObjectValues>();
        values->shape = *described;
        values->entries.resize(shape.entries.size());
        std::size_t next = 0;
        const auto& known = slot.values;
        const bool isKnown = known != nullptr && known->shape == *described;
        // What is never supported need not be asked for again.
        const auto isNever = [&](std::size_t sub) {
            return isKnown && known->entries[sub].code == Mdp::OBJ_E_NOTSUPPORTED;
        };
        if (isKnown && shape.entries.size() > 1 && !isNever(1)) {
            auto complete = m_client.ReadComplete(index);
            if (!complete) {
                return complete.Error();
            }
            if (complete->data.size() >= 2 && complete->data[0] + 1U != shape.entries.size() && left > 0) {
                ForgetShape(slot);
                continue;
            }
            const bool isWhole = !Mdp::IsError(complete->code);
            if (isWhole && complete->data == slot.complete &&
                std::all_of(known->entries.begin(), known->entries.end(), [](const auto& e) { return e.value; })) {
                return slot.values;
            }
            if (const auto split = Split(*known, complete->data, isWhole, values->entries)) {
                next = *split;
            } else {
                values->entries.assign(shape.entries.size(), {});
            }
            slot.complete = isWhole ? std::move(complete->data) : Mdp::Bytes();
        }
        for (; next < shape.entries.size(); ++next) {
            EntryValue& entry = values->entries[next];
            if (!shape.entries[next].readable) {
                continue;
            }
            if (isNever(next)) {
                entry.code = Mdp::OBJ_E_NOTSUPPORTED;
                continue;
            }
            auto read = m_client.Read(index, static_cast<std::uint8_t>(next));
            if (read) {
                entry.value = std::move(*read);
                if (next == 0 && shape.entries.size() > 1) {
                    entry.value->resize(1); // as in a complete read
                }
            } else if (read.Error().kind == Mdp::ErrorKind::Object) {
                entry.code = read.Error().code;
            } else {
                return read.Error();
            }
        }
        const auto& count = values->entries.empty() ? std::nullopt : values->entries[0].value;
        if (shape.entries.size() > 1 && count && !count->empty() && (*count)[0] + 1U != shape.entries.size() &&
            left > 0) {
            ForgetShape(slot);
            continue;
        }
        return Values(std::move(values));
    }
}

void Dictionary::ForgetShape(Slot& slot) {
    slot.shapes = {};
    slot.heads = {};
    slot.values = nullptr;
}

Mdp::Result<Dictionary::Values> Dictionary::Read(std::uint16_t index, Milliseconds maxAge) {
    const auto asked = Clock::now();
    const auto slot = SlotOf(index);
    const std::lock_guard lock(slot->mutex);
    // What another one has read while this one waited for it is fresh enough for both.
    const bool isFresh = (slot->values != nullptr || slot->failure) && slot->readAt + maxAge >= asked;
    if (!isFresh) {
        auto values = ReadIn(*slot, index);
        slot->readAt = Clock::now();
        slot->failure.reset();
        if (values) {
            slot->values = *values;
        } else {
            slot->failure = values.Error();
        }
    }
    if (slot->failure) {
        return *slot->failure;
    }
    return slot->values;
}

Mdp::Result<void> Dictionary::Write(std::uint16_t index, std::uint8_t subIndex, Mdp::ByteView data) {
    auto written = m_client.Write(index, subIndex, data);
    const std::lock_guard lock(m_mutex);
    for (auto& [other, slot] : m_slots) {
        if (other >> 4 == index >> 4) {
            slot = std::make_shared<Slot>();
        }
    }
    return written;
}

} // namespace Gateway
