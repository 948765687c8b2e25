// What one client writes on its connection, given to the handler of connections as it is.
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#include "Require.h"
#include "dictionary/ItemTable.h"
#include "dictionary/ObjDictionary.h"
#include "dictionary/ObjHelper.h"
#include "log/Logger.h"
#include "service/PipeCommunication.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t capacity);

namespace {

constexpr std::size_t s_headerSize = 24;

CLogger s_logger;

ObjResult CountReads(TInfoItem* item, unsigned short, unsigned char) {
    std::uint32_t count = 0;
    std::memcpy(&count, item->data, sizeof count);
    ++count;
    std::memcpy(item->data, &count, sizeof count);
    return OBJ_E_NOERR;
}

// Looks at every byte that it is given, as a module's trigger would.
ObjResult RefuseOddSums(TInfoItem*, unsigned short, unsigned char, void* data, unsigned int size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    unsigned int sum = 0;
    for (unsigned int i = 0; i < size; ++i) {
        sum += bytes[i];
    }
    return sum % 2 == 0 ? OBJ_E_NOERR : OBJ_E_INVALIDDATA;
}

void AddVariable(CObjDictionary& dictionary) {
    auto* object = new CObject;
    object->Init(0x1000, OBJCODE_VARIABLE, 500);
    AppendItems(*object, {{0, 0x50007, 500, nullptr, nullptr, ItemValue(std::uint32_t{0x27101389})}});
    Require(dictionary.AddObject(object) == OBJ_E_NOERR, "variable not added");
}

void AddRecord(CObjDictionary& dictionary, unsigned short index) {
    auto* object = new CObjectRecord;
    object->Init(index, OBJCODE_RECORD, 1000);
    AppendItems(*object, {
                             {1, 0x30007, 1001, CountReads, RefuseOddSums, ItemValue(std::uint32_t{7})},
                             {2, 0x30009, 1002, nullptr, RefuseOddSums, ItemValue("text")},
                             {3, 0x3000A, 1003, nullptr, nullptr, ItemValue("octets")},
                             {4, 0x10007, 1004, RdNotSupported, WrNotSupported, ItemValue(std::uint32_t{0})},
                             {5, 0x30008, 1005, nullptr, nullptr, ItemValue(1.5F)},
                             {6, 0x10009, 1006},
                         });
    Require(dictionary.AddObject(object) == OBJ_E_NOERR, "record not added");
}

void AddArray(CObjDictionary& dictionary) {
    auto* object = new CObjectArray;
    object->Init(0x3000, OBJCODE_ARRAY, 1010);
    object->elementType = TYPE_UNSIGNED16;
    for (unsigned char i = 1; i < 200; ++i) {
        AppendItems(*object, {{i, 0x10006, 0, nullptr, nullptr, ItemValue(std::uint16_t{i})}});
    }
    Require(dictionary.AddObject(object) == OBJ_E_NOERR, "array not added");
}

// A record with the shape of a service object that is always done: nothing is written that could make a client wait.
void AddService(CObjDictionary& dictionary) {
    auto* object = new CObjectRecord;
    object->Init(0xB000, OBJCODE_RECORD, 1020);
    AppendItems(*object, {
                             {1, 0x20009, 1021, nullptr, nullptr, ItemValue("request")},
                             {2, 0x10005, 1022, nullptr, nullptr, ItemValue(std::uint8_t{0})},
                             {3, 0x10009, 1023, nullptr, nullptr, ItemValue("response")},
                         });
    Require(dictionary.AddObject(object) == OBJ_E_NOERR, "service not added");
}

void AddModule(CObjDictionary& dictionary) {
    auto* header = new CObj0x8nn0;
    header->Init(dictionary.GetNextFree0x8nn0Slot(), "Type", "Name", 2, 1070);
    Require(dictionary.AddObject(header) == OBJ_E_NOERR, "header not added");
    Require(dictionary.RegisterObject(header) == OBJ_E_NOERR, "module not registered");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    g_pLogger = &s_logger;
    CObjDictionary* dictionary = CObjDictionary::QueryDictionary(); // held for the life of the process
    AddVariable(*dictionary);
    AddRecord(*dictionary, 0x2000);
    AddArray(*dictionary);
    AddService(*dictionary);
    AddModule(*dictionary);
    return 0;
}

// Mutates, and then mostly makes the length in the header true: few frames would get behind that check otherwise.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t capacity,
                                               unsigned int seed) {
    size = LLVMFuzzerMutate(data, size, capacity);
    if (seed % 8 != 0 && size >= s_headerSize) {
        const std::uint64_t cbData = size;
        std::memcpy(data, &cbData, sizeof cbData);
    }
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::array<int, 2> sockets{};
    Require(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()) == 0, "no socket pair");
    const auto [client, service] = sockets;
    Require(size == 0 || write(client, data, size) == static_cast<ssize_t>(size), "the frame is too long for a socket");
    shutdown(client, SHUT_WR);

    Hesperd::PipeCommunication::HandleRequest(service);

    std::vector<std::uint8_t> reply(size + 64);
    std::size_t received = 0;
    ssize_t got = 0;
    while ((got = read(client, reply.data() + received, reply.size() - received)) > 0) {
        received += static_cast<std::size_t>(got);
    }
    close(client);
    if (received != 0) {
        std::uint32_t length = 0;
        Require(received >= sizeof length, "half a length");
        std::memcpy(&length, reply.data(), sizeof length);
        Require(received - sizeof length == length, "the reply is not as long as it says");
        Require(length <= size, "the reply is longer than the frame");
    }
    return 0;
}
