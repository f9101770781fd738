// xentool plan's "now -> after" against what the module really does with the same
// document, on keys and an INI file prepared for every rule of the commands.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "AuthoringDocument.h"
#include "Scratch.h"
#include "StorageCommand.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_XmlParser.h"

namespace {

using AuthoringTest::LinesWith;
using AuthoringTest::RunXentool;
using TestSupport::Quoted;

const char kDocument[] = R"(<?xml version="1.0"?>
<Storage version="1.0.0">
  <Registry assign="t">
    <Root>HKCU</Root><Path>Software\OstrelTests\authoring\Existing</Path>
    <AccessMode>default</AccessMode><AccessRight>default</AccessRight>
    <Control assign="t"><Action>create</Action><Name>Text</Name><Type>string</Type><Value>new</Value></Control>
    <Control assign="t"><Action>store</Action><Name>Text</Name><Type>string</Type><Value>stored</Value><Overwrite>yes</Overwrite></Control>
    <Control assign="t"><Action>store</Action><Name>NewOne</Name><Type>string</Type><Value>n</Value></Control>
    <Control assign="t"><Action>create</Action><Name>Wrong</Name><Type>uint32</Type><Value>5</Value></Control>
    <Control assign="t"><Action>append</Action><Name>Count</Name><Type>uint32</Type><Value>2</Value></Control>
    <Control assign="t"><Action>append</Action><Name>Blob</Name><Type>binary</Type><Value>0304</Value></Control>
    <Control assign="t"><Action>delete</Action><Name>Gone</Name></Control>
  </Registry>
  <Registry assign="t">
    <Root>HKCU</Root><Path>Software\OstrelTests\authoring\Fresh</Path>
    <AccessMode>default</AccessMode><AccessRight>default</AccessRight>
    <Control assign="t"><Action>create</Action><Name>First</Name><Type>string</Type><Value>1</Value></Control>
    <Control assign="t"><Action>create</Action><Name>Second</Name><Type>string</Type><Value>2</Value></Control>
  </Registry>
  <Registry assign="t">
    <Root>HKCU</Root><Path>Software\OstrelTests\authoring\Existing\Sub</Path>
    <AccessMode>default</AccessMode><AccessRight>default</AccessRight>
    <Control assign="t"><Action>delete</Action></Control>
  </Registry>
  <Registry assign="t">
    <Root>HKCU</Root><Path>Software\OstrelTests\authoring\Missing</Path>
    <AccessMode>default</AccessMode><AccessRight>default</AccessRight>
    <Control assign="t"><Action>delete</Action><Name>X</Name></Control>
  </Registry>
  <IniFile assign="t">
    <Path>INIPATH</Path><Section>S</Section>
    <Control assign="t"><Action>create</Action><Name>B</Name><Type>string</Type><Value>x</Value></Control>
    <Control assign="t"><Action>store</Action><Name>A</Name><Type>uint32</Type><Value>7</Value><Overwrite>yes</Overwrite></Control>
    <Control assign="t"><Action>append</Action><Name>A</Name><Type>uint32</Type><Value>3</Value></Control>
    <Control assign="t"><Action>store</Action><Name>C</Name><Type>binary</Type><Value>0102</Value><Overwrite>yes</Overwrite></Control>
  </IniFile>
</Storage>
)";

std::string DocumentFor(const std::wstring& iniPath) {
    std::string document = kDocument;
    document.replace(document.find("INIPATH"), 7, std::string(iniPath.begin(), iniPath.end()));
    return document;
}

std::wstring IniText(const std::wstring& path, const wchar_t* name) {
    wchar_t buffer[64] = {};
    GetPrivateProfileStringW(L"S", name, L"(none)", buffer, ARRAYSIZE(buffer), path.c_str());
    return buffer;
}

TEST(PlanWhatIf, PredictsWhatTheModuleDoesAndChangesNothing) {
    TestSupport::ScratchRegistryKey scratch(L"authoring");
    TestSupport::ScratchFolder folder(L"AuthoringWhatIf");
    const std::wstring existing = scratch.Child(L"Existing");
    const DWORD allOnes = 0xFFFFFFFF;
    const BYTE blob[] = {1, 2};
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing, L"Text", REG_SZ, L"old", 8);
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing, L"Wrong", REG_SZ, L"x", 4);
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing, L"Count", REG_DWORD, &allOnes, 4);
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing, L"Blob", REG_BINARY, blob, 2);
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, existing + L"\\Sub\\Deep", L"V", REG_SZ, L"", 2);
    const std::wstring ini = folder.File(L"settings.ini");
    AuthoringTest::WriteText(ini, "[S]\r\nA=1\r\n");
    const std::string document = DocumentFor(ini);
    const std::wstring plain = folder.File(L"whatif.xml");
    AuthoringTest::WriteText(plain, document);
    AuthoringTest::RegistrySnapshot before;
    AuthoringTest::SnapshotRegistry(HKEY_CURRENT_USER, scratch.Path(), before);
    const std::vector<uint8_t> iniBefore = TestSupport::ReadFileBytes(ini);

    const TestSupport::ToolRun plan = RunXentool(L"plan " + Quoted(plain) + L" --assign t");
    EXPECT_EQ(0u, plan.ExitCode) << plan.Output;
    for (const char* expected : {
             "now \"old\" -> \"old\": unchanged: the key exists",
             "now \"old\" -> \"stored\": written",
             "NewOne = \"n\" (string)",  // the store without overwrite became a create
             "now \"x\" -> \"x\": fails 0x8007000d: the stored value has another type",
             "now 4294967295 -> 1: written",
             "now hex 0102 -> hex 01020304: written",
             "now (no value) -> (no value): nothing to remove",
             "now (no key) -> \"1\": written (creates the key)",
             "now (key) -> (no key): removes the key and the keys below it",
             "removes Software\\OstrelTests\\authoring\\Existing\\Sub\\Deep",
             "now (no key) -> (no key): fails 0x8004020b: the key does not exist",
             "now (no value) -> (no value): unchanged: an INI section always counts as existing",
             "now \"1\" -> \"7\": written",
             "now \"7\" -> \"10\": written",
             "fails 0x80040201: INI files hold no binary values",
             "request result: 0x8004020b",
         }) {
        EXPECT_EQ(1u, LinesWith(plan.Output, expected).size()) << expected << "\n" << plan.Output;
    }
    EXPECT_EQ(1u, LinesWith(plan.Output, "Second = \"2\"").size());
    EXPECT_EQ(2u, LinesWith(plan.Output, "-> (no value): unchanged: the key exists").size())
        << "NewOne, and Second once First has made the key";
    AuthoringTest::RegistrySnapshot afterPlan;
    AuthoringTest::SnapshotRegistry(HKEY_CURRENT_USER, scratch.Path(), afterPlan);
    EXPECT_EQ(before, afterPlan) << "the plan only reads the registry";
    EXPECT_EQ(iniBefore, TestSupport::ReadFileBytes(ini)) << "and the INI file";
    EXPECT_TRUE(TestSupport::FileExists(plain));

    // The module itself on the same document.
    const std::wstring encrypted = folder.File(L"whatif.xen");
    AuthoringTest::WriteEncrypted(encrypted, document, AuthoringTest::kStorageKey);
    ZorvCommon::Storage::XmlParser xmlParser;
    CXmlParserStorageControl reader(xmlParser);
    Ostrel::Storage::CommandChain chain;
    ASSERT_EQ(S_OK, reader.QueryValue(&chain, encrypted, L"t"));
    EXPECT_EQ(static_cast<int32_t>(0x8004020B), chain.Invoke()) << "the request result planned";
    EXPECT_EQ(L"stored", TestSupport::ReadRegString(HKEY_CURRENT_USER, existing, L"Text"));
    EXPECT_FALSE(TestSupport::RegValueExists(HKEY_CURRENT_USER, existing, L"NewOne"));
    EXPECT_EQ(L"x", TestSupport::ReadRegString(HKEY_CURRENT_USER, existing, L"Wrong"));
    AuthoringTest::RegistrySnapshot afterRun;
    AuthoringTest::SnapshotRegistry(HKEY_CURRENT_USER, scratch.Path(), afterRun);
    const std::vector<uint8_t> count = {1, 0, 0, 0, REG_DWORD};
    const std::vector<uint8_t> bytes = {1, 2, 3, 4, REG_BINARY};
    EXPECT_EQ(count, afterRun[existing + L"|Count"]);
    EXPECT_EQ(bytes, afterRun[existing + L"|Blob"]);
    EXPECT_EQ(L"1",
              TestSupport::ReadRegString(HKEY_CURRENT_USER, scratch.Child(L"Fresh"), L"First"));
    EXPECT_FALSE(
        TestSupport::RegValueExists(HKEY_CURRENT_USER, scratch.Child(L"Fresh"), L"Second"));
    EXPECT_FALSE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, existing + L"\\Sub"));
    EXPECT_FALSE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, scratch.Child(L"Missing")));
    EXPECT_EQ(L"10", IniText(ini, L"A"));
    EXPECT_EQ(L"(none)", IniText(ini, L"B"));
    EXPECT_EQ(L"(none)", IniText(ini, L"C"));
}

TEST(PlanWhatIf, WithAProfileNothingIsReadAndTheTargetStartsEmpty) {
    TestSupport::ScratchRegistryKey scratch(L"authoring");
    TestSupport::ScratchFolder folder(L"AuthoringWhatIfProfile");
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, scratch.Child(L"Existing"), L"Text", REG_SZ,
                               L"old", 8);
    const std::wstring ini = folder.File(L"settings.ini");
    const std::wstring plain = folder.File(L"whatif.xml");
    AuthoringTest::WriteText(plain, DocumentFor(ini));
    const std::wstring profile =
        L" --profile " + Quoted(AuthoringTest::ProfilePath(L"win7-64.ini"));

    const TestSupport::ToolRun plan =
        RunXentool(L"plan " + Quoted(plain) + L" --assign t" + profile);
    EXPECT_EQ(0u, plan.ExitCode) << plan.Output;
    EXPECT_EQ(1u, LinesWith(plan.Output, "current values: not read").size()) << plan.Output;
    EXPECT_EQ(1u,
              LinesWith(plan.Output, "now (not read) -> \"new\": written (creates the key)").size())
        << "the existing key is not looked at: " << plan.Output;
    EXPECT_EQ(2u, LinesWith(plan.Output, "now (not read) -> (not read): fails 0x8004020b").size())
        << "the deletes of Existing\\Sub and of Missing: neither key is assumed to exist";

    const TestSupport::ToolRun current =
        RunXentool(L"plan " + Quoted(plain) + L" --assign t --current" + profile);
    EXPECT_EQ(1u, LinesWith(current.Output, "now \"old\" -> \"old\": unchanged").size())
        << "--current reads this machine also with a profile: " << current.Output;
}

}  // namespace
