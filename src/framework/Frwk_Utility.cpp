#include "Frwk_Utility.h"

#include <objbase.h>

#include <array>
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

// Hex digit values of the ASCII characters; kNotHex for every other character.
constexpr uint8_t kNotHex = 0x10;
constexpr std::array<uint8_t, 128> kHexValues = [] {
    std::array<uint8_t, 128> values{};
    for (uint8_t& value : values) {
        value = kNotHex;
    }
    for (uint8_t digit = 0; digit < 10; ++digit) {
        values['0' + digit] = digit;
    }
    for (uint8_t letter = 0; letter < 6; ++letter) {
        values['a' + letter] = values['A' + letter] = 10 + letter;
    }
    return values;
}();

unsigned HexValue(wchar_t c) {
    return c < kHexValues.size() ? kHexValues[c] : kNotHex;
}

// The canonical braced form {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}, hex digits in either
// case, read as CLSIDFromString reads it. False for any other text, which is left to
// CLSIDFromString: policy documents carry thousands of GUID texts, and a table read
// costs a sixth of CLSIDFromString's.
bool ReadCanonicalGuid(const std::wstring& text, GUID& guid) {
    // Where the digits of the GUID's sixteen bytes begin, in the order of the bytes.
    constexpr uint8_t kPairs[16] = {1, 3, 5, 7, 10, 12, 15, 17, 20, 22, 25, 27, 29, 31, 33, 35};
    if (text.size() != 38) {
        return false;
    }
    const wchar_t* p = text.data();
    if (p[0] != L'{' || p[9] != L'-' || p[14] != L'-' || p[19] != L'-' || p[24] != L'-' ||
        p[37] != L'}') {
        return false;
    }
    uint8_t bytes[16];
    unsigned notHex = 0;
    for (size_t i = 0; i < 16; ++i) {
        const unsigned high = HexValue(p[kPairs[i]]);
        const unsigned low = HexValue(p[kPairs[i] + 1]);
        notHex |= high | low;
        bytes[i] = static_cast<uint8_t>(high << 4 | low);
    }
    if ((notHex & kNotHex) != 0) {
        return false;
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
