#include <gtest/gtest.h>
#include <objbase.h>

#include <array>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "AllocationFault.h"
#include "Documents.h"
#include "LogCapture.h"
#include "ModuleHost.h"
#include "ProcessFootprint.h"
#include "Scratch.h"
#include "ServiceManager.h"

namespace {

using namespace SrvFrwk::Interface;
using namespace TestSupport;

enum : size_t { kServices, kProviders, kWebAccess, kStorage, kStorageBroken, kRequestKinds };

// The storage documents one caller uses over its own key under HKCU: one (save="yes", so
// it survives its request) that stores, queries and deletes values, and one whose second
// section fails after its first stored a value.
struct StorageLane {
    std::wstring Document;
    std::wstring BrokenDocument;
    std::wstring KeyPath;
};

StorageLane MakeLane(const ScratchFolder& folder, const std::wstring& keyPath,
                     const std::wstring& name) {
    StorageLane lane{folder.File(name + L".xen"), folder.File(name + L"-broken.xen"), keyPath};
    const std::string key = Narrow(keyPath);
    WriteDocument(
        lane.Document, kStorageKey,
        Storage(
            Registry(key, Store("Text", "string", "steady") + Store("Number", "uint32", "42") +
                              Store("Blob", "binary", "DEADBEEF") +
                              Control("query", "Text", "string") + Control("delete", "Missing")),
            " save=\"yes\""));
    WriteDocument(lane.BrokenDocument, kStorageKey,
                  Storage(Registry(key, Store("Broken", "uint32", "1")) +
                          Registry(key, Store("Never", "uint32", "2"), kAnywhere, "HKXX")));
    return lane;
}

std::wstring GuidText(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return text;
}

// A row cut short shows: every field is in its text.
template <typename Row>
std::wstring DescribeRow(const Row& row, const GUID& guid, const std::vector<GUID>& depended) {
    std::wstring text = L";" + row.ModuleName + L"@" + row.Version + L"," + GuidText(guid);
    for (const uint32_t number :
         {row.ModuleType, row.StartupType, row.LoadOption, row.UnloadOption, row.OrderOfLoading,
          row.OrderOfUnloading, row.SharedType, row.Permission[0], row.Permission[1],
          row.Permission[2], row.Permission[3], row.DataConversion}) {
        text += L"," + std::to_wstring(number);
    }
    text += L"," + GuidText(row.SharedGuid) + L"," + row.ConvModuleName;
    for (const GUID& dependency : depended) {
        text += L"," + GuidText(dependency);
    }
    return text;
}

// What one request of kind sends and gets back, made before it is sent: a test that fails
// the request's allocations fails none of its own.
struct Answer {
    ArrayOfRowService Services;
    ArrayOfRowProvider Providers;
    WebAccessControlList List;
    StorageControlRequest Storage;
    HRESULT Result = E_FAIL;

    Answer(size_t kind, const StorageLane& lane) {
        Storage.DocumentPath = kind == kStorage ? lane.Document : lane.BrokenDocument;
        Storage.CommandArgument = L"t";
    }
    void Send(IUtilityEx* pUtility, size_t kind) {
        const std::pair<uint32_t, void*> queries[] = {{ValueTypeServicePolicy, &Services},
                                                      {ValueTypeProviderPolicy, &Providers},
                                                      {ValueTypeWebAccessControl, &List}};
        ValueTypeRecord record{kind >= kStorage ? ValueTypeStorageControl : queries[kind].first};
        Result = kind >= kStorage
                     ? pUtility->SendMessage(&record, nullptr, nullptr, &Storage)
                     : pUtility->QueryValue(&record, nullptr, nullptr, queries[kind].second);
    }
    // The result code and what came back as text: every field of every row, the lists'
    // sizes and sites.
    std::wstring Text() const {
        std::wstring text = L"result=" + std::to_wstring(static_cast<uint32_t>(Result)) +
                            L";services=" + std::to_wstring(Services.size());
        for (const auto& row : Services) {
            text += DescribeRow(row, row.ServiceGuid, row.DependedServices) + L"," +
                    std::to_wstring(row.InterfaceType);
        }
        text += L";providers=" + std::to_wstring(Providers.size());
        for (const auto& row : Providers) {
            text += DescribeRow(row, row.ProviderGuid, row.DependedProviders);
        }
        for (const size_t size : {List.Sites.size(), List.Applications.size(), List.Filters.size(),
                                  List.WebActivities.size(), List.Protections.size()}) {
            text += L";" + std::to_wstring(size);
        }
        for (const std::wstring& site : List.Sites) {
            text += L";" + site;
        }
        return text;
    }
};

std::wstring Ask(IUtilityEx* pUtility, size_t kind, const StorageLane& lane) {
    Answer answer(kind, lane);
    answer.Send(pUtility, kind);
    return answer.Text();
}

// The example policy documents in a scratch installed folder, named in the product key.
void Install(LogCapture& log, const ScratchFolder& folder) {
    for (const wchar_t* name : {kServiceFile, kProviderFile, kWebAccessFile}) {
        CopyFileW((BinFolder() + L"..\\examples\\" + name).c_str(), folder.File(name).c_str(),
                  FALSE);
    }
    log.Product().SetInstalledFolder(folder.Path() + L"\\");
    log.Product().SetVersion(L"1.0.1120");
}

// Eight threads send mixed requests through ONE utility object at once, each over its own
// key. The object holds its lock for the whole of each request: the callers take turns
// with its one XML reader instead of sharing it, so every answer equals, field for field,
// the one a single thread gets, and every key ends up as the single thread's did. Then the
// object, alone again, answers 1,400 more requests as before, and they leave the process no
// more handles and hardly more private bytes.
TEST(ThreadTest, EightCallersSharingOneObjectAnswerAsOneDoes) {
    constexpr size_t kThreads = 8;
    constexpr size_t kRequestsEach = 150;
    LogCapture log(0x110, /*initializeProcessLog=*/false);
    ScratchFolder folder(L"ReliabilityThreads");  // installed folder and documents
    Install(log, folder);
    const ModuleHost host;
    Utility utility(host);
    ASSERT_TRUE(utility.IsValid());
    ScratchRegistryKey key(L"ReliabilityThreads");
    std::vector<StorageLane> lanes;
    for (size_t index = 0; index <= kThreads; ++index) {  // the last one for one thread
        const std::wstring name = L"T" + std::to_wstring(index);
        lanes.push_back(MakeLane(folder, key.Child(name), name));
        for (size_t kind = 0; kind < kRequestKinds; ++kind) {
            Ask(utility.Get(), kind, lanes.back());  // creates the key
        }
    }
    std::array<std::wstring, kRequestKinds> expected;
    for (size_t kind = 0; kind < kRequestKinds; ++kind) {
        expected[kind] = Ask(utility.Get(), kind, lanes.back());
        // Worth comparing: documents read, both storage documents' commands run.
        EXPECT_EQ(0u, expected[kind].find(L"result=0;")) << kind;
    }
    EXPECT_EQ(std::wstring::npos, expected[0].find(L"services=0;"));
    const RegistrySnapshot values = SnapshotRegistry(HKEY_CURRENT_USER, lanes.back().KeyPath);
    EXPECT_FALSE(values.empty());

    std::promise<void> go;
    const std::shared_future<void> start = go.get_future().share();
    std::vector<std::wstring> mismatches(kThreads);
    std::vector<std::thread> threads;
    for (size_t index = 0; index < kThreads; ++index) {
        threads.emplace_back([&, index] {
            start.wait();
            for (size_t request = 0; request < kRequestsEach && mismatches[index].empty();
                 ++request) {
                const size_t kind = (request + index) % kRequestKinds;
                const std::wstring answer = Ask(utility.Get(), kind, lanes[index]);
                if (answer != expected[kind]) {
                    mismatches[index] = answer + L" where one thread gave " + expected[kind];
                }
            }
        });
    }
    go.set_value();
    for (size_t index = 0; index < kThreads; ++index) {
        threads[index].join();
        EXPECT_EQ("", Narrow(mismatches[index])) << "thread " << index;
        EXPECT_EQ(values, SnapshotRegistry(HKEY_CURRENT_USER, lanes[index].KeyPath))
            << "thread " << index;
        EXPECT_TRUE(FileExists(lanes[index].BrokenDocument))
            << "a document whose last section failed is kept";
    }
    const Footprint warm = MeasureProcess();
    for (size_t request = 0; request < 1400; ++request) {
        const size_t kind = request % kRequestKinds;
        ASSERT_EQ(expected[kind], Ask(utility.Get(), kind, lanes.back()));
    }
    const Footprint end = MeasureProcess();
    ASSERT_GT(warm.Handles, 0u) << "the handle count could not be read";
    EXPECT_LE(end.Handles, warm.Handles + 2);
    EXPECT_LE(end.PrivateBytes, warm.PrivateBytes + 1024 * 1024);
}

// An allocation that fails anywhere in a request, the walk of a document included (an
// exception between the start and the stop of the object's one reader), leaves the reader
// stopped and the document closed: the same object answers its next request as before. The
// module's utility object is linked into this suite for this test, so that each of its
// allocations in turn can be made to fail through the suite's operator new.
TEST(FaultTest, AFailedAllocationAnywhereInARequestLeavesTheObjectAsItWas) {
    LogCapture log(0x110, /*initializeProcessLog=*/false);
    ScratchFolder folder(L"ReliabilityFaults");
    Install(log, folder);
    ScratchRegistryKey key(L"ReliabilityFaults");
    const StorageLane lane = MakeLane(folder, key.Path(), L"allocation");
    CServiceManager utility;
    for (size_t kind = 0; kind <= kStorage; ++kind) {
        const std::wstring expected = Ask(&utility, kind, lane);
        ASSERT_EQ(0u, expected.find(L"result=0;")) << kind;
        size_t failing = 0;  // allocations counted from 0
        for (bool fired = true; fired; ++failing) {
            {
                Answer answer(kind, lane);
                const AllocationFault fault(failing);
                answer.Send(&utility, kind);
                fired = fault.Fired();
            }
            ASSERT_EQ(expected, Ask(&utility, kind, lane))
                << "request kind " << kind << ", after allocation " << failing << " failed";
        }
        EXPECT_GT(failing, 20u) << "request kind " << kind;
    }
}

}  // namespace
