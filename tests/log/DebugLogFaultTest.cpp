// The log never throws: each allocation of a log call, and of the log's set-up, is made to
// fail in turn, and the call must answer without an exception. The formatter under it
// throws only its own exception.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "AllocationFault.h"
#include "LogCapture.h"
#include "Scratch.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Storage.h"
#include "ZorvComn_String.h"

namespace {

using TestSupport::AllocationFault;
using ZorvCommon::g_DebugLog;

// Runs call with the countdown-th allocation failing, for every countdown until a run
// reaches none; the number of runs in which an allocation failed.
template <typename Call>
size_t WithEachAllocationFailing(Call call) {
    for (size_t countdown = 0;; ++countdown) {
        AllocationFault fault(countdown);
        call(countdown);
        if (!fault.Fired()) {
            return countdown;
        }
    }
}

TEST(DebugLogFaults, FormatThrowsOnlyItsOwnExceptionWhenMemoryRunsOut) {
    const std::wstring text(5000, L'f');
    const std::wstring expected = L"[" + text + L"] 7";
    const size_t faults = WithEachAllocationFailing([&](size_t countdown) {
        std::wstring out;
        try {
            if (ZorvCommon::String::Format(out, L"[%s] %d", text.c_str(), 7)) {
                EXPECT_TRUE(out == expected) << countdown;
            }
        } catch (ZorvCommon::String::Exception* pException) {
            EXPECT_EQ(6u, pException->m_Error) << countdown;
            delete pException;
        } catch (...) {
            ADD_FAILURE() << "another exception at allocation " << countdown;
        }
    });
    EXPECT_GE(faults, 2u) << "the buffer and the text";
}

// Setting the log up reads the settings through the registry classes; a line formats and
// hands its text over: neither throws, and a line keeps the caller's last error.
TEST(DebugLogFaults, SettingUpAndWritingNeverThrowAndKeepTheLastError) {
    TestSupport::LogCapture capture(0x111);
    const ZorvCommon::Storage::Key key(ZorvCommon::Storage::StorageTypeRegistry, HKEY_LOCAL_MACHINE,
                                       TestSupport::ProductKey::kDebugLogPath);
    const std::wstring folder = TestSupport::BinFolder();
    const std::wstring text(5000, L't');
    const size_t faults = WithEachAllocationFailing([&](size_t countdown) {
        g_DebugLog.Uninitialize();
        try {
            (void)g_DebugLog.Initialize(L"Ostrel", key, folder);
            SetLastError(0xdeadbeef);
            (void)g_DebugLog.Trace(__FILE__, __LINE__, 16, L"*** fault %lu [%s]",
                                   static_cast<unsigned long>(countdown), text.c_str());
        } catch (...) {
            ADD_FAILURE() << "the log threw at allocation " << countdown;
        }
        EXPECT_EQ(0xdeadbeefu, GetLastError()) << countdown;
    });
    EXPECT_GE(faults, 14u);
    EXPECT_TRUE(capture.Contains(L"*** fault " + std::to_wstring(faults) + L" [" + text + L"]"))
        << "the run without a fault wrote its line";
}

}  // namespace
