#include <algorithm>
#include <cstring>

#include "dictionary/ObjDictionary.h"
#include "dictionary/SdoValueInfo.h"
#include "service/CMdp.h"
#include "service/PipeCommunication.h"
#include "service/RequestRecord.h"

namespace Hesperd {

namespace {

constexpr std::uint16_t COMMAND_READ_WRITE = 0;
constexpr std::uint16_t COMMAND_OD_LIST = 1;
constexpr std::uint16_t COMMAND_OBJECT_DESCRIPTION = 2;
constexpr std::uint16_t COMMAND_ENTRY_DESCRIPTION = 3;

// Layout of the answers to the descriptions.
constexpr std::size_t OBJECT_ANSWER_HEAD = 12; // object code, data type, item count, result
constexpr std::size_t OBJECT_ANSWER_RESULT = 4;
constexpr std::size_t ENTRY_ANSWER_INFO = 8; // behind the result

// The two areas of a frame whose offsets have been checked.
struct TAreas {
    unsigned char* request;
    std::uint32_t cbWrite;
    std::size_t cbRequest; // bytes from the request to the frame's end: read-only requests lie in the answer area
    unsigned char* answer;
    std::uint32_t cbRead;
};

// The 8 bytes at this odd place decide whether a write is followed by its read. Meant: it has nothing to do with the
// write's own result field. What lies past the frame's end counts as zero.
bool IsReadSkipped(const unsigned char* frame, std::uint64_t cbData, std::uint64_t writeOffset) {
    const std::uint64_t from = 6 + 24 * writeOffset;
    const std::uint64_t to = std::min(from + sizeof(std::uint64_t), cbData);
    for (std::uint64_t at = from; at < to; ++at) {
        if (frame[at] != 0) {
            return true;
        }
    }
    return false;
}

ObjResult GetOdList(CObjDictionary& dictionary, const TAreas& areas, unsigned int* replyLength) {
    if (areas.cbRequest < 4) {
        return STATUS_BAD_RECORD;
    }
    const auto listType = LoadLe<std::uint16_t>(areas.request + 2);
    unsigned int size = areas.cbRead;
    const ObjResult result = dictionary.GetOdList(listType, areas.answer, &size);
    *replyLength = size;
    return result;
}

ObjResult GetObjectDescription(CObjDictionary& dictionary, const TAreas& areas, unsigned int* replyLength) {
    if (areas.cbRequest < 8 || areas.cbRead < OBJECT_ANSWER_HEAD) {
        return STATUS_BAD_RECORD;
    }
    const auto index = LoadLe<std::uint16_t>(areas.request + 2);
    const auto language = LoadLe<std::uint32_t>(areas.request + 4);
    unsigned char objectCode = 0;
    unsigned short dataType = 0;
    unsigned char itemCount = 0;
    auto nameLength = static_cast<unsigned int>(areas.cbRead - OBJECT_ANSWER_HEAD);
    const ObjResult result =
        dictionary.GetObjDescription(index, language, &objectCode, &dataType, &itemCount,
                                     reinterpret_cast<char*>(areas.answer + OBJECT_ANSWER_HEAD), &nameLength);
    areas.answer[0] = objectCode;
    StoreLe<std::uint16_t>(areas.answer + 1, dataType);
    areas.answer[3] = itemCount;
    StoreLe<std::uint64_t>(areas.answer + OBJECT_ANSWER_RESULT, result);
    *replyLength = static_cast<unsigned int>(OBJECT_ANSWER_HEAD + nameLength);
    return result;
}

ObjResult GetEntryDescription(CObjDictionary& dictionary, const TAreas& areas, unsigned int* replyLength) {
    if (areas.cbRequest < 9 || areas.cbRead < ENTRY_ANSWER_INFO + sizeof(std::uint64_t)) {
        return STATUS_BAD_RECORD;
    }
    const auto index = LoadLe<std::uint16_t>(areas.request + 2);
    const unsigned char subIndex = areas.request[4];
    const auto language = LoadLe<std::uint32_t>(areas.request + 5);
    auto* info = reinterpret_cast<TMdpSDOValueInfo*>(areas.answer + ENTRY_ANSWER_INFO);
    const std::uint64_t size = info->size;
    if (size > areas.cbRead - ENTRY_ANSWER_INFO) {
        return STATUS_BAD_RECORD;
    }
    const ObjResult result = dictionary.GetEntryDescription(index, subIndex, language, info);
    StoreLe<std::uint64_t>(areas.answer, result);
    // Meant: the size of the description, not of the whole answer.
    *replyLength = static_cast<unsigned int>(size);
    return result;
}

ObjResult Describe(std::uint16_t command, const TAreas& areas, unsigned int* replyLength) {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_NOERR;
    }
    switch (command) {
    case COMMAND_OD_LIST:
        return GetOdList(*dictionary.Get(), areas, replyLength);
    case COMMAND_OBJECT_DESCRIPTION:
        return GetObjectDescription(*dictionary.Get(), areas, replyLength);
    default:
        return GetEntryDescription(*dictionary.Get(), areas, replyLength);
    }
}

} // namespace

ObjResult PipeCommunication::ExtractPipeTransactionPackage(_tagTPipeTransact* frame, unsigned int* replyLength,
                                                           unsigned int* replyOffset) {
    const std::uint64_t cbData = frame->cbData();
    const std::uint64_t writeOffset = frame->writeOffset();
    const std::uint64_t readOffset = frame->readOffset();
    *replyLength = 0;
    *replyOffset = 0;
    if (readOffset > cbData || writeOffset > readOffset) {
        return STATUS_BAD_RECORD;
    }
    const TAreas areas = {
        .request = frame->bytes + writeOffset,
        .cbWrite = static_cast<std::uint32_t>(readOffset - writeOffset),
        .cbRequest = cbData - writeOffset,
        .answer = frame->bytes + readOffset,
        .cbRead = static_cast<std::uint32_t>(cbData - readOffset),
    };
    if (areas.cbRequest == 0) {
        return OBJ_E_NOERR;
    }
    if (areas.cbRequest < sizeof(std::uint16_t)) {
        return STATUS_BAD_RECORD;
    }
    const auto command = LoadLe<std::uint16_t>(areas.request);
    if (command > COMMAND_ENTRY_DESCRIPTION) {
        return OBJ_E_NOTSUPPORTED;
    }
    if (command != COMMAND_READ_WRITE) {
        *replyOffset = static_cast<unsigned int>(readOffset);
        return Describe(command, areas, replyLength);
    }

    if (areas.cbWrite != 0) {
        const ObjResult result = CMdp::MDP_Write(areas.cbWrite, areas.request);
        if (result != OBJ_E_NOERR || areas.cbRead == 0 || IsReadSkipped(frame->bytes, cbData, writeOffset)) {
            if (areas.cbWrite >= CRequestRecord::HEAD_SIZE) {
                CRequestRecord(areas.request).SetLength(0);
            }
            *replyOffset = static_cast<unsigned int>(writeOffset);
            *replyLength = CRequestRecord::HEAD_SIZE;
            return result;
        }
    }
    *replyOffset = static_cast<unsigned int>(readOffset);
    return CMdp::MDP_Read(areas.cbRead, areas.answer, replyLength);
}

} // namespace Hesperd
