#include "Scratch.h"


#include <stdexcept>

namespace TestSupport {
namespace {

constexpr const wchar_t* kTestsRoot = L"Software\\OstrelTests";

// Nested ProductKey fixtures each keep their own copy; they restore in reverse order.
LONG g_BackupCount = 0;

void Check(LSTATUS status, const char* what) {
    if (status != ERROR_SUCCESS) {
        throw std::runtime_error(std::string(what) + " failed: " + std::to_string(status));
    }
}

HKEY CreateKey(HKEY root, const std::wstring& path, REGSAM view = 0) {
    HKEY key = nullptr;
    Check(RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr, &key,
                          nullptr),
          "RegCreateKeyExW");
    return key;
}

void DeleteTree(HKEY root, const std::wstring& path, REGSAM view = 0) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_ALL_ACCESS | view, &key) != ERROR_SUCCESS) {
        return;
    }
    RegDeleteTreeW(key, nullptr);
    RegCloseKey(key);
    RegDeleteKeyExW(root, path.c_str(), view, 0);
}

void RemoveFolder(const std::wstring& path) {
    WIN32_FIND_DATAW data;
    HANDLE find = FindFirstFileW((path + L"\\*").c_str(), &data);
    if (find != INVALID_HANDLE_VALUE) {
        do {
            const std::wstring name = data.cFileName;
            if (name == L"." || name == L"..") {
                continue;
            }
            const std::wstring child = path + L"\\" + name;
            if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
                RemoveFolder(child);
            } else {
                SetFileAttributesW(child.c_str(), FILE_ATTRIBUTE_NORMAL);
                DeleteFileW(child.c_str());
            }
        } while (FindNextFileW(find, &data));
        FindClose(find);
    }
    RemoveDirectoryW(path.c_str());
}

}  // namespace

ScratchRegistryKey::ScratchRegistryKey(const std::wstring& suite, HKEY root, REGSAM view)
    : m_Root(root), m_Path(std::wstring(kTestsRoot) + L"\\" + suite), m_View(view) {
    DeleteTree(m_Root, m_Path, m_View);
    RegCloseKey(CreateKey(m_Root, m_Path, m_View));
}

ScratchRegistryKey::~ScratchRegistryKey() { DeleteTree(m_Root, m_Path, m_View); }

ScratchFolder::ScratchFolder(const std::wstring& suite) {
    wchar_t temp[MAX_PATH];
    const DWORD length = GetTempPathW(MAX_PATH, temp);
    if (length == 0 || length >= MAX_PATH) {
        throw std::runtime_error("GetTempPathW failed");
    }
    m_Path = std::wstring(temp) + L"OstrelTests-" + suite + L"-" +
             std::to_wstring(GetCurrentProcessId());
    RemoveFolder(m_Path);
    if (!CreateDirectoryW(m_Path.c_str(), nullptr)) {
        throw std::runtime_error("CreateDirectoryW failed");
    }
}

ScratchFolder::~ScratchFolder() { RemoveFolder(m_Path); }

ProductKey::ProductKey()
    : m_Existed(RegKeyExists(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY)),
      m_BackupPath(std::wstring(kTestsRoot) + L"\\ProductKeyBackup-" +
                   std::to_wstring(GetCurrentProcessId()) + L"-" +
                   std::to_wstring(InterlockedIncrement(&g_BackupCount))) {
    DeleteTree(HKEY_CURRENT_USER, m_BackupPath);
    if (m_Existed) {
        HKEY source = CreateKey(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY);
        HKEY backup = CreateKey(HKEY_CURRENT_USER, m_BackupPath);
        const LSTATUS status = RegCopyTreeW(source, nullptr, backup);
        RegCloseKey(backup);
        RegCloseKey(source);
        Check(status, "RegCopyTreeW");
    }
}

ProductKey::~ProductKey() {
    DeleteTree(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY);
    if (m_Existed) {
        HKEY target = CreateKey(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY);
        HKEY backup = CreateKey(HKEY_CURRENT_USER, m_BackupPath);
        RegCopyTreeW(backup, nullptr, target);
        RegCloseKey(backup);
        RegCloseKey(target);
    }
    DeleteTree(HKEY_CURRENT_USER, m_BackupPath);
}

void ProductKey::SetInstalledFolder(const std::wstring& folder) {
    WriteRegValue(HKEY_LOCAL_MACHINE, kPath, L"InstalledFolder", REG_SZ, folder.c_str(),
                  static_cast<DWORD>((folder.size() + 1) * sizeof(wchar_t)), KEY_WOW64_64KEY);
}

void ProductKey::SetVersion(const std::wstring& version) {
    WriteRegValue(HKEY_LOCAL_MACHINE, kPath, L"Version", REG_SZ, version.c_str(),
                  static_cast<DWORD>((version.size() + 1) * sizeof(wchar_t)), KEY_WOW64_64KEY);
}

void ProductKey::RemoveValue(const wchar_t* name) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPath, 0, KEY_SET_VALUE | KEY_WOW64_64KEY, &key) ==
        ERROR_SUCCESS) {
        RegDeleteValueW(key, name);
        RegCloseKey(key);
    }
}

void ProductKey::RemoveKey() { DeleteTree(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY); }

static std::wstring SessionPath(bool serviceSession) {
    return std::wstring(ProductKey::kDebugLogPath) +
           (serviceSession ? L"\\ServiceSession" : L"\\InteractiveSession");
}

void ProductKey::SetDebugLogUint32(const wchar_t* name, uint32_t value, bool serviceSession) {
    WriteRegValue(HKEY_LOCAL_MACHINE, SessionPath(serviceSession), name, REG_DWORD, &value,
                  sizeof(value), KEY_WOW64_64KEY);
}

void ProductKey::SetDebugLogString(const wchar_t* name, const std::wstring& value,
                                   bool serviceSession) {
    WriteRegValue(HKEY_LOCAL_MACHINE, SessionPath(serviceSession), name, REG_SZ, value.c_str(),
                  static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)), KEY_WOW64_64KEY);
}

void ProductKey::ClearDebugLog() { DeleteTree(HKEY_LOCAL_MACHINE, kDebugLogPath, KEY_WOW64_64KEY); }

std::wstring ReadRegString(HKEY root, const std::wstring& path, const wchar_t* name, REGSAM view) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_QUERY_VALUE | view, &key) != ERROR_SUCCESS) {
        return std::wstring();
    }
    std::wstring value(4096, L'\0');
    DWORD size = static_cast<DWORD>(value.size() * sizeof(wchar_t));
    DWORD type = 0;
    const LSTATUS status = RegQueryValueExW(key, name, nullptr, &type,
                                            reinterpret_cast<BYTE*>(&value[0]), &size);
    RegCloseKey(key);
    if (status != ERROR_SUCCESS || (type != REG_SZ && type != REG_EXPAND_SZ)) {
        return std::wstring();
    }
    value.resize(size / sizeof(wchar_t));
    while (!value.empty() && value.back() == L'\0') {
        value.pop_back();
    }
    return value;
}

bool RegValueExists(HKEY root, const std::wstring& path, const wchar_t* name, REGSAM view) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_QUERY_VALUE | view, &key) != ERROR_SUCCESS) {
        return false;
    }
    const bool exists = RegQueryValueExW(key, name, nullptr, nullptr, nullptr, nullptr) ==
                        ERROR_SUCCESS;
    RegCloseKey(key);
    return exists;
}

bool RegKeyExists(HKEY root, const std::wstring& path, REGSAM view) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_QUERY_VALUE | view, &key) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

void WriteRegValue(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
                   const void* data, DWORD size, REGSAM view) {
    HKEY key = CreateKey(root, path, view);
    const LSTATUS status =
        RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size);
    RegCloseKey(key);
    Check(status, "RegSetValueExW");
}

void WriteFileBytes(const std::wstring& path, const std::vector<uint8_t>& bytes) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("CreateFileW failed");
    }
    DWORD written = 0;
    const BOOL ok = bytes.empty() || WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()),
                                               &written, nullptr);
    CloseHandle(file);
    if (!ok) {
        throw std::runtime_error("WriteFile failed");
    }
}

std::vector<uint8_t> ReadFileBytes(const std::wstring& path) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("CreateFileW failed");
    }
    std::vector<uint8_t> bytes(GetFileSize(file, nullptr));
    DWORD read = 0;
    const BOOL ok = bytes.empty() ||
                    ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    CloseHandle(file);
    if (!ok) {
        throw std::runtime_error("ReadFile failed");
    }
    bytes.resize(read);
    return bytes;
}

bool FileExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring ExecutableFolder() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path, length);
    return folder.substr(0, folder.find_last_of(L"\\/") + 1);
}

std::wstring BinFolder() {
    std::wstring folder = ExecutableFolder();  // ...\build\tests\ .
    folder.pop_back();
    return folder.substr(0, folder.find_last_of(L"\\/") + 1) + L"bin\\";
}

}  // namespace TestSupport
