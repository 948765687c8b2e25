#include "service/PipeCommunication.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <mutex>
#include <optional>
#include <string_view>

#include "host/FreeMemory.h"
#include "log/Logger.h"
#include "service/CShortage.h"
#include "service/CSignals.h"
#include "service/CSilentClient.h"

namespace Hesperd {

namespace {

constexpr const char* SOCKET_PATH = "/tmp/MDP0";
constexpr int BACKLOG = 10;

// So many threads wait for clients in a quiet hour. In a busy one more stay, as long as all of them have been needed at
// one moment between two looks back: where many clients came, more will.
constexpr int WAITING_THREADS = 4;
constexpr std::chrono::seconds LOOKS_BACK{2};
// Out of descriptors or memory, a thread that waits for clients asks again after this time.
constexpr useconds_t SHORTAGE_PAUSE_US = 20000;
constexpr std::chrono::milliseconds WHILE_SOMETHING_LACKS{100};
constexpr std::chrono::milliseconds UNTIL_WOKEN{-1};
// How often the end looks, each time after this pause, whether the threads that wait have left the socket.
constexpr int LEAVING_LOOKS = 1000;
constexpr useconds_t LEAVING_PAUSE_US = 100;

using Clock = std::chrono::steady_clock;

enum class TPhase { starting, listening, ended };

// The receiver: its socket, and the threads that take clients from it and serve them.
struct TReceiver {
    std::mutex mutex; // of what follows, but the atomics
    std::condition_variable phaseChanged;
    TPhase phase = TPhase::starting;

    std::atomic<int> listening{-1};
    std::atomic<int> waiting{0};               // threads that wait for a client, or are about to
    std::atomic<int> fewestWaiting{0};         // of them, at any time since the last look back
    std::atomic<int> toEnd{0};                 // so many are spare, and end when they have served a client
    std::atomic<bool> wasBusy{false};          // since the last look back
    std::optional<Clock::time_point> lookBack; // when that is, in and after a busy hour; the main thread's
    std::atomic<bool> isStopping{false};
    std::atomic<bool> isBroken{false};

    CShortage clientShortage{"Accept"};
    CShortage threadShortage{"Create client thread"};
};

// Never destroyed: no stop waits for the threads that are still busy.
TReceiver& Receiving() {
    static auto* receiver = new TReceiver;
    return *receiver;
}

sockaddr_un SocketAddress() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, SOCKET_PATH, sizeof address.sun_path - 1);
    return address;
}

// Sockets of the service are not for the programs that it runs: a daemon among them would keep a client's connection
// open.
int NewSocket(int flags = 0) {
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
}

// Opens the listening socket. -1, with the line that tells why, where that fails.
int Listen() {
    const int listening = NewSocket();
    if (listening < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Create server socket failed: %d", errno);
        return -1;
    }
    unlink(SOCKET_PATH);
    const sockaddr_un address = SocketAddress();
    if (bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        // Meant: the socket stays open.
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Create server binding failed: %d", errno);
        return -1;
    }
    if (listen(listening, BACKLOG) < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Listen failed: %d", errno);
        return -1;
    }
    return listening;
}

bool IsStopping() {
    return CSignals::SignalTerminateState() || Receiving().isStopping.load();
}

// Nobody can be served any more: the process is to end. True for the first who finds that.
bool Break() {
    const bool isFirst = !Receiving().isBroken.exchange(true);
    CSignals::Wake();
    return isFirst;
}

// What runs out and comes back. Everything else that is not passing means that the socket is not one any more.
bool IsShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
}

bool IsPassing(int error) {
    return error == EINTR || error == ECONNABORTED || error == EAGAIN || error == EPROTO || error == EPERM;
}

// Waits for a client. -1 at the end of the receiver.
int Accept() {
    TReceiver& receiver = Receiving();
    // Looked at first too: a stop that came before the socket listened could not connect to it.
    while (!IsStopping()) {
        const int client = accept4(receiver.listening.load(), nullptr, nullptr, SOCK_CLOEXEC);
        const int error = errno;
        if (IsStopping()) {
            if (client >= 0) {
                close(client);
            }
            break;
        }
        if (client >= 0) {
            return client;
        }
        if (IsShortage(error)) {
            receiver.clientShortage.Meet(error);
            CSignals::Wake();
            CSilentClient::EndThose();
            usleep(SHORTAGE_PAUSE_US);
        } else if (!IsPassing(error)) {
            if (Break()) {
                g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Accept failed: %d", error);
            }
            break;
        }
    }
    return -1;
}

// Closes the listening socket, unless that has been done.
void EndReceiver() {
    TReceiver& receiver = Receiving();
    receiver.isStopping.store(true);
    std::unique_lock lock(receiver.mutex);
    receiver.phaseChanged.wait(lock, [&] { return receiver.phase != TPhase::starting; });
    if (receiver.phase == TPhase::ended) {
        return;
    }
    receiver.phase = TPhase::ended;
    for (int look = 0; receiver.waiting.load() != 0 && look < LEAVING_LOOKS; ++look) {
        // On some systems it wakes but one thread.
        shutdown(receiver.listening.load(), SHUT_RDWR);
        usleep(LEAVING_PAUSE_US);
    }
    if (receiver.waiting.load() == 0) {
        close(receiver.listening.exchange(-1));
    }
    if (!receiver.isBroken.load()) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "PipeCommunication::Receiver(): Terminate!");
    }
}

void Serve();

// Starts a thread that waits for clients. Where none can be had those that are there go on alone.
void StartThread() {
    TReceiver& receiver = Receiving();
    ++receiver.waiting;
    int error = ENOMEM;
    try {
        std::thread(Serve).detach();
        return;
    } catch (const std::system_error& failure) {
        error = failure.code().value();
    } catch (const std::exception&) { // no memory
    }
    --receiver.waiting;
    receiver.threadShortage.Meet(error);
    CSignals::Wake();
}

// Wakes a thread that waits for clients, by one that says nothing. Not where clients wait already.
void Knock() {
    const int client = NewSocket(SOCK_NONBLOCK);
    if (client >= 0) {
        const sockaddr_un address = SocketAddress();
        (void)!connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        close(client);
    }
}

// Counts this thread as one that waits again.
void CountAsWaiting() {
    if (++Receiving().waiting > WAITING_THREADS) {
        PipeCommunication::NoteBusy();
    }
}

// Counts this thread as one that waits no longer. True if none does now.
bool CountAsServing() {
    TReceiver& receiver = Receiving();
    const int waiting = --receiver.waiting;
    if (waiting < receiver.fewestWaiting.load()) {
        receiver.fewestWaiting.store(waiting); // of two at once either may win: it is a matter of a thread more or less
    }
    return waiting == 0;
}

// Whether this thread is to end after it has served a client.
bool IsSpare() {
    TReceiver& receiver = Receiving();
    // Each that waits may hold a descriptor for its client already.
    if (receiver.clientShortage.IsTold() && receiver.waiting.load() >= WAITING_THREADS) {
        return true;
    }
    std::atomic<int>& toEnd = receiver.toEnd;
    int count = toEnd.load();
    while (count > 0) {
        if (toEnd.compare_exchange_weak(count, count - 1)) {
            if (count > 1) {
                Knock(); // for the next of them
            }
            return true;
        }
    }
    return false;
}

// Ends the threads that nobody has needed since the last look, and gives back memory when it has become quiet. The time
// to the next look, none in a quiet hour. For the main thread.
std::optional<Clock::duration> LookBack() {
    TReceiver& receiver = Receiving();
    const auto now = Clock::now();
    if (receiver.lookBack && now < *receiver.lookBack) {
        return *receiver.lookBack - now;
    }
    const bool isFirst = !receiver.lookBack;
    const bool wasBusy = receiver.wasBusy.exchange(false);
    const int spare = isFirst ? 0 : std::max(receiver.fewestWaiting.load() - WAITING_THREADS, 0);
    receiver.fewestWaiting.store(receiver.waiting.load());
    receiver.toEnd.store(spare);
    if (spare > 0) {
        Knock();
    } else if (!wasBusy) {
        if (!isFirst) {
            Host::ReturnFreeMemory();
        }
        receiver.lookBack.reset();
        return std::nullopt;
    }
    receiver.lookBack = now + LOOKS_BACK;
    return LOOKS_BACK;
}

// The life of a thread that takes clients and serves them, counted as waiting when it begins.
void Serve() {
    for (;;) {
        const int client = Accept();
        const bool isLast = CountAsServing();
        if (client < 0) {
            if (IsStopping()) {
                EndReceiver();
            }
            return;
        }
        if (isLast) {
            StartThread();
        }
        PipeCommunication::HandleRequest(client);
        if (IsSpare()) {
            return;
        }
        CountAsWaiting();
    }
}

} // namespace

ObjResult PipeCommunication::Init() {
    try {
        m_receiver = std::thread(Receiver);
    } catch (const std::system_error& failure) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "Create receiver thread failed: %d", failure.code().value());
        Receiving().phase = TPhase::ended;
        Break();
    }
    return OBJ_E_NOERR;
}

void PipeCommunication::Receiver() {
    TReceiver& receiver = Receiving();
    const int listening = Listen();
    if (listening >= 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "Waiting for client...");
    }
    {
        const std::lock_guard lock(receiver.mutex);
        receiver.phase = listening >= 0 ? TPhase::listening : TPhase::ended;
        receiver.listening.store(listening);
        receiver.waiting.store(listening >= 0 ? 1 : 0);
    }
    receiver.phaseChanged.notify_all();
    if (listening < 0) {
        Break();
        return;
    }
    for (int thread = 1; thread < WAITING_THREADS; ++thread) {
        StartThread();
    }
    Serve();
}

std::chrono::milliseconds PipeCommunication::Tend() {
    TReceiver& receiver = Receiving();
    const bool lacksClients = receiver.clientShortage.Lasts();
    const bool lacksThreads = receiver.threadShortage.Lasts();
    if (lacksThreads && receiver.waiting.load() == 0 && !IsStopping()) {
        CSilentClient::EndThose();
        StartThread();
    }
    if (lacksClients || lacksThreads) {
        return WHILE_SOMETHING_LACKS;
    }
    const auto untilLookBack = LookBack();
    return untilLookBack ? std::chrono::ceil<std::chrono::milliseconds>(*untilLookBack) : UNTIL_WOKEN;
}

void PipeCommunication::NoteBusy() {
    std::atomic<bool>& wasBusy = Receiving().wasBusy;
    if (!wasBusy.load() && !wasBusy.exchange(true)) {
        CSignals::Wake();
    }
}

bool PipeCommunication::IsBroken() {
    return Receiving().isBroken.load();
}

void PipeCommunication::Close() {
    constexpr std::string_view terminate = "SIGTERM";
    if (m_receiver.joinable()) {
        // What it serves is not waited for.
        m_receiver.detach();
    }
    // Where the receiver has ended and clients that nobody accepts fill the queue, connecting would wait for ever.
    const int waker = NewSocket(SOCK_NONBLOCK);
    if (waker < 0) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "PipeCommunication::Close(): Create client socket failed: %d", errno);
        return;
    }
    const sockaddr_un address = SocketAddress();
    if (connect(waker, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        // Meant: nobody reads it, and the result does not matter.
        [[maybe_unused]] const ssize_t written = write(waker, terminate.data(), terminate.size());
    }
    close(waker);
    EndReceiver();
    unlink(SOCKET_PATH);
}

} // namespace Hesperd
