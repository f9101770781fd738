#pragma once
// What the module benchmarks change on the machine, each undone by its owner: a scratch
// folder for the generated documents, the product key's installed folder pointing at
// it, the registry keys the storage requests write, and the debug log switched off.

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

// The module's debug log switched off for the benchmark: "Enable" set to 0 in each
// session key that enables it (the module reads it when it is loaded), the old values
// put back afterwards. A user who ran the demo in the same prefix has it on.
class DebugLogOff {
public:
    DebugLogOff();
    ~DebugLogOff();
    DebugLogOff(const DebugLogOff&) = delete;
    DebugLogOff& operator=(const DebugLogOff&) = delete;

    bool IsOff() const { return m_Off; }

private:
    std::vector<std::wstring> m_Sessions;  // the keys switched off, each from Enable 1
    std::vector<DWORD> m_Enable;
    bool m_Off = true;
};

}  // namespace Bench
