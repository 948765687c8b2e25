// Test equipment, preloaded into the service: makes one system call fail.
//
// FAILING_CALL is NAME:WHICH:ERROR. NAME is socket, bind, listen, accept, signal, thread or daemon; ERROR the errno it
// fails with. WHICH is the number of the call that fails, counted from 1, or 0 for every one; for signal it is the
// signal's number. Only Unix stream sockets count: the system log and the host's own look-ups use others. Where
// FAILING_WHILE names a file, calls fail only while that is there.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace {

bool Fails(const char* name, int number) {
    const char* wanted = std::getenv("FAILING_CALL");
    const std::size_t length = std::strlen(name);
    if (wanted == nullptr || std::strncmp(wanted, name, length) != 0 || wanted[length] != ':') {
        return false;
    }
    const int which = std::atoi(wanted + length + 1);
    if (which != 0 && which != number) {
        return false;
    }
    const char* file = std::getenv("FAILING_WHILE");
    if (file != nullptr && access(file, F_OK) != 0) {
        return false;
    }
    errno = std::atoi(std::strrchr(wanted, ':') + 1);
    return true;
}

template <typename TFunction>
TFunction* Real(const char* name) {
    return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, name));
}

bool IsUnixStream(int descriptor) {
    int type = 0;
    int domain = 0;
    socklen_t size = sizeof type;
    getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size);
    getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size);
    return type == SOCK_STREAM && domain == AF_UNIX;
}

std::atomic<int> s_sockets{0};
std::atomic<int> s_binds{0};
std::atomic<int> s_listens{0};
std::atomic<int> s_accepts{0};

} // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
    if (domain == AF_UNIX && (type & ~(SOCK_CLOEXEC | SOCK_NONBLOCK)) == SOCK_STREAM && Fails("socket", ++s_sockets)) {
        return -1;
    }
    return Real<int(int, int, int)>("socket")(domain, type, protocol);
}

int bind(int descriptor, const sockaddr* address, socklen_t size) noexcept {
    if (IsUnixStream(descriptor) && Fails("bind", ++s_binds)) {
        return -1;
    }
    return Real<int(int, const sockaddr*, socklen_t)>("bind")(descriptor, address, size);
}

int listen(int descriptor, int backlog) noexcept {
    if (IsUnixStream(descriptor) && Fails("listen", ++s_listens)) {
        return -1;
    }
    return Real<int(int, int)>("listen")(descriptor, backlog);
}

int accept(int descriptor, sockaddr* address, socklen_t* size) {
    if (IsUnixStream(descriptor) && Fails("accept", ++s_accepts)) {
        return -1;
    }
    return Real<int(int, sockaddr*, socklen_t*)>("accept")(descriptor, address, size);
}

int accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
    if (IsUnixStream(descriptor) && Fails("accept", ++s_accepts)) {
        return -1;
    }
    return Real<int(int, sockaddr*, socklen_t*, int)>("accept4")(descriptor, address, size, flags);
}

sighandler_t signal(int number, sighandler_t handler) noexcept {
    if (Fails("signal", number)) {
        return SIG_ERR;
    }
    return Real<sighandler_t(int, sighandler_t)>("signal")(number, handler);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*), void* argument) {
    if (Fails("thread", 1)) {
        return errno;
    }
    return Real<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create")(thread, attributes,
                                                                                                   routine, argument);
}

int daemon(int noChangeOfDirectory, int noClose) noexcept {
    if (Fails("daemon", 1)) {
        return -1;
    }
    return Real<int(int, int)>("daemon")(noChangeOfDirectory, noClose);
}
}
