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

TEST(Replay, EverySavedInputAndCorpusDocumentGivesADocumentedResult) {
    LogCapture log{0x110, /*initializeProcessLog=*/false};
    ScratchFolder folder{L"FuzzReplay"};
    log.Product().SetInstalledFolder(folder.Path() + L"\\");
    const std::wstring requestPath = folder.File(L"request.xen");
    ModuleHost host;
    Utility utility{host};
    ASSERT_TRUE(utility.IsValid());
    const auto expectDocumented = [&](const Road& road, const std::vector<uint8_t>& file,
                                      const std::wstring& name) {
        WriteFileBytes(road.File != nullptr ? folder.File(road.File) : requestPath, file);
        SrvFrwk::Interface::ArrayOfRowService services;
        SrvFrwk::Interface::ArrayOfRowProvider providers;
        SrvFrwk::Interface::WebAccessControlList list;
        SrvFrwk::Interface::StorageControlRequest request;
        request.DocumentPath = requestPath;
        request.CommandArgument = L"demo";
        const HRESULT result = road.ValueType == 1    ? utility.Query(1, &services)
                               : road.ValueType == 2  ? utility.Query(2, &providers)
                               : road.ValueType == 16 ? utility.Query(16, &list)
                                                      : utility.Send(4, &request);
        EXPECT_TRUE(IsDocumentedResult(result) || IsReaderResult(result))
            << Narrow(name) << " through " << road.Prefix << " gave 0x" << std::hex
            << static_cast<uint32_t>(result);
    };
    const std::wstring saved = std::wstring(OSTREL_FUZZ_SOURCE_DIR) + L"\\regressions\\";
    const std::wstring corpus = std::wstring(OSTREL_FUZZ_SOURCE_DIR) + L"\\corpus\\";
    ASSERT_FALSE(FilesIn(corpus, L"*.xml").empty());
    for (const Road& road : kRoads) {
        for (const std::wstring& name : FilesIn(saved, (Widen(road.Prefix) + L"-*.xen").c_str())) {
            expectDocumented(road, ReadFileBytes(saved + name), name);
        }
        for (const std::wstring& name : FilesIn(corpus, L"*.xml")) {
            expectDocumented(road, Encrypted(road.Key, ReadFileBytes(corpus + name)), name);
        }
    }
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\OstrelFuzz");
}

}  // namespace
