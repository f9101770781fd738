#include <gtest/gtest.h>

#include <windows.h>

#include <string>

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

// The live queries agree with themselves (on Windows and under Wine alike).
TEST(VersionClass, LiveQueries) {
    VersionRecord live;
    bool is64bit = false;
    ASSERT_TRUE(GetVersionRecord(live) && IsWindows64bit(is64bit));
    EXPECT_EQ(0u, GetVersionError());
    EXPECT_TRUE(is64bit) << "a 64-bit process runs only on 64-bit Windows";
    EXPECT_NE("", ClassesOf(live, is64bit));
    for (uint32_t versionClass = 0; versionClass <= kLastVersionClass + 1; ++versionClass) {
        EXPECT_EQ(IsVersionClassOf(live, is64bit, versionClass), IsVersionClass(versionClass))
            << versionClass;
    }
}

}  // namespace
