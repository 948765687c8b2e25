// Test equipment, preloaded into the service: notes each call that opens a descriptor which a program would inherit
// that another thread is just starting, a line each with the call and the name that it was given. They go to the file
// that INHERITABLE_DESCRIPTORS names. The programs that the service starts are left alone.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string TakeVariable(const char* name) {
    const char* value = std::getenv(name);
    std::string text = value != nullptr ? value : "";
    unsetenv(name); // what is started from here on is not looked at
    return text;
}

// Never deleted: descriptors are opened up to the last moment.
const std::string& s_notes = *new std::string(TakeVariable("INHERITABLE_DESCRIPTORS"));
const pid_t s_process = getpid();

void Note(const char* call, const char* name) {
    if (s_notes.empty() || getpid() != s_process) {
        return;
    }
    char line[1024];
    const int length = std::snprintf(line, sizeof line, "%s %s\n", call, name);
    // Not through open, which is noted itself.
    const long file = syscall(SYS_openat, AT_FDCWD, s_notes.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (file >= 0) {
        [[maybe_unused]] const ssize_t unchecked =
            write(static_cast<int>(file), line, static_cast<std::size_t>(length));
        syscall(SYS_close, file);
    }
}

template <typename TFunction>
TFunction* Real(const char* name) {
    return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, name));
}

void NoteOpen(const char* call, const char* path, int flags) {
    if ((flags & O_CLOEXEC) == 0) {
        Note(call, path);
    }
}

void NoteStream(const char* call, const char* name, const char* mode) {
    if (std::strchr(mode, 'e') == nullptr) {
        Note(call, name);
    }
}

} // namespace

extern "C" {

#define MODE_OF(flags)                                                                                                 \
    mode_t mode = 0;                                                                                                   \
    if (((flags) & (O_CREAT | O_TMPFILE)) != 0) {                                                                      \
        std::va_list rest;                                                                                             \
        va_start(rest, flags);                                                                                         \
        mode = va_arg(rest, mode_t);                                                                                   \
        va_end(rest);                                                                                                  \
    }

int open(const char* path, int flags, ...) {
    MODE_OF(flags)
    NoteOpen("open", path, flags);
    return Real<int(const char*, int, ...)>("open")(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    MODE_OF(flags)
    NoteOpen("open", path, flags);
    return Real<int(const char*, int, ...)>("open64")(path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...) {
    MODE_OF(flags)
    NoteOpen("openat", path, flags);
    return Real<int(int, const char*, int, ...)>("openat")(directory, path, flags, mode);
}

int openat64(int directory, const char* path, int flags, ...) {
    MODE_OF(flags)
    NoteOpen("openat", path, flags);
    return Real<int(int, const char*, int, ...)>("openat64")(directory, path, flags, mode);
}

std::FILE* fopen(const char* path, const char* mode) {
    NoteStream("fopen", path, mode);
    return Real<std::FILE*(const char*, const char*)>("fopen")(path, mode);
}

std::FILE* fopen64(const char* path, const char* mode) {
    NoteStream("fopen", path, mode);
    return Real<std::FILE*(const char*, const char*)>("fopen64")(path, mode);
}

std::FILE* popen(const char* command, const char* mode) {
    NoteStream("popen", command, mode);
    return Real<std::FILE*(const char*, const char*)>("popen")(command, mode);
}

int mkstemp(char* pattern) {
    Note("mkstemp", pattern);
    return Real<int(char*)>("mkstemp")(pattern);
}

int mkostemp(char* pattern, int flags) {
    NoteOpen("mkostemp", pattern, flags);
    return Real<int(char*, int)>("mkostemp")(pattern, flags);
}

int socket(int domain, int type, int protocol) noexcept {
    if ((type & SOCK_CLOEXEC) == 0) {
        Note("socket", "");
    }
    return Real<int(int, int, int)>("socket")(domain, type, protocol);
}

int accept(int descriptor, sockaddr* address, socklen_t* size) {
    Note("accept", "");
    return Real<int(int, sockaddr*, socklen_t*)>("accept")(descriptor, address, size);
}

int accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
    if ((flags & SOCK_CLOEXEC) == 0) {
        Note("accept4", "");
    }
    return Real<int(int, sockaddr*, socklen_t*, int)>("accept4")(descriptor, address, size, flags);
}

int pipe2(int* ends, int flags) noexcept {
    NoteOpen("pipe2", "", flags);
    return Real<int(int*, int)>("pipe2")(ends, flags);
}

int pipe(int* ends) noexcept {
    // The sanitizers look by a pipe whether memory can be read. Where they are part of the program nobody can tell
    // theirs from its own: there the check of the sources has to find it.
    Dl_info caller{};
    if (dlsym(RTLD_DEFAULT, "__ubsan_vptr_type_cache") == nullptr &&
        (dladdr(__builtin_return_address(0), &caller) == 0 || std::strstr(caller.dli_fname, "san.so") == nullptr)) {
        Note("pipe", "");
    }
    return Real<int(int*)>("pipe")(ends);
}

int dup(int descriptor) noexcept {
    Note("dup", "");
    return Real<int(int)>("dup")(descriptor);
}
}
