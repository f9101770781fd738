#pragma once
// The module through its exports: the real Ostrel.dll from build\bin, one utility object
// per test, the debug log captured and a scratch installed folder named by the product key.

#include <gtest/gtest.h>

#include "Documents.h"
#include "LogCapture.h"
#include "ModuleHost.h"
#include "Scratch.h"

namespace ModuleTests {

using namespace TestSupport;
using SrvFrwk::Interface::IUtilityEx;

constexpr HRESULT kNotProvided = 0x00040203;
constexpr HRESULT kWrongState = static_cast<HRESULT>(0x80040201);
constexpr HRESULT kNotSupported = static_cast<HRESULT>(0x80040203);
constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80040204);

// The module is loaded after the log settings are in place, so that its own debug log (set
// up at process attach) writes where the capture reads.
class ModuleTest : public ::testing::Test {
protected:
    ModuleTest() {
        m_Log.Product().SetInstalledFolder(m_Folder.Path() + L"\\");
        m_Log.Product().SetVersion(L"1.0.1120");
    }
    void SetUp() override { ASSERT_TRUE(m_Utility.IsValid()) << "Ostrel.dll beside build\\tests"; }

    // A storage-control request for the text, with the assignment "T" (the documents say
    // "t": assignments match without regard to case).
    HRESULT SendStorage(const std::string& text, const std::wstring& folderField = L"") {
        WriteDocument(m_Request, kStorageKey, text);
        SrvFrwk::Interface::StorageControlRequest request;
        request.DocumentPath = m_Request;
        request.CommandArgument = L"T";
        request.Folder = folderField;
        return m_Utility.Send(SrvFrwk::Interface::ValueTypeStorageControl, &request);
    }

    LogCapture m_Log{0x111, /*initializeProcessLog=*/false};
    ScratchFolder m_Folder{L"Module"};
    ScratchRegistryKey m_Key{L"Module"};
    std::wstring m_Request = m_Folder.File(L"request.xen");
    ModuleHost m_Host;
    Utility m_Utility{m_Host};
};

}  // namespace ModuleTests
