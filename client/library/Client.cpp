#include "mdp/Client.h"

#include <algorithm>
#include <array>
#include <thread>

#include "Connection.h"
#include "Wire.h"
#include "mdp/Turn.h"

namespace Mdp {
namespace {

// The frame: a header of three 64-bit numbers (length of the frame, offset of the request, offset of the answer area),
// then the records.
constexpr std::size_t s_headerSize = 24;
constexpr std::size_t s_recordHead = 18;

constexpr std::uint16_t s_commandAccess = 0;
constexpr std::uint16_t s_commandList = 1;
constexpr std::uint16_t s_commandObject = 2;
constexpr std::uint16_t s_commandEntry = 3;

constexpr std::uint8_t s_flagComplete = 1;
constexpr std::uint8_t s_flagService = 2;

constexpr std::uint8_t s_subRequest = 1;
constexpr std::uint8_t s_subStatus = 2;

constexpr std::uint16_t s_listCounts = 0;
constexpr std::uint16_t s_listAll = 1;
constexpr std::uint32_t s_listCountsSize = 10;
constexpr std::uint32_t s_largestList = 2 * 65536;

// The answer of command 2 in front of the name, and of command 3 in front of its record.
constexpr std::size_t s_objectAnswerHead = 12;
constexpr std::size_t s_entryResultSize = 8;
constexpr std::size_t s_valueInfoSize = 64;

// Names are asked for with the first of these, and with the second if they turn out longer.
constexpr std::array<std::uint32_t, 2> s_nameCapacities{256, 65536};

constexpr std::uint16_t s_indexAddresses = 0xF020;
constexpr std::uint16_t s_indexTypes = 0xF030;
constexpr std::uint16_t s_indexNames = 0xF060;

// What fills the answer area of a request.
constexpr std::array<std::uint8_t, 65536> s_zeros{};

Bytes StartFrame(std::size_t requestSize, std::size_t answerSize, bool shared) {
    Bytes frame;
    const std::size_t total = s_headerSize + (shared ? std::max(requestSize, answerSize) : requestSize + answerSize);
    frame.reserve(s_headerSize + s_recordHead);
    Wire::Put<std::uint64_t>(frame, total);
    Wire::Put<std::uint64_t>(frame, s_headerSize);
    Wire::Put<std::uint64_t>(frame, shared ? s_headerSize : s_headerSize + requestSize);
    return frame;
}

void PutRecordHead(Bytes& frame, std::uint16_t index, std::uint8_t subIndex, std::uint8_t flags, std::size_t length) {
    Wire::Put(frame, s_commandAccess);
    Wire::Put(frame, index);
    Wire::Put(frame, flags);
    Wire::Put(frame, subIndex);
    Wire::Put<std::uint64_t>(frame, 0);
    Wire::Put(frame, static_cast<std::uint32_t>(length));
}

Code RecordCode(ByteView record) {
    return Wire::Get<std::uint32_t>(record, 6);
}

Error Malformed(const char* what) {
    return {ErrorKind::Protocol, 0, 0, std::string("malformed answer: ") + what};
}

Error ObjectError(Code code) {
    return {ErrorKind::Object, code, 0, {}};
}

Result<ServiceResponse> Owned(const Result<ServiceView>& view) {
    if (!view) {
        return view.Error();
    }
    return ServiceResponse{view->status, Bytes(view->data.begin(), view->data.end())};
}

std::string EndAtNul(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

using Clock = std::chrono::steady_clock;

// The pauses between two attempts: short ones first.
class Pause {
public:
    void Sleep() {
        std::this_thread::sleep_for(m_length);
        m_length = std::min(m_length * 2, s_longest);
    }

private:
    using Microseconds = std::chrono::microseconds;

    static constexpr Microseconds s_longest{200000};

    Microseconds m_length{50};
};

} // namespace

std::optional<std::uint8_t> ServiceStatus::Progress() const {
    if (!Running() || value == 255) {
        return std::nullopt;
    }
    return value;
}

Code ServiceResponse::FailureCode() const {
    return ServiceView{status, data}.FailureCode();
}

Code ServiceView::FailureCode() const {
    if (!status.Failed()) {
        return OBJ_E_NOERR;
    }
    // Some jobs send the code as four bytes, some as eight.
    return data.size() == 4 || data.size() == 8 ? Wire::Get<std::uint32_t>(data, 0) : OBJ_E_FAILED;
}

Client::Client(ClientOptions options) : m_options(std::move(options)) {}

Result<Bytes> Client::Transact(ByteView frame) const {
    Bytes answer;
    if (Result<void> done = Transact(std::span(&frame, 1), answer); !done) {
        return done.Error();
    }
    return answer;
}

Transaction::Transaction(std::unique_ptr<Connection> connection, Bytes rest)
    : m_connection(std::move(connection)), m_rest(std::move(rest)) {}

Transaction::Transaction(Transaction&& other) noexcept = default;
Transaction& Transaction::operator=(Transaction&& other) noexcept = default;
Transaction::~Transaction() = default;

Result<Transaction> Client::Send(std::span<const ByteView> parts, Bytes rest) const {
    auto connection = std::make_unique<Connection>(m_options.timeout);
    if (const Result<void> opened = connection->Open(m_options.socketPath); !opened) {
        return opened.Error();
    }
    if (const Result<void> sent = connection->Send(parts); !sent) {
        return sent.Error();
    }
    return Transaction(std::move(connection), std::move(rest));
}

Result<void> Client::Complete(Transaction& transaction, Bytes& answer) const {
    if (!transaction.m_rest.empty()) {
        const ByteView rest = transaction.m_rest;
        if (Result<void> sent = transaction.m_connection->Send(std::span(&rest, 1)); !sent) {
            return sent;
        }
    }
    return transaction.m_connection->Receive(answer);
}

Result<void> Client::Transact(std::span<const ByteView> parts, Bytes& answer) const {
    Result<Transaction> transaction = Send(parts);
    if (!transaction) {
        return transaction.Error();
    }
    return Complete(*transaction, answer);
}

Result<Transaction> Client::SendRead(std::uint16_t index, std::uint8_t subIndex, std::uint8_t flags,
                                     std::uint32_t capacity) const {
    Bytes head = StartFrame(s_recordHead + capacity, s_recordHead + capacity, true);
    PutRecordHead(head, index, subIndex, flags, capacity);
    std::vector<ByteView> parts{head};
    // The answer area goes out as zeros.
    for (std::size_t left = capacity; left > 0; left -= parts.back().size()) {
        parts.push_back(ByteView(s_zeros).first(std::min(left, s_zeros.size())));
    }
    return Send(parts);
}

Result<Client::RecordView> Client::CompleteRead(Transaction& transaction, Bytes& buffer) const {
    if (const Result<void> done = Complete(transaction, buffer); !done) {
        return done.Error();
    }
    if (buffer.size() < s_recordHead) {
        return Malformed("a record shorter than its head");
    }
    const Code code = RecordCode(buffer);
    if (Wire::Get<std::uint32_t>(buffer, 14) != buffer.size() - s_recordHead) {
        return Malformed("the length of the value does not fit the answer");
    }
    return RecordView{code, ByteView(buffer).subspan(s_recordHead)};
}

Result<Client::RecordView> Client::ReadRecord(std::uint16_t index, std::uint8_t subIndex, std::uint8_t flags,
                                              std::uint32_t capacity, Bytes& buffer) const {
    for (;;) {
        Result<Transaction> transaction = SendRead(index, subIndex, flags, capacity);
        if (!transaction) {
            return transaction.Error();
        }
        Result<RecordView> record = CompleteRead(*transaction, buffer);
        if (!record || record->code != OBJ_E_BUFFERTOOSMALL || capacity >= m_options.maximumCapacity) {
            return record;
        }
        const std::uint64_t larger = std::max<std::uint64_t>(std::uint64_t{capacity} * 8, 64);
        capacity = static_cast<std::uint32_t>(std::min<std::uint64_t>(larger, m_options.maximumCapacity));
    }
}

Result<CompleteValue> Client::ReadRecord(std::uint16_t index, std::uint8_t subIndex, std::uint8_t flags,
                                         std::uint32_t capacity) const {
    Bytes buffer;
    const Result<RecordView> record = ReadRecord(index, subIndex, flags, capacity, buffer);
    if (!record) {
        return record.Error();
    }
    return CompleteValue{record->code, Bytes(record->data.begin(), record->data.end())};
}

Result<Bytes> Client::Read(std::uint16_t index, std::uint8_t subIndex) const {
    Result<CompleteValue> value = ReadRecord(index, subIndex, 0, m_options.readCapacity);
    if (!value) {
        return value.Error();
    }
    if (IsError(value->code)) {
        return ObjectError(value->code);
    }
    return std::move(value->data);
}

Result<CompleteValue> Client::ReadComplete(std::uint16_t index, std::uint8_t subIndex) const {
    return ReadRecord(index, subIndex, s_flagComplete, m_options.readCapacity);
}

Result<void> Client::Write(std::uint16_t index, std::uint8_t subIndex, ByteView data) const {
    return WriteParts(index, subIndex, std::span(&data, 1));
}

Result<Transaction> Client::SendWrite(std::uint16_t index, std::uint8_t subIndex, std::span<const ByteView> data,
                                      bool holdBack) const {
    std::size_t size = 0;
    for (const ByteView part : data) {
        size += part.size();
    }
    if (size > 0xFFFFFFFFU - s_headerSize - s_recordHead) {
        return Error{ErrorKind::Argument, 0, 0, "the value does not fit into one frame"};
    }
    Bytes head = StartFrame(s_recordHead + size, 0, false);
    PutRecordHead(head, index, subIndex, 0, size);
    std::vector<ByteView> parts{head};
    parts.insert(parts.end(), data.begin(), data.end());
    Bytes rest;
    if (holdBack) {
        while (parts.back().empty()) {
            parts.pop_back();
        }
        rest.push_back(parts.back().back());
        parts.back() = parts.back().first(parts.back().size() - 1);
    }
    return Send(parts, std::move(rest));
}

Result<void> Client::CompleteWrite(Transaction& transaction) const {
    Bytes answer;
    if (Result<void> done = Complete(transaction, answer); !done) {
        return done;
    }
    if (answer.size() != s_recordHead) {
        return Malformed("a write is answered with 18 bytes");
    }
    if (const Code code = RecordCode(answer); IsError(code)) {
        return ObjectError(code);
    }
    return {};
}

Result<void> Client::WriteParts(std::uint16_t index, std::uint8_t subIndex, std::span<const ByteView> data) const {
    Result<Transaction> transaction = SendWrite(index, subIndex, data, false);
    if (!transaction) {
        return transaction.Error();
    }
    return CompleteWrite(*transaction);
}

Result<Bytes> Client::ListRequest(std::uint16_t listType, std::uint32_t capacity) const {
    Bytes frame = StartFrame(s_recordHead, capacity, false);
    Wire::Put(frame, s_commandList);
    Wire::Put(frame, listType);
    frame.resize(s_headerSize + s_recordHead + capacity);
    return Transact(frame);
}

Result<ObjectCounts> Client::CountObjects() const {
    const Result<Bytes> answer = ListRequest(s_listCounts, s_listCountsSize);
    if (!answer) {
        return answer.Error();
    }
    if (answer->size() < s_listCountsSize) {
        return Malformed("five counts were expected");
    }
    const auto count = [&](std::size_t word) { return Wire::Get<std::uint16_t>(*answer, 2 * word); };
    return ObjectCounts{count(0), count(1), count(2), count(3), count(4)};
}

Result<std::vector<std::uint16_t>> Client::ListObjects() const {
    const Result<ObjectCounts> counts = CountObjects();
    if (!counts) {
        return counts.Error();
    }
    // A list that has grown since it was counted does not fit and is refused without an answer.
    Result<Bytes> answer = ListRequest(s_listAll, counts->all * 2U);
    if (!answer && answer.Error().kind == ErrorKind::Closed) {
        answer = ListRequest(s_listAll, s_largestList);
    }
    if (!answer) {
        return answer.Error();
    }
    if (answer->size() % 2 != 0) {
        return Malformed("half an index in the list");
    }
    std::vector<std::uint16_t> indexes;
    for (std::size_t offset = 0; offset < answer->size(); offset += 2) {
        indexes.push_back(Wire::Get<std::uint16_t>(*answer, offset));
    }
    return indexes;
}

Error Client::WhyRefused(const Error& refusal, std::uint16_t index, std::uint8_t subIndex) const {
    if (refusal.kind != ErrorKind::Closed) {
        return refusal;
    }
    const Result<CompleteValue> value = ReadRecord(index, subIndex, 0, m_options.readCapacity);
    return value && value->code == OBJ_E_INVALIDIDX ? ObjectError(OBJ_E_INVALIDIDX) : refusal;
}

Result<ObjectDescription> Client::DescribeObject(std::uint16_t index, std::uint32_t language) const {
    Result<Bytes> answer = Error{};
    // A name that does not fit is refused in the same way as an index that does not exist.
    for (const std::uint32_t capacity : s_nameCapacities) {
        Bytes frame = StartFrame(s_recordHead, s_objectAnswerHead + capacity, false);
        Wire::Put(frame, s_commandObject);
        Wire::Put(frame, index);
        Wire::Put(frame, language);
        frame.resize(s_headerSize + s_recordHead + s_objectAnswerHead + capacity);
        answer = Transact(frame);
        if (answer || answer.Error().kind != ErrorKind::Closed) {
            break;
        }
        answer = WhyRefused(answer.Error(), index, 0);
        if (answer.Error().kind != ErrorKind::Closed) {
            break;
        }
    }
    if (!answer) {
        return answer.Error();
    }
    if (answer->size() < s_objectAnswerHead) {
        return Malformed("an object description shorter than its head");
    }
    if (const Code code = Wire::Get<std::uint32_t>(*answer, 4); IsError(code)) {
        return ObjectError(code);
    }
    ObjectDescription description;
    description.index = index;
    description.objectCode = (*answer)[0];
    description.dataType = Wire::Get<std::uint16_t>(*answer, 1);
    description.itemCount = (*answer)[3];
    description.name = EndAtNul(Wire::GetText(*answer, s_objectAnswerHead, answer->size() - s_objectAnswerHead));
    return description;
}

Result<EntryDescription> Client::DescribeEntry(std::uint16_t index, std::uint8_t subIndex,
                                               std::uint32_t language) const {
    for (const std::uint32_t capacity : s_nameCapacities) {
        const std::size_t infoSize = s_valueInfoSize + capacity;
        Bytes frame = StartFrame(s_recordHead, s_entryResultSize + infoSize, false);
        Wire::Put(frame, s_commandEntry);
        Wire::Put(frame, index);
        Wire::Put(frame, subIndex);
        Wire::Put(frame, language);
        frame.resize(s_headerSize + s_recordHead + s_entryResultSize);
        Wire::Put<std::uint64_t>(frame, infoSize);
        Wire::Put<std::uint16_t>(frame, 1); // asks for the access bits
        frame.resize(s_headerSize + s_recordHead + s_entryResultSize + infoSize);
        const Result<Bytes> answer = Transact(frame);
        if (!answer) {
            return WhyRefused(answer.Error(), index, subIndex);
        }
        // The answer counts only the record's size, so the result in front of it pushes the last eight bytes out.
        if (answer->size() < s_entryResultSize + s_valueInfoSize) {
            return Malformed("an entry description shorter than its fixed fields");
        }
        if (const Code code = Wire::Get<std::uint32_t>(*answer, 0); IsError(code)) {
            return ObjectError(code);
        }
        const ByteView info = ByteView(*answer).subspan(s_entryResultSize);
        const auto nameOffset = Wire::Get<std::uint64_t>(info, 48);
        const auto nameLength = Wire::Get<std::uint64_t>(info, 56);
        if (nameOffset > info.size() || nameLength > info.size() - nameOffset) {
            if (capacity != s_nameCapacities.back()) {
                continue;
            }
            return Malformed("a name outside the entry description");
        }
        const auto access = Wire::Get<std::uint16_t>(info, 14);
        EntryDescription description;
        description.index = index;
        description.subIndex = subIndex;
        description.dataType = Wire::Get<std::uint16_t>(info, 10);
        description.bitLength = Wire::Get<std::uint16_t>(info, 12);
        description.readable = (access & 7U) != 0;
        description.writable = (access & 56U) != 0;
        description.name = EndAtNul(Wire::GetText(info, nameOffset, nameLength));
        return description;
    }
    return Malformed("no entry description");
}

Result<std::vector<Module>> Client::ListModules(std::optional<std::uint16_t> type) const {
    // One 32-bit address and one 16-bit type an element, behind the count of two bytes.
    const Result<CompleteValue> addresses = ReadComplete(s_indexAddresses);
    if (!addresses) {
        return addresses.Error();
    }
    const Result<CompleteValue> types = ReadComplete(s_indexTypes);
    if (!types) {
        return types.Error();
    }
    for (const Code code : {addresses->code, types->code}) {
        if (IsError(code)) {
            return ObjectError(code);
        }
    }
    if (addresses->data.size() < 2) {
        return Malformed("a module list without its count");
    }
    const std::size_t count = Wire::Get<std::uint16_t>(addresses->data, 0);
    if (addresses->data.size() != 2 + 4 * count || types->data.size() != 2 + 2 * count) {
        return Malformed("the module lists do not have the same length");
    }
    std::vector<Module> modules;
    for (std::size_t i = 0; i < count; ++i) {
        Module module;
        module.slot = addresses->data[2 + 4 * i];
        module.index = static_cast<std::uint16_t>(0x8000U + module.slot * 16U);
        module.type = Wire::Get<std::uint16_t>(types->data, 2 + 2 * i);
        if (type && module.type != *type) {
            continue;
        }
        const Result<Bytes> name = Read(s_indexNames, static_cast<std::uint8_t>(i + 1));
        const Result<Bytes> typeName = Read(module.index, 2);
        const Result<Bytes> ident = Read(module.index, 4);
        for (const Result<Bytes>* part : {&name, &typeName, &ident}) {
            // A text of no length has no data; everything else is a failure of the list.
            if (!*part && part->Error().code != OBJ_E_NODATA) {
                return part->Error();
            }
        }
        if (name) {
            module.name = EndAtNul(Wire::GetText(*name, 0, name->size()));
        }
        if (typeName) {
            module.typeName = EndAtNul(Wire::GetText(*typeName, 0, typeName->size()));
        }
        if (ident && ident->size() == 4) {
            module.ident = Wire::Get<std::uint32_t>(*ident, 0);
        }
        modules.push_back(std::move(module));
    }
    return modules;
}

Result<void> Client::StartService(std::uint16_t index, ByteView request) const {
    // The service flag would make the service wait in whole seconds; polling from here is quicker and has no limit.
    return Write(index, s_subRequest, request);
}

Result<ServiceStatus> Client::PollService(std::uint16_t index) const {
    const Result<CompleteValue> value = ReadRecord(index, s_subStatus, 0, 1);
    if (!value) {
        return value.Error();
    }
    if (IsError(value->code)) {
        return ObjectError(value->code);
    }
    if (value->data.size() != 1) {
        return Malformed("a status has one byte");
    }
    return ServiceStatus{value->data[0]};
}

Result<ServiceResponse> Client::FetchResponse(std::uint16_t index, std::uint32_t capacity) const {
    Bytes buffer;
    return Owned(FetchResponse(index, capacity, buffer));
}

std::uint32_t Client::FetchCapacity(std::uint32_t capacity) const {
    return std::max(m_options.readCapacity, capacity > 0 ? capacity + 2 : 0);
}

Result<ServiceView> Client::ResponseOf(const Result<RecordView>& record) {
    if (!record) {
        return record.Error();
    }
    if (IsError(record->code)) {
        return ObjectError(record->code);
    }
    if (record->data.size() < 2) {
        return Malformed("a response without its two status bytes");
    }
    // The first byte is the status at the end of a job, the second that of a running one.
    const std::uint8_t running = record->data[1];
    return ServiceView{ServiceStatus{running != 0 ? running : record->data[0]}, record->data.subspan(2)};
}

Result<ServiceView> Client::FetchResponse(std::uint16_t index, std::uint32_t capacity, Bytes& buffer) const {
    return ResponseOf(ReadRecord(index, s_subRequest, s_flagService, FetchCapacity(capacity), buffer));
}

Result<ServiceResponse> Client::CallService(std::uint16_t index, ByteView request, const CallOptions& options) const {
    Turn turn;
    if (!turn.Wait(m_options, TurnName(index), options.busyTimeout)) {
        return ObjectError(OBJ_E_BUSY);
    }
    if (const Result<void> begun = BeginService(index, std::span(&request, 1), options); !begun) {
        return begun.Error();
    }
    Bytes buffer;
    return Owned(FinishService(index, options, buffer));
}

Result<Transaction> Client::SendRequestAhead(std::uint16_t index, std::span<const ByteView> request) const {
    return SendWrite(index, s_subRequest, request, true);
}

Result<Transaction> Client::AskForResponseAhead(std::uint16_t index, std::uint32_t capacity) const {
    return SendRead(index, s_subRequest, s_flagService, FetchCapacity(capacity));
}

Result<void> Client::BeginService(std::uint16_t index, std::span<const ByteView> request, const CallOptions& options,
                                  std::optional<Transaction> ahead) const {
    // A finished job keeps its object for a moment longer, until its worker has ended.
    const auto busyUntil = Clock::now() + options.busyTimeout;
    const auto start = [&]() -> Result<void> {
        if (!ahead) {
            return WriteParts(index, s_subRequest, request);
        }
        Transaction sent = std::move(*ahead);
        ahead.reset();
        sent.m_connection->AllowTime(m_options.timeout);
        return CompleteWrite(sent);
    };
    Pause pause;
    for (;;) {
        Result<void> started = start();
        if (started || started.Error().code != OBJ_E_BUSY || Clock::now() >= busyUntil) {
            return started;
        }
        pause.Sleep();
    }
}

Result<ServiceView> Client::FinishService(std::uint16_t index, const CallOptions& options, Bytes& buffer,
                                          std::optional<Transaction> ahead) const {
    constexpr int pollsAtOnce = 3;

    const bool limited = options.timeout.count() > 0;
    const auto jobUntil = Clock::now() + options.timeout;
    const auto noticeAt = Clock::now() + options.noticeAfter;
    bool isToBeNoticed = options.notice != nullptr;
    // For an answer: to the next moment at which there is something else to do.
    const auto answerTime = [&] {
        Milliseconds time = m_options.timeout;
        const auto endAt = [&](Clock::time_point moment) {
            const auto left = std::max(std::chrono::ceil<Milliseconds>(moment - Clock::now()), Milliseconds(1));
            time = time.count() == 0 ? left : std::min(time, left);
        };
        if (limited) {
            endAt(jobUntil);
        }
        if (isToBeNoticed) {
            endAt(noticeAt);
        }
        return time;
    };
    if (ahead) {
        ahead->m_connection->AllowTime(answerTime());
        Result<ServiceView> response = ResponseOf(CompleteRead(*ahead, buffer));
        ahead.reset();
        const bool isTooEarly =
            response ? response->status.Running()
                     : response.Error().kind == ErrorKind::Timeout || response.Error().code == OBJ_E_BUFFERTOOSMALL;
        if (!isTooEarly) {
            return response;
        }
    }
    Client poller(m_options);
    Pause pause;
    for (int polls = 0;; ++polls) {
        poller.m_options.timeout = answerTime();
        const Result<ServiceStatus> status = poller.PollService(index);
        // A job that holds its object lets nobody read its status: no answer means that it runs.
        if (!status && status.Error().kind != ErrorKind::Timeout) {
            return status.Error();
        }
        if (status && !status->Running()) {
            break;
        }
        if (status && options.progress) {
            options.progress(*status);
        }
        if (isToBeNoticed && Clock::now() >= noticeAt) {
            isToBeNoticed = false;
            options.notice();
        }
        if (limited && Clock::now() >= jobUntil) {
            return Error{ErrorKind::Timeout, 0, 0, "the job still runs"};
        }
        // Short jobs hold their object, so that the poll itself waits for them once they have begun.
        if (polls < pollsAtOnce) {
            std::this_thread::yield();
            continue;
        }
        pause.Sleep();
    }
    return FetchResponse(index, options.responseCapacity, buffer);
}

} // namespace Mdp
