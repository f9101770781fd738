#include "Scratch.h"

#include <gtest/gtest.h>
#include <winternl.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "NativeRegistry.h"
#include "ZorvComn_Handle.h"

namespace TestSupport {
namespace {

using ZorvCommon::UniqueRegKey;

struct FindTraits {
    using Type = HANDLE;
    static Type Invalid() { return INVALID_HANDLE_VALUE; }
    static bool IsValid(Type h) { return h != INVALID_HANDLE_VALUE; }
    static void Close(Type h) { FindClose(h); }
};
using UniqueFind = ZorvCommon::UniqueHandle<FindTraits>;

constexpr const wchar_t* kTestsRoot = L"Software\\OstrelTests";
constexpr REGSAM kProductView = KEY_WOW64_64KEY;

// Nested ProductKey fixtures each keep their own copy; they restore in reverse order.
LONG g_BackupCount = 0;

UniqueRegKey OpenKey(HKEY root, const std::wstring& path, REGSAM access) {
    UniqueRegKey key;
    (void)RegOpenKeyExW(root, path.c_str(), 0, access, key.put());
    return key;
}

// Null when the key cannot be created.
UniqueRegKey CreateKey(HKEY root, const std::wstring& path, REGSAM view = 0) {
    UniqueRegKey key;
    (void)RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr,
                          key.put(), nullptr);
    return key;
}

void Check(bool succeeded, const char* what) {
    if (!succeeded) {
        throw std::runtime_error(std::string(what) + " failed");
    }
}

void DeleteTree(HKEY root, const std::wstring& path, REGSAM view = 0) {
    if (const UniqueRegKey key = OpenKey(root, path, KEY_ALL_ACCESS | view)) {
        RegDeleteTreeW(key.get(), nullptr);
        RegDeleteKeyExW(root, path.c_str(), view, 0);
    }
}

// The native functions, looked up in ntdll at run time.
using NtQueryKeyFn = NTSTATUS(NTAPI*)(HANDLE, int, PVOID, ULONG, PULONG);
using NtCreateKeyFn = NTSTATUS(NTAPI*)(PHANDLE, ACCESS_MASK, POBJECT_ATTRIBUTES, ULONG,
                                       PUNICODE_STRING, ULONG, PULONG);
using NtDeleteKeyFn = NTSTATUS(NTAPI*)(HANDLE);

template <typename Function>
Function NtDll(const char* name) {
    const auto function = reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
    Check(function != nullptr, name);
    return function;
}

// The native path of a key ("\REGISTRY\USER\<sid>\Software\..."); empty when it cannot be
// opened.
std::wstring NativeKeyPath(HKEY root, const std::wstring& path) {
    constexpr int kKeyNameInformation = 3;
    const UniqueRegKey key = OpenKey(root, path, KEY_QUERY_VALUE);
    std::vector<ULONG> buffer(1024);  // the name's length in bytes, then the name
    ULONG cbResult = 0;
    if (!key || NtDll<NtQueryKeyFn>("NtQueryKey")(key.get(), kKeyNameInformation, buffer.data(),
                                                  static_cast<ULONG>(buffer.size() * sizeof(ULONG)),
                                                  &cbResult) < 0) {
        return std::wstring();
    }
    return std::wstring(reinterpret_cast<const wchar_t*>(&buffer[1]), buffer[0] / sizeof(wchar_t));
}

// Calls visit(name, attributes) for each entry of folder matching pattern but "." and "..".
template <typename Visit>
void ForEachEntry(const std::wstring& folder, const wchar_t* pattern, Visit visit) {
    WIN32_FIND_DATAW data;
    if (const UniqueFind find{FindFirstFileW((folder + L"\\" + pattern).c_str(), &data)}) {
        do {
            const std::wstring name = data.cFileName;
            if (name != L"." && name != L"..") {
                visit(name, data.dwFileAttributes);
            }
        } while (FindNextFileW(find.get(), &data));
    }
}

// A folder that is a reparse point is removed itself; what it points at is never entered.
void RemoveFolder(const std::wstring& path) {
    ForEachEntry(path, L"*", [&path](const std::wstring& name, DWORD attributes) {
        const std::wstring child = path + L"\\" + name;
        if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            SetFileAttributesW(child.c_str(), FILE_ATTRIBUTE_NORMAL);
            DeleteFileW(child.c_str());
        } else if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
            RemoveFolder(child);
        } else {
            RemoveDirectoryW(child.c_str());
        }
    });
    RemoveDirectoryW(path.c_str());
}

std::wstring SessionPath(bool serviceSession) {
    return std::wstring(ProductKey::kDebugLogPath) +
           (serviceSession ? L"\\ServiceSession" : L"\\InteractiveSession");
}

void Snapshot(HKEY key, const std::wstring& below, RegistrySnapshot& snapshot) {
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

}  // namespace

ScratchRegistryKey::ScratchRegistryKey(const std::wstring& suite, HKEY root, REGSAM view)
    : m_Root(root), m_Path(std::wstring(kTestsRoot) + L"\\" + suite), m_View(view) {
    DeleteTree(m_Root, m_Path, m_View);
    Check(static_cast<bool>(CreateKey(m_Root, m_Path, m_View)), "RegCreateKeyExW");
}

ScratchRegistryKey::~ScratchRegistryKey() {
    DeleteTree(m_Root, m_Path, m_View);
}

ScratchFolder::ScratchFolder(const std::wstring& suite)
    : m_Path((std::filesystem::temp_directory_path() /
              (L"OstrelTests-" + suite + L"-" + std::to_wstring(GetCurrentProcessId())))
                 .wstring()) {
    RemoveFolder(m_Path);
    Check(CreateDirectoryW(m_Path.c_str(), nullptr), "CreateDirectoryW");
}

ScratchFolder::~ScratchFolder() {
    RemoveFolder(m_Path);
}

ProductKey::ProductKey()
    : m_Existed(RegKeyExists(HKEY_LOCAL_MACHINE, kPath, kProductView)),
      m_BackupPath(std::wstring(kTestsRoot) + L"\\ProductKeyBackup-" +
                   std::to_wstring(GetCurrentProcessId()) + L"-" +
                   std::to_wstring(InterlockedIncrement(&g_BackupCount))) {
    DeleteTree(HKEY_CURRENT_USER, m_BackupPath);
    if (m_Existed) {
        const UniqueRegKey source = CreateKey(HKEY_LOCAL_MACHINE, kPath, kProductView);
        const UniqueRegKey backup = CreateKey(HKEY_CURRENT_USER, m_BackupPath);
        Check(source && backup && RegCopyTreeW(source.get(), nullptr, backup.get()) == 0,
              "the product key's copy");
    }
}

// A destructor that throws during a failed test ends the process: a failed restore is
// reported as a test failure and the backup is kept for a later look.
ProductKey::~ProductKey() {
    DeleteTree(HKEY_LOCAL_MACHINE, kPath, kProductView);
    if (m_Existed) {
        const UniqueRegKey backup = OpenKey(HKEY_CURRENT_USER, m_BackupPath, KEY_READ);
        const UniqueRegKey target = CreateKey(HKEY_LOCAL_MACHINE, kPath, kProductView);
        if (!backup || !target || RegCopyTreeW(backup.get(), nullptr, target.get()) != 0) {
            ADD_FAILURE() << "the product key was not restored; its copy stays under HKCU\\"
                          << std::string(m_BackupPath.begin(), m_BackupPath.end());
            return;
        }
    }
    DeleteTree(HKEY_CURRENT_USER, m_BackupPath);
}

void ProductKey::RemoveValue(const wchar_t* name) {
    if (const UniqueRegKey key = OpenKey(HKEY_LOCAL_MACHINE, kPath, KEY_SET_VALUE | kProductView)) {
        RegDeleteValueW(key.get(), name);
    }
}

void ProductKey::SetDebugLogUint32(const wchar_t* name, uint32_t value, bool serviceSession) {
    WriteRegValue(HKEY_LOCAL_MACHINE, SessionPath(serviceSession), name, REG_DWORD, &value,
                  sizeof(value), kProductView);
}

void ProductKey::SetDebugLogString(const wchar_t* name, const std::wstring& value,
                                   bool serviceSession) {
    WriteRegString(HKEY_LOCAL_MACHINE, SessionPath(serviceSession), name, value, kProductView);
}

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
    return value.substr(0, value.find_last_not_of(L'\0') + 1);
}

bool RegValueExists(HKEY root, const std::wstring& path, const wchar_t* name, REGSAM view) {
    const UniqueRegKey key = OpenKey(root, path, KEY_QUERY_VALUE | view);
    return key &&
           RegQueryValueExW(key.get(), name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

bool RegKeyExists(HKEY root, const std::wstring& path, REGSAM view) {
    return static_cast<bool>(OpenKey(root, path, KEY_QUERY_VALUE | view));
}

void WriteRegValue(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
                   const void* data, DWORD size, REGSAM view) {
    const UniqueRegKey key = CreateKey(root, path, view);
    Check(key && RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data), size) ==
                     ERROR_SUCCESS,
          "RegSetValueExW");
}

RegistrySnapshot SnapshotRegistry(HKEY root, const std::wstring& path) {
    RegistrySnapshot snapshot;
    if (const UniqueRegKey key = OpenKey(root, path, KEY_READ)) {
        Snapshot(key.get(), std::wstring(), snapshot);
    }
    return snapshot;
}

void WriteFileBytes(const std::wstring& path, const std::vector<uint8_t>& bytes) {
    std::ofstream file(std::filesystem::path(path), std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    Check(file.good(), "writing a file");
}

// Opened sharing reading and writing: a log file is read while its writer holds it.
std::vector<uint8_t> ReadFileBytes(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    Check(file.is_open(), "opening a file");
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
}

std::vector<std::wstring> FilesIn(const std::wstring& folder, const wchar_t* pattern) {
    std::vector<std::wstring> names;
    ForEachEntry(folder, pattern, [&names](const std::wstring& name, DWORD attributes) {
        if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            names.push_back(name);
        }
    });
    return names;
}

std::wstring ExecutableFolder() {
    wchar_t path[MAX_PATH];
    const std::wstring file(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    return file.substr(0, file.find_last_of(L"\\/") + 1);
}

std::wstring BinFolder() {
    const std::wstring folder = ExecutableFolder();  // ...\build\tests\ .
    return folder.substr(0, folder.find_last_of(L"\\/", folder.size() - 2) + 1) + L"bin\\";
}

ScratchRegistryLink::ScratchRegistryLink(HKEY root, const std::wstring& path, HKEY targetRoot,
                                         const std::wstring& targetPath)
    : m_Root(root), m_Path(path) {
    const std::wstring target = NativeKeyPath(targetRoot, targetPath);
    Check(!target.empty() &&
              RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_CREATE_LINK,
                              KEY_ALL_ACCESS | KEY_CREATE_LINK, nullptr, m_Key.put(),
                              nullptr) == ERROR_SUCCESS &&
              RegSetValueExW(m_Key.get(), L"SymbolicLinkValue", 0, REG_LINK,
                             reinterpret_cast<const BYTE*>(target.data()),
                             static_cast<DWORD>(target.size() * sizeof(wchar_t))) == ERROR_SUCCESS,
          "making the registry link");
}

ScratchRegistryLink::~ScratchRegistryLink() {
    NtDll<NtDeleteKeyFn>("NtDeleteKey")(m_Key.get());
}

bool ScratchRegistryLink::Exists() const {
    UniqueRegKey link;
    return RegOpenKeyExW(m_Root, m_Path.c_str(), REG_OPTION_OPEN_LINK, KEY_QUERY_VALUE,
                         link.put()) == ERROR_SUCCESS;
}

ScratchUnopenableKey::ScratchUnopenableKey(HKEY root, const std::wstring& parentPath) {
    const UniqueRegKey parent = CreateKey(root, parentPath);
    wchar_t name[] = L"Hidden\0Key";
    UNICODE_STRING nativeName{sizeof(name) - sizeof(wchar_t), sizeof(name), name};
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &nativeName, OBJ_CASE_INSENSITIVE, parent.get(),
                               nullptr);
    HANDLE key = nullptr;  // stays null without a parent: the name is not a full path
    NtDll<NtCreateKeyFn>("NtCreateKey")(&key, KEY_ALL_ACCESS, &attributes, 0, nullptr, 0, nullptr);
    m_Key.reset(static_cast<HKEY>(key));
    Check(key != nullptr, "making the key with a NUL in its name");
}

ScratchUnopenableKey::~ScratchUnopenableKey() {
    NtDll<NtDeleteKeyFn>("NtDeleteKey")(m_Key.get());
}

}  // namespace TestSupport
