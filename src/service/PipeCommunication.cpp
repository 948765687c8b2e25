#include "service/PipeCommunication.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <mutex>
#include <string_view>

#include "log/Logger.h"
#include "service/CShortage.h"
#include "service/CSignals.h"
#include "service/CSilentClient.h"

namespace Hesperd {

namespace {

constexpr const char* SOCKET_PATH = "/tmp/MDP0";
constexpr int BACKLOG = 10;

// So many threads wait for clients in a quiet hour. A thread too many is kept for a while: where one came, more will.
constexpr int WAITING_THREADS = 4;
constexpr std::chrono::seconds SPARE_LIFE{2};
// Out of descriptors or memory, a thread that waits for clients asks again after this time.
constexpr useconds_t SHORTAGE_PAUSE_US = 20000;
// How often the end looks, each time after this pause, whether the threads that wait have left the socket.
constexpr int LEAVING_LOOKS = 1000;
constexpr useconds_t LEAVING_PAUSE_US = 100;

enum class TPhase { starting, listening, ended };

// The receiver: its socket, and the threads that take clients from it and serve them.
struct TReceiver {
    std::mutex mutex; // of what follows, but the atomics
    std::condition_variable phaseChanged;
    std::condition_variable calledUp;
    TPhase phase = TPhase::starting;
    int spare = 0;        // threads that nobody needs at the moment
    int toBeCalledUp = 0; // of those that are to wait for clients again

    std::atomic<int> listening{-1};
    std::atomic<int> waiting{0}; // threads that wait for a client, or are about to
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
    receiver.calledUp.notify_all();
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

// Counts one more thread as waiting, unless enough do.
bool CountAsWaiting() {
    std::atomic<int>& count = Receiving().waiting;
    int waiting = count.load();
    while (waiting < WAITING_THREADS) {
        if (count.compare_exchange_weak(waiting, waiting + 1)) {
            return true;
        }
    }
    return false;
}

// Starts a thread that waits for clients, if one more is to. Where none can be had those that are there go on alone.
void StartThread() {
    if (!CountAsWaiting()) {
        return;
    }
    TReceiver& receiver = Receiving();
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

// Lets one more thread wait for clients.
void CallUpAnother() {
    TReceiver& receiver = Receiving();
    {
        const std::lock_guard lock(receiver.mutex);
        if (receiver.spare > receiver.toBeCalledUp) {
            if (CountAsWaiting()) {
                ++receiver.toBeCalledUp;
                receiver.calledUp.notify_one();
            }
            return;
        }
    }
    StartThread();
}

// True when this thread is to wait for clients again, and counted so; false when it is to end.
bool IsNeeded() {
    if (CountAsWaiting()) {
        return true;
    }
    TReceiver& receiver = Receiving();
    std::unique_lock lock(receiver.mutex);
    ++receiver.spare;
    receiver.calledUp.wait_for(lock, SPARE_LIFE,
                               [&] { return receiver.toBeCalledUp > 0 || receiver.phase == TPhase::ended; });
    --receiver.spare;
    if (receiver.toBeCalledUp == 0) {
        return false;
    }
    --receiver.toBeCalledUp;
    return true;
}

// The life of a thread that takes clients and serves them, counted as waiting when it begins.
void Serve() {
    TReceiver& receiver = Receiving();
    do {
        const int client = Accept();
        const bool isLast = receiver.waiting.fetch_sub(1) == 1;
        if (client < 0) {
            if (IsStopping()) {
                EndReceiver();
            }
            return;
        }
        if (isLast) {
            CallUpAnother();
        }
        PipeCommunication::HandleRequest(client);
    } while (IsNeeded());
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

bool PipeCommunication::Tend() {
    TReceiver& receiver = Receiving();
    const bool lacksClients = receiver.clientShortage.Lasts();
    const bool lacksThreads = receiver.threadShortage.Lasts();
    if (lacksThreads && receiver.waiting.load() == 0 && !IsStopping()) {
        CSilentClient::EndThose();
        StartThread();
    }
    return lacksClients || lacksThreads;
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
