#include "runtime/KorSyncWrap.h"

#include <dlfcn.h>

#include "log/Logger.h"

namespace {

constexpr const char* LIBRARY = "libZmKorDll.so";

enum EFunction : std::size_t {
    GET_DLL_VERSION,
    PORT_OPEN,
    PORT_CLOSE,
    GET_LOCAL_ADDRESS,
    WRITE_REQ,
    READ_REQ,
    READ_REQ_EX,
    READ_WRITE_REQ,
    READ_WRITE_REQ_EX,
    READ_DEVICE_INFO_REQ,
    WRITE_CONTROL_REQ,
    READ_STATE_REQ,
    ADD_DEVICE_NOTIFICATION_REQ,
    DEL_DEVICE_NOTIFICATION_REQ,
    SET_TIMEOUT,
    GET_LAST_ERROR,
    REGISTER_ROUTER_NOTIFICATION,
    UNREGISTER_ROUTER_NOTIFICATION,
    PORT_OPEN_EX,
    PORT_CLOSE_EX,
    GET_LOCAL_ADDRESS_EX,
    REGISTER_ROUTER_NOTIFICATION_EX,
    REGISTER_ROUTER_NOTIFICATION_EX2,
    UNREGISTER_ROUTER_NOTIFICATION_EX,
};

struct TSymbol {
    const char* name;     // null: never looked up
    const char* fallback; // looked up where the name is missing
};

// In the order of EFunction.
constexpr TSymbol SYMBOLS[] = {
    {"KorGetDllVersion", nullptr},
    {"KorPortOpen", nullptr},
    {"KorPortClose", nullptr},
    {"KorGetLocalAddress", nullptr},
    {"KorSyncWriteReq", nullptr},
    {"KorSyncReadReq", nullptr},
    {"KorSyncReadReqEx", nullptr},
    {"KorSyncReadWriteReq", nullptr},
    {"KorSyncReadWriteReqEx", nullptr},
    {"KorSyncReadDeviceInfoReq", nullptr},
    {"KorSyncWriteControlReq", nullptr},
    {"KorSyncReadStateReq", nullptr},
    {"KorSyncAddDeviceNotificationReq", nullptr},
    {"KorSyncDelDeviceNotificationReq", nullptr},
    {"KorSyncSetTimeout", nullptr},
    {"KorGetLastError", nullptr},
    {"KorMirnRegisterRouterNotification", nullptr},
    {"KorMirnUnregisterRouterNotification", nullptr}, // the library's spelling
    {"KorPortOpenEx", nullptr},
    {"KorPortCloseEx", nullptr},
    {"KorGetLocalAddressEx", nullptr},
    {nullptr, nullptr}, // meant
    // Some libraries export it without plain linkage.
    {"KorMirnRegisterRouterNotificationEx2", "_Z35KorMirnRegisterRouterNotificationEx2lPFviPvES_"},
    {"KorMirnUnRegisterRouterNotificationEx", nullptr},
};

void* FindSymbol(void* library, const TSymbol& symbol) {
    if (symbol.name == nullptr) {
        return nullptr;
    }
    void* function = dlsym(library, symbol.name);
    return function == nullptr && symbol.fallback != nullptr ? dlsym(library, symbol.fallback) : function;
}

// The C library keeps what failed until its thread has gone, which may be after the process: the second call frees it.
void DropLoaderError() {
    dlerror();
    dlerror();
}

} // namespace

CKorSyncWrap::CKorSyncWrap() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CKorSyncWrap::CKorSyncWrap(void)");
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CKorSyncWrap::CKorSyncWrap(void)");
}

CKorSyncWrap::~CKorSyncWrap() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CKorSyncWrap::~CKorSyncWrap(void)");
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CKorSyncWrap::~CKorSyncWrap(void)");
}

int CKorSyncWrap::LoadDll() {
    static_assert(std::size(SYMBOLS) == FUNCTIONS);
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CKorSyncWrap::LoadDll()");
    if (m_library != nullptr) {
        Unload();
    }
    m_library = dlopen(LIBRARY, RTLD_LAZY);
    if (m_library == nullptr) {
        DropLoaderError();
        return 0;
    }
    for (std::size_t row = 0; row < FUNCTIONS; ++row) {
        m_functions[row] = FindSymbol(m_library, SYMBOLS[row]);
    }
    DropLoaderError();
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "<==CKorSyncWrap::LoadDll()");
    return 1;
}

void CKorSyncWrap::Unload() {
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CKorSyncWrap::Unload()");
    // dlclose crashes on a null handle on some systems: nothing to close counts as closed.
    const bool closed = m_library == nullptr || dlclose(m_library) == 0;
    g_pLogger->LogMsg(LOG_SEVERITY_TRACE, "==>CKorSyncWrap::Unload() FreeLibrary() =%d", closed ? 1 : 0);
    m_library = nullptr;
    m_functions.fill(nullptr);
}

// The arguments are passed in just the types that the library declares.
template <std::size_t Row, typename... T>
std::int32_t CKorSyncWrap::Call(T... arguments) const {
    const auto function = reinterpret_cast<std::int32_t (*)(T...)>(m_functions[Row]);
    return function != nullptr ? function(arguments...) : KOR_MISSING;
}

std::int32_t CKorSyncWrap::KorGetDllVersion() const {
    return Call<GET_DLL_VERSION>();
}

std::int32_t CKorSyncWrap::KorPortOpen() const {
    return Call<PORT_OPEN>();
}

std::int32_t CKorSyncWrap::KorPortClose() const {
    return Call<PORT_CLOSE>();
}

std::int32_t CKorSyncWrap::KorGetLocalAddress(MirnAddr* address) const {
    return Call<GET_LOCAL_ADDRESS>(address);
}

std::int32_t CKorSyncWrap::KorSyncWriteReq(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                           std::uint32_t length, const void* data) const {
    return Call<WRITE_REQ>(address, indexGroup, indexOffset, length, data);
}

std::int32_t CKorSyncWrap::KorSyncReadReq(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                          std::uint32_t length, void* data) const {
    return Call<READ_REQ>(address, indexGroup, indexOffset, length, data);
}

std::int32_t CKorSyncWrap::KorSyncReadReqEx(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                            std::uint32_t length, void* data, std::uint32_t* bytesRead) const {
    return Call<READ_REQ_EX>(address, indexGroup, indexOffset, length, data, bytesRead);
}

std::int32_t CKorSyncWrap::KorSyncReadWriteReq(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                               std::uint32_t readLength, void* readData, std::uint32_t writeLength,
                                               const void* writeData) const {
    return Call<READ_WRITE_REQ>(address, indexGroup, indexOffset, readLength, readData, writeLength, writeData);
}

std::int32_t CKorSyncWrap::KorSyncReadWriteReqEx(MirnAddr* address, std::uint32_t indexGroup, std::uint32_t indexOffset,
                                                 std::uint32_t readLength, void* readData, std::uint32_t writeLength,
                                                 const void* writeData, std::uint32_t* bytesRead) const {
    return Call<READ_WRITE_REQ_EX>(address, indexGroup, indexOffset, readLength, readData, writeLength, writeData,
                                   bytesRead);
}

std::int32_t CKorSyncWrap::KorSyncReadDeviceInfoReq(MirnAddr* address, char* name, KorVersion* version) const {
    return Call<READ_DEVICE_INFO_REQ>(address, name, version);
}

std::int32_t CKorSyncWrap::KorSyncWriteControlReq(MirnAddr* address, std::uint16_t korState, std::uint16_t deviceState,
                                                  std::uint32_t length, const void* data) const {
    return Call<WRITE_CONTROL_REQ>(address, korState, deviceState, length, data);
}

std::int32_t CKorSyncWrap::KorSyncReadStateReq(MirnAddr* address, std::uint16_t* korState,
                                               std::uint16_t* deviceState) const {
    return Call<READ_STATE_REQ>(address, korState, deviceState);
}

std::int32_t CKorSyncWrap::KorSyncAddDeviceNotificationReq(MirnAddr* address, std::uint32_t indexGroup,
                                                           std::uint32_t indexOffset, KorNotificationAttrib* attributes,
                                                           KorNotificationFunc callback, std::uint32_t user,
                                                           std::uint32_t* notification) const {
    return Call<ADD_DEVICE_NOTIFICATION_REQ>(address, indexGroup, indexOffset, attributes, callback, user,
                                             notification);
}

std::int32_t CKorSyncWrap::KorSyncDelDeviceNotificationReq(MirnAddr* address, std::uint32_t notification) const {
    return Call<DEL_DEVICE_NOTIFICATION_REQ>(address, notification);
}

std::int32_t CKorSyncWrap::KorSyncSetTimeout(std::int32_t milliseconds) const {
    return Call<SET_TIMEOUT>(milliseconds);
}

std::int32_t CKorSyncWrap::KorGetLastError() const {
    return Call<GET_LAST_ERROR>();
}

std::int32_t CKorSyncWrap::KorMirnRegisterRouterNotification(KorRouterNotificationFunc callback) const {
    return Call<REGISTER_ROUTER_NOTIFICATION>(callback);
}

std::int32_t CKorSyncWrap::KorMirnUnRegisterRouterNotification() const {
    return Call<UNREGISTER_ROUTER_NOTIFICATION>();
}

// The library takes ports as long, as the mangled name in the table tells.

std::int32_t CKorSyncWrap::KorPortOpenEx() const {
    return Call<PORT_OPEN_EX>();
}

std::int32_t CKorSyncWrap::KorPortCloseEx(std::int32_t port) const {
    return Call<PORT_CLOSE_EX>(long{port});
}

std::int32_t CKorSyncWrap::KorGetLocalAddressEx(std::int32_t port, MirnAddr* address) const {
    return Call<GET_LOCAL_ADDRESS_EX>(long{port}, address);
}

std::int32_t CKorSyncWrap::KorMirnRegisterRouterNotificationEx(std::int32_t port, KorRouterNotificationFuncEx callback,
                                                               std::uint32_t user) const {
    return Call<REGISTER_ROUTER_NOTIFICATION_EX>(long{port}, callback, user);
}

std::int32_t CKorSyncWrap::KorMirnRegisterRouterNotificationEx2(std::int32_t port,
                                                                KorRouterNotificationFuncEx2 callback,
                                                                void* user) const {
    return Call<REGISTER_ROUTER_NOTIFICATION_EX2>(long{port}, callback, user);
}

std::int32_t CKorSyncWrap::KorMirnUnRegisterRouterNotificationEx(std::int32_t port) const {
    return Call<UNREGISTER_ROUTER_NOTIFICATION_EX>(long{port});
}
