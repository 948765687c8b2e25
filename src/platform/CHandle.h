#pragma once

#include <memory>

#include "platform/OsUserHandle.h"

struct OsUserHandleCloser {
    void operator()(_OsUserHandle* handle) const { OsUserCloseHandle(handle); }
};

// The one owner of a handle; closes it at the end.
using CHandle = std::unique_ptr<_OsUserHandle, OsUserHandleCloser>;
