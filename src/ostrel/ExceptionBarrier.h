#pragma once
// No exception leaves the module: every entry from the host runs its body through
// this barrier, which turns an escaping exception into a result code and a log line.

#include <windows.h>

#include <new>

#include "OstrelResult.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Exception.h"

template <typename Body>
HRESULT RunGuarded(const wchar_t* method, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        ZORV_ERROR(L"*** %s - Memory was exhausted.", method);
        return ZorvCommon::Exception::ResultFromWin32(ERROR_OUTOFMEMORY);
    } catch (...) {
        ZORV_ERROR(L"*** %s - Got an unexpected exception.", method);
        return Ostrel::kWrongState;
    }
}
