#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// The client library of the automation runtime, loaded at run time: a machine without the runtime has none, and then
// every call gives -1. The library speaks the Kor protocol: a request goes to the net id of a node and a port on it;
// read and write requests name an index group and an index offset.

// Records of the library.
struct MirnNetId_ {
    std::uint8_t b[6];
};

struct MirnAddr {
    MirnNetId_ netId;
    std::uint16_t port;
};

struct KorVersion {
    std::uint8_t version;
    std::uint8_t revision;
    std::uint16_t build;
};

static_assert(sizeof(MirnNetId_) == 6);
static_assert(sizeof(MirnAddr) == 8 && offsetof(MirnAddr, port) == 6);
static_assert(sizeof(KorVersion) == 4 && offsetof(KorVersion, build) == 2);

struct KorNotificationAttrib;
struct KorNotificationHeader;

using KorNotificationFunc = void (*)(MirnAddr*, KorNotificationHeader*, std::uint32_t);
using KorRouterNotificationFunc = void (*)(int);
using KorRouterNotificationFuncEx = void (*)(int, std::uint32_t);
using KorRouterNotificationFuncEx2 = void (*)(int, void*);

// What a call gives whose function or library is missing.
inline constexpr std::int32_t KOR_MISSING = -1;

// Each method forwards to the library's function of that name and gives its result: 0 or an error of the protocol where
// nothing else is said. No lock: LoadDll and Unload must not run beside a call. The owner unloads before the end.
class CKorSyncWrap {
public:
    CKorSyncWrap();
    ~CKorSyncWrap();
    CKorSyncWrap(const CKorSyncWrap&) = delete;
    CKorSyncWrap& operator=(const CKorSyncWrap&) = delete;

    // Loads the library anew. 1, or 0 where it cannot be opened; functions that it lacks stay unavailable.
    int LoadDll();
    void Unload();

    std::int32_t KorGetDllVersion() const;
    // A client port of this process on the local router, 0 on failure.
    std::int32_t KorPortOpen() const;
    std::int32_t KorPortClose() const;
    // The local net id, and the port of this client.
    std::int32_t KorGetLocalAddress(MirnAddr* address) const;
    std::int32_t KorSyncWriteReq(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                 std::uint32_t length, const void* data) const;
    std::int32_t KorSyncReadReq(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                std::uint32_t length, void* data) const;
    std::int32_t KorSyncReadReqEx(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                  std::uint32_t length, void* data, std::uint32_t* bytesRead) const;
    std::int32_t KorSyncReadWriteReq(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                     std::uint32_t readLength, void* readData, std::uint32_t writeLength,
                                     const void* writeData) const;
    std::int32_t KorSyncReadWriteReqEx(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                       std::uint32_t readLength, void* readData, std::uint32_t writeLength,
                                       const void* writeData, std::uint32_t* bytesRead) const;
    // Name, in a buffer of 16 bytes, and version of the device behind the address.
    std::int32_t KorSyncReadDeviceInfoReq(MirnAddr* address, char* name, KorVersion* version) const;
    std::int32_t KorSyncWriteControlReq(MirnAddr* address, std::uint16_t korState, std::uint16_t deviceState,
                                        std::uint32_t length, const void* data) const;
    std::int32_t KorSyncReadStateReq(MirnAddr* address, std::uint16_t* korState, std::uint16_t* deviceState) const;
    std::int32_t KorSyncAddDeviceNotificationReq(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                                 KorNotificationAttrib* attributes, KorNotificationFunc callback,
                                                 std::uint32_t user, std::uint32_t* notification) const;
    std::int32_t KorSyncDelDeviceNotificationReq(MirnAddr* address, std::uint32_t notification) const;
    // Of the requests of this client, in milliseconds.
    std::int32_t KorSyncSetTimeout(std::int32_t milliseconds) const;
    std::int32_t KorGetLastError() const;
    std::int32_t KorMirnRegisterRouterNotification(KorRouterNotificationFunc callback) const;
    std::int32_t KorMirnUnRegisterRouterNotification() const;
    // A further, independent client port, 0 on failure.
    std::int32_t KorPortOpenEx() const;
    std::int32_t KorPortCloseEx(std::int32_t port) const;
    std::int32_t KorGetLocalAddressEx(std::int32_t port, MirnAddr* address) const;
    // Always -1: never looked up, which is meant.
    std::int32_t KorMirnRegisterRouterNotificationEx(std::int32_t port, KorRouterNotificationFuncEx callback,
                                                     std::uint32_t user) const;
    // The callback gets the number of the event and the user pointer, on a thread of the library.
    std::int32_t KorMirnRegisterRouterNotificationEx2(std::int32_t port, KorRouterNotificationFuncEx2 callback,
                                                      void* user) const;
    std::int32_t KorMirnUnRegisterRouterNotificationEx(std::int32_t port) const;

private:
    static constexpr std::size_t FUNCTIONS = 24;

    template <std::size_t Row, typename... T>
    std::int32_t Call(T... arguments) const;

    void* m_library = nullptr;
    std::array<void*, FUNCTIONS> m_functions{}; // by the rows of the table of names
};
