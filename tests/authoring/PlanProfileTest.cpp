// xentool plan with the sample target profiles: each gets the verdicts the module would
// reach on that system, and the profile of this machine gets the module's own.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AuthoringDocument.h"
#include "Scratch.h"
#include "StorageCommand.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_XmlParser.h"

namespace {

using AuthoringTest::LinesWith;
using AuthoringTest::ProfilePath;
using AuthoringTest::RunXentool;
using TestSupport::Quoted;

struct TargetRow {
    const char* Platform;
    const char* Language;
    const char* MinVersion;
    const char* MaxVersion;
    // Per profile (XP 32-bit ja 1.0.1120, Vista 64-bit de 1.5.0, 7 64-bit en_us none,
    // 10 64-bit en_gb 2.1.0): K kept, P platform, L language, V version.
    const char* Verdicts;
};

const TargetRow kRows[] = {
    {"xp32", "all", "0.0.1", "9.9.9", "KPPP"},         {"vista64", "all", "0.0.1", "9.9.9", "PKPP"},
    {"sevenorlater", "all", "0.0.1", "9.9.9", "PPKP"},  // 10.0 is not in its class
    {"xporlater", "all", "0.0.1", "9.9.9", "KKKK"},    {"all32", "all", "0.0.1", "9.9.9", "KPPP"},
    {"all", "ja", "0.0.1", "9.9.9", "KLLL"},           {"all", "en_us", "0.0.1", "9.9.9", "LLKL"},
    {"all", "en_gb", "0.0.1", "9.9.9", "LLLK"},        {"all", "all", "2.0.0", "9.9.9", "VVVK"},
    {"all", "all", "0.0.1", "1.2.0", "KVKV"},
};

const wchar_t* const kProfiles[] = {L"winxp-32.ini", L"vista-64.ini", L"win7-64.ini",
                                    L"win10-64.ini"};
constexpr size_t kThisMachine = 2;  // Wine reports Windows 7 SP1 64-bit, 0x409

std::string Targeting(const TargetRow& row) {
    return std::string("platform=") + row.Platform + " language=" + row.Language +
           " product=all minversion=" + row.MinVersion + " maxversion=" + row.MaxVersion +
           " assign=t";
}

std::string Document() {
    std::string document = "<Storage version=\"1.0.0\" check=\"yes\">\n";
    for (const TargetRow& row : kRows) {
        document += "<Registry platform=\"" + std::string(row.Platform) + "\" language=\"" +
                    row.Language + "\" product=\"all\" minversion=\"" + row.MinVersion +
                    "\" maxversion=\"" + row.MaxVersion +
                    "\" assign=\"t\">\n"
                    "  <Root>HKCU</Root><Path>Software\\OstrelTests\\authoring</Path>\n"
                    "  <AccessMode>default</AccessMode><AccessRight>default</AccessRight>\n"
                    "  <Control platform=\"all\" language=\"all\" product=\"all\" "
                    "maxversion=\"9.9.9\" assign=\"t\"><Action>store</Action><Name>V</Name>"
                    "<Type>uint32</Type><Value>1</Value><Overwrite>yes</Overwrite></Control>\n"
                    "</Registry>\n";
    }
    return document + "</Storage>\n";
}

std::string VerdictText(char code) {
    switch (code) {
        case 'K':
            return "kept";
        case 'P':
            return "skipped (platform)";
        case 'L':
            return "skipped (language)";
        default:
            return "skipped (version)";
    }
}

// The verdict lines of a plan: the elements and their decisions, nothing of the system.
std::vector<std::string> VerdictLines(const std::string& output) {
    std::vector<std::string> lines = LinesWith(output, ": kept");
    const std::vector<std::string> skipped = LinesWith(output, ": skipped (");
    lines.insert(lines.end(), skipped.begin(), skipped.end());
    return lines;
}

// Records what the module decides about each section.
class VerdictRecorder : public Ostrel::Storage::IDocumentObserver {
public:
    void OnSection(const std::wstring&, const Ostrel::Storage::Target&,
                   Ostrel::Storage::TargetVerdict verdict) override {
        static const char kCodes[] = {'K', 'X', 'P', 'V', 'L'};  // in TargetVerdict's order
        Codes += kCodes[static_cast<size_t>(verdict)];
    }
    void OnEntry(const Ostrel::Storage::Target&, Ostrel::Storage::TargetVerdict,
                 const Ostrel::Storage::DocumentEntry*) override {}
    void OnSectionEnd(const std::wstring&, const Ostrel::Storage::ISection*, HRESULT) override {}

    std::string Codes;
};

class PlanProfiles : public ::testing::Test {
protected:
    void SetUp() override {
        m_Product.RemoveValue(L"Version");  // this machine then counts as 1.0.1120
        AuthoringTest::WriteText(m_Plain, Document());
    }

    TestSupport::ToolRun Plan(const std::wstring& options) {
        return RunXentool(L"plan " + Quoted(m_Plain) + L" --assign t " + options);
    }

    TestSupport::ProductKey m_Product;
    TestSupport::ScratchFolder m_Folder{L"AuthoringProfiles"};
    std::wstring m_Plain = m_Folder.File(L"targets.xml");
};

TEST_F(PlanProfiles, EachSampleProfileGetsTheVerdictsOfItsSystem) {
    for (size_t profile = 0; profile < ARRAYSIZE(kProfiles); ++profile) {
        const TestSupport::ToolRun run =
            Plan(L"--profile " + Quoted(ProfilePath(kProfiles[profile])));
        EXPECT_EQ(0u, run.ExitCode) << run.Output;
        for (const TargetRow& row : kRows) {
            const std::string expected =
                "Registry [" + Targeting(row) + "]: " + VerdictText(row.Verdicts[profile]);
            EXPECT_EQ(1u, LinesWith(run.Output, expected).size())
                << "profile " << profile << ": " << expected << "\n"
                << run.Output;
        }
    }
    const TestSupport::ToolRun xp =
        Plan(L"--json --profile " + Quoted(ProfilePath(L"winxp-32.ini")));
    for (const char* expected :
         {"\"platformId\":2,\"major\":5,\"minor\":1,\"build\":2600,\"productType\":1,"
          "\"servicePack\":3,\"bitness\":32,\"languageCode\":4,\"productVersion\":\"1.0.1120\"",
          "\"currentValuesRead\":false", "\"now\":\"(not read)\"", "\"commands\":5",
          "\"requestResult\":\"0x00000000\""}) {
        EXPECT_NE(std::string::npos, xp.Output.find(expected)) << expected << "\n" << xp.Output;
    }
}

TEST_F(PlanProfiles, TheProfileOfThisMachineGetsTheModulesOwnVerdicts) {
    const TestSupport::ToolRun live = Plan(L"");
    const TestSupport::ToolRun profiled =
        Plan(L"--profile " + Quoted(ProfilePath(kProfiles[kThisMachine])));
    EXPECT_EQ(VerdictLines(live.Output), VerdictLines(profiled.Output)) << live.Output;
    EXPECT_EQ(14u, VerdictLines(live.Output).size()) << "ten sections, four of them kept with "
                                                        "their entry";

    const std::wstring encrypted = m_Folder.File(L"targets.xen");
    AuthoringTest::WriteEncrypted(encrypted, Document(), AuthoringTest::kStorageKey);
    ZorvCommon::Storage::XmlParser xmlParser;
    CXmlParserStorageControl reader(xmlParser);
    VerdictRecorder recorder;
    reader.SetObserver(&recorder);
    Ostrel::Storage::CommandChain chain;
    EXPECT_EQ(S_OK, reader.QueryValue(&chain, encrypted, L"t"));
    std::string expected;
    for (const TargetRow& row : kRows) {
        expected += row.Verdicts[kThisMachine];
    }
    EXPECT_EQ(expected, recorder.Codes) << "the module on this machine";
}

TEST_F(PlanProfiles, AProfileThatCannotBeReadIsRefused) {
    const std::wstring bad = m_Folder.File(L"bad.ini");
    AuthoringTest::WriteText(bad, "[System]\r\nMajor=6\r\nMinor=1\r\nBitness=16\r\n");
    TestSupport::ToolRun run = Plan(L"--profile " + Quoted(bad));
    EXPECT_EQ(2u, run.ExitCode);
    EXPECT_NE(std::string::npos, run.Output.find("Bitness")) << run.Output;

    AuthoringTest::WriteText(bad,
                             "[System]\r\nMajor=6\r\nMinor=1\r\nBitness=64\r\nLanguage=xx\r\n");
    run = Plan(L"--profile " + Quoted(bad));
    EXPECT_EQ(2u, run.ExitCode);
    EXPECT_NE(std::string::npos, run.Output.find("Language 'xx'")) << run.Output;

    EXPECT_EQ(2u, Plan(L"--profile " + Quoted(m_Folder.File(L"missing.ini"))).ExitCode);
}

}  // namespace
