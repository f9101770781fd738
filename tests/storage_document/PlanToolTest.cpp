// xentool plan explains a storage-control document and leaves the machine as it was.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Scratch.h"
#include "ToolRun.h"

namespace {

using TestSupport::FileExists;
using TestSupport::Quoted;
using TestSupport::ReadFileBytes;
using TestSupport::ToolRun;

ToolRun RunXentool(const std::wstring& arguments) {
    return TestSupport::RunTool(L"xentool.exe", arguments);
}

TEST(XentoolPlan, ExplainsTheExampleWithoutTouchingRegistryFilesOrDocument) {
    TestSupport::ScratchFolder folder(L"XentoolPlan");
    TestSupport::ProductKey product;
    product.SetInstalledFolder(folder.Path());
    const std::wstring document = folder.File(L"storage-demo.xen");
    const std::vector<uint8_t> bytes =
        ReadFileBytes(TestSupport::ExecutableFolder() + L"..\\examples\\storage-demo.xen");
    ASSERT_FALSE(bytes.empty()) << "the build encrypts the example";
    TestSupport::WriteFileBytes(document, bytes);
    const bool demoKeyExisted =
        TestSupport::RegKeyExists(HKEY_CURRENT_USER, L"Software\\OstrelDemo");

    const ToolRun run = RunXentool(L"plan " + Quoted(document) + L" --assign demo");
    EXPECT_EQ(0u, run.ExitCode) << run.Output;
    for (const char* expected : {
             "Registry [platform=all language=all product=all minversion=1.0.0 maxversion=1.9.0 "
             "assign=demo]: kept",
             "Control store DisplayName string \"Ostrel Demo\" overwrite",
             "[platform=all language=ja product=all minversion=1.0.0 maxversion=1.9.0 "
             "assign=demo]: "
             "skipped (language)",
             "Registry [platform=xp32 language=all product=all minversion=1.0.0 maxversion=1.9.0 "
             "assign=demo]: skipped (platform)",
             "=> HKCU\\Software\\OstrelDemo\\Settings (view default, all access): section built",
             "command chain: 5 command(s)",
             "1. create HKCU\\Software\\OstrelDemo\\Settings (view default, all access) InstallId "
             "= \"demo-0001\" (string)",
             "Quota = 4294967296 (uint64)",
             "Signature = hex DEADBEEF (binary)",
             "3. append ",
             "4. delete HKCU\\Software\\OstrelDemo\\Settings (view default, all access) Obsolete",
             "demo.ini [Demo] Level = 3 (uint32)",
             "result: 0x00000000",
         }) {
        EXPECT_NE(std::string::npos, run.Output.find(expected)) << expected << "\n" << run.Output;
    }
    EXPECT_EQ(bytes, ReadFileBytes(document)) << "the document is never deleted or changed";
    EXPECT_EQ(demoKeyExisted,
              TestSupport::RegKeyExists(HKEY_CURRENT_USER, L"Software\\OstrelDemo"));
    EXPECT_FALSE(FileExists(folder.File(L"demo.ini")));

    const ToolRun other = RunXentool(L"plan " + Quoted(document) + L" --assign other");
    EXPECT_EQ(0u, other.ExitCode) << "every section skipped still parses";
    EXPECT_NE(std::string::npos, other.Output.find("command chain: 0 command(s)")) << other.Output;
}

TEST(XentoolPlan, PlainDocumentThatDoesNotParseFailsWithItsPosition) {
    TestSupport::ScratchFolder folder(L"XentoolPlanBroken");
    const std::wstring document = folder.File(L"broken.xml");
    const std::string xml =
        "<?xml version=\"1.0\"?>\r\n<Storage version=\"1\">\r\n"
        "<Registry assign=\"t\"><Root>HKCU</Rot></Registry>\r\n</Storage>\r\n";
    TestSupport::WriteFileBytes(document, std::vector<uint8_t>(xml.begin(), xml.end()));

    const ToolRun run = RunXentool(L"plan " + Quoted(document) + L" --assign t");
    EXPECT_EQ(5u, run.ExitCode) << run.Output;
    EXPECT_NE(std::string::npos, run.Output.find("does not parse: 0xc00cee3b at line 3, column"))
        << run.Output;
    EXPECT_TRUE(FileExists(document));
    EXPECT_EQ(2u, RunXentool(L"plan " + Quoted(folder.File(L"missing.xen"))).ExitCode)
        << "a document that cannot be opened";
}

}  // namespace
