#include "Frwk_Utility.h"

#include <objbase.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Registry.h"

namespace Frwk {
namespace Utility {

bool HexWStringToByteArray(const std::wstring& _wszString, ZorvCommon::ByteArray& _cByteArray) {
    _cByteArray.Free();
    if (_wszString.size() < 2) {
        ZORV_ERROR(
            L"*** Frwk::Utility::HexWStringToByteArray() - _wszString was bad hexa-string format.");
        return false;
    }
    const size_t nSizeOfBytes = _wszString.size() / 2;  // an odd last digit is ignored
    std::unique_ptr<uint8_t[]> pByte(new (std::nothrow) uint8_t[nSizeOfBytes]());
    if (!pByte) {
        ZORV_ERROR(L"*** Frwk::Utility::HexWStringToByteArray() - pByte was invalid.");
        return false;
    }
    // Each pair goes through wcstoul on its own, so a non-hex pair gives its leading
    // hex digits' value (or 0) and a blank or sign is taken as wcstoul takes it.
    for (size_t i = 0; i < nSizeOfBytes; ++i) {
        const wchar_t pair[3] = {_wszString[2 * i], _wszString[2 * i + 1], L'\0'};
        pByte[i] = static_cast<uint8_t>(wcstoul(pair, nullptr, 16));
    }
    uint32_t error = 0;
    if (!_cByteArray.Create(nSizeOfBytes, &error)) {
        ZORV_ERROR(
            L"*** Frwk::Utility::HexWStringToByteArray() - _cByteArray.Create() failed. [0x%08x]",
            error);
        return false;
    }
    memcpy(_cByteArray.Data(), pByte.get(), nSizeOfBytes);
    _cByteArray.SetLength(nSizeOfBytes);
    return true;
}

std::wstring GetInstalledFolder() {
    std::wstring folder;
    try {
        ZorvCommon::Storage::Registry storage;
        const ZorvCommon::Storage::Key key(ZorvCommon::Storage::StorageTypeRegistry,
                                           HKEY_LOCAL_MACHINE, L"Software\\Ulvenhart\\Hearthward");
        if (storage.Open(key, std::wstring())) {
            folder = storage.QueryString(L"InstalledFolder", std::wstring());
            (void)storage.Close();  // true, or it throws
        }
    } catch (ZorvCommon::Storage::Exception* pException) {
        const std::unique_ptr<ZorvCommon::Storage::Exception> owner(pException);
        ZORV_ERROR(
            L"*** Frwk::Utility::GetInstalledFolder() -  Got ZorvCommon::Storage::Exception(). "
            L"[0x%08x]",
            pException->m_Error);
        return std::wstring();
    }
    return folder;
}

std::wstring GetModuleFileName() {
    wchar_t path[MAX_PATH] = {};
    const DWORD length = ::GetModuleFileNameW(GetModuleHandleW(nullptr), path, MAX_PATH);
    if (length == 0) {
        ZORV_ERROR(
            L"*** Frwk::Utility::GetModuleFileName() - ::GetModuleFileName() failed. [0x%08x]",
            GetLastError());
        return std::wstring();
    }
    return std::wstring(path, length);
}

std::wstring GetModuleDirectory() {
    const std::wstring path = GetModuleFileName();
    wchar_t drive[3] = {};
    wchar_t directory[256] = {};
    const errno_t error =
        _wsplitpath_s(path.c_str(), drive, 3, directory, 256, nullptr, 0, nullptr, 0);
    if (error != 0) {
        ZORV_ERROR(L"*** Frwk::Utility::GetModuleDirectory() - ::_tsplitpath_s() failed. [%d] [%s]",
                   error, path.c_str());
        return std::wstring();
    }
    return std::wstring(drive) + directory;
}

std::wstring GetWindowsDirectory() {
    wchar_t folder[MAX_PATH] = {};
    const UINT length = ::GetWindowsDirectoryW(folder, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        // The text names the system directory although the Windows directory is read.
        ZORV_INFO(L"*** GetSystemDirectory() - GetSystemDirectory() failed [0x%08x]",
                  GetLastError());
        return std::wstring();
    }
    return std::wstring(folder, length);
}

namespace {

// A hex digit's value, or -1 (only ASCII digits and letters count).
int HexDigitValue(wchar_t c) {
    if (c >= L'0' && c <= L'9') {
        return c - L'0';
    }
    const wchar_t folded = c | 0x20;
    return folded >= L'a' && folded <= L'f' ? folded - L'a' + 10 : -1;
}

// The canonical braced form {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}, hex digits in either
// case, read as CLSIDFromString reads it. False for any other text, which is left to
// CLSIDFromString: policy documents carry thousands of GUID texts, and a call into COM
// costs more than reading one.
bool ReadCanonicalGuid(const std::wstring& text, GUID& guid) {
    constexpr size_t kLength = 38;
    if (text.size() != kLength || text[0] != L'{' || text[kLength - 1] != L'}') {
        return false;
    }
    uint8_t bytes[16];
    size_t count = 0;
    for (size_t i = 1; i < kLength - 1;) {
        if (i == 9 || i == 14 || i == 19 || i == 24) {
            if (text[i++] != L'-') {
                return false;
            }
            continue;
        }
        const int high = HexDigitValue(text[i]);
        const int low = HexDigitValue(text[i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes[count++] = static_cast<uint8_t>(high << 4 | low);
        i += 2;
    }
    // The first three groups are numbers (most significant digits first), the last two bytes.
    guid.Data1 =
        static_cast<unsigned long>(bytes[0]) << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
    guid.Data2 = static_cast<unsigned short>(bytes[4] << 8 | bytes[5]);
    guid.Data3 = static_cast<unsigned short>(bytes[6] << 8 | bytes[7]);
    memcpy(guid.Data4, bytes + 8, sizeof(guid.Data4));
    return true;
}

}  // namespace

bool T2Guid(const std::wstring& text, GUID& guid) {
    guid = GUID();
    if (text.empty()) {
        return false;
    }
    if (ReadCanonicalGuid(text, guid)) {
        return true;
    }
    // Only the braced registry form is accepted.
    return CLSIDFromString(text.c_str(), &guid) == S_OK;
}

}  // namespace Utility
}  // namespace Frwk
