// Storage-control documents read from real encrypted files into command chains, and the
// chains run against a scratch registry subtree and scratch INI files.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Documents.h"
#include "LogCapture.h"
#include "Scratch.h"
#include "StorageCommand.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_XmlParser.h"

namespace {

using namespace TestSupport;
using Ostrel::Storage::CommandBase;
using Ostrel::Storage::CommandChain;

constexpr HRESULT kSkipped = 0x00040202;
constexpr HRESULT kInvalidData = static_cast<HRESULT>(0x80040206);

class StorageDocument : public ::testing::Test {
protected:
    StorageDocument() {
        m_Log.Product().SetInstalledFolder(m_Folder.Path() + L"\\");
        m_Log.Product().RemoveValue(L"Version");
    }

    std::string SubKey(const std::string& child) const {
        return Narrow(m_Key.Path()) + "\\" + child;
    }
    std::wstring Child(const std::string& child) const {
        return m_Key.Child(std::wstring(child.begin(), child.end()));
    }

    void Write(const std::string& xml) const { WriteDocument(m_Document, kStorageKey, xml); }

    HRESULT Read(const std::string& xml) {
        Write(xml);
        return CXmlParserStorageControl(m_XmlParser).QueryValue(&m_Chain, m_Document, L"t");
    }

    TestSupport::LogCapture m_Log;
    TestSupport::ScratchRegistryKey m_Key{L"StorageDocument"};
    TestSupport::ScratchFolder m_Folder{L"StorageDocument"};
    std::wstring m_Document = m_Folder.File(L"control.xen");
    ZorvCommon::Storage::XmlParser m_XmlParser;
    CommandChain m_Chain;
};

TEST_F(StorageDocument, WithoutCheckEveryAssignedSectionIsBuiltWhateverItsTargeting) {
    const std::string ini = Narrow(m_Folder.File(L"a.ini"));
    ASSERT_EQ(
        S_OK,
        Read(Storage(IniFile(ini, Control("store", "Level", "uint32", "7", "yes", R"(assign="T")"),
                             R"(platform="nowhere" language="ja" assign="t")"))));
    EXPECT_EQ(0, m_Chain.Invoke());
    EXPECT_EQ(7u, GetPrivateProfileIntW(L"S", L"Level", 0, m_Folder.File(L"a.ini").c_str()));
}

// The targeting rules are Targeting's; here they reach the document through the reader,
// with the running system (Windows 7, 64-bit, US English) and the product key's version.
TEST_F(StorageDocument, CheckedTargetingFollowsTheRunningSystem) {
    m_Log.Product().SetVersion(L"2.0.0");
    const auto section = [&](const std::string& name, const std::string& targeting,
                             const std::string& maxVersion = "2.0.0") {
        return Registry(
            SubKey(name), Store("V", "string", name),
            targeting + R"( product="any" assign="t" maxversion=")" + maxVersion + "\"");
    };
    const std::string other =
        R"(platform="all" language="all" product="all" maxversion="9.0" assign="other")";
    const HRESULT hr = Read(
        Storage(section("EnUs", R"(platform="seven64" language="en_us")") +
                    section("Old", R"(platform="all" language="all")", "1.9") +
                    Registry(SubKey("Others"), Control("store", "V", "string", "x", "yes", other)),
                " check=\"yes\""));
    EXPECT_EQ(kSkipped, hr) << "the last section's controls were all skipped";
    EXPECT_EQ(1u, m_Log.Count(L"*** CXmlParserStorageControl::ParseIniFile() - Specified "
                              L"parameter was not in targeted so that it will be skipped."))
        << "a skipped Control reports with the IniFile wording";
    EXPECT_EQ(0, m_Chain.Invoke());
    EXPECT_TRUE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, Child("EnUs")));
    for (const char* skipped : {"Old", "Others"}) {
        EXPECT_FALSE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, Child(skipped))) << skipped;
    }
    EXPECT_FALSE(FileExists(m_Document));
}

// A document read to its end is deleted unless it asks to be saved; one the reader failed
// on, early or late, is kept. Children that are not sections are ignored.
TEST_F(StorageDocument, OnlyTheLastSectionDecidesTheResultAndTheFileItsFate) {
    const std::string good = Registry(SubKey("Good"), Store("V", "string", "x"));
    const std::string bad = Registry(SubKey("Bad"), Store("V", "string", "x"), kAnywhere, "HKXX");
    const std::string ignored = "<Comment>not a section</Comment><Other/>";
    for (const auto& [attributes, kept] :
         {std::make_pair(" save=\"yes\"", true), std::make_pair(" save=\"no\"", false),
          std::make_pair("", false)}) {
        EXPECT_EQ(S_OK, Read(Storage(bad + good + ignored, attributes))) << attributes;
        EXPECT_EQ(1u, m_Chain.GetCount());
        EXPECT_EQ(kept, FileExists(m_Document)) << attributes;
    }
    EXPECT_EQ(kInvalidData, Read(Storage(good, " save=\"maybe\"")));
    EXPECT_TRUE(FileExists(m_Document)) << "an early failure keeps the document";

    EXPECT_EQ(kInvalidData, Read(Storage(good + bad)));
    EXPECT_EQ(1u, m_Chain.GetCount()) << "the first section's commands stay";
    EXPECT_TRUE(FileExists(m_Document));

    EXPECT_EQ(static_cast<HRESULT>(0xC00CEE3B), Read(Storage(good + "<Note><a></b></Note>")))
        << "the reader's failure after the last section";
    EXPECT_EQ(1u, m_Chain.GetCount());
    EXPECT_TRUE(FileExists(m_Document)) << "a document the reader failed on is kept";
}

// Someone who can write the document's folder swaps the document for another file after
// the reader closed it: the file that was read goes, or nothing does. By then the shared
// XML reader has let go of the file.
class SwapAfterRead : public Ostrel::Storage::IDocumentObserver {
public:
    SwapAfterRead(const ZorvCommon::Storage::XmlParser& parser, const std::wstring& movedTo,
                  const std::vector<uint8_t>& other)
        : m_Parser(parser), m_MovedTo(movedTo), m_Other(other) {}

    void OnSection(const std::wstring&, const Ostrel::Storage::Target&,
                   Ostrel::Storage::TargetVerdict) override {}
    void OnEntry(const Ostrel::Storage::Target&, Ostrel::Storage::TargetVerdict,
                 const Ostrel::Storage::DocumentEntry*) override {}
    void OnSectionEnd(const std::wstring&, const Ostrel::Storage::ISection*, HRESULT) override {}
    void OnDocumentClosed(const std::wstring& documentPath) override {
        EXPECT_FALSE(m_Parser.IsStarted());
        ASSERT_TRUE(MoveFileW(documentPath.c_str(), m_MovedTo.c_str()));
        TestSupport::WriteFileBytes(documentPath, m_Other);
    }

private:
    const ZorvCommon::Storage::XmlParser& m_Parser;
    std::wstring m_MovedTo;
    std::vector<uint8_t> m_Other;
};

TEST_F(StorageDocument, OnlyTheFileThatWasReadIsDeleted) {
    const std::wstring movedTo = m_Folder.File(L"moved.xen");
    const std::vector<uint8_t> other = {'n', 'o', 't', ' ', 'm', 'i', 'n', 'e'};
    SwapAfterRead swap(m_XmlParser, movedTo, other);
    CXmlParserStorageControl reader(m_XmlParser);
    reader.SetObserver(&swap);
    Write(Storage(Registry(SubKey("A"), Store("V", "string", "x"))));
    EXPECT_EQ(S_OK, reader.QueryValue(&m_Chain, m_Document, L"t"));
    EXPECT_EQ(1u, m_Chain.GetCount());
    EXPECT_EQ(other, TestSupport::ReadFileBytes(m_Document)) << "the file put in its place stays";
    EXPECT_TRUE(FileExists(movedTo)) << "the document read is no longer at its path";
}

TEST_F(StorageDocument, ConsecutiveEntriesOfOneEffectiveCommandShareIt) {
    const std::string controls = Store("A", "string", "a") + Store("B", "uint32", "2") +
                                 Control("store", "C", "string", "c") +  // no overwrite: a create
                                 Control("create", "D", "string", "d") + Control("delete", "E") +
                                 Store("F", "string", "f");
    ASSERT_EQ(S_OK, Read(Storage(Registry(SubKey("A"), controls, kAnywhere, "HKCU", "32bit"))));
    std::vector<std::pair<uint32_t, size_t>> commands;  // visitor type, entries
    for (size_t i = 0; i < m_Chain.GetCount(); ++i) {
        const auto& command = dynamic_cast<const CommandBase&>(*m_Chain.GetCommand(i));
        commands.emplace_back(command.GetType(), command.GetSection(0)->GetEntryCount());
    }
    EXPECT_EQ((std::vector<std::pair<uint32_t, size_t>>{{3, 2}, {1, 2}, {5, 1}, {3, 1}}), commands);
    const auto& first = dynamic_cast<const CommandBase&>(*m_Chain.GetCommand(0));
    EXPECT_EQ(static_cast<uint32_t>(Ostrel::Storage::AccessMode32),
              dynamic_cast<const Ostrel::Storage::SectionRegistry&>(*first.GetSection(0))
                  .GetAccessMode());

    EXPECT_EQ(kInvalidData, Read(Storage(Registry(SubKey("A"), Store("", "string", "a")))))
        << "only create and delete may leave the name out";
}

}  // namespace
