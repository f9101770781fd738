#include <gtest/gtest.h>

#include <array>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "ProcessFootprint.h"
#include "ReliabilityKit.h"

namespace {

using namespace Reliability;
using TestSupport::SnapshotRegistry;

// Eight threads send mixed requests through ONE utility object at once, each over its own
// key. The object holds its lock for the whole of each request: the callers take turns
// with its one XML reader instead of sharing it, so every answer equals, field for field,
// the one a single thread gets, and every key ends up as the single thread's did. Then the
// object, alone again, answers 1,400 more requests as before, and they leave the process no
// more handles and hardly more private bytes.
TEST(ThreadTest, EightCallersSharingOneObjectAnswerAsOneDoes) {
    constexpr size_t kThreads = 8;
    constexpr size_t kRequestsEach = 150;
    ModuleUnderTest module;
    ASSERT_TRUE(module.Utility().IsValid());
    SrvFrwk::Interface::IUtilityEx& utility = *module.Utility().Get();
    TestSupport::ScratchRegistryKey key(L"ReliabilityThreads");
    TestSupport::ScratchFolder folder(L"ReliabilityThreads");
    std::vector<StorageLane> lanes;
    for (size_t index = 0; index <= kThreads; ++index) {  // the last one for one thread
        const std::wstring name = L"T" + std::to_wstring(index);
        lanes.push_back(MakeLane(folder, key.Child(name), name));
        for (size_t kind = 0; kind < kRequestKinds; ++kind) {
            Ask(utility, static_cast<RequestKind>(kind), lanes.back());  // creates the key
        }
    }
    std::array<std::wstring, kRequestKinds> expected;
    for (size_t kind = 0; kind < kRequestKinds; ++kind) {
        expected[kind] = Ask(utility, static_cast<RequestKind>(kind), lanes.back());
    }
    // Worth comparing: documents read, both storage documents' commands run.
    for (size_t kind = 0; kind <= static_cast<size_t>(RequestKind::StorageBroken); ++kind) {
        EXPECT_EQ(0u, expected[kind].find(L"result=0;")) << kind;
    }
    EXPECT_EQ(std::wstring::npos, expected[0].find(L"services=0;"));
    const TestSupport::RegistrySnapshot values =
        SnapshotRegistry(HKEY_CURRENT_USER, lanes.back().KeyPath);
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
                const std::wstring answer =
                    Ask(utility, static_cast<RequestKind>(kind), lanes[index]);
                if (answer != expected[kind]) {
                    mismatches[index] = answer + L" where one thread gave " + expected[kind];
                }
            }
        });
    }
    go.set_value();
    for (size_t index = 0; index < kThreads; ++index) {
        threads[index].join();
        EXPECT_EQ("", TestSupport::Narrow(mismatches[index])) << "thread " << index;
        EXPECT_EQ(values, SnapshotRegistry(HKEY_CURRENT_USER, lanes[index].KeyPath))
            << "thread " << index;
        EXPECT_TRUE(TestSupport::FileExists(lanes[index].BrokenDocument))
            << "a document whose last section failed is kept";
    }
    const TestSupport::Footprint warm = TestSupport::MeasureProcess();
    for (size_t request = 0; request < 1400; ++request) {
        const size_t kind = request % kRequestKinds;
        ASSERT_EQ(expected[kind], Ask(utility, static_cast<RequestKind>(kind), lanes.back()));
    }
    const TestSupport::Footprint end = TestSupport::MeasureProcess();
    ASSERT_GT(warm.Handles, 0u) << "the handle count could not be read";
    EXPECT_LE(end.Handles, warm.Handles + 2);
    EXPECT_LE(end.PrivateBytes, warm.PrivateBytes + 1024 * 1024);
}

}  // namespace
