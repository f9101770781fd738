#include <gtest/gtest.h>

#include <string>

#include "AllocationFault.h"
#include "ReliabilityKit.h"
#include "ServiceManager.h"

namespace {

using namespace Reliability;

// An allocation that fails anywhere in a request, the walk of a document included (an
// exception between the start and the stop of the object's one reader), leaves the
// reader stopped and the document closed: the same object answers its next request as
// before. The module's utility object is linked into this suite for this test, so that
// each of its allocations in turn can be made to fail through the suite's operator new.
TEST(FaultTest, AFailedAllocationAnywhereInARequestLeavesTheObjectAsItWas) {
    ModuleUnderTest module;  // the product key and the installed folder
    TestSupport::ScratchFolder folder(L"ReliabilityFaults");
    TestSupport::ScratchRegistryKey key(L"ReliabilityFaults");
    const StorageLane lane = MakeLane(folder, key.Path(), L"allocation");
    CServiceManager utility;
    for (const RequestKind kind : {RequestKind::Services, RequestKind::Providers,
                                   RequestKind::WebAccess, RequestKind::Storage}) {
        const std::wstring expected = Ask(utility, kind, lane);
        ASSERT_EQ(0u, expected.find(L"result=0;")) << static_cast<int>(kind);
        size_t failing = 0;  // allocations counted from 0
        for (bool fired = true; fired; ++failing) {
            {
                Request request(kind, lane);
                const TestSupport::AllocationFault fault(failing);
                (void)request.SendTo(utility);
                fired = fault.Fired();
            }
            ASSERT_EQ(expected, Ask(utility, kind, lane))
                << "request kind " << static_cast<int>(kind) << ", after allocation " << failing
                << " failed";
        }
        EXPECT_GT(failing, 20u) << "request kind " << static_cast<int>(kind);
    }
}

}  // namespace
