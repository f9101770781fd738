// xentool plan: the sample target profiles read as the systems they describe, and the
// report's "now -> after" of every rule of the commands on prepared keys and an INI file,
// the verdict of a skipped section, and what a profile leaves unread.

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "AuthoringDocument.h"
#include "Documents.h"
#include "Scratch.h"
#include "ToolRun.h"
#include "XmlParserStorageControl.h"
#include "xentool_plan.h"

namespace {

using AuthoringTest::CountLines;
using AuthoringTest::ProfilePath;
using Ostrel::Storage::TargetSystem;
using TestSupport::Control;
using TestSupport::Quoted;
using TestSupport::Store;

std::string Described(const TargetSystem& system) {
    const ZorvCommon::Platform::VersionRecord& v = system.Version;
    char text[128];
    std::snprintf(text, sizeof(text), "%u %u.%u.%u type %u sp%u %d-bit language %u product %ls",
                  v.PlatformId, v.Major, v.Minor, v.Build, v.ProductType, v.ServicePackMajor,
                  system.Is64bit ? 64 : 32, system.LanguageCode, system.ProductVersion.c_str());
    return text;
}

std::string Expected(const char* version, const wchar_t* language, const char* product) {
    uint32_t code = 0;
    EXPECT_TRUE(CXmlParserStorageControl::GetLanguageCode(language, code)) << language;
    return version + (" language " + std::to_string(code) + " product " + product);
}

// Each sample profile describes its system; one that cannot be read is refused, naming
// the key at fault.
TEST(Profile, IsReadAsTheSystemItDescribesOrRefused) {
    TestSupport::ScratchFolder folder(L"AuthoringProfile");
    const struct {
        const wchar_t* Profile;  // a sample (Text null), or one written from Text
        const char* Text;
        std::string Outcome;  // the system, or a part of the problem
    } cases[] = {
        {L"winxp-32.ini", nullptr, Expected("2 5.1.2600 type 1 sp3 32-bit", L"ja", "1.0.1120")},
        {L"vista-64.ini", nullptr, Expected("2 6.0.6002 type 1 sp2 64-bit", L"de", "1.5.0")},
        {L"win7-64.ini", nullptr, Expected("2 6.1.7601 type 1 sp1 64-bit", L"en_us", "")},
        {L"win10-64.ini", nullptr, Expected("2 10.0.19045 type 1 sp0 64-bit", L"en_gb", "2.1.0")},
        {L"bad.ini", "Major=6\r\nMinor=1\r\nBitness=16", "Bitness must be 32 or 64"},
        {L"bad.ini", "Major=6\r\nBitness=64", "Minor is missing"},
        {L"bad.ini", "Major=6\r\nMinor=1\r\nBitness=64\r\nLanguage=xx", "Language 'xx'"},
        {L"missing.ini", nullptr, "cannot be read"},
    };
    for (const auto& c : cases) {
        std::wstring path = ProfilePath(c.Profile);
        if (c.Text != nullptr) {
            path = folder.File(c.Profile);
            TestSupport::WriteFileBytes(path,
                                        TestSupport::Bytes(std::string("[System]\r\n") + c.Text));
        }
        TargetSystem system;
        std::wstring problem;
        const bool read = Xentool::LoadProfile(path, system, problem);
        const std::string outcome = read ? Described(system) : TestSupport::Narrow(problem);
        EXPECT_NE(std::string::npos, outcome.find(c.Outcome)) << c.Outcome << "\n" << outcome;
    }
    TestSupport::ProductKey product;
    product.RemoveValue(L"Version");
    TargetSystem live;
    Xentool::DescribeThisMachine(live);
    EXPECT_EQ(cases[2].Outcome, Described(live)) << "Wine reports Windows 7 SP1 64-bit, 0x409";
}

TEST(Plan, SaysWhatTheModuleWouldDoAndChangesNothing) {
    TestSupport::ScratchFolder folder(L"AuthoringPlan");
    TestSupport::ScratchRegistryKey scratch(L"authoring");
    const std::wstring existing = scratch.Child(L"Existing");
    const DWORD allOnes = 0xFFFFFFFF;
    const BYTE blob[] = {1, 2};
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing, L"Text", REG_SZ, L"old", 8);
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing, L"Wrong", REG_SZ, L"x", 4);
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing, L"Count", REG_DWORD, &allOnes, 4);
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing, L"Blob", REG_BINARY, blob, 2);
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing + L"\\Sub\\Deep", L"V", REG_SZ, L"", 2);
    const std::wstring ini = folder.File(L"settings.ini");
    TestSupport::WriteFileBytes(ini, TestSupport::Bytes("[S]\r\nA=1\r\n"));
    const std::string key = TestSupport::Narrow(existing);
    const std::string document = TestSupport::Storage(
        TestSupport::Registry(
            key, Control("create", "Text", "string", "new") + Store("Text", "string", "stored") +
                     Control("store", "NewOne", "string", "n") +
                     Control("create", "Wrong", "uint32", "5") +
                     Control("append", "Count", "uint32", "2") +
                     Control("append", "Blob", "binary", "0304") + Control("delete", "Gone")) +
            TestSupport::Registry(TestSupport::Narrow(scratch.Child(L"Fresh")),
                                  Control("create", "First", "string", "1") +
                                      Control("create", "Second", "string", "2")) +
            TestSupport::Registry(key + "\\Sub", Control("delete", "")) +
            TestSupport::Registry(TestSupport::Narrow(scratch.Child(L"Missing")),
                                  Control("delete", "X")) +
            TestSupport::Registry(
                key, Control("delete", ""),
                R"(platform="xp32" language="all" product="all" maxversion="9.0.0" assign="t")") +
            TestSupport::IniFile(TestSupport::Narrow(ini),
                                 Control("create", "B", "string", "x") + Store("A", "uint32", "7") +
                                     Control("append", "A", "uint32", "3") +
                                     Store("C", "binary", "0102")),
        " check=\"yes\"");
    const std::wstring plain = folder.File(L"plan.xml");
    TestSupport::WriteFileBytes(plain, TestSupport::Bytes(document));
    const TestSupport::RegistrySnapshot before =
        TestSupport::SnapshotRegistry(HKEY_CURRENT_USER, scratch.Path());
    const std::vector<uint8_t> iniBefore = TestSupport::ReadFileBytes(ini);

    const std::wstring profile = L" --profile " + Quoted(ProfilePath(L"win7-64.ini"));
    const struct {
        std::wstring Options;
        const char* Line;
        size_t Count;
    } expected[] = {
        {L"", "now \"old\" -> \"old\": unchanged: the key exists", 1},
        {L"", "now \"old\" -> \"stored\": written", 1},
        {L"", "NewOne = \"n\" (string)", 1},  // the store without overwrite became a create
        {L"", "-> (no value): unchanged: the key exists", 2},  // NewOne, and Second after First
        {L"", "now \"x\" -> \"x\": fails 0x8007000d: the stored value has another type", 1},
        {L"", "now 4294967295 -> 1: written", 1},
        {L"", "now hex 0102 -> hex 01020304: written", 1},
        {L"", "now (no value) -> (no value): nothing to remove", 1},
        {L"", "now (no key) -> \"1\": written (creates the key)", 1},
        {L"", "Second = \"2\"", 1},
        {L"", "now (key) -> (no key): removes the key and the keys below it", 1},
        {L"", "removes Software\\OstrelTests\\authoring\\Existing\\Sub\\Deep", 1},
        {L"", "now (no key) -> (no key): fails 0x8004020b: the key does not exist", 1},
        {L"", "now (no value) -> (no value): unchanged: an INI section always counts", 1},
        {L"", "now \"1\" -> \"7\": written", 1},
        {L"", "now \"7\" -> \"10\": written", 1},
        {L"", "fails 0x80040201: INI files hold no binary values", 1},
        {L"", "request result: 0x8004020b", 1},
        {L"", "assign=t]: skipped (platform)", 1},
        // With a profile nothing is read and the target starts empty: no key is assumed.
        {profile, "current values: not read", 1},
        {profile, "now (not read) -> \"new\": written (creates the key)", 1},
        {profile, "now (not read) -> (not read): fails 0x8004020b", 2},
        // --current reads this machine also with a profile.
        {L" --current" + profile, "now \"old\" -> \"old\": unchanged", 1},
    };
    std::map<std::wstring, TestSupport::ToolRun> runs;
    for (const auto& e : expected) {
        if (runs.count(e.Options) == 0) {
            runs[e.Options] = TestSupport::RunTool(
                L"xentool.exe", L"plan " + Quoted(plain) + L" --assign t" + e.Options);
            EXPECT_EQ(0u, runs[e.Options].ExitCode) << runs[e.Options].Output;
        }
        EXPECT_EQ(e.Count, CountLines(runs[e.Options].Output, e.Line)) << e.Line << "\n"
                                                                       << runs[e.Options].Output;
    }
    EXPECT_EQ(before, TestSupport::SnapshotRegistry(HKEY_CURRENT_USER, scratch.Path()))
        << "the plan only reads the registry";
    EXPECT_EQ(iniBefore, TestSupport::ReadFileBytes(ini)) << "and the INI file";
    EXPECT_TRUE(TestSupport::FileExists(plain)) << "and keeps its document";
}

}  // namespace
