#pragma once
// What the reliability suites share: the real module loaded with its log captured, an
// installed folder holding the example policy documents, storage-control documents
// written into place, and requests of every kind reduced to comparable text.

#include <windows.h>

#include <memory>
#include <string>

#include "Documents.h"
#include "LogCapture.h"
#include "ModuleHost.h"
#include "Scratch.h"

namespace Reliability {

using TestSupport::RegistrySnapshot;
using TestSupport::SnapshotRegistry;

// The module from folder (build\bin by default), loaded after its log settings are in
// place, with one utility object.
class ModuleUnderTest {
public:
    explicit ModuleUnderTest(uint32_t logLevel = 0x110, const std::wstring& folder = L"");
    ~ModuleUnderTest();

    TestSupport::LogCapture& Log() { return *m_Log; }
    TestSupport::ModuleHost& Module() { return *m_Module; }
    TestSupport::Utility& Utility() { return *m_Utility; }
    // A scratch installed folder with the three encrypted example policy documents, named
    // by the product key (with version 1.0.1120).
    std::wstring PolicyFile(const wchar_t* name) const { return m_Installed->File(name); }

private:
    std::unique_ptr<TestSupport::LogCapture> m_Log;
    std::unique_ptr<TestSupport::ScratchFolder> m_Installed;
    std::unique_ptr<TestSupport::ModuleHost> m_Module;
    std::unique_ptr<TestSupport::Utility> m_Utility;
};

// The assignment text of the suites' storage-control requests (the kit's documents say "t").
constexpr const wchar_t* kCommandArgument = L"t";

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
inline std::wstring Ask(TestSupport::Utility& utility, RequestKind kind, const StorageLane& lane) {
    return Ask(*utility.Get(), kind, lane);
}

}  // namespace Reliability
