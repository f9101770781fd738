// The authoring tools and documents: xentool lint and plan, the plan's dry run against the
// module's own run, and the schemas and the README against the readers' vocabulary.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "DocumentVocabulary.h"
#include "Documents.h"
#include "Scratch.h"
#include "StorageDryRun.h"
#include "ToolRun.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_XmlParser.h"
#include "xentool_lint.h"
#include "xentool_plan.h"

namespace {

namespace V = Ostrel::Vocabulary;
using Ostrel::Storage::CommandChain;
using Ostrel::Storage::DryRun;
using Ostrel::Storage::Place;
using Ostrel::Storage::TargetSystem;
using TestSupport::Control;
using TestSupport::Quoted;
using TestSupport::Store;

// A sample profile of examples\profiles, copied next to the test executable by the build.
std::wstring ProfilePath(const std::wstring& name) {
    return TestSupport::ExecutableFolder() + L"profiles\\" + name;
}

// How many lines of text contain fragment.
size_t CountLines(const std::string& text, const std::string& fragment) {
    size_t count = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        count += text.substr(start, end - start).find(fragment) != std::string::npos;
        start = end + 1;
    }
    return count;
}

// A finding expected at the first occurrence of Marker (null: anywhere).
struct Expected {
    const char* Marker;
    const char* Severity;
    const char* Text;
};

// "LINE:COLUMN" (both from 1) of the first occurrence of marker.
std::string Where(const std::string& document, const std::string& marker) {
    const size_t at = document.find(marker);
    EXPECT_NE(std::string::npos, at) << marker;
    const size_t lineStart = document.rfind('\n', at);
    const size_t column = lineStart == std::string::npos ? at + 1 : at - lineStart;
    const size_t line = 1 + std::count(document.begin(), document.begin() + at, '\n');
    return std::to_string(line) + ":" + std::to_string(column);
}

// Lints document, written as name (encrypted when a key is given), and checks the exit
// code, that every expected finding is reported once where its marker stands and nothing
// else is, and that the file is unchanged.
void ExpectFindings(const TestSupport::ScratchFolder& folder, const wchar_t* name,
                    const std::string& document, DWORD exitCode,
                    const std::vector<Expected>& expected, const char* key = nullptr) {
    const std::wstring path = folder.File(name);
    const std::vector<uint8_t> bytes =
        key ? TestSupport::Encrypted(key, TestSupport::Bytes(document))
            : TestSupport::Bytes(document);
    TestSupport::WriteFileBytes(path, bytes);
    const TestSupport::ToolRun run = TestSupport::RunTool(L"xentool.exe", L"lint " + Quoted(path));
    EXPECT_EQ(exitCode, run.ExitCode) << document << "\n" << run.Output;
    for (const Expected& finding : expected) {
        const std::string where = finding.Marker ? ":" + Where(document, finding.Marker) : "";
        const std::string line = where + ": " + finding.Severity + ": " + finding.Text;
        EXPECT_EQ(1u, CountLines(run.Output, line)) << line << "\n" << run.Output;
    }
    EXPECT_EQ(expected.size(),
              CountLines(run.Output, ": error: ") + CountLines(run.Output, ": warning: "))
        << "nothing else is reported:\n"
        << run.Output;
    EXPECT_EQ(bytes, TestSupport::ReadFileBytes(path));
}

const char kStorage[] = R"(<?xml version="1.0"?>
<storage version="1" check="yes">
  <Registry platform="xp33" language="all" product="all" minversion="2.0.0" maxversion="1.0.0" assign="a">
    <Root>HKXX</Root>
    <Path>Software\Wow6432Node\Vendor</Path>
    <accessmode>default</accessmode>
    <AccessRight>default</AccessRight>
    <Bogus/>
    <Control platform="all" language="all" product="all" minversion="1" maxversion="1.x.0" assign="a">
      <Action>store</Action><Name>N</Name><Type>uint32</Type><Value>4294967296</Value>
    </Control>
    <Control platform="all" language="all" product="all" maxversion="1.9.0" assign="a">
      <Action>create</Action><Name>B</Name><Type>binary</Type><Value>ABC</Value>
    </Control>
    <Control platform="all" language="all" product="all" maxversion="1.9.0" assign="a">
      <Action>append</Action><Name>C</Name><Type>binary</Type><Value>ZZ12</Value>
    </Control>
  </Registry>
  <IniFile platform="all" language="all" product="all" maxversion="1.9.0">
    <Path>$INSTAL$x.ini</Path>
    <Section>S</Section>
    <Control platform="all" language="all" product="all" maxversion="1.9.0" assign="a">
      <Action>query</Action><Type>string</Type>
    </Control>
  </IniFile>
  <IniFile platform="all" language="all" product="all" assign="a">
    <Path></Path><Section>S</Section>
    <Control platform="all" language="all" product="all" maxversion="1.9.0" assign="a">
      <Action>create</Action><Name>K</Name><Type>string</Type><Value>v</Value>
    </Control>
  </IniFile>
  <Control assign="a"><Action>delete</Action></Control>
</storage>
)";

// The readers take element names, the root's included, in any letter case; the schemas
// cannot, so each such name is a warning.
TEST(Lint, FindsEachProblemOfAStorageDocumentWhereItStands) {
    TestSupport::ScratchFolder folder(L"AuthoringLint");
    ExpectFindings(
        folder, L"storage.xml", kStorage, 1,
        {{"storage version", "warning",
          "<storage> is read as <Storage>, but the schemas accept only that spelling"},
         {"accessmode>", "warning", "<accessmode> is read as <AccessMode>"},
         {"platform=\"xp33\"", "error", "\"xp33\" is not a valid \"platform\""},
         {"minversion=\"2.0.0\"", "error", "minversion is above maxversion"},
         {"HKXX", "error", "\"HKXX\" is not a valid <Root> (HKCR, HKCU, HKLM or HKU)"},
         {"Software\\Wow6432Node", "warning", "the path names Wow6432Node"},
         {"Bogus", "error", "<Bogus> is not an element of <Registry>"},
         {"minversion=\"1\"", "warning", "\"1\" reads as 0.0.0.0"},
         {"maxversion=\"1.x.0\"", "error", "\"1.x.0\" is not a version the reader takes"},
         {"store</Action>", "warning",
          "a store without <Overwrite>yes</Overwrite> acts as a create"},
         {"4294967296", "error", "\"4294967296\" is out of range for uint32"},
         {"create</Action><Name>B", "warning", "this create is never written"},
         {"ABC", "warning", "\"ABC\" has an odd number of digits"},
         {"ZZ12", "error", "\"ZZ12\" holds characters that are not hex digits"},
         {"IniFile platform=\"all\" language=\"all\" product=\"all\" maxversion", "error",
          "<IniFile> has no \"assign\" attribute"},
         {"$INSTAL$", "error", "\"$INSTAL$\" is not a path macro"},
         {"Control platform=\"all\" language=\"all\" product=\"all\" maxversion=\"1.9.0\" "
          "assign=\"a\">\n      <Action>query",
          "error", "this action needs a <Name>"},
         {"IniFile platform=\"all\" language=\"all\" product=\"all\" assign", "error",
          "<IniFile> has no \"maxversion\": with check=\"yes\""},
         {"Path></Path>", "error", "the INI file path is empty"},
         {"create</Action><Name>K", "warning", "a create in an INI file never writes"},
         {"Control assign=\"a\"><Action>delete", "error",
          "<Control> does not belong in <storage>"}});
}

// A policy document is read with its kind's key; a document that ends before its root
// element closes is reported, and only that; what no key decrypts fails the run.
TEST(Lint, ReadsEncryptedPolicyDocumentsAndReportsCutAndUnreadableOnes) {
    TestSupport::ScratchFolder folder(L"AuthoringLintFiles");
    const std::string services = R"(<BaseFramework>
  <FrameworkService version="1.0.0"><ServiceGuid>not-a-guid</ServiceGuid><Module>eDLL</Module></FrameworkService>
  <FrameworkProvider version="1.0.0"/>
</BaseFramework>
)";
    ExpectFindings(
        folder, L"services.xen", services, 1,
        {{"not-a-guid", "error", "\"not-a-guid\" is not a valid <ServiceGuid>"},
         {"eDLL", "error",
          "\"eDLL\" is not a valid <Module> (eExectable, eDynamicLinkLibrary or eInlineCode)"},
         {"FrameworkProvider version", "error", "<FrameworkProvider> in a service document"}},
        TestSupport::kServiceKey);
    ExpectFindings(
        folder, L"cut.xml", "<Storage version=\"1\">\n<Registry assign=\"a\"><Root>HKCU</Root>", 1,
        {{nullptr, "error", "not well-formed XML (XmlLite 0xc00cee01): the document ends early"}});
    TestSupport::WriteFileBytes(folder.File(L"noise.xen"), std::vector<uint8_t>(32, 0x5A));
    EXPECT_EQ(
        2u,
        TestSupport::RunTool(L"xentool.exe", L"lint " + Quoted(folder.File(L"noise.xen"))).ExitCode)
        << "no key decrypts it";
}

// xentool plan: the report's "now -> after" of every rule on prepared keys and an INI file,
// the verdict of a skipped section, and what a profile leaves unread.
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

// The plan's dry run against the module's own run, value for value: every example and
// every corpus document that the reader turns into commands, on scratch keys and INI
// files, first from nothing and then over what the first run left; on this machine and,
// with each sample profile, the module given the same system.

void ReplaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
}

// The document's keys moved below the scratch key of the current user (a UTF-16
// document is moved in its own encoding).
std::string ForScratch(std::string text, const std::wstring& scratch) {
    const bool wide = text.compare(0, 2, "\xFF\xFE") == 0;
    std::wstring wideText;
    if (wide) {
        wideText.assign(reinterpret_cast<const wchar_t*>(text.data()), text.size() / 2);
        text.assign(wideText.begin(), wideText.end());
    }
    const std::string base = TestSupport::Narrow(scratch);
    ReplaceAll(text, "Software\\OstrelFuzz", base + "\\Fuzz");
    ReplaceAll(text, "Software\\OstrelDemo", base + "\\Demo");
    ReplaceAll(text, "<Path></Path>", "<Path>" + base + "\\Empty</Path>");
    for (const char* root : {"HKLM", "HKCR", "HKU"}) {
        ReplaceAll(text, std::string("<Root>") + root + "</Root>", "<Root>HKCU</Root>");
    }
    if (wide) {
        wideText.assign(text.begin(), text.end());
        wideText[0] = 0xFEFF;
        text.assign(reinterpret_cast<const char*>(wideText.data()), wideText.size() * 2);
    }
    return text;
}

// Every action with every type, by the type's name and by one name for all, in a key,
// in an INI section and in a key below; the section acts of create and delete, and the
// deletes that follow a section delete: the rules the corpus leaves out.
std::string EveryRule() {
    const std::string demo = "assign=\"demo\"";
    static const char* const kValues[][2] = {
        {"string", "text"}, {"binary", "0A0B"}, {"uint32", "4294967295"}, {"uint64", "0x10"}};
    std::string controls;
    for (const char* action : {"create", "query", "store", "append", "append", "delete", "store"}) {
        for (const auto& value : kValues) {
            for (const std::string name : {value[0], "Shared"}) {
                controls += Control(action, name, value[0], value[1], "yes", demo);
            }
        }
    }
    const std::string create = Control("create", "", "", "", "", demo);
    const std::string remove = Control("delete", "", "", "", "", demo);
    const std::string rules = "Software\\OstrelFuzz\\Rules";
    return TestSupport::Storage(
        TestSupport::Registry(rules, controls, demo) +
        TestSupport::Registry(rules + "\\Sub\\Deep", create, demo) +
        TestSupport::Registry(rules + "\\Sub", remove + Control("delete", "X", "", "", "", demo),
                              demo) +
        TestSupport::IniFile("$INSTALL$rules.ini", controls + create, demo, "Rules") +
        TestSupport::IniFile("$INSTALL$rules.ini", controls + remove, demo, "Gone"));
}

void ReadChain(const std::wstring& path, const TargetSystem* pSystem, CommandChain& chain) {
    ZorvCommon::Storage::XmlParser xmlParser;
    CXmlParserStorageControl reader(xmlParser);
    reader.SetKeepDocument(true);
    reader.SetTargetSystem(pSystem);
    (void)reader.QueryValue(&chain, path, L"demo");
}

// The result of every operation of a real run, in order.
class ResultRecorder : public Ostrel::Storage::IRunObserver {
public:
    void OnVisit(const Ostrel::Storage::ICommand&, const Ostrel::Storage::ISection&) override {}
    void OnOperation(const Ostrel::Storage::IEntry*) override {}
    void OnOperationEnd(HRESULT hr) override { Results.push_back(hr); }
    void OnVisitEnd(HRESULT) override {}

    std::vector<HRESULT> Results;
};

// A place and a name in it (empty: the key or section itself).
using Touched = std::vector<std::pair<Place, std::wstring>>;

// What a dry run's picture holds at each touched place, labelled.
std::vector<std::wstring> Describe(const DryRun& dryRun, const Touched& touched) {
    std::vector<std::wstring> values;
    for (const auto& [where, name] : touched) {
        values.push_back(where.Path + L" [" + where.Section + L"] " + name + L": " +
                         dryRun.Describe(where, name));
    }
    return values;
}

class PlanAgainstModule : public ::testing::Test {
protected:
    void SetUp() override {
        m_Product.SetInstalledFolder(m_Folder.Path());
        m_Product.SetVersion(L"1.5.0");
        for (const wchar_t* folder : {L"\\examples", L"\\tests\\fuzz\\corpus"}) {
            const std::wstring path = OSTREL_SOURCE_DIR + std::wstring(folder) + L"\\";
            for (const std::wstring& name : TestSupport::FilesIn(path, L"*.xml")) {
                const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(path + name);
                m_Documents.emplace_back(name, std::string(bytes.begin(), bytes.end()));
            }
        }
        m_Documents.emplace_back(L"every rule", EveryRule());
    }

    // Plans the document, checks that the plan stays in the scratch key, runs it for real
    // and compares the request result, every operation's result and every value an
    // operation touched. False when the reader made no commands.
    bool PlanAndRun(const std::wstring& path, const TargetSystem* pSystem,
                    const std::wstring& scratch, const std::wstring& label) {
        CommandChain planned;
        ReadChain(path, pSystem, planned);
        DryRun dryRun(true);
        const int32_t plannedResult = dryRun.Run(planned);
        std::vector<HRESULT> plannedResults;
        Touched touched;
        for (const Ostrel::Storage::PlannedOperation& operation : dryRun.Operations()) {
            if (operation.Reached) {
                plannedResults.push_back(operation.Result);
            }
            if (!operation.Placed) {
                continue;
            }
            const bool inScratch =
                operation.Where.IsIniFile || (operation.Where.Root == HKEY_CURRENT_USER &&
                                              operation.Where.Path.rfind(scratch, 0) == 0);
            EXPECT_TRUE(inScratch) << label << ": " << operation.Where.Path;
            if (!inScratch) {
                return true;  // never run for real
            }
            touched.emplace_back(operation.Where, operation.Name);
            for (const std::wstring& removed : operation.Removed) {
                touched.emplace_back(operation.Where, std::wstring());
                touched.back().first.Path = removed;
            }
        }
        const std::vector<std::wstring> predicted = Describe(dryRun, touched);
        CommandChain real;
        ReadChain(path, pSystem, real);
        ResultRecorder recorder;
        EXPECT_EQ(plannedResult, real.Invoke(Ostrel::Storage::RealStores(), &recorder)) << label;
        EXPECT_EQ(plannedResults, recorder.Results) << label << ": the operations' own results";
        EXPECT_EQ(predicted, Describe(DryRun(true), touched)) << label;
        m_Compared += touched.size();
        return planned.GetCount() != 0;
    }

    // Each document the reader turns into commands, twice over; the number of documents.
    size_t PlanAndRunAll(const TargetSystem* pSystem, const std::wstring& system) {
        size_t planned = 0;
        for (const auto& [name, text] : m_Documents) {
            TestSupport::ScratchRegistryKey scratch(L"authoring-plan");
            const std::wstring path = m_Folder.File(L"document.xen");
            TestSupport::WriteDocument(path, TestSupport::kStorageKey,
                                       ForScratch(text, scratch.Path()));
            const std::wstring label = name + L" (" + system + L")";
            if (PlanAndRun(path, pSystem, scratch.Path(), label + L", from nothing")) {
                ++planned;
                PlanAndRun(path, pSystem, scratch.Path(), label + L", over the first run");
            }
            DeleteFileW(path.c_str());
        }
        return planned;
    }

    TestSupport::ProductKey m_Product;
    TestSupport::ScratchFolder m_Folder{L"AuthoringPlan"};
    std::vector<std::pair<std::wstring, std::string>> m_Documents;
    size_t m_Compared = 0;
};

// The platform, version, build, product type, service pack, bitness, language and product
// version of a target system.
std::string Described(const TargetSystem& system) {
    const ZorvCommon::Platform::VersionRecord& v = system.Version;
    char text[128];
    std::snprintf(text, sizeof(text), "%u %u.%u.%u type %u sp%u %d-bit language %#x product %ls",
                  v.PlatformId, v.Major, v.Minor, v.Build, v.ProductType, v.ServicePackMajor,
                  system.Is64bit ? 64 : 32, system.LanguageCode, system.ProductVersion.c_str());
    return text;
}

// Each sample profile is read as the system it describes, and the module given that system
// does what the plan says.
TEST_F(PlanAgainstModule, EveryDocumentOnThisMachineAndForEachSampleProfile) {
    EXPECT_EQ(7u, PlanAndRunAll(nullptr, L"this machine"))
        << "the storage example, five corpus documents and every rule";
    EXPECT_LT(300u, m_Compared);
    const struct {
        const wchar_t* File;
        const char* System;
    } profiles[] = {
        {L"winxp-32.ini", "2 5.1.2600 type 1 sp3 32-bit language 0x4 product 1.0.1120"},
        {L"vista-64.ini", "2 6.0.6002 type 1 sp2 64-bit language 0x20 product 1.5.0"},
        {L"win7-64.ini", "2 6.1.7601 type 1 sp1 64-bit language 0x1 product "},
        {L"win10-64.ini", "2 10.0.19045 type 1 sp0 64-bit language 0x10000 product 2.1.0"},
    };
    for (const auto& profile : profiles) {
        TargetSystem system;
        std::wstring problem;
        ASSERT_TRUE(Xentool::LoadProfile(ProfilePath(profile.File), system, problem)) << problem;
        EXPECT_EQ(profile.System, Described(system));
        EXPECT_LT(0u, PlanAndRunAll(&system, profile.File));
    }
}

// The schemas and the README against the readers' vocabulary: for each document kind, the
// words its schema enumerates and the elements it declares (lint's grammar holds them),
// and the words of its rows of the README's vocabulary table, are exactly the readers'
// words; the README gives each document key.

using Words = std::set<std::string>;

std::string Narrow(std::wstring_view text) {
    return std::string(text.begin(), text.end());
}

// The texts of the tables (lists, or the elements of lint's grammar).
template <typename... Tables>
Words Of(const Tables&... tables) {
    Words words;
    const auto add = [&words](const auto& table) {
        for (const auto& row : table) {
            if constexpr (std::is_same_v<decltype(row), const Xentool::GrammarRow&>) {
                if (row.Occurrence != Xentool::Occurs::OptionalAttribute &&
                    row.Occurrence != Xentool::Occurs::RequiredAttribute) {
                    words.insert(Narrow(row.Name));
                }
            } else if constexpr (std::is_convertible_v<decltype(row), std::wstring_view>) {
                words.insert(Narrow(row));
            } else {
                words.insert(Narrow(row.Text));
            }
        }
    };
    (add(tables), ...);
    return words;
}

std::string ReadSource(const std::string& relative) {
    const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(
        std::wstring(OSTREL_SOURCE_DIR) + L"\\" + std::wstring(relative.begin(), relative.end()));
    return std::string(bytes.begin(), bytes.end());
}

// Every text that follows open, up to the next close (or the end), in order.
std::vector<std::string> Between(const std::string& text, const std::string& open, char close) {
    std::vector<std::string> texts;
    for (size_t at = text.find(open); at != std::string::npos; at = text.find(open, at)) {
        at += open.size();
        const size_t end = std::min(text.find(close, at), text.size());
        texts.push_back(text.substr(at, end - at));
        at = end;
    }
    return texts;
}

// The elements a schema declares and the words it enumerates, also as the alternatives of
// a pattern that lists words ("[Aa][Ll][Ll]", "all" in any case, read as "all").
Words SchemaWords(const std::string& schema) {
    Words words;
    for (const char* open : {"<xs:element name=\"", "<xs:enumeration value=\""}) {
        for (const std::string& word : Between(schema, open, '"')) {
            words.insert(word);
        }
    }
    for (const std::string& pattern : Between(schema, "<xs:pattern value=\"", '"')) {
        if (pattern == "[Aa][Ll][Ll]") {
            words.insert("all");
        } else if (pattern.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_|") ==
                   std::string::npos) {
            for (const std::string& word : Between("|" + pattern, "|", '|')) {
                words.insert(word);
            }
        }
    }
    return words;
}

// The words in backticks of the README's vocabulary rows for document.
Words ReadmeWords(const std::string& readme, const std::string& document) {
    Words words;
    for (const std::string& row : Between(readme, "\n| " + document + " | ", '\n')) {
        const std::vector<std::string> texts = Between(row.substr(row.find(" | ")), "`", '`');
        for (size_t text = 0; text < texts.size(); text += 2) {  // the odd ones stand between
            words.insert(texts[text]);
        }
    }
    return words;
}

TEST(Vocabulary, TheSchemasAndTheReadmeHoldTheReadersWords) {
    const std::wstring_view storageWords[] = {V::kAllWord, V::kEnglishUs.Text};
    const struct {
        const char* Readme;  // the document column of the README's table
        const char* Schema;
        Words Expected;
        Words ReadmeOnly;
    } kinds[] = {
        {"storage", "storage-control.xsd",
         Of(Xentool::StorageGrammar(), storageWords, V::kPlatforms, V::kLanguages,
            V::kRegistryRoots, V::kAccessModes, V::kAccessRights, V::kActions, V::kValueTypes,
            V::kBooleans),
         Of(V::kPathMacros)},
        {"service, provider",
         "policy.xsd",
         Of(Xentool::PolicyGrammar(), V::kModuleTypes, V::kStartupTypes, V::kLoadOptions,
            V::kUnloadOptions, V::kInterfaceTypes, V::kDataConversions, V::kSharedTypes,
            V::kPermissionIndexes, V::kPermissionTypes),
         {}},
        {"web access",
         "webaccess.xsd",
         Of(Xentool::WebAccessGrammar(), V::kWebPlatforms, V::kWebBitness, V::kNativeBitness,
            V::kFilterTypes, V::kBooleans),
         {}},
    };
    const std::string readme = ReadSource("README.md");
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.Schema);
        EXPECT_EQ(kind.Expected, SchemaWords(ReadSource(std::string("schemas\\") + kind.Schema)));
        Words inReadme = kind.Expected;
        inReadme.insert(kind.ReadmeOnly.begin(), kind.ReadmeOnly.end());
        EXPECT_EQ(inReadme, ReadmeWords(readme, kind.Readme));
    }
    for (const V::DocumentKey& key : V::kDocumentKeys) {
        EXPECT_NE(std::string::npos, readme.find("`" + std::string(key.Key) + "`"))
            << Narrow(key.Kind);
    }
}

}  // namespace
