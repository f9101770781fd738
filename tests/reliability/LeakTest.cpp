#include <gtest/gtest.h>

#include <array>
#include <string>

#include "ProcessFootprint.h"
#include "ReliabilityKit.h"

namespace {

using namespace Reliability;

// After 10,000 mixed requests through one utility object the process holds no more
// handles and hardly more private bytes than after the first 100.
TEST(LeakTest, TenThousandMixedRequestsKeepHandlesAndMemoryFlat) {
    ModuleUnderTest module(/*logLevel=*/0x100);
    ASSERT_TRUE(module.Utility().IsValid());
    TestSupport::ScratchRegistryKey key(L"ReliabilityLeak");
    TestSupport::ScratchFolder folder(L"ReliabilityLeak");
    const StorageLane lane = MakeLane(folder, key.Path(), L"leak");

    constexpr int kWarmUp = 100;
    constexpr int kRequests = 10000;
    TestSupport::Footprint warm;
    std::array<std::wstring, kRequestKinds> steady;  // the answers of the second round
    int changedAnswers = 0;
    for (int index = 0; index < kRequests; ++index) {
        if (index == kWarmUp) {
            warm = TestSupport::MeasureProcess();
        }
        const size_t kind = static_cast<size_t>(index) % kRequestKinds;
        const std::wstring answer = Ask(module.Utility(), static_cast<RequestKind>(kind), lane);
        if (index / kRequestKinds == 1) {
            steady[kind] = answer;
        } else if (index / kRequestKinds > 1) {
            changedAnswers += answer != steady[kind] ? 1 : 0;
        }
    }
    const TestSupport::Footprint end = TestSupport::MeasureProcess();
    EXPECT_EQ(0, changedAnswers) << "the same request keeps getting the same answer";
    ASSERT_GT(warm.Handles, 0u) << "the handle count could not be read";
    EXPECT_LE(end.Handles, warm.Handles + 2) << "handles after 100: " << warm.Handles;
    EXPECT_LE(end.PrivateBytes, warm.PrivateBytes + 1024 * 1024)
        << "private bytes after 100: " << warm.PrivateBytes
        << ", after 10,000: " << end.PrivateBytes;
    RecordProperty("handles_after_100", static_cast<int>(warm.Handles));
    RecordProperty("handles_after_10000", static_cast<int>(end.Handles));
    RecordProperty("private_kb_after_100", static_cast<int>(warm.PrivateBytes / 1024));
    RecordProperty("private_kb_after_10000", static_cast<int>(end.PrivateBytes / 1024));
}

}  // namespace
