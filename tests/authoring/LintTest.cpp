// xentool lint: each seeded problem is reported at its line and column, plain or
// encrypted, and the documents are never changed.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "AuthoringDocument.h"
#include "Documents.h"
#include "Scratch.h"
#include "ToolRun.h"

namespace {

using AuthoringTest::CountLines;
using TestSupport::Quoted;

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
<Storage version="1" check="yes">
  <Registry platform="xp33" language="all" product="all" minversion="2.0.0" maxversion="1.0.0" assign="a">
    <Root>HKXX</Root>
    <Path>Software\Wow6432Node\Vendor</Path>
    <AccessMode>default</AccessMode>
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
</Storage>
)";

TEST(Lint, FindsEachProblemOfAStorageDocumentWhereItStands) {
    TestSupport::ScratchFolder folder(L"AuthoringLint");
    ExpectFindings(
        folder, L"storage.xml", kStorage, 1,
        {{"platform=\"xp33\"", "error", "\"xp33\" is not a valid \"platform\""},
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
          "<Control> does not belong in <Storage>"}});
}

TEST(Lint, FindsProblemsOfPolicyAndWebAccessDocuments) {
    TestSupport::ScratchFolder folder(L"AuthoringLintPolicy");
    const std::string services = R"(<BaseFramework>
  <FrameworkService version="1.0.0">
    <ServiceGuid>not-a-guid</ServiceGuid><Module>eDLL</Module>
    <OrderOfLoading>0x10</OrderOfLoading>
  </FrameworkService>
  <FrameworkService version="1.0.0"><ModuleName></ModuleName></FrameworkService>
  <FrameworkProvider version="1.0.0"/>
</BaseFramework>
)";
    ExpectFindings(
        folder, L"services.xml", services, 1,
        {{"not-a-guid", "error", "\"not-a-guid\" is not a valid <ServiceGuid>"},
         {"eDLL", "error",
          "\"eDLL\" is not a valid <Module> (eExectable, "
          "eDynamicLinkLibrary or eInlineCode)"},
         {"0x10", "error", "\"0x10\" is not a valid <OrderOfLoading>"},
         {"ModuleName></ModuleName>", "error", "<ModuleName> is empty"},
         {"FrameworkProvider version", "error", "<FrameworkProvider> in a service document"}});

    const std::string webAccess = R"(<WebAccess>
  <Sites><Address label="a" id="https://a.example/"/><Address label="a" id="https://b.example/"/></Sites>
  <Applications><Process platform="all" label="p" native="64bit"><FileName>p.exe</FileName></Process></Applications>
  <Controls>
    <Filters><Filter label="f" type="Blocked" process="nobody" address="a"/></Filters>
    <Logs><Log label="l" enable="YES" address="nowhere"/></Logs>
  </Controls>
</WebAccess>
)";
    ExpectFindings(folder, L"webaccess.xml", webAccess, 1,
                   {{"label=\"a\" id=\"https://b", "warning", "label \"a\" is already used"},
                    {"platform=\"all\"", "error", "\"all\" is not a valid \"platform\""},
                    {"type=\"Blocked\"", "error", "\"Blocked\" is not a valid \"type\""},
                    {"process=\"nobody\"", "warning", "\"nobody\" names no <Process>"},
                    {"enable=\"YES\"", "error", "\"YES\" is not a valid \"enable\" (yes or no)"},
                    {"address=\"nowhere\"", "warning", "\"nowhere\" names no <Address>"}});
}

// The readers take element names, the root's included, in any letter case (one check for
// every kind's root); the schemas cannot, so each such name is a warning and nothing else
// changes.
TEST(Lint, TakesElementNamesInAnyCaseAndWarnsThatTheSchemasDoNot) {
    TestSupport::ScratchFolder folder(L"AuthoringLintCase");
    const std::string storage = R"(<storage version="1">
  <REGISTRY assign="a">
    <root>HKCU</root><Path>Software\Vendor</Path>
    <accessmode>default</accessmode><AccessRight>default</AccessRight>
    <control assign="a"><Action>delete</Action><name>N</name></control>
  </REGISTRY>
</storage>
)";
    ExpectFindings(folder, L"storage.xml", storage, 0,
                   {{"storage version", "warning",
                     "<storage> is read as <Storage>, but the schemas accept only that spelling"},
                    {"REGISTRY assign", "warning", "<REGISTRY> is read as <Registry>"},
                    {"root>", "warning", "<root> is read as <Root>"},
                    {"accessmode>", "warning", "<accessmode> is read as <AccessMode>"},
                    {"control assign", "warning", "<control> is read as <Control>"},
                    {"name>", "warning", "<name> is read as <Name>"}});
}

// A document that ends before its root element closes is reported, however it ends, and
// only that; an encrypted document is read with its kind's key; what no key decrypts and
// a missing file fail the run.
TEST(Lint, ReportsCutDocumentsReadsEncryptedOnesAndFailsOnWhatItCannotRead) {
    TestSupport::ScratchFolder folder(L"AuthoringLintFiles");
    const std::string registry =
        "<Root>HKCU</Root><Path>P</Path><AccessMode>default</AccessMode>"
        "<AccessRight>default</AccessRight><Control assign=\"a\"><Action>delete</Action></Control>";
    const std::string whole =
        "<Storage version=\"1\">\n<Registry assign=\"a\">" + registry + "</Registry>";
    ExpectFindings(
        folder, L"cut.xml", whole, 1,
        {{nullptr, "error", "not well-formed XML (XmlLite 0xc00cee01): the document ends early"}});
    for (const std::string& cut : {whole + "\n", whole + "\n<!-- the end -->", whole + "\n</Stor",
                                   std::string("<Storage version=\"1\">\n<Reg")}) {
        ExpectFindings(folder, L"cut.xml", cut, 1, {{nullptr, "error", "not well-formed XML"}});
    }

    // Encrypted, with the one mistake of a missing "assign".
    const std::string storage =
        "<Storage version=\"1\">\n<Registry>" + registry + "</Registry>\n</Storage>\n";
    const Expected unassigned = {"Registry>", "error", "<Registry> has no \"assign\""};
    ExpectFindings(folder, L"doc.xen", storage, 1, {unassigned}, TestSupport::kStorageKey);
    ExpectFindings(folder, L"doc.xen", storage, 1,
                   {unassigned, {"Storage", "error", "encrypted with the service key"}},
                   TestSupport::kServiceKey);
    TestSupport::WriteFileBytes(folder.File(L"noise.xen"), std::vector<uint8_t>(32, 0x5A));
    for (const wchar_t* name : {L"noise.xen", L"missing.xml"}) {
        EXPECT_EQ(
            2u, TestSupport::RunTool(L"xentool.exe", L"lint " + Quoted(folder.File(name))).ExitCode)
            << "no key decrypts it, or there is no such file";
    }
}

}  // namespace
