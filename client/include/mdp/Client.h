#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "mdp/Result.h"

namespace Mdp {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;
using Milliseconds = std::chrono::milliseconds;

/// Where the service listens.
inline constexpr const char* DefaultSocket = "/tmp/MDP0";

/// Languages of names: Windows language identifiers. 0 lets the service choose.
inline constexpr std::uint32_t LanguageDefault = 0;
inline constexpr std::uint32_t LanguageEnglish = 1033;
inline constexpr std::uint32_t LanguageGerman = 1031;

/// Object codes.
inline constexpr std::uint8_t ObjectVariable = 7;
inline constexpr std::uint8_t ObjectArray = 8;
inline constexpr std::uint8_t ObjectRecord = 9;

/// How a client reaches the service.
struct ClientOptions {
    std::string socketPath = DefaultSocket;
    Milliseconds timeout{30000};               ///< for one whole transaction; 0 waits for ever
    std::uint32_t readCapacity = 494;          ///< first read buffer in bytes; it grows when the value is longer
    std::uint32_t maximumCapacity = 64U << 20; ///< the buffer grows up to here
    /// Where the socket leads to another machine: a name for it, without slashes. Programs that give the same one take
    /// turns there (Turn.h) although their sockets are not the same.
    std::string machine = {};
};

/// The outcome of a complete read. A failure at a later entry leaves the bytes of the entries before it.
struct CompleteValue {
    Code code = OBJ_E_NOERR; ///< of the entry at which the read stopped
    Bytes data;              ///< the entries packed without padding; entry 0 of an array or record takes two bytes
};

/// Numbers of objects, as list type 0 gives them.
struct ObjectCounts {
    std::uint16_t all = 0;
    std::uint16_t rxMappable = 0;
    std::uint16_t txMappable = 0;
    std::uint16_t backup = 0;
    std::uint16_t startup = 0;
};

struct ObjectDescription {
    std::uint16_t index = 0;
    std::uint8_t objectCode = 0; ///< ObjectVariable, ObjectArray or ObjectRecord
    std::uint16_t dataType = 0;  ///< of a variable or of an array's elements; 0 for a record
    std::uint8_t itemCount = 0;  ///< number of entries, entry 0 included
    std::string name;            ///< in the language asked for; empty where there is none
};

struct EntryDescription {
    std::uint16_t index = 0;
    std::uint8_t subIndex = 0;
    std::uint16_t dataType = 0;
    std::uint16_t bitLength = 0; ///< of the value as it is stored now, modulo 65536
    bool readable = false;
    bool writable = false;
    std::string name;
};

/// One module of the machine, as the module lists and its header tell it.
struct Module {
    std::uint16_t index = 0; ///< of the header; the module's data objects follow it
    std::uint8_t slot = 0;
    std::uint16_t type = 0;
    std::string typeName;
    std::string name; ///< of this instance
    std::uint32_t ident = 0;

    /// Index of the module's data object number k, 1 to 15.
    std::uint16_t Data(unsigned k) const { return static_cast<std::uint16_t>(index + k); }

    /// Index of the module's service object number k, 0 to 15.
    std::uint16_t Service(unsigned k) const { return static_cast<std::uint16_t>(0xB000U | slot * 16U | k); }
};

/// The status byte of a service object.
struct ServiceStatus {
    std::uint8_t value = 0;

    bool Running() const { return value >= 4; }

    bool Failed() const { return value == 2 || value == 3; }

    /// What a running job tells of its progress: a number of the job's own scale, or nothing.
    std::optional<std::uint8_t> Progress() const;
};

/// What a service object answered.
struct ServiceResponse {
    ServiceStatus status;
    Bytes data; ///< response data without the two status bytes

    /// The code of a failed job, from its response data; OBJ_E_FAILED where it sent none, OBJ_E_NOERR for a success.
    Code FailureCode() const;
};

/// A response that lies in a buffer of the caller.
struct ServiceView {
    ServiceStatus status;
    ByteView data; ///< response data without the two status bytes

    Code FailureCode() const; ///< as of ServiceResponse
};

struct CallOptions {
    Milliseconds timeout{0};            ///< for the job to end; 0 waits for ever
    Milliseconds busyTimeout{2000};     ///< how long a busy service object is asked again before OBJ_E_BUSY is told
    std::uint32_t responseCapacity = 0; ///< expected bytes of response data; saves reading again with a larger buffer
    std::function<void(ServiceStatus)> progress; ///< called from time to time while the job runs
    Milliseconds noticeAfter{10000};             ///< how long a job may run before notice is called
    std::function<void()> notice;                ///< called once for a job that runs longer
};

class Connection;

/// A transaction that has begun: its frame, or all of it but the end, is with the service. It is given up with the
/// object.
class Transaction {
public:
    Transaction(Transaction&& other) noexcept;
    Transaction& operator=(Transaction&& other) noexcept;
    ~Transaction();

private:
    friend class Client;

    Transaction(std::unique_ptr<Connection> connection, Bytes rest);

    std::unique_ptr<Connection> m_connection;
    Bytes m_rest; // what is still to be sent
};

/// A client of the service. It holds no connection: each call connects anew, and so it may be used by several threads
/// at once. Calls block, at most for the time of the options.
class Client {
public:
    explicit Client(ClientOptions options = {});

    const ClientOptions& Options() const { return m_options; }

    /// The value of one entry.
    Result<Bytes> Read(std::uint16_t index, std::uint8_t subIndex) const;

    /// All entries from subIndex (0 or 1) on, in one transaction.
    Result<CompleteValue> ReadComplete(std::uint16_t index, std::uint8_t subIndex = 0) const;

    Result<void> Write(std::uint16_t index, std::uint8_t subIndex, ByteView data) const;

    Result<ObjectCounts> CountObjects() const;

    /// The indexes of all objects in ascending order. Wakes every module.
    Result<std::vector<std::uint16_t>> ListObjects() const;

    /// The service refuses to describe what does not exist without an answer; a read then finds out, so that the
    /// error is OBJ_E_INVALIDIDX.
    Result<ObjectDescription> DescribeObject(std::uint16_t index, std::uint32_t language = LanguageDefault) const;
    Result<EntryDescription> DescribeEntry(std::uint16_t index, std::uint8_t subIndex,
                                           std::uint32_t language = LanguageDefault) const;

    /// The modules of the machine in the order in which they registered, all or those of one type. Takes two
    /// transactions and three for each module that it gives.
    Result<std::vector<Module>> ListModules(std::optional<std::uint16_t> type = std::nullopt) const;

    /// Writes the request of a service object, which starts its job.
    Result<void> StartService(std::uint16_t index, ByteView request) const;

    /// Asks for the status byte. While a job holds its object, the answer waits for it.
    Result<ServiceStatus> PollService(std::uint16_t index) const;

    /// The response as it stands; status.Running() tells that the job has not ended.
    Result<ServiceResponse> FetchResponse(std::uint16_t index, std::uint32_t capacity = 0) const;

    /// Starts a job, waits for its end by polling and gives its response, also that of a failed job. The wait has no
    /// limit but that of the options. Error kind Timeout tells that the job still runs. A service object keeps one
    /// response, which does not tell whose it is: from the start of the job until its response is there this program
    /// has its Turn at the object, as OBJ_E_BUSY for another one of the same user. Programs of other users, and those
    /// that do not come by this library, may still take one another's response.
    Result<ServiceResponse> CallService(std::uint16_t index, ByteView request, const CallOptions& options = {}) const;

    /// The two halves of CallService, for large jobs one after the other and work to be done while they run. The first
    /// starts the job; it has taken the request, whose parts are sent one behind the other, when it returns. The second
    /// waits for its end, the time of the options counting from there; the buffer, which holds the response, is used
    /// again. Each takes what was sent ahead for it.
    Result<void> BeginService(std::uint16_t index, std::span<const ByteView> request, const CallOptions& options,
                              std::optional<Transaction> ahead = std::nullopt) const;
    Result<ServiceView> FinishService(std::uint16_t index, const CallOptions& options, Bytes& buffer,
                                      std::optional<Transaction> ahead = std::nullopt) const;

    /// Sends all but the end of a request, while the job before it still runs. For BeginService with the same request.
    Result<Transaction> SendRequestAhead(std::uint16_t index, std::span<const ByteView> request) const;
    /// Asks for the response of a job that still runs. For FinishService with the same index and capacity.
    Result<Transaction> AskForResponseAhead(std::uint16_t index, std::uint32_t capacity) const;

    /// Sends one whole frame and gives the bytes of the answer, without the length in front.
    Result<Bytes> Transact(ByteView frame) const;

private:
    struct RecordView {
        Code code = OBJ_E_NOERR;
        ByteView data;
    };

    // The rest of the frame goes out when the transaction is completed.
    Result<Transaction> Send(std::span<const ByteView> parts, Bytes rest = {}) const;
    Result<void> Complete(Transaction& transaction, Bytes& answer) const;
    Result<void> Transact(std::span<const ByteView> parts, Bytes& answer) const;
    Result<Transaction> SendWrite(std::uint16_t index, std::uint8_t subIndex, std::span<const ByteView> data,
                                  bool holdBack) const;
    Result<void> CompleteWrite(Transaction& transaction) const;
    Result<void> WriteParts(std::uint16_t index, std::uint8_t subIndex, std::span<const ByteView> data) const;
    Result<Transaction> SendRead(std::uint16_t index, std::uint8_t subIndex, std::uint8_t flags,
                                 std::uint32_t capacity) const;
    Result<RecordView> CompleteRead(Transaction& transaction, Bytes& buffer) const;
    Result<RecordView> ReadRecord(std::uint16_t index, std::uint8_t subIndex, std::uint8_t flags,
                                  std::uint32_t capacity, Bytes& buffer) const;
    Result<CompleteValue> ReadRecord(std::uint16_t index, std::uint8_t subIndex, std::uint8_t flags,
                                     std::uint32_t capacity) const;
    std::uint32_t FetchCapacity(std::uint32_t capacity) const;
    static Result<ServiceView> ResponseOf(const Result<RecordView>& record);
    Result<ServiceView> FetchResponse(std::uint16_t index, std::uint32_t capacity, Bytes& buffer) const;
    // The cause of a description that was refused, as far as reading the entry tells it.
    Error WhyRefused(const Error& refusal, std::uint16_t index, std::uint8_t subIndex) const;
    Result<Bytes> ListRequest(std::uint16_t listType, std::uint32_t capacity) const;

    ClientOptions m_options;
};

} // namespace Mdp
