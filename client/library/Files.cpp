#include "mdp/Files.h"

#include <fnmatch.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "Wire.h"
#include "mdp/Turn.h"

namespace Mdp {
namespace {

// Numbers of the service objects within the module.
constexpr unsigned s_serviceList = 0;
constexpr unsigned s_serviceRead = 1;
constexpr unsigned s_serviceWrite = 2;
constexpr unsigned s_serviceCopyMove = 3;
constexpr unsigned s_serviceDelete = 4;
constexpr unsigned s_serviceMakeDirectory = 5;

constexpr std::uint32_t s_flagCopy = 1;
constexpr std::uint32_t s_flagOverwrite = 2;

// Large enough that the transactions cost little, small enough that a progress display moves.
constexpr std::uint32_t s_chunk = 1U << 20;
constexpr std::size_t s_page = 4096;
constexpr std::uint32_t s_listCapacity = 16384;

constexpr std::size_t s_listHead = 24;
constexpr std::size_t s_directoryHead = 8;
constexpr std::size_t s_fileHead = 20;
constexpr std::size_t s_readHead = 12;

Error Malformed(const char* what) {
    return {ErrorKind::Protocol, 0, 0, std::string("malformed answer: ") + what};
}

// A record of 32-bit numbers with texts behind them.
Bytes MakeRecord(std::initializer_list<std::size_t> numbers, std::initializer_list<std::string_view> texts) {
    Bytes record;
    for (const std::size_t number : numbers) {
        Wire::Put(record, static_cast<std::uint32_t>(number));
    }
    for (const std::string_view text : texts) {
        Wire::PutText(record, text);
    }
    return record;
}

// Walks a chain of entries, of which each tells the offset of the next, and gives each with its name. False if one does
// not lie inside the record.
template <typename Add>
bool WalkEntries(ByteView record, std::uint32_t count, std::size_t offset, std::size_t head, const Add& add) {
    for (std::uint32_t i = 0; i < count; ++i) {
        if (offset > record.size() || record.size() - offset < head) {
            return false;
        }
        const std::size_t length = Wire::Get<std::uint32_t>(record, offset + head - 4);
        if (length > record.size() - offset - head) {
            return false;
        }
        add(record.subspan(offset, head), Wire::GetText(record, offset + head, length));
        const std::size_t next = Wire::Get<std::uint32_t>(record, offset);
        if (next == 0) {
            return i + 1 == count;
        }
        offset = next;
    }
    return count == 0;
}

Result<Listing> ParseListing(ByteView record) {
    if (record.size() < s_listHead) {
        return Malformed("a listing shorter than its head");
    }
    const auto field = [&](std::size_t offset) { return Wire::Get<std::uint32_t>(record, offset); };
    Listing listing;
    const bool whole =
        WalkEntries(record, field(8), field(16), s_directoryHead,
                    [&](ByteView, std::string name) { listing.directories.push_back(std::move(name)); }) &&
        WalkEntries(record, field(12), field(20), s_fileHead, [&](ByteView head, std::string name) {
            listing.files.push_back({std::move(name), Wire::Get<std::uint64_t>(head, 4)});
        });
    if (!whole) {
        return Malformed("a listing with an entry outside of it");
    }
    return listing;
}

// What a pattern says about names: the service takes a backslash for a slash and does not look at those at the end.
std::string LastComponent(std::string_view pattern) {
    std::string path(pattern);
    std::replace(path.begin(), path.end(), '\\', '/');
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    return path == "/" ? path : path.substr(path.rfind('/') + 1);
}

bool AllMatch(const Listing& listing, const std::string& pattern) {
    const auto matches = [&](const std::string& name) {
        return fnmatch(pattern.c_str(), name.c_str(), FNM_NOESCAPE | FNM_PERIOD) == 0;
    };
    return std::all_of(listing.directories.begin(), listing.directories.end(), matches) &&
           std::all_of(listing.files.begin(), listing.files.end(),
                       [&](const RemoteFile& file) { return matches(file.name); });
}

// The system copies several times slower to a place shortly behind the start of a page, where the allocator puts large
// blocks, than to the start itself.
std::span<std::uint8_t> StartingOnAPage(std::span<std::uint8_t> memory) {
    void* start = memory.data();
    std::size_t size = memory.size();
    return {static_cast<std::uint8_t*>(std::align(s_page, 1, start, size)), size};
}

// Asks the source until the chunk is full or the file ends. The number of bytes in the chunk.
Result<std::size_t> Fill(std::span<std::uint8_t> chunk, const ChunkSource& source) {
    std::size_t filled = 0;
    while (filled < chunk.size()) {
        Result<std::size_t> got = source(chunk.subspan(filled));
        if (!got) {
            return got;
        }
        if (*got == 0) {
            break;
        }
        filled += *got;
    }
    return filled;
}

} // namespace

std::string EscapePattern(std::string_view path) {
    std::string pattern;
    for (const char c : path) {
        if (c == '*' || c == '?' || c == '[') {
            pattern += {'[', c, ']'};
        } else {
            pattern += c;
        }
    }
    return pattern;
}

FileServices::FileServices(Client client, CallOptions options, Module module)
    : m_client(std::move(client)), m_options(std::move(options)), m_module(std::move(module)) {}

Result<FileServices> FileServices::Find(Client client, CallOptions options) {
    const Result<std::vector<Module>> modules = client.ListModules(ModuleTypeFiles);
    if (!modules) {
        return modules.Error();
    }
    if (modules->empty()) {
        return Error{ErrorKind::Argument, 0, 0, "this machine offers no file services"};
    }
    return FileServices(std::move(client), std::move(options), modules->front());
}

Result<void> FileServices::Begin(unsigned service, std::span<const ByteView> request, Ahead ahead) const {
    return m_client.BeginService(m_module.Service(service), request, m_options, std::move(ahead));
}

Result<ByteView> FileServices::Finish(unsigned service, std::uint32_t capacity, Bytes& buffer, Ahead ahead) const {
    CallOptions options = m_options;
    options.responseCapacity = capacity;
    const Result<ServiceView> response =
        m_client.FinishService(m_module.Service(service), options, buffer, std::move(ahead));
    if (!response) {
        return response.Error();
    }
    if (response->status.Failed()) {
        return Error{ErrorKind::Object, response->FailureCode(), 0, {}};
    }
    return response->data;
}

Result<Bytes> FileServices::Call(unsigned service, ByteView request, std::uint32_t capacity) const {
    Turn turn;
    const std::string name = TurnName(m_module.Service(service));
    if (!turn.Wait(m_client.Options(), name, m_options.busyTimeout)) {
        return Error{ErrorKind::Object, OBJ_E_BUSY, 0, {}};
    }
    if (const Result<void> begun = Begin(service, std::span(&request, 1)); !begun) {
        return begun.Error();
    }
    Bytes buffer;
    const Result<ByteView> data = Finish(service, capacity, buffer);
    if (!data) {
        return data.Error();
    }
    return Bytes(data->begin(), data->end());
}

Result<void> FileServices::CallWithoutData(unsigned service, ByteView request) const {
    const Result<Bytes> data = Call(service, request, 0);
    return data ? Result<void>() : Result<void>(data.Error());
}

Result<Listing> FileServices::List(std::string_view pattern) const {
    const Result<Bytes> data = Call(s_serviceList, MakeRecord({pattern.size()}, {pattern}), s_listCapacity);
    if (!data) {
        return data.Error();
    }
    Result<Listing> listing = ParseListing(*data);
    // The answer does not tell whose it is, and what is found may be deleted or overwritten.
    if (listing && !AllMatch(*listing, LastComponent(pattern))) {
        return Error{ErrorKind::Protocol, 0, 0, "another client disturbed: try again"};
    }
    return listing;
}

Result<std::optional<RemoteStatus>> FileServices::Status(std::string_view path) const {
    using Found = std::optional<RemoteStatus>;
    const Result<Listing> listing = List(EscapePattern(path));
    if (!listing) {
        return listing.Error().code == (OBJ_E_OS_BASE | ENOENT) ? Result<Found>(Found()) : listing.Error();
    }
    if (!listing->directories.empty()) {
        return Found({true, 0});
    }
    return listing->files.empty() ? Found() : Found({false, listing->files.front().size});
}

Result<std::uint64_t> FileServices::Read(std::string_view path, const ChunkSink& sink,
                                         std::uint64_t expectedSize) const {
    // One byte more than a small file has lets its first chunk tell the end.
    const auto data = static_cast<std::uint32_t>(std::min<std::uint64_t>(expectedSize, s_chunk - 1) + 1);
    const std::uint32_t capacity = static_cast<std::uint32_t>(s_readHead) + (expectedSize == 0 ? s_chunk : data);
    const auto begin = [this](ByteView request) { return Begin(s_serviceRead, std::span(&request, 1)); };
    if (const Result<void> begun = begin(MakeRecord({path.size(), 0, capacity}, {path})); !begun) {
        return begun.Error();
    }
    std::uint32_t handle = 0;
    std::uint64_t total = 0;
    Bytes buffer;
    Ahead response;
    for (;;) {
        const Result<ByteView> record = Finish(s_serviceRead, capacity, buffer, std::exchange(response, std::nullopt));
        if (!record) {
            return record.Error();
        }
        if (record->size() < s_readHead || Wire::Get<std::uint32_t>(*record, 0) != record->size() - s_readHead) {
            return Malformed("the length of a chunk does not fit it");
        }
        const auto answered = Wire::Get<std::uint32_t>(*record, 4);
        const bool atEnd = Wire::Get<std::uint32_t>(*record, 8) != 0;
        if (!atEnd && (answered == 0 || (handle != 0 && answered != handle))) {
            // The chunk is one of another client's file.
            return Error{ErrorKind::Object, OBJ_E_INVALIDARG, 0, {}};
        }
        handle = answered;
        // The service reads and sends the next chunk while this one is taken.
        if (!atEnd) {
            if (const Result<void> begun = begin(MakeRecord({0, handle, capacity}, {})); !begun) {
                return begun.Error();
            }
            Result<Transaction> asked = m_client.AskForResponseAhead(m_module.Service(s_serviceRead), capacity);
            if (!asked) {
                return asked.Error();
            }
            response = std::move(*asked);
        }
        const ByteView chunk = record->subspan(s_readHead);
        total += chunk.size();
        if (Result<void> taken = sink(chunk); !taken) {
            return taken.Error();
        }
        if (atEnd) {
            return total;
        }
    }
}

Result<std::uint64_t> FileServices::Write(std::string_view path, const ChunkSource& source) const {
    std::uint32_t handle = 0;
    std::uint64_t total = 0;
    // The service would keep the file open until the next one.
    const auto giveUp = [&](const Error& error) -> Result<std::uint64_t> {
        if (handle != 0) {
            (void)CallWithoutData(s_serviceWrite, MakeRecord({0, handle, 0, 1}, {}));
        }
        return error;
    };
    Bytes memory(s_chunk + s_page);
    const std::span<std::uint8_t> chunk = StartingOnAPage(memory).first(s_chunk);
    Bytes buffer;
    Ahead request;
    Result<std::size_t> filled = Fill(chunk, source);
    const auto isLast = [&] { return *filled < chunk.size(); };
    const auto makeHead = [&] {
        const std::string_view named = handle == 0 ? path : std::string_view();
        return MakeRecord({named.size(), handle, *filled, isLast() ? 1U : 0U}, {named});
    };
    for (;;) {
        if (!filled) {
            return giveUp(filled.Error());
        }
        const bool last = isLast();
        const Bytes head = makeHead();
        const ByteView parts[] = {head, chunk.first(*filled)};
        const Result<void> begun = Begin(s_serviceWrite, parts, std::exchange(request, std::nullopt));
        if (!begun) {
            return giveUp(begun.Error());
        }
        total += *filled;
        // The next chunk is fetched and sent while the service writes this one.
        if (!last) {
            filled = Fill(chunk, source);
            if (filled && handle != 0) {
                const Bytes nextHead = makeHead();
                const ByteView nextParts[] = {nextHead, chunk.first(*filled)};
                Result<Transaction> sent = m_client.SendRequestAhead(m_module.Service(s_serviceWrite), nextParts);
                if (!sent) {
                    return giveUp(sent.Error());
                }
                request = std::move(*sent);
            }
        }
        const Result<ByteView> answer = Finish(s_serviceWrite, 0, buffer);
        if (!answer) {
            request.reset();
            return giveUp(answer.Error());
        }
        if (last) {
            return total;
        }
        const std::uint32_t answered = answer->size() == 4 ? Wire::Get<std::uint32_t>(*answer, 0) : 0;
        if (answered == 0 || (handle != 0 && answered != handle)) {
            // The answer is one to another client's file.
            return Error{ErrorKind::Object, OBJ_E_INVALIDARG, 0, {}};
        }
        handle = answered;
    }
}

Result<void> FileServices::CopyOrMove(std::string_view source, std::string_view destination,
                                      std::uint32_t flags) const {
    return CallWithoutData(s_serviceCopyMove,
                           MakeRecord({source.size(), destination.size(), flags}, {source, destination}));
}

Result<void> FileServices::Copy(std::string_view source, std::string_view destination, bool overwrite) const {
    return CopyOrMove(source, destination, s_flagCopy | (overwrite ? s_flagOverwrite : 0));
}

Result<void> FileServices::Move(std::string_view source, std::string_view destination, bool overwrite) const {
    return CopyOrMove(source, destination, overwrite ? s_flagOverwrite : 0);
}

Result<void> FileServices::Delete(std::string_view path, bool recursive) const {
    return CallWithoutData(s_serviceDelete, MakeRecord({path.size(), recursive ? 1U : 0U}, {path}));
}

Result<void> FileServices::MakeDirectory(std::string_view path, bool parents) const {
    return CallWithoutData(s_serviceMakeDirectory, MakeRecord({path.size(), parents ? 1U : 0U}, {path}));
}

} // namespace Mdp
