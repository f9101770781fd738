#include "Scratch.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "ZorvComn_Handle.h"

namespace TestSupport {
namespace {

using ZorvCommon::UniqueFile;
using ZorvCommon::UniqueRegKey;

struct FindTraits {
    using Type = HANDLE;
    static Type Invalid() { return INVALID_HANDLE_VALUE; }
    static bool IsValid(Type h) { return h != INVALID_HANDLE_VALUE; }
    static void Close(Type h) { FindClose(h); }
};
using UniqueFind = ZorvCommon::UniqueHandle<FindTraits>;

constexpr const wchar_t* kTestsRoot = L"Software\\OstrelTests";

// Nested ProductKey fixtures each keep their own copy; they restore in reverse order.
LONG g_BackupCount = 0;

void Check(LSTATUS status, const char* what) {
    if (status != ERROR_SUCCESS) {
        throw std::runtime_error(std::string(what) + " failed: " + std::to_string(status));
    }
}

UniqueRegKey OpenKey(HKEY root, const std::wstring& path, REGSAM access) {
    UniqueRegKey key;
    (void)RegOpenKeyExW(root, path.c_str(), 0, access, key.put());
    return key;
}

LSTATUS CreateKey(HKEY root, const std::wstring& path, REGSAM view, UniqueRegKey& key) {
    return RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr,
                           key.put(), nullptr);
}

UniqueRegKey CreateKey(HKEY root, const std::wstring& path, REGSAM view = 0) {
    UniqueRegKey key;
    Check(CreateKey(root, path, view, key), "RegCreateKeyExW");
    return key;
}

void DeleteTree(HKEY root, const std::wstring& path, REGSAM view = 0) {
    if (const UniqueRegKey key = OpenKey(root, path, KEY_ALL_ACCESS | view)) {
        RegDeleteTreeW(key.get(), nullptr);
        RegDeleteKeyExW(root, path.c_str(), view, 0);
    }
}

void RemoveFolder(const std::wstring& path) {
    WIN32_FIND_DATAW data;
    if (const UniqueFind find{FindFirstFileW((path + L"\\*").c_str(), &data)}) {
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
        } while (FindNextFileW(find.get(), &data));
    }
    RemoveDirectoryW(path.c_str());
}

UniqueFile OpenFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition) {
    UniqueFile file(CreateFileW(path.c_str(), access, share, nullptr, disposition,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        throw std::runtime_error("CreateFileW failed: " + std::to_string(GetLastError()));
    }
    return file;
}

}  // namespace

ScratchRegistryKey::ScratchRegistryKey(const std::wstring& suite, HKEY root, REGSAM view)
    : m_Root(root), m_Path(std::wstring(kTestsRoot) + L"\\" + suite), m_View(view) {
    DeleteTree(m_Root, m_Path, m_View);
    CreateKey(m_Root, m_Path, m_View);
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
        const UniqueRegKey source = CreateKey(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY);
        const UniqueRegKey backup = CreateKey(HKEY_CURRENT_USER, m_BackupPath);
        Check(RegCopyTreeW(source.get(), nullptr, backup.get()), "RegCopyTreeW");
    }
}

// A destructor that throws during a failed test ends the process: a failed restore is
// reported as a test failure and the backup is kept for a later look.
ProductKey::~ProductKey() {
    DeleteTree(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY);
    if (m_Existed) {
        UniqueRegKey target;
        const UniqueRegKey backup = OpenKey(HKEY_CURRENT_USER, m_BackupPath, KEY_READ);
        const LSTATUS status = CreateKey(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY, target);
        if (!backup || status != ERROR_SUCCESS ||
            RegCopyTreeW(backup.get(), nullptr, target.get()) != ERROR_SUCCESS) {
            ADD_FAILURE() << "the product key was not restored; its copy stays under HKCU\\"
                          << std::string(m_BackupPath.begin(), m_BackupPath.end());
            return;
        }
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
    if (const UniqueRegKey key = OpenKey(HKEY_LOCAL_MACHINE, kPath, KEY_SET_VALUE | KEY_WOW64_64KEY)) {
        RegDeleteValueW(key.get(), name);
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
    const UniqueRegKey key = OpenKey(root, path, KEY_QUERY_VALUE | view);
    std::wstring value(4096, L'\0');
    DWORD size = static_cast<DWORD>(value.size() * sizeof(wchar_t));
    DWORD type = 0;
    if (!key ||
        RegQueryValueExW(key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&value[0]),
                         &size) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ)) {
        return std::wstring();
    }
    value.resize(size / sizeof(wchar_t));
    while (!value.empty() && value.back() == L'\0') {
        value.pop_back();
    }
    return value;
}

bool RegValueExists(HKEY root, const std::wstring& path, const wchar_t* name, REGSAM view) {
    const UniqueRegKey key = OpenKey(root, path, KEY_QUERY_VALUE | view);
    return key && RegQueryValueExW(key.get(), name, nullptr, nullptr, nullptr, nullptr) ==
                      ERROR_SUCCESS;
}

bool RegKeyExists(HKEY root, const std::wstring& path, REGSAM view) {
    return static_cast<bool>(OpenKey(root, path, KEY_QUERY_VALUE | view));
}

void WriteRegValue(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
                   const void* data, DWORD size, REGSAM view) {
    const UniqueRegKey key = CreateKey(root, path, view);
    Check(RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data), size),
          "RegSetValueExW");
}

void WriteRegString(HKEY root, const std::wstring& path, const wchar_t* name,
                    const std::wstring& text) {
    WriteRegValue(root, path, name, REG_SZ, text.c_str(),
                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

static void Snapshot(HKEY key, const std::wstring& below, RegistrySnapshot& snapshot) {
    wchar_t name[16384];
    std::vector<uint8_t> data(1 << 16);
    for (DWORD index = 0;; ++index) {
        DWORD cchName = ARRAYSIZE(name);
        DWORD type = 0;
        DWORD cbData = static_cast<DWORD>(data.size());
        if (RegEnumValueW(key, index, name, &cchName, nullptr, &type, data.data(), &cbData) !=
            ERROR_SUCCESS) {
            break;
        }
        snapshot[below + L"|" + name] = {type, {data.begin(), data.begin() + cbData}};
    }
    for (DWORD index = 0;; ++index) {
        DWORD cchName = ARRAYSIZE(name);
        if (RegEnumKeyExW(key, index, name, &cchName, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        const std::wstring child = below + L"\\" + name;
        snapshot[child] = {REG_NONE, {}};
        if (const UniqueRegKey childKey = OpenKey(key, name, KEY_READ)) {
            Snapshot(childKey.get(), child, snapshot);
        }
    }
}

RegistrySnapshot SnapshotRegistry(HKEY root, const std::wstring& path) {
    RegistrySnapshot snapshot;
    if (const UniqueRegKey key = OpenKey(root, path, KEY_READ)) {
        Snapshot(key.get(), std::wstring(), snapshot);
    }
    return snapshot;
}

void WriteFileBytes(const std::wstring& path, const std::vector<uint8_t>& bytes) {
    const UniqueFile file = OpenFile(path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    DWORD written = 0;
    if (!bytes.empty() && !WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()),
                                     &written, nullptr)) {
        throw std::runtime_error("WriteFile failed");
    }
}

std::vector<uint8_t> ReadFileBytes(const std::wstring& path) {
    const UniqueFile file =
        OpenFile(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
    std::vector<uint8_t> bytes(GetFileSize(file.get(), nullptr));
    DWORD read = 0;
    if (!bytes.empty() &&
        !ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) {
        throw std::runtime_error("ReadFile failed");
    }
    bytes.resize(read);
    return bytes;
}

bool FileExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::vector<std::wstring> FilesIn(const std::wstring& folder, const wchar_t* pattern) {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW data;
    if (const UniqueFind find{FindFirstFileW((folder + L"\\" + pattern).c_str(), &data)}) {
        do {
            if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
                names.push_back(data.cFileName);
            }
        } while (FindNextFileW(find.get(), &data));
    }
    return names;
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
