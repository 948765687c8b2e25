// The paths of the service without a client process, each beside the least that the same job takes: a read of a fixed
// item beside a look-up and a copy, a connection beside the bare server's, the names beside parsing their file.
#include <array>
#include <cstring>
#include <map>
#include <mutex>

#include <benchmark/benchmark.h>
#include <pugixml.hpp>
#include <sys/socket.h>
#include <unistd.h>

#include "BareServer.h"
#include "Transaction.h"
#include "dictionary/ItemTable.h"
#include "dictionary/MdpStringTable.h"
#include "dictionary/ObjDictionary.h"
#include "log/Logger.h"
#include "service/PipeCommunication.h"

namespace {

constexpr std::uint32_t s_deviceType = 0x27101389;

// As many objects as a machine with a dozen modules has, so that look-ups have something to look through.
void FillDictionary(CObjDictionary& dictionary) {
    auto* deviceType = new CObject;
    deviceType->Init(0x1000, OBJCODE_VARIABLE, 500);
    AppendItems(*deviceType, {{0, 0x50007, 500, nullptr, nullptr, ItemValue(s_deviceType)}});
    dictionary.AddObject(deviceType);
    for (unsigned short index = 0x8000; index < 0x8100; ++index) {
        auto* object = new CObjectRecord;
        object->Init(index, OBJCODE_RECORD, 0);
        AppendItems(*object, {{1, 0x10007, 0, nullptr, nullptr, ItemValue(std::uint32_t{index})}});
        dictionary.AddObject(object);
    }
}

void ReadObject(benchmark::State& state) {
    for (auto _ : state) {
        std::uint32_t value = 0;
        unsigned int bytesRead = 0;
        CDictionaryRef dictionary;
        dictionary->ReadObject(0x1000, 0, &value, sizeof value, 0, &bytesRead);
        if (value != s_deviceType) {
            state.SkipWithError("wrong value");
        }
    }
}

void YardstickLookUpAndCopy(benchmark::State& state) {
    static std::mutex mutex;
    static std::map<unsigned short, std::array<char, 4>> objects;
    {
        const std::lock_guard lock(mutex);
        std::memcpy(objects[0x1000].data(), &s_deviceType, sizeof s_deviceType);
        for (unsigned short index = 0x8000; index < 0x8100; ++index) {
            objects[index];
        }
    }
    for (auto _ : state) {
        std::uint32_t value = 0;
        const std::lock_guard lock(mutex);
        std::memcpy(&value, objects.find(0x1000)->second.data(), sizeof value);
        benchmark::DoNotOptimize(value);
    }
}

// One connection on a socket pair, without the thread.
void Connection(benchmark::State& state, void (*handle)(int)) {
    for (auto _ : state) {
        std::array<int, 2> sockets{};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()) != 0) {
            state.SkipWithError("no socket pair");
            break;
        }
        (void)!write(sockets[0], Bench::s_readRequest.data(), Bench::s_readRequest.size());
        handle(sockets[1]);
        std::array<std::uint8_t, Bench::s_readReply.size()> reply{};
        if (read(sockets[0], reply.data(), reply.size()) != static_cast<ssize_t>(reply.size()) ||
            reply != Bench::s_readReply) {
            state.SkipWithError("wrong reply");
        }
        close(sockets[0]);
    }
}

void HandleRequest(benchmark::State& state) {
    Connection(state, [](int socket) { Hesperd::PipeCommunication::HandleRequest(socket); });
}

void YardstickAnswer(benchmark::State& state) {
    Connection(state, [](int socket) { Bench::Answer(socket, Bench::Style::InOneWrite); });
}

void LoadStringTable(benchmark::State& state) {
    wchar_t path[] = L"" SYLVARIN_MESSAGE_FILE;
    for (auto _ : state) {
        CMdpStringTable table;
        if (CMdpStringTable::LoadXmlStringTable(path, &table) != OBJ_E_NOERR) {
            state.SkipWithError("not loaded");
        }
    }
}

void YardstickParseXml(benchmark::State& state) {
    for (auto _ : state) {
        pugi::xml_document document;
        if (!document.load_file(SYLVARIN_MESSAGE_FILE)) {
            state.SkipWithError("not loaded");
        }
    }
}

BENCHMARK(ReadObject)->ThreadRange(1, 8);
BENCHMARK(YardstickLookUpAndCopy)->ThreadRange(1, 8);
BENCHMARK(HandleRequest);
BENCHMARK(YardstickAnswer);
BENCHMARK(LoadStringTable)->Unit(benchmark::kMicrosecond);
BENCHMARK(YardstickParseXml)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    CLogger logger;
    g_pLogger = &logger;
    const CDictionaryRef dictionary;
    FillDictionary(*dictionary.Get());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
