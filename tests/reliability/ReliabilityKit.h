#pragma once
// What the reliability suites share: the real module loaded with its log captured, an
// installed folder holding the example policy documents, storage-control documents
// written into place, and requests of every kind reduced to comparable text.

#include <windows.h>

#include <string>

#include "Documents.h"
#include "LogCapture.h"
#include "ModuleHost.h"
#include "Scratch.h"

namespace Reliability {

// The module from folder (build\bin by default), loaded after its log settings are in
// place, with one utility object; the product key names a scratch installed folder that
// holds the three encrypted example policy documents.
class ModuleUnderTest {
public:
    explicit ModuleUnderTest(uint32_t logLevel = 0x110, const std::wstring& folder = L"");

    TestSupport::LogCapture& Log() { return m_Log; }
    TestSupport::Utility& Utility() { return m_Utility; }

private:
    // Fills the installed folder and names it in the product key; answers folder.
    std::wstring Install(const std::wstring& folder);

    TestSupport::LogCapture m_Log;
    TestSupport::ScratchFolder m_Installed{L"ReliabilityInstalled"};
    TestSupport::ModuleHost m_Module;
    TestSupport::Utility m_Utility{m_Module};
};

// The storage documents one caller uses over its own key under HKCU: one (save="yes", so
// it survives its request) that stores, queries and deletes values, and one whose second
// section fails after its first stored a value.
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

// One request: its payload is made with it, so that sending meets only the object's work.
class Request {
public:
    Request(RequestKind kind, const StorageLane& lane);
    HRESULT SendTo(SrvFrwk::Interface::IUtilityEx& utility);
    // The result code and what came back: every field of every row, the lists' sizes and
    // sites.
    std::wstring Answer(HRESULT result) const;

private:
    RequestKind m_Kind;
    SrvFrwk::Interface::ArrayOfRowService m_Services;
    SrvFrwk::Interface::ArrayOfRowProvider m_Providers;
    SrvFrwk::Interface::WebAccessControlList m_List;
    SrvFrwk::Interface::StorageControlRequest m_Storage;
};

std::wstring Ask(SrvFrwk::Interface::IUtilityEx& utility, RequestKind kind,
                 const StorageLane& lane);

}  // namespace Reliability
