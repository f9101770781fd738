#pragma once
// The fixture kit: each resource a test touches has one RAII owner that leaves the
// machine as it found it, even when the test fails.

#include <windows.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

// HKCU\Software\OstrelTests\<suite>: deleted and created fresh, removed afterwards.
// view (KEY_WOW64_32KEY or KEY_WOW64_64KEY) picks the registry view it lives in.
class ScratchRegistryKey {
public:
    explicit ScratchRegistryKey(const std::wstring& suite, HKEY root = HKEY_CURRENT_USER,
                                REGSAM view = 0);
    ~ScratchRegistryKey();
    ScratchRegistryKey(const ScratchRegistryKey&) = delete;
    ScratchRegistryKey& operator=(const ScratchRegistryKey&) = delete;

    HKEY Root() const { return m_Root; }
    const std::wstring& Path() const { return m_Path; }  // "Software\OstrelTests\<suite>"
    std::wstring Child(const std::wstring& name) const { return m_Path + L"\\" + name; }

private:
    HKEY m_Root;
    std::wstring m_Path;
    REGSAM m_View;
};

// A fresh folder under the temporary directory, removed with its contents afterwards.
class ScratchFolder {
public:
    explicit ScratchFolder(const std::wstring& suite);
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::wstring& Path() const { return m_Path; }  // ends without a backslash
    std::wstring File(const std::wstring& name) const { return m_Path + L"\\" + name; }

private:
    std::wstring m_Path;
};

// Registry helpers for assertions.
std::wstring ReadRegString(HKEY root, const std::wstring& path, const wchar_t* name,
                           REGSAM view = 0);
bool RegValueExists(HKEY root, const std::wstring& path, const wchar_t* name, REGSAM view = 0);
bool RegKeyExists(HKEY root, const std::wstring& path, REGSAM view = 0);
void WriteRegValue(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
                   const void* data, DWORD size, REGSAM view = 0);
inline void WriteRegString(HKEY root, const std::wstring& path, const wchar_t* name,
                           const std::wstring& text, REGSAM view = 0) {
    WriteRegValue(root, path, name, REG_SZ, text.c_str(),
                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)), view);
}

// Takes a copy of HKLM\Software\Ulvenhart\Hearthward (64-bit view) and restores it on
// destruction; the setters change the live key in between. A failed restore is reported
// as a test failure, never thrown.
class ProductKey {
public:
    static constexpr const wchar_t* kPath = L"Software\\Ulvenhart\\Hearthward";
    static constexpr const wchar_t* kDebugLogPath = L"Software\\Ulvenhart\\Hearthward\\1\\DebugLog";

    ProductKey();
    ~ProductKey();
    ProductKey(const ProductKey&) = delete;
    ProductKey& operator=(const ProductKey&) = delete;

    void SetInstalledFolder(const std::wstring& folder) {
        WriteRegString(HKEY_LOCAL_MACHINE, kPath, L"InstalledFolder", folder, KEY_WOW64_64KEY);
    }
    void SetVersion(const std::wstring& version) {
        WriteRegString(HKEY_LOCAL_MACHINE, kPath, L"Version", version, KEY_WOW64_64KEY);
    }
    void RemoveValue(const wchar_t* name);
    // Debug-log settings of the interactive (or service) session sub-key.
    void SetDebugLogUint32(const wchar_t* name, uint32_t value, bool serviceSession = false);
    void SetDebugLogString(const wchar_t* name, const std::wstring& value,
                           bool serviceSession = false);

private:
    bool m_Existed;
    std::wstring m_BackupPath;  // HKCU\Software\OstrelTests\ProductKeyBackup-<pid>-<n>
};

// Every key and value under root\path: "\\sub\\key" -> (REG_NONE, {}) for a key and
// "\\sub\\key|name" -> (type, bytes) for a value ("|name" for the key's own values).
using RegistrySnapshot = std::map<std::wstring, std::pair<DWORD, std::vector<uint8_t>>>;
RegistrySnapshot SnapshotRegistry(HKEY root, const std::wstring& path);

void WriteFileBytes(const std::wstring& path, const std::vector<uint8_t>& bytes);
std::vector<uint8_t> ReadFileBytes(const std::wstring& path);
inline bool FileExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}
// The names of the files in folder that match pattern ("*.xml").
std::vector<std::wstring> FilesIn(const std::wstring& folder, const wchar_t* pattern);

// Folder of the running test executable, with a trailing backslash.
std::wstring ExecutableFolder();
// build\bin\ (the shipped binaries), found from the test executable's folder.
std::wstring BinFolder();

}  // namespace TestSupport
