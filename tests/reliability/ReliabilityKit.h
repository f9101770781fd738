#pragma once
// What the reliability suites share: the real module loaded with its log captured, an
// installed folder holding the example policy documents, storage-control documents
// written into place, requests of every kind reduced to comparable text, and snapshots
// of a registry subtree.

#include <windows.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "LogCapture.h"
#include "OstrelModule.h"
#include "Scratch.h"

namespace Reliability {

// The module from folder (build\bin by default), loaded after its log settings are in
// place, with one utility object.
class ModuleUnderTest {
public:
    explicit ModuleUnderTest(uint32_t logLevel = 0x110,
                             const std::wstring& folder = TestSupport::BinFolder());
    ~ModuleUnderTest();

    TestSupport::LogCapture& Log() { return *m_Log; }
    OstrelFuzz::OstrelModule& Module() { return *m_Module; }
    OstrelFuzz::Utility& Utility() { return *m_Utility; }
    // A scratch installed folder with the three encrypted example policy documents,
    // named by the product key (with version 1.0.1120).
    const std::wstring& InstalledFolder() const { return m_Installed->Path(); }
    std::wstring PolicyFile(const wchar_t* name) const { return m_Installed->File(name); }

private:
    std::unique_ptr<TestSupport::LogCapture> m_Log;
    std::unique_ptr<TestSupport::ScratchFolder> m_Installed;
    std::unique_ptr<OstrelFuzz::OstrelModule> m_Module;
    std::unique_ptr<OstrelFuzz::Utility> m_Utility;
};

// The assignment text of the suites' storage-control requests; their documents' elements
// carry it as "assign".
constexpr const wchar_t* kCommandArgument = L"reliability";

// A Control element that stores value into name with overwrite.
std::string Store(const std::string& name, const std::string& type, const std::string& value);

// Encrypts the plaintext under the storage-control key into path.
void WriteStorageDocument(const std::wstring& path, const std::string& xml);

// A storage-control document (save="yes", so it survives its request) that stores,
// queries and deletes values under HKCU\keyPath; and one that fails in its second section
// after its first one stored a value.
std::string SteadyStorageDocument(const std::wstring& keyPath);
std::string BrokenStorageDocument(const std::wstring& keyPath);

// The storage documents one caller uses, over its own registry key.
struct StorageLane {
    std::wstring Document;
    std::wstring BrokenDocument;
    std::wstring KeyPath;
};
StorageLane MakeLane(const TestSupport::ScratchFolder& folder, const std::wstring& keyPath,
                     const std::wstring& name);

enum class RequestKind {
    Services,
    Providers,
    WebAccess,
    Storage,
    StorageBroken,
    Unsupported,
    NullPayload,
    Count
};
constexpr size_t kRequestKinds = static_cast<size_t>(RequestKind::Count);

// Sends one request and reduces its answer to text: the result code and what came back
// (every field of every row, the lists' sizes and sites).
std::wstring Ask(SrvFrwk::Interface::IUtilityEx& utility, RequestKind kind,
                 const StorageLane& lane);
std::wstring Ask(OstrelFuzz::Utility& utility, RequestKind kind, const StorageLane& lane);

// Every key and value under root\path (value type and bytes; keys with type REG_NONE and
// no bytes), named by their path below path.
using RegistrySnapshot = std::map<std::wstring, std::pair<DWORD, std::vector<uint8_t>>>;
RegistrySnapshot SnapshotRegistry(HKEY root, const std::wstring& path);

}  // namespace Reliability
