#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "Scratch.h"
#include "ToolRun.h"
#include "ZorvComn_Platform.h"

namespace {

using namespace ZorvCommon::Platform;

// The classes a system is in, as "5 6 13" (the probe's form).
std::string ClassesOf(const VersionRecord& record, bool is64bit) {
    std::string classes;
    for (uint32_t versionClass = 0; versionClass <= kLastVersionClass + 2; ++versionClass) {
        if (IsVersionClassOf(record, is64bit, versionClass)) {
            classes += (classes.empty() ? "" : " ") + std::to_string(versionClass);
        }
    }
    return classes;
}

TEST(VersionClass, EveryClassOverKnownSystems) {
    const struct {
        VersionRecord Record;  // platform, major, minor, build, product type, service pack
        const char* Classes;
        const char* Classes64;  // null: the same as on 32-bit
    } cases[] = {
        {{PlatformWindows9x, 4, 90, 0, 0, 0}, "0 1", nullptr},  // ME
        {{PlatformWindows9x, 4, 10, 0, 0, 0}, "1", nullptr},    // 98
        {{PlatformNt, 4, 0, 0, ProductWorkstation, 0}, "13", nullptr},
        {{PlatformNt, 5, 0, 0, ProductWorkstation, 4}, "2 13 14", nullptr},
        {{PlatformNt, 5, 1, 0, ProductWorkstation, 0}, "4 6 13 14 15", nullptr},
        {{PlatformNt, 5, 1, 0, ProductWorkstation, 1}, "4 6 13 14 15 16", nullptr},
        {{PlatformNt, 5, 1, 0, ProductWorkstation, 3}, "4 6 13 14 15 16 17 18", nullptr},
        {{PlatformNt, 5, 2, 0, ProductWorkstation, 2}, "5 6 13 14 15 16 17 18", nullptr},
        {{PlatformNt, 5, 2, 0, ProductServer, 0}, "3 13 14 15 16 17 18", nullptr},
        {{PlatformNt, 5, 2, 0, ProductDomainController, 2}, "13 14 15 16 17 18", nullptr},
        {{PlatformNt, 6, 0, 0, ProductWorkstation, 0},
         "7 9 13 14 15 16 17 18 19",
         "8 9 13 14 15 16 17 18 19"},
        {{PlatformNt, 6, 0, 0, ProductWorkstation, 2},
         "7 9 13 14 15 16 17 18 19 20 21",
         "8 9 13 14 15 16 17 18 19 20 21"},
        {{PlatformNt, 6, 1, 0, ProductWorkstation, 1},
         "10 12 13 14 15 16 17 18 19 20 21 22",
         "11 12 13 14 15 16 17 18 19 20 21 22"},
        {{PlatformNt, 10, 0, 0, ProductWorkstation, 0}, "13 14 15 16 17 18 19 20 21", nullptr},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.Classes, ClassesOf(c.Record, false)) << "32-bit";
        EXPECT_EQ(c.Classes64 ? c.Classes64 : c.Classes, ClassesOf(c.Record, true)) << "64-bit";
    }
}

// The live queries, through the probe with the version Wine reports to that one program
// (its AppDefaults key is removed afterwards), and in this process.
TEST(VersionClass, LiveQueriesFollowTheReportedVersion) {
    const std::wstring appDefaults = L"Software\\Wine\\AppDefaults\\platform_probe.exe";
    TestSupport::ScratchFolder folder(L"PlatformProbe");
    const std::wstring output = folder.File(L"probe.txt");
    for (const auto& [version, expected] :
         {std::pair{L"winxp64", "2 5.2 1 sp2 64-bit: 5 6 13 14 15 16 17 18"},
          std::pair{L"win10", "2 6.2 1 sp0 64-bit: 11 12 13 14 15 16 17 18 19 20 21 22"}}) {
        TestSupport::WriteRegString(HKEY_CURRENT_USER, appDefaults, L"Version", version);
        TestSupport::RunProgram(TestSupport::ExecutableFolder() + L"platform_probe.exe",
                                TestSupport::Quoted(output));
        RegDeleteTreeW(HKEY_CURRENT_USER, appDefaults.c_str());
        const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(output);
        EXPECT_EQ(expected, std::string(bytes.begin(), bytes.end()));
    }

    VersionRecord live;
    bool is64bit = false;
    ASSERT_TRUE(GetVersionRecord(live) && IsWindows64bit(is64bit));
    EXPECT_TRUE(is64bit);
    EXPECT_EQ(0u, GetVersionError());
    for (uint32_t versionClass = 0; versionClass <= kLastVersionClass + 1; ++versionClass) {
        EXPECT_EQ(IsVersionClassOf(live, is64bit, versionClass), IsVersionClass(versionClass))
            << versionClass;
    }
    uint32_t sessionId = 0;
    ASSERT_TRUE(GetSessionId(sessionId));
    EXPECT_EQ(1u, sessionId) << "Wine runs programs in session 1";
    bool isMember = false;
    ASSERT_TRUE(IsTokenMemberOf(WinWorldSid, isMember));
    EXPECT_TRUE(isMember) << "every token holds Everyone";
}

}  // namespace
