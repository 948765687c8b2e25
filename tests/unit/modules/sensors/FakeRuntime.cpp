#include "FakeRuntime.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "runtime/KorSyncWrap.h"

bool FakeRuntime::isInstalled = false;
std::int32_t FakeRuntime::port = 0;
std::int32_t FakeRuntime::addressError = 0;
std::int32_t FakeRuntime::closeError = 0;
std::map<std::pair<std::uint32_t, std::uint32_t>, std::string> FakeRuntime::values;

namespace {

std::vector<std::string> s_calls;

std::int32_t Open() {
    s_calls.emplace_back("open");
    return FakeRuntime::port;
}

std::int32_t Close() {
    s_calls.emplace_back("close");
    return FakeRuntime::closeError;
}

std::int32_t SetTimeout(std::int32_t milliseconds) {
    s_calls.push_back("timeout " + std::to_string(milliseconds));
    return 0;
}

std::int32_t GetLocalAddress(MirnAddr* address) {
    address->port = 40000;
    return FakeRuntime::addressError;
}

std::int32_t ReadReq(MirnAddr* address, std::uint32_t group, std::uint32_t offset, std::uint32_t length, void* data) {
    char call[64];
    std::snprintf(call, sizeof call, "read %u %X:%X", unsigned{address->port}, group, offset);
    s_calls.emplace_back(call);
    const auto value = FakeRuntime::values.find({group, offset});
    if (value == FakeRuntime::values.end() || value->second.size() != length) {
        return 1;
    }
    std::memcpy(data, value->second.data(), length);
    return 0;
}

int s_library; // its address is the handle

void* FunctionOfTheLibrary(const char* name) {
    const std::pair<const char*, void*> functions[] = {
        {"KorPortOpen", reinterpret_cast<void*>(&Open)},
        {"KorPortClose", reinterpret_cast<void*>(&Close)},
        {"KorSyncSetTimeout", reinterpret_cast<void*>(&SetTimeout)},
        {"KorGetLocalAddress", reinterpret_cast<void*>(&GetLocalAddress)},
        {"KorSyncReadReq", reinterpret_cast<void*>(&ReadReq)},
    };
    for (const auto& [known, function] : functions) {
        if (std::strcmp(name, known) == 0) {
            return function;
        }
    }
    return nullptr;
}

} // namespace

void FakeRuntime::Reset() {
    isInstalled = false;
    port = 0;
    addressError = 0;
    closeError = 0;
    values.clear();
    s_calls.clear();
}

std::vector<std::string> FakeRuntime::TakeCalls() {
    return std::exchange(s_calls, {});
}

extern "C" {

void* __wrap_dlopen(const char* name, int flags);
void* __real_dlsym(void* library, const char* name);
void* __wrap_dlsym(void* library, const char* name);
int __wrap_dlclose(void* library);

void* __wrap_dlopen(const char* name, int /*flags*/) {
    return FakeRuntime::isInstalled && std::strcmp(name, "libZmKorDll.so") == 0 ? &s_library : nullptr;
}

// A sanitizer that is linked into the program asks too, before it can look after any code.
__attribute__((no_sanitize("address"))) void* __wrap_dlsym(void* library, const char* name) {
    return library == &s_library ? FunctionOfTheLibrary(name) : __real_dlsym(library, name);
}

int __wrap_dlclose(void* library) {
    s_calls.emplace_back("unload");
    return library == &s_library ? 0 : -1;
}
}
