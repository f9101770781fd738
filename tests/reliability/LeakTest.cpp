#include <gtest/gtest.h>

#include <array>
#include <string>

#include "ProcessFootprint.h"
#include "ReliabilityKit.h"

namespace {

using namespace Reliability;

// After 10,000 mixed requests through one utility object the process holds no more
// handles and hardly more private bytes than after the first 100, and every request keeps
// its answer.
TEST(LeakTest, TenThousandMixedRequestsKeepHandlesAndMemoryFlat) {
    ModuleUnderTest module(/*logLevel=*/0x100);
    TestSupport::ScratchRegistryKey key(L"ReliabilityLeak");
    TestSupport::ScratchFolder folder(L"ReliabilityLeak");
    const StorageLane lane = MakeLane(folder, key.Path(), L"leak");

    constexpr int kWarmUp = 100;
    TestSupport::Footprint warm;
    std::array<std::wstring, kRequestKinds> steady;  // the second round's answers
    int changedAnswers = 0;
    for (int index = 0; index < 10000; ++index) {
        if (index == kWarmUp) {
            warm = TestSupport::MeasureProcess();
        }
        const size_t kind = static_cast<size_t>(index) % kRequestKinds;
        const std::wstring answer =
            Ask(*module.Utility().Get(), static_cast<RequestKind>(kind), lane);
        const size_t round = static_cast<size_t>(index) / kRequestKinds;
        if (round == 1) {
            steady[kind] = answer;
        } else if (round > 1) {
            changedAnswers += answer != steady[kind] ? 1 : 0;
        }
    }
    const TestSupport::Footprint end = TestSupport::MeasureProcess();
    EXPECT_EQ(0, changedAnswers);
    ASSERT_GT(warm.Handles, 0u) << "the handle count could not be read";
    EXPECT_LE(end.Handles, warm.Handles + 2);
    EXPECT_LE(end.PrivateBytes, warm.PrivateBytes + 1024 * 1024);
}

}  // namespace
