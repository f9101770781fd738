#include <gtest/gtest.h>

#include <windows.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "ReliabilityKit.h"
#include "ZorvComn_Handle.h"

namespace {

using namespace Reliability;

constexpr int kThreads = 8;
using Answers = std::array<std::wstring, kRequestKinds>;

// One caller: its own storage key and documents, and the utility object it talks to.
struct Caller {
    StorageLane Lane;
    OstrelFuzz::Utility* Utility = nullptr;
    const Answers* Expected = nullptr;
    HANDLE Start = nullptr;
    int Index = 0;
    int Requests = 0;
    int Mismatches = 0;
    std::wstring FirstMismatch;
};

DWORD WINAPI CallerThread(void* pCaller) {
    Caller& caller = *static_cast<Caller*>(pCaller);
    WaitForSingleObject(caller.Start, INFINITE);
    for (int request = 0; request < caller.Requests; ++request) {
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

// Callers on eight threads at once, each with its own key; every answer must equal the
// one a single thread gets for the same document, and every key must end up as the
// single thread's did.
class ThreadTest : public ::testing::Test {
protected:
    void SetUp() override {
        // The single-threaded answers, after one round that creates the key.
        m_Reference = MakeLane(m_Folder, m_Key.Child(L"Reference"), L"reference");
        for (int round = 0; round < 2; ++round) {
            for (size_t kind = 0; kind < kRequestKinds; ++kind) {
                m_Expected[kind] =
                    Ask(m_Module.Utility(), static_cast<RequestKind>(kind), m_Reference);
            }
        }
        // The answers are worth comparing: documents read, commands run, refusals refused.
        EXPECT_EQ(0u, m_Expected[0].find(L"result=0;rows=")) << "services";
        EXPECT_EQ(std::wstring::npos, m_Expected[0].find(L"rows=0;"));
        EXPECT_EQ(0u, m_Expected[2].find(L"result=0;sites=")) << "web access";
        EXPECT_EQ(L"result=0", m_Expected[static_cast<size_t>(RequestKind::Storage)]);
        EXPECT_EQ(L"result=0", m_Expected[static_cast<size_t>(RequestKind::StorageBroken)])
            << "the first section's commands run, and their result is the request's";
        EXPECT_EQ(L"result=" + std::to_wstring(0x80040203u),
                  m_Expected[static_cast<size_t>(RequestKind::Unsupported)]);
        m_ReferenceValues = SnapshotRegistry(HKEY_CURRENT_USER, m_Reference.KeyPath);
        EXPECT_FALSE(m_ReferenceValues.empty());
    }

    // Makes kThreads callers of requests requests each over the utility objects that
    // utilityOf gives for each index, runs them at once and checks what they got.
    template <typename UtilityOf>
    void RunCallers(int requests, UtilityOf utilityOf) {
        const ZorvCommon::UniqueEvent start(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        std::vector<Caller> callers(kThreads);
        for (int index = 0; index < kThreads; ++index) {
            Caller& caller = callers[index];
            const std::wstring name = L"T" + std::to_wstring(index);
            caller.Lane = MakeLane(m_Folder, m_Key.Child(name), name);
            caller.Utility = &utilityOf(index);
            ASSERT_TRUE(caller.Utility->IsValid());
            caller.Expected = &m_Expected;
            caller.Start = start.get();
            caller.Index = index;
            caller.Requests = requests;
            for (size_t kind = 0; kind < kRequestKinds; ++kind) {
                Ask(*caller.Utility, static_cast<RequestKind>(kind), caller.Lane);  // the key
            }
        }
        std::vector<ZorvCommon::UniqueThread> threads;
        for (Caller& caller : callers) {
            threads.emplace_back(CreateThread(nullptr, 0, &CallerThread, &caller, 0, nullptr));
            ASSERT_TRUE(threads.back());
        }
        SetEvent(start.get());
        for (const ZorvCommon::UniqueThread& thread : threads) {
            EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.get(), 5 * 60 * 1000));
        }
        for (const Caller& caller : callers) {
            EXPECT_EQ(0, caller.Mismatches)
                << "thread " << caller.Index << ": "
                << std::string(caller.FirstMismatch.begin(), caller.FirstMismatch.end());
            EXPECT_EQ(m_ReferenceValues, SnapshotRegistry(HKEY_CURRENT_USER, caller.Lane.KeyPath))
                << "thread " << caller.Index;
            EXPECT_TRUE(TestSupport::FileExists(caller.Lane.BrokenDocument))
                << "a document whose last section failed is kept";
        }
    }

    ModuleUnderTest m_Module{/*logLevel=*/0x110};
    TestSupport::ScratchRegistryKey m_Key{L"ReliabilityThreads"};
    TestSupport::ScratchFolder m_Folder{L"ReliabilityThreads"};
    StorageLane m_Reference;
    Answers m_Expected;
    RegistrySnapshot m_ReferenceValues;
};

TEST_F(ThreadTest, EightCallersWithTheirOwnObjectsAnswerAsOneDoes) {
    std::vector<std::unique_ptr<OstrelFuzz::Utility>> utilities;
    for (int index = 0; index < kThreads; ++index) {
        utilities.push_back(std::make_unique<OstrelFuzz::Utility>(m_Module.Module()));
    }
    RunCallers(1000, [&](int index) -> OstrelFuzz::Utility& { return *utilities[index]; });
}

// The object holds its lock for the whole of each request: the callers take turns with
// its one XML reader instead of sharing it.
TEST_F(ThreadTest, EightCallersSharingOneObjectAnswerAsOneDoes) {
    RunCallers(150, [&](int) -> OstrelFuzz::Utility& { return m_Module.Utility(); });
}

}  // namespace
