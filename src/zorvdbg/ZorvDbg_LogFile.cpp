#include "ZorvDbg_LogFile.h"

#include <cwchar>
#include <cwctype>

namespace ZorvDbg {
namespace {

constexpr DWORD kMutexWaitMs = 10000;

// The record's texts come from another module: never read past a field.
std::wstring Field(const wchar_t* text, size_t cchField) {
    return std::wstring(text, wcsnlen(text, cchField));
}

std::wstring TempFolder() {
    wchar_t folder[MAX_PATH + 1] = {};
    const DWORD length = GetTempPathW(ARRAYSIZE(folder), folder);
    return length > 0 && length < ARRAYSIZE(folder) ? std::wstring(folder, length) : std::wstring();
}

// Named objects cannot hold backslashes, and one file may be spelled in different
// cases: the name carries a hash of the lower-cased path.
std::wstring MutexName(const std::wstring& path) {
    uint64_t hash = 14695981039346656037ull;  // FNV-1a
    for (wchar_t c : path) {
        hash = (hash ^ static_cast<uint64_t>(towlower(c))) * 1099511628211ull;
    }
    std::wstring name = L"Local\\ZorvDbg64-";
    for (int shift = 60; shift >= 0; shift -= 4) {
        name.push_back(L"0123456789abcdef"[(hash >> shift) & 0xF]);
    }
    return name;
}

// Releases the mutex on every way out of an append.
class MutexHold {
public:
    explicit MutexHold(HANDLE mutex) : m_Mutex(mutex) {
        const DWORD wait =
            m_Mutex != nullptr ? WaitForSingleObject(m_Mutex, kMutexWaitMs) : WAIT_FAILED;
        m_Held = wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED;
    }
    ~MutexHold() {
        if (m_Held) {
            ReleaseMutex(m_Mutex);
        }
    }
    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;

private:
    HANDLE m_Mutex;
    bool m_Held = false;
};

}  // namespace

std::wstring LogFilePath(const DebugLogConfig& config, DWORD processId) {
    std::wstring path = Field(config.LogFolder, ARRAYSIZE(config.LogFolder));
    if (path.empty()) {
        path = TempFolder();
    }
    if (!path.empty() && path.back() != L'\\' && path.back() != L'/') {
        path.push_back(L'\\');
    }
    path += Field(config.LogPrefix, ARRAYSIZE(config.LogPrefix));
    const std::wstring file = Field(config.LogFile, ARRAYSIZE(config.LogFile));
    path += file.empty() ? Field(config.UnitName, ARRAYSIZE(config.UnitName)) : file;
    if (config.LogProcess != 0) {
        path += L"_" + std::to_wstring(processId);
    }
    const std::wstring extension = Field(config.LogExtension, ARRAYSIZE(config.LogExtension));
    if (!extension.empty()) {
        path += L"." + extension;
    }
    return path;
}

LogFile::LogFile(const DebugLogConfig& config)
    : m_Path(LogFilePath(config, GetCurrentProcessId())),
      m_Robust(config.Robust != 0),
      m_Debugger(config.Debugger != 0) {}

DWORD LogFile::Open() {
    // Append access only: every write lands at the current end of the file.
    m_File.reset(CreateFileW(m_Path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!m_File) {
        return GetLastError();
    }
    m_Mutex.reset(CreateMutexW(nullptr, FALSE, MutexName(m_Path).c_str()));
    return m_Mutex ? ERROR_SUCCESS : GetLastError();
}

DWORD LogFile::Append(const wchar_t* line) {
    const int cbLine = WideCharToMultiByte(CP_UTF8, 0, line, -1, nullptr, 0, nullptr, nullptr);
    if (cbLine <= 0) {
        return GetLastError();
    }
    std::string utf8(static_cast<size_t>(cbLine), '\0');
    WideCharToMultiByte(CP_UTF8, 0, line, -1, &utf8[0], cbLine, nullptr, nullptr);
    utf8.pop_back();  // the terminator
    DWORD result = ERROR_SUCCESS;
    {
        MutexHold hold(m_Mutex.get());
        DWORD written = 0;
        if (!WriteFile(m_File.get(), utf8.data(), static_cast<DWORD>(utf8.size()), &written,
                       nullptr)) {
            result = GetLastError();
        } else if (m_Robust && !FlushFileBuffers(m_File.get())) {
            result = GetLastError();
        }
    }
    if (m_Debugger) {
        OutputDebugStringW(line);
    }
    return result;
}

}  // namespace ZorvDbg
