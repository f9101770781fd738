#pragma once
// What the module benchmarks change on the machine, each undone by its owner: a scratch
// folder for the generated documents, the product key's installed folder pointing at
// it, and the registry keys the storage requests write.

#include <windows.h>

#include <string>

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

// True when the module's debug-log settings enable a session: the benchmarks measure the
// module with its log disabled.
bool IsDebugLogEnabled();

}  // namespace Bench
