#pragma once
// What the module benchmarks change on the machine, each undone by its owner: a scratch
// folder for the generated documents, the product key's installed folder pointing at
// it, and the registry keys the storage requests write.

#include <windows.h>

#include <string>
#include <vector>

namespace Bench {

// %TEMP%\OstrelBench-<pid>-<name>, removed with its files.
class ScratchFolder {
public:
    explicit ScratchFolder(const std::wstring& name);
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::wstring& Path() const { return m_Path; }  // ends with a backslash

private:
    std::wstring m_Path;
};

// HKLM\Software\Ulvenhart\Hearthward "InstalledFolder" set for the benchmark; the old
// value (or its absence, or the key's) comes back afterwards.
class InstalledFolder {
public:
    InstalledFolder();
    ~InstalledFolder();
    InstalledFolder(const InstalledFolder&) = delete;
    InstalledFolder& operator=(const InstalledFolder&) = delete;

    bool Set(const std::wstring& folder);

private:
    bool m_KeyExisted = false;
    bool m_ValueExisted = false;
    std::wstring m_OldValue;
};

// HKCU\Software\OstrelBench\<name>: a key the storage requests write, removed afterwards.
class ScratchKey {
public:
    explicit ScratchKey(const std::wstring& name) : m_Path(L"Software\\OstrelBench\\" + name) {}
    ~ScratchKey();
    ScratchKey(const ScratchKey&) = delete;
    ScratchKey& operator=(const ScratchKey&) = delete;

    const std::wstring& Path() const { return m_Path; }

private:
    std::wstring m_Path;
};

// HKLM\Software\Ulvenhart\Hearthward\1\DebugLog\InteractiveSession set so that a module
// loaded afterwards logs errors (level 256, the default) into folder as "badvalue.log".
// The values it replaced, or the keys it created, are put back afterwards.
class ErrorLogSettings {
public:
    explicit ErrorLogSettings(const std::wstring& folder);
    ~ErrorLogSettings();
    ErrorLogSettings(const ErrorLogSettings&) = delete;
    ErrorLogSettings& operator=(const ErrorLogSettings&) = delete;

    bool IsSet() const { return m_Set; }

private:
    struct Value {
        std::wstring name;
        DWORD type;
        std::vector<BYTE> data;
    };

    std::wstring m_CreatedKey;  // the topmost key created here, empty when all existed
    std::vector<Value> m_Old;   // the session key's values before
    bool m_Set = false;
};

// True when the module's debug-log settings enable a session: the benchmarks measure the
// module with its log disabled.
bool IsDebugLogEnabled();

}  // namespace Bench
