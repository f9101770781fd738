#include <gtest/gtest.h>

#include <windows.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "ReliabilityKit.h"
#include "ZorvComn_Handle.h"

namespace {

using namespace Reliability;

constexpr int kThreads = 8;
constexpr int kRequestsPerThread = 1000;

// One caller: its own utility object and its own storage key and documents.
struct Caller {
    Reliability::StorageLane Lane;
    std::unique_ptr<OstrelFuzz::Utility> Utility;
    const std::array<std::wstring, kRequestKinds>* Expected = nullptr;
    HANDLE Start = nullptr;
    int Index = 0;
    int Mismatches = 0;
    std::wstring FirstMismatch;
};

DWORD WINAPI CallerThread(void* pCaller) {
    Caller& caller = *static_cast<Caller*>(pCaller);
    WaitForSingleObject(caller.Start, INFINITE);
    for (int request = 0; request < kRequestsPerThread; ++request) {
        const size_t kind = static_cast<size_t>(request + caller.Index) % kRequestKinds;
        const std::wstring answer =
            Ask(*caller.Utility, static_cast<RequestKind>(kind), caller.Lane);
        if (answer != (*caller.Expected)[kind]) {
            if (caller.Mismatches++ == 0) {
                caller.FirstMismatch =
                    answer + L" where one thread gave " + (*caller.Expected)[kind];
            }
        }
    }
    return 0;
}

// Eight threads, each with its own utility object, make 1,000 mixed requests each at
// once; every answer equals the one a single thread gets for the same document, and
// every thread's key ends up as the single thread's did.
TEST(ThreadTest, EightCallersAtOnceAnswerAsOneDoes) {
    ModuleUnderTest module(/*logLevel=*/0x110);
    TestSupport::ScratchRegistryKey key(L"ReliabilityThreads");
    TestSupport::ScratchFolder folder(L"ReliabilityThreads");

    // The single-threaded answers, after one round that creates the key.
    const StorageLane reference = MakeLane(folder, key.Child(L"Reference"), L"reference");
    std::array<std::wstring, kRequestKinds> expected;
    for (int round = 0; round < 2; ++round) {
        for (size_t kind = 0; kind < kRequestKinds; ++kind) {
            expected[kind] = Ask(module.Utility(), static_cast<RequestKind>(kind), reference);
        }
    }
    // The answers are worth comparing: documents read, commands run, refusals refused.
    EXPECT_EQ(0u, expected[0].find(L"result=0;rows=")) << "services";
    EXPECT_EQ(std::wstring::npos, expected[0].find(L"rows=0;"));
    EXPECT_EQ(0u, expected[2].find(L"result=0;sites=")) << "web access";
    EXPECT_EQ(L"result=0", expected[static_cast<size_t>(RequestKind::Storage)]);
    EXPECT_EQ(L"result=0", expected[static_cast<size_t>(RequestKind::StorageBroken)])
        << "the first section's commands run, and their result is the request's";
    EXPECT_EQ(L"result=" + std::to_wstring(0x80040203u),
              expected[static_cast<size_t>(RequestKind::Unsupported)]);
    const RegistrySnapshot referenceValues = SnapshotRegistry(HKEY_CURRENT_USER, reference.KeyPath);

    const ZorvCommon::UniqueFile start(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::vector<Caller> callers(kThreads);
    for (int index = 0; index < kThreads; ++index) {
        Caller& caller = callers[index];
        const std::wstring name = L"T" + std::to_wstring(index);
        caller.Lane = MakeLane(folder, key.Child(name), name);
        caller.Utility = std::make_unique<OstrelFuzz::Utility>(module.Module());
        ASSERT_TRUE(caller.Utility->IsValid());
        caller.Expected = &expected;
        caller.Start = start.get();
        caller.Index = index;
        for (size_t kind = 0; kind < kRequestKinds; ++kind) {
            Ask(*caller.Utility, static_cast<RequestKind>(kind), caller.Lane);  // the key exists
        }
    }
    std::vector<ZorvCommon::UniqueFile> threads;
    for (Caller& caller : callers) {
        threads.emplace_back(CreateThread(nullptr, 0, &CallerThread, &caller, 0, nullptr));
        ASSERT_TRUE(threads.back());
    }
    SetEvent(start.get());
    for (const ZorvCommon::UniqueFile& thread : threads) {
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.get(), 5 * 60 * 1000));
    }
    for (const Caller& caller : callers) {
        EXPECT_EQ(0, caller.Mismatches)
            << "thread " << caller.Index << ": "
            << std::string(caller.FirstMismatch.begin(), caller.FirstMismatch.end());
        EXPECT_EQ(referenceValues, SnapshotRegistry(HKEY_CURRENT_USER, caller.Lane.KeyPath))
            << "thread " << caller.Index;
        EXPECT_TRUE(TestSupport::FileExists(caller.Lane.BrokenDocument))
            << "a document whose last section failed is kept";
    }
    EXPECT_FALSE(referenceValues.empty());
}

}  // namespace
