#include "FakeDictionary.h"

namespace {

std::uint64_t NumberAt(const TestBytes& bytes, std::size_t offset, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i > 0; --i) {
        value = value << 8 | bytes[offset + i - 1];
    }
    return value;
}

// The head of a record and its data, as it comes back.
FakeReply RecordReply(const TestBytes& frame, std::uint32_t code, const TestBytes& data) {
    const std::uint64_t wide = code >= 0x80000000U ? 0xFFFFFFFF00000000U | code : code;
    const TestBytes head(frame.begin() + 24, frame.begin() + 30);
    return Reply(head + Number(wide, 8) + Number(data.size(), 4) + data);
}

} // namespace

TestBytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

TestBytes Number(std::uint64_t value, std::size_t size) {
    TestBytes bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return bytes;
}

TestBytes operator+(TestBytes left, const TestBytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

FakeEntry CountEntry(std::uint8_t count) {
    return {5, "r-", "Number of entries", {count, 0}};
}

void FakeDictionary::AddModule(std::uint8_t slot, std::uint8_t type, const std::string& typeName,
                               const std::string& name) {
    const auto index = static_cast<std::uint16_t>(0x8000 + slot * 16);
    const TestBytes address = Number(static_cast<std::uint64_t>(type) << 16 | slot, 4);
    const TestBytes ident = Number(static_cast<std::uint64_t>(type) << 16 | 0x2710U, 4);
    objects[index] = {9,
                      typeName + " module",
                      {CountEntry(4),
                       {7, "r-", "Module address", address},
                       {9, "r-", "Module type", Text(typeName)},
                       {9, "r-", "Module name", Text(name)},
                       {7, "r-", "Module identification", ident}}};
    const auto append = [&](std::uint16_t list, FakeEntry entry) {
        FakeObject& object = objects[list];
        object.objectCode = 8;
        if (object.entries.empty()) {
            object.entries.push_back(CountEntry(0));
        }
        object.entries.push_back(std::move(entry));
        ++object.entries[0].value[0];
    };
    append(0xF020, {7, "r-", "", address});
    append(0xF030, {6, "r-", "", Number(type, 2)});
    append(0xF060, {9, "r-", "", Text(name)});
}

FakeReply FakeDictionary::Answer(const TestBytes& frame) {
    if (losses > 0) {
        --losses;
        return NoReply();
    }
    const bool writes0 = NumberAt(frame, 16, 8) != 24;
    switch (frame[24]) {
    case 0:
        return writes0 ? AnswerWrite(frame) : AnswerRead(frame);
    case 1:
        return AnswerList(frame);
    case 2:
        return AnswerObject(frame);
    default:
        return AnswerEntry(frame);
    }
}

FakeReply FakeDictionary::AnswerRead(const TestBytes& frame) {
    const auto index = static_cast<std::uint16_t>(NumberAt(frame, 26, 2));
    const std::uint8_t flags = frame[28];
    std::uint8_t subIndex = frame[29];
    const std::size_t capacity = NumberAt(frame, 38, 4);
    if (beforeRead) {
        beforeRead(index, subIndex);
    }
    if (const auto response = responses.find(index); response != responses.end()) {
        subIndex = (flags & 2) != 0 ? 3 : subIndex;
        const TestBytes status{response->second.status};
        const TestBytes data = subIndex == 2 ? status : status + TestBytes{0} + response->second.data;
        return data.size() > capacity ? RecordReply(frame, 0xECA60102, {}) : RecordReply(frame, 0, data);
    }
    const auto object = objects.find(index);
    if (object == objects.end() || subIndex >= object->second.entries.size()) {
        return RecordReply(frame, 0xECA60100, {});
    }
    TestBytes data;
    for (std::size_t i = subIndex; i < object->second.entries.size(); ++i) {
        const FakeEntry& entry = object->second.entries[i];
        const std::uint32_t code = entry.access[0] != 'r' ? 0xECA60101 : entry.code;
        if (code != 0) {
            return RecordReply(frame, code, data);
        }
        data = data + entry.value;
        if (data.size() > capacity) {
            return RecordReply(frame, 0xECA60102, {});
        }
        if ((flags & 1) == 0) {
            break;
        }
    }
    return RecordReply(frame, 0, data);
}

FakeReply FakeDictionary::AnswerWrite(const TestBytes& frame) {
    const auto index = static_cast<std::uint16_t>(NumberAt(frame, 26, 2));
    const TestBytes data(frame.begin() + 42, frame.end());
    writes.push_back({index, frame[29], data});
    if (index >> 12 == 0xB) {
        responses[index] = serve(index, data);
        return RecordReply(frame, 0, {});
    }
    const auto object = objects.find(index);
    if (object == objects.end() || frame[29] >= object->second.entries.size()) {
        return RecordReply(frame, 0xECA60100, {});
    }
    const std::uint32_t code = object->second.entries[frame[29]].code;
    if (code == 0 && written) {
        written(writes.back());
    }
    return RecordReply(frame, code, {});
}

FakeReply FakeDictionary::AnswerList(const TestBytes& frame) {
    if (NumberAt(frame, 26, 2) == 0) {
        const TestBytes count = Number(objects.size(), 2);
        return Reply(count + Number(0, 4) + count + count);
    }
    TestBytes list;
    for (const auto& [index, object] : objects) {
        list = list + Number(index, 2);
    }
    return Reply(list);
}

FakeReply FakeDictionary::AnswerObject(const TestBytes& frame) {
    const auto object = objects.find(static_cast<std::uint16_t>(NumberAt(frame, 26, 2)));
    if (object == objects.end()) {
        return NoReply();
    }
    const FakeObject& told = object->second;
    const std::uint16_t type = told.objectCode == 9 ? std::uint16_t{0} : told.entries.back().type;
    return Reply(TestBytes{told.objectCode} + Number(type, 2) + Number(told.entries.size(), 1) + Number(0, 8) +
                 Text(told.name));
}

FakeReply FakeDictionary::AnswerEntry(const TestBytes& frame) {
    const auto object = objects.find(static_cast<std::uint16_t>(NumberAt(frame, 26, 2)));
    if (object == objects.end() || frame[28] >= object->second.entries.size()) {
        return NoReply();
    }
    const FakeEntry& entry = object->second.entries[frame[28]];
    const std::uint64_t size = NumberAt(frame, 50, 8);
    const std::uint16_t access =
        static_cast<std::uint16_t>((entry.access[0] == 'r' ? 7 : 0) + (entry.access[1] == 'w' ? 56 : 0));
    TestBytes body = Number(0, 8) + Number(size, 8) + Number(1, 2) + Number(entry.type, 2) +
                     Number(entry.value.size() * 8, 2) + Number(access, 2) + TestBytes(32, 0xFF) + Number(64, 8) +
                     Number(entry.name.size(), 8) + Text(entry.name);
    body.resize(size);
    return Reply(body);
}
