#include "ZorvDbg_LogFile.h"

#include <knownfolders.h>

#include <cwchar>
#include <vector>

#include "ZorvComn_Library.h"
#include "ZorvDbg_FileSecurity.h"

namespace ZorvDbg {
namespace {

constexpr wchar_t kDefaultFolderName[] = L"ZorvDbg";
constexpr ULONGLONG kLockWaitMs = 1000;
constexpr DWORD kLockOffsetHigh = 0x40000000;  // byte 2^62: never data of a log file

// The record's texts come from another module: never read past a field.
std::wstring Field(const wchar_t* text, size_t cchField) {
    return std::wstring(text, wcsnlen(text, cchField));
}

bool IsControl(wchar_t c) {
    return c < 0x20 || c == 0x7F || c == 0x85 || c == 0x2028 || c == 0x2029;
}

void AppendEscaped(std::wstring& out, wchar_t c) {
    const wchar_t* const named = c == L'\r'   ? L"\\r"
                                 : c == L'\n' ? L"\\n"
                                 : c == L'\t' ? L"\\t"
                                              : nullptr;
    wchar_t code[8] = {};
    _snwprintf_s(code, _countof(code), _TRUNCATE, c <= 0xFF ? L"\\x%02X" : L"\\u%04X",
                 static_cast<unsigned>(c));
    out += named != nullptr ? named : code;
}

// Serialises appends among the file's writers, in all processes, with a lock on one byte
// far past any data: on Windows a write on an append-only handle lands whole at the end
// anyway, but Wine finds the end and writes there in two steps, so that two processes
// could write over each other. Only someone who can open the file itself can take this
// lock; whoever holds it past kLockWaitMs costs a line that long, and the line is then
// appended without it.
class AppendLock {
public:
    explicit AppendLock(HANDLE file) : m_File(file) {
        m_Range.OffsetHigh = kLockOffsetHigh;
        const ULONGLONG deadline = GetTickCount64() + kLockWaitMs;
        while (!(m_Held = Take()) && GetTickCount64() < deadline) {
            Sleep(1);
        }
    }
    ~AppendLock() {
        if (m_Held) {
            UnlockFileEx(m_File, 0, 1, 0, &m_Range);
        }
    }
    AppendLock(const AppendLock&) = delete;
    AppendLock& operator=(const AppendLock&) = delete;

private:
    bool Take() {
        return LockFileEx(m_File, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                          &m_Range) != FALSE;
    }

    HANDLE m_File;
    OVERLAPPED m_Range = {};
    bool m_Held = false;
};

// The file's folder: a configured folder as given, else the default one, which is made
// here with the library's access list when it is missing.
std::wstring FolderOf(const DebugLogConfig& config) {
    const std::wstring folder = Field(config.LogFolder, ARRAYSIZE(config.LogFolder));
    return folder.empty() ? DefaultLogFolder() : folder;
}

}  // namespace

std::wstring DefaultLogFolder() {
    const std::wstring common = ZorvCommon::Library::KnownFolderPath(FOLDERID_ProgramData);
    return common.empty() ? common : common + L"\\" + kDefaultFolderName;
}

std::wstring LogFileName(const DebugLogConfig& config, DWORD processId) {
    std::wstring name = Field(config.LogPrefix, ARRAYSIZE(config.LogPrefix));
    const std::wstring file = Field(config.LogFile, ARRAYSIZE(config.LogFile));
    name += file.empty() ? Field(config.UnitName, ARRAYSIZE(config.UnitName)) : file;
    if (config.LogProcess != 0) {
        name += L"_" + std::to_wstring(processId);
    }
    const std::wstring extension = Field(config.LogExtension, ARRAYSIZE(config.LogExtension));
    if (!extension.empty()) {
        name += L"." + extension;
    }
    return name;
}

std::wstring OneLine(const wchar_t* line) {
    size_t cchText = wcslen(line);
    if (cchText >= 2 && line[cchText - 2] == L'\r' && line[cchText - 1] == L'\n') {
        cchText -= 2;
    }
    std::wstring out;
    out.reserve(cchText + 2);
    for (size_t i = 0; i < cchText; ++i) {
        if (IsControl(line[i])) {
            AppendEscaped(out, line[i]);
        } else {
            out.push_back(line[i]);
        }
    }
    out += L"\r\n";
    return out;
}

LogFile::LogFile(const DebugLogConfig& config)
    : m_Folder(FolderOf(config)),
      m_Name(LogFileName(config, GetCurrentProcessId())),
      m_CreateFolder(Field(config.LogFolder, ARRAYSIZE(config.LogFolder)).empty()),
      m_Robust(config.Robust != 0),
      m_Debugger(config.Debugger != 0) {}

// The folder is held open, with others denied deleting it, until the file is open: it
// cannot be renamed away and replaced by another folder or a link in between.
DWORD LogFile::OpenFolder(ZorvCommon::UniqueFile& folder, PSID processUser) const {
    if (!ZorvCommon::Library::IsFullPath(m_Folder)) {
        return ERROR_BAD_PATHNAME;
    }
    if (m_CreateFolder) {
        FolderSecurity security(processUser);
        if (security.Attributes() == nullptr) {
            return ERROR_INVALID_SECURITY_DESCR;
        }
        if (!CreateDirectoryW(m_Folder.c_str(), security.Attributes()) &&
            GetLastError() != ERROR_ALREADY_EXISTS) {
            return GetLastError();
        }
    }
    folder.reset(CreateFileW(
        m_Folder.c_str(), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES | READ_CONTROL | SYNCHRONIZE,
        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!folder || !GetFileInformationByHandle(folder.get(), &information)) {
        return GetLastError();
    }
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return ERROR_DIRECTORY;
    }
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return ERROR_ACCESS_DENIED;
    }
    return HasTrustedOwner(folder.get(), processUser) ? ERROR_SUCCESS : ERROR_INVALID_OWNER;
}

DWORD LogFile::Open() {
    // The file stays in its folder: no separator, drive or stream colon in its name.
    if (m_Name.empty() || m_Name.find_first_of(L"\\/:") != std::wstring::npos) {
        return ERROR_BAD_PATHNAME;
    }
    std::vector<uint8_t> user = ProcessUserSid();
    if (user.empty()) {
        return ERROR_NO_SUCH_USER;
    }
    const PSID processUser = user.data();
    ZorvCommon::UniqueFile folder;
    const DWORD folderError = OpenFolder(folder, processUser);
    if (folderError != ERROR_SUCCESS) {
        return folderError;
    }
    // Append access, never write access: every write lands at the current end of the
    // file. Read access is for the append lock. The file itself is opened, never a link's
    // target.
    std::wstring path = m_Folder;
    if (path.back() != L'\\' && path.back() != L'/') {
        path.push_back(L'\\');
    }
    ZorvCommon::UniqueFile file(CreateFileW(
        (path + m_Name).c_str(),
        FILE_APPEND_DATA | FILE_READ_DATA | FILE_READ_ATTRIBUTES | READ_CONTROL | SYNCHRONIZE,
        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!file || !GetFileInformationByHandle(file.get(), &information)) {
        return GetLastError();
    }
    if (!IsPlainFile(information)) {
        return ERROR_ACCESS_DENIED;
    }
    if (!HasTrustedOwner(file.get(), processUser)) {
        return ERROR_INVALID_OWNER;
    }
    m_File = std::move(file);
    return ERROR_SUCCESS;
}

DWORD LogFile::Append(const wchar_t* line) {
    const std::wstring text = OneLine(line);
    const int cbText = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                           nullptr, 0, nullptr, nullptr);
    if (cbText <= 0) {
        return GetLastError();
    }
    std::string utf8(static_cast<size_t>(cbText), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &utf8[0], cbText,
                        nullptr, nullptr);
    DWORD result = ERROR_SUCCESS;
    {
        const AppendLock lock(m_File.get());
        DWORD written = 0;
        if (!WriteFile(m_File.get(), utf8.data(), static_cast<DWORD>(utf8.size()), &written,
                       nullptr)) {
            result = GetLastError();
        } else if (written != utf8.size()) {
            result = ERROR_WRITE_FAULT;
        }
    }
    if (result == ERROR_SUCCESS && m_Robust && !FlushFileBuffers(m_File.get())) {
        result = GetLastError();
    }
    if (m_Debugger) {
        OutputDebugStringW(text.c_str());
    }
    return result;
}

}  // namespace ZorvDbg
