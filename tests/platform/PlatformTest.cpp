#include <gtest/gtest.h>

#include <windows.h>

#include <set>
#include <vector>
#include <string>

#include "Scratch.h"
#include "ZorvComn_Handle.h"
#include "ZorvComn_Platform.h"

namespace {

using namespace ZorvCommon::Platform;
using Classes = std::set<uint32_t>;

VersionRecord Nt(uint32_t major, uint32_t minor, uint8_t productType = ProductWorkstation,
                 uint16_t servicePack = 0) {
    VersionRecord record;
    record.PlatformId = PlatformNt;
    record.Major = major;
    record.Minor = minor;
    record.ProductType = productType;
    record.ServicePackMajor = servicePack;
    return record;
}

Classes ClassesOf(const VersionRecord& record, bool is64bit) {
    Classes classes;
    for (uint32_t versionClass = 0; versionClass <= kLastVersionClass + 2; ++versionClass) {
        if (IsVersionClassOf(record, is64bit, versionClass)) {
            classes.insert(versionClass);
        }
    }
    return classes;
}

Classes Union(Classes classes, const Classes& more) {
    classes.insert(more.begin(), more.end());
    return classes;
}

struct Case {
    const char* name;
    VersionRecord record;
    Classes both;  // in these classes whatever the bitness
    Classes only32;
    Classes only64;
};

TEST(VersionClass, EveryClassOverKnownSystems) {
    VersionRecord me;
    me.PlatformId = PlatformWindows9x;
    me.Major = 4;
    me.Minor = 90;
    VersionRecord ninetyEight = me;
    ninetyEight.Minor = 10;

    const Case cases[] = {
        {"ME", me, {0, 1}, {}, {}},
        {"98", ninetyEight, {1}, {}, {}},
        {"NT 4", Nt(4, 0), {13}, {}, {}},
        {"2000", Nt(5, 0, ProductWorkstation, 4), {2, 13, 14}, {}, {}},
        {"XP", Nt(5, 1), {4, 6, 13, 14, 15}, {}, {}},
        {"XP SP1", Nt(5, 1, ProductWorkstation, 1), {4, 6, 13, 14, 15, 16}, {}, {}},
        {"XP SP3", Nt(5, 1, ProductWorkstation, 3), {4, 6, 13, 14, 15, 16, 17, 18}, {}, {}},
        {"XP x64", Nt(5, 2, ProductWorkstation, 2), {5, 6, 13, 14, 15, 16, 17, 18}, {}, {}},
        {"2003 server", Nt(5, 2, ProductServer), {3, 13, 14, 15, 16, 17, 18}, {}, {}},
        {"2003 domain controller",
         Nt(5, 2, ProductDomainController, 2),
         {13, 14, 15, 16, 17, 18},
         {},
         {}},
        {"Vista", Nt(6, 0), {9, 13, 14, 15, 16, 17, 18, 19}, {7}, {8}},
        {"Vista SP1",
         Nt(6, 0, ProductWorkstation, 1),
         {9, 13, 14, 15, 16, 17, 18, 19, 20},
         {7},
         {8}},
        {"Vista SP2",
         Nt(6, 0, ProductWorkstation, 2),
         {9, 13, 14, 15, 16, 17, 18, 19, 20, 21},
         {7},
         {8}},
        {"7 SP1",
         Nt(6, 1, ProductWorkstation, 1),
         {12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22},
         {10},
         {11}},
        {"8.1", Nt(6, 3), {12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22}, {10}, {11}},
        {"10", Nt(10, 0), {13, 14, 15, 16, 17, 18, 19, 20, 21}, {}, {}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Union(c.both, c.only32), ClassesOf(c.record, false)) << c.name << " 32-bit";
        EXPECT_EQ(Union(c.both, c.only64), ClassesOf(c.record, true)) << c.name << " 64-bit";
    }
}

TEST(VersionClass, LiveQueriesUnderWine) {
    VersionRecord live;
    ASSERT_TRUE(GetVersionRecord(live));
    EXPECT_EQ(0u, GetVersionError());
    bool is64bit = false;
    ASSERT_TRUE(IsWindows64bit(is64bit));
    EXPECT_TRUE(is64bit);
    for (uint32_t versionClass = 0; versionClass <= kLastVersionClass; ++versionClass) {
        EXPECT_EQ(IsVersionClassOf(live, is64bit, versionClass), IsVersionClass(versionClass))
            << versionClass;
    }
    EXPECT_FALSE(IsVersionClass(kLastVersionClass + 1));

    uint32_t sessionId = 0;
    ASSERT_TRUE(GetSessionId(sessionId));
    EXPECT_EQ(1u, sessionId) << "Wine runs programs in session 1";

    bool isMember = true;
    ASSERT_TRUE(IsTokenMemberOf(WinWorldSid, isMember));
    EXPECT_TRUE(isMember) << "every token holds Everyone";
}

// Runs the probe with the version Wine reports to that one program and returns what
// it wrote; the AppDefaults key is removed afterwards.
std::string ProbeAs(const wchar_t* wineVersion) {
    const std::wstring appDefaults = L"Software\\Wine\\AppDefaults\\platform_probe.exe";
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, appDefaults, L"Version", REG_SZ, wineVersion,
                               static_cast<DWORD>((wcslen(wineVersion) + 1) * sizeof(wchar_t)));
    struct Cleanup {
        std::wstring path;
        ~Cleanup() { RegDeleteTreeW(HKEY_CURRENT_USER, path.c_str()); }
    } cleanup{appDefaults};

    TestSupport::ScratchFolder folder(L"PlatformProbe");
    const std::wstring output = folder.File(L"probe.txt");
    std::wstring command =
        L"\"" + TestSupport::ExecutableFolder() + L"platform_probe.exe\" \"" + output + L"\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return "CreateProcessW failed";
    }
    ZorvCommon::UniqueProcess processHandle(process.hProcess);
    ZorvCommon::UniqueThread threadHandle(process.hThread);
    WaitForSingleObject(processHandle.get(), 30000);
    const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(output);
    return std::string(bytes.begin(), bytes.end());
}

TEST(VersionClass, LiveClassificationFollowsTheReportedVersion) {
    EXPECT_EQ("2 5.2 1 sp2 64-bit: 5 6 13 14 15 16 17 18", ProbeAs(L"winxp64"));
    EXPECT_EQ("2 6.2 1 sp0 64-bit: 11 12 13 14 15 16 17 18 19 20 21 22", ProbeAs(L"win10"));
    EXPECT_FALSE(TestSupport::RegKeyExists(HKEY_CURRENT_USER,
                                           L"Software\\Wine\\AppDefaults\\platform_probe.exe"));
}

}  // namespace
