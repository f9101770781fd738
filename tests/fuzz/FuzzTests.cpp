// The fuzzer's saved failing inputs (regressions/<road>-*.xen, encrypted) down their road
// and its hostile documents (corpus/*.xml) down every road, through the real module: each
// gives a documented result, without a crash. The corpus's storage documents touch only
// HKCU\Software\OstrelFuzz\Keys and INI files in the installed folder.

#include <gtest/gtest.h>

#include <string>

#include "Documents.h"
#include "LogCapture.h"
#include "ModuleHost.h"
#include "Scratch.h"

namespace {

using namespace TestSupport;

struct Road {
    const char* Prefix;  // of a saved input's name
    const char* Key;
    const wchar_t* File;  // in the installed folder; null: a storage-control request
    uint32_t ValueType;
};
const Road kRoads[] = {{"service", kServiceKey, kServiceFile, 1},
                       {"provider", kProviderKey, kProviderFile, 2},
                       {"webaccess", kWebAccessKey, kWebAccessFile, 16},
                       {"storage", kStorageKey, nullptr, 4}};

class Replay : public ::testing::Test {
protected:
    Replay() { m_Log.Product().SetInstalledFolder(m_Folder.Path() + L"\\"); }
    ~Replay() override { RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\OstrelFuzz"); }

    void ExpectDocumented(const Road& road, const std::vector<uint8_t>& file,
                          const std::wstring& name) {
        WriteFileBytes(road.File != nullptr ? m_Folder.File(road.File) : m_Request, file);
        HRESULT result = S_OK;
        if (road.File != nullptr) {
            SrvFrwk::Interface::ArrayOfRowService services;
            SrvFrwk::Interface::ArrayOfRowProvider providers;
            SrvFrwk::Interface::WebAccessControlList list;
            void* payload = road.ValueType == 1   ? static_cast<void*>(&services)
                            : road.ValueType == 2 ? static_cast<void*>(&providers)
                                                  : static_cast<void*>(&list);
            result = m_Utility.Query(road.ValueType, payload);
        } else {
            SrvFrwk::Interface::StorageControlRequest request;
            request.DocumentPath = m_Request;
            request.CommandArgument = L"demo";
            result = m_Utility.Send(road.ValueType, &request);
        }
        EXPECT_TRUE(IsDocumentedResult(result) || IsReaderResult(result))
            << Narrow(name) << " through " << road.Prefix << " gave 0x" << std::hex
            << static_cast<uint32_t>(result);
    }

    LogCapture m_Log{0x110, /*initializeProcessLog=*/false};
    ScratchFolder m_Folder{L"FuzzReplay"};
    std::wstring m_Request = m_Folder.File(L"request.xen");
    ModuleHost m_Host;
    Utility m_Utility{m_Host};
};

TEST_F(Replay, EverySavedInputAndCorpusDocumentGivesADocumentedResult) {
    ASSERT_TRUE(m_Utility.IsValid());
    const std::wstring saved = std::wstring(OSTREL_FUZZ_SOURCE_DIR) + L"\\regressions\\";
    const std::wstring corpus = std::wstring(OSTREL_FUZZ_SOURCE_DIR) + L"\\corpus\\";
    ASSERT_FALSE(FilesIn(corpus, L"*.xml").empty());
    for (const Road& road : kRoads) {
        for (const std::wstring& name : FilesIn(saved, (Widen(road.Prefix) + L"-*.xen").c_str())) {
            ExpectDocumented(road, ReadFileBytes(saved + name), name);
        }
        for (const std::wstring& name : FilesIn(corpus, L"*.xml")) {
            ExpectDocumented(road, Encrypted(road.Key, ReadFileBytes(corpus + name)), name);
        }
    }
}

}  // namespace
