// Storage-control documents read from real encrypted files into command chains, and the
// chains run against a scratch registry subtree and scratch INI files.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "LogCapture.h"
#include "Scratch.h"
#include "StorageCommand.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_XmlParser.h"

namespace {

using Ostrel::Vocabulary::kStorageKey;

using Ostrel::Storage::CommandBase;
using Ostrel::Storage::CommandChain;
using TestSupport::FileExists;

constexpr HRESULT kSkipped = 0x00040202;
constexpr HRESULT kInvalidData = static_cast<HRESULT>(0x80040206);

// Every targeting attribute, matching any system and the assignment text "t". Checked
// elements need an upper version bound: a missing one counts as 0.0.0.0.
const std::string kAnywhere =
    R"(platform="all" language="all" product="all" maxversion="99.0.0" assign="t")";

std::string Narrow(const std::wstring& wide) {
    return std::string(wide.begin(), wide.end());
}

std::string Element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
}

// A Control element; empty parts are left out.
std::string Control(const std::string& action, const std::string& name,
                    const std::string& type = "", const std::string& value = "",
                    const std::string& overwrite = "", const std::string& targeting = kAnywhere) {
    std::string children = Element("Action", action);
    for (const auto& child :
         {std::make_pair("Name", name), std::make_pair("Type", type),
          std::make_pair("Value", value), std::make_pair("Overwrite", overwrite)}) {
        if (!child.second.empty()) {
            children += Element(child.first, child.second);
        }
    }
    return "<Control " + targeting + ">" + children + "</Control>";
}

std::string Store(const std::string& name, const std::string& type, const std::string& value) {
    return Control("store", name, type, value, "yes");
}

std::string Registry(const std::string& subKey, const std::string& controls,
                     const std::string& targeting = kAnywhere, const std::string& root = "HKCU") {
    return "<Registry " + targeting + ">" + Element("Root", root) + Element("Path", subKey) +
           Element("AccessMode", "default") + Element("AccessRight", "default") + controls +
           "</Registry>";
}

std::string IniFile(const std::string& path, const std::string& controls,
                    const std::string& targeting = kAnywhere) {
    return "<IniFile " + targeting + ">" + Element("Path", path) + Element("Section", "S") +
           controls + "</IniFile>";
}

std::string Storage(const std::string& body, const std::string& attributes = "") {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<Storage version=\"1.0.0\"" + attributes +
           ">\r\n" + body + "\r\n</Storage>\r\n";
}

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

    void Write(const std::string& xml) const {
        std::vector<uint8_t> ciphertext;
        ASSERT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(
            kStorageKey, std::vector<uint8_t>(xml.begin(), xml.end()), &ciphertext));
        TestSupport::WriteFileBytes(m_Document, ciphertext);
    }

    HRESULT Read(const std::string& xml, const std::wstring& assign = L"t") {
        Write(xml);
        return CXmlParserStorageControl(m_XmlParser).QueryValue(&m_Chain, m_Document, assign);
    }

    // The visitor type of each command of the chain, in order.
    std::vector<uint32_t> CommandTypes() const {
        std::vector<uint32_t> types;
        for (size_t i = 0; i < m_Chain.GetCount(); ++i) {
            types.push_back(dynamic_cast<const CommandBase&>(*m_Chain.GetCommand(i)).GetType());
        }
        return types;
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
    const HRESULT hr =
        Read(Storage(Registry(SubKey("A"), Store("Text", "string", "hello"),
                              R"(platform="xp32" language="ja" assign="t")") +
                     IniFile(ini, Control("store", "Level", "uint32", "7", "yes", R"(assign="T")"),
                             R"(platform="nowhere" assign="t")")));
    ASSERT_EQ(S_OK, hr);
    ASSERT_EQ(2u, m_Chain.GetCount());
    EXPECT_FALSE(FileExists(m_Document)) << "read to the end without save: deleted";

    EXPECT_EQ(0, m_Chain.Invoke());
    EXPECT_EQ(L"hello", TestSupport::ReadRegString(HKEY_CURRENT_USER, Child("A"), L"Text"));
    EXPECT_EQ(7u, GetPrivateProfileIntW(L"S", L"Level", 0, m_Folder.File(L"a.ini").c_str()));
}

TEST_F(StorageDocument, MissingTargetingTextsFailTheDocumentAndKeepIt) {
    const std::string controls = Store("V", "string", "x");
    // Each with an upper version bound: language and product are checked after versions.
    for (const std::string targeting :
         {R"(language="all" product="all" assign="t")",
          R"(platform="all" product="all" assign="t")",
          R"(platform="all" language="all" assign="t")",
          R"(platform="all" language="all" product="all")",
          R"(platform="win95" language="all" product="all" assign="t")",
          R"(platform="all" language="EN_US" product="all" assign="t")"}) {
        EXPECT_EQ(
            kInvalidData,
            Read(Storage(Registry(SubKey("A"), controls, targeting + R"( maxversion="9.0.0")"),
                         " check=\"yes\"")))
            << targeting;
        EXPECT_EQ(0u, m_Chain.GetCount());
        EXPECT_TRUE(FileExists(m_Document)) << "the last section failed: kept";
    }
    EXPECT_EQ(kInvalidData, Read(Storage(Registry(SubKey("A"), controls, R"(platform="all")"))))
        << "an element without assign fails even when nothing is checked";
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserStorageControl::GetPlatformType() - Specified text was not supported. "
        L"[win95]"));
}

TEST_F(StorageDocument, CheckedTargetingFollowsTheRunningSystem) {
    // The test system reports Windows 7 on a 64-bit processor in US English.
    const auto section = [&](const std::string& name, const std::string& platform,
                             const std::string& language, const std::string& assign = "t") {
        return Registry(SubKey(name), Store("V", "string", name),
                        "platform=\"" + platform + "\" language=\"" + language +
                            "\" product=\"any\" maxversion=\"9.0.0\" assign=\"" + assign + "\"");
    };
    const HRESULT hr = Read(
        Storage(section("EnUs", "seven64", "en_us") + section("Danish", "all", "da") +
                    section("Xp", "xp32", "all") + section("Later", "sevenorlater", "ALL") +
                    section("Vista", "vista32or64", "all") + section("Other", "all", "all", "x"),
                " check=\"yes\""));
    EXPECT_EQ(kSkipped, hr) << "the last section was skipped";
    EXPECT_EQ(0, m_Chain.Invoke());
    for (const char* kept : {"EnUs", "Later"}) {
        EXPECT_TRUE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, Child(kept))) << kept;
    }
    for (const char* skipped : {"Danish", "Xp", "Vista", "Other"}) {
        EXPECT_FALSE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, Child(skipped))) << skipped;
    }
    EXPECT_TRUE(
        m_Log.Contains(L"Specified Assigned was not matched so that it will be skipped. "
                       L"[x][t]"));
    EXPECT_FALSE(FileExists(m_Document));
}

TEST_F(StorageDocument, MissingMaxVersionSkipsAnyInstalledVersionAboveZero) {
    m_Log.Product().SetVersion(L"2.0.0");
    const auto versioned = [&](const std::string& bounds) {
        return Storage(
            Registry(SubKey("A"), Store("V", "string", "x"),
                     R"(platform="all" language="all" product="all" assign="t")" + bounds),
            " check=\"yes\"");
    };
    EXPECT_EQ(kSkipped, Read(versioned("")));
    EXPECT_EQ(kSkipped, Read(versioned(R"( minversion="1.0.0")")));
    EXPECT_EQ(S_OK, Read(versioned(R"( maxversion="2.0.0")"))) << "bounds are inclusive";
    EXPECT_EQ(S_OK, Read(versioned(R"( minversion="2.0.0" maxversion="3.0.0")")));
    EXPECT_EQ(kSkipped, Read(versioned(R"( minversion="2.0.1" maxversion="3.0.0")")));
    EXPECT_EQ(kSkipped, Read(versioned(R"( maxversion="1.9.0")")));
}

TEST_F(StorageDocument, SectionWhoseControlsAreAllSkippedIsReportedSkipped) {
    const std::string other = R"(platform="all" assign="other")";
    const HRESULT hr =
        Read(Storage(Registry(SubKey("A"), Control("store", "V", "string", "x", "yes", other) +
                                               Control("delete", "W", "", "", "", other))));
    EXPECT_EQ(kSkipped, hr);
    EXPECT_EQ(0u, m_Chain.GetCount());
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserStorageControl::ParseRegistry() - _vArrayOfEntry was empty so that it "
        L"will be skipped."));
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserStorageControl::QueryValue() - Specified Element was skipped."));
    EXPECT_EQ(2u, m_Log.Count(L"*** CXmlParserStorageControl::ParseIniFile() - Specified "
                              L"parameter was not in targeted so that it will be skipped."))
        << "a skipped Control reports with the IniFile wording";
    EXPECT_FALSE(FileExists(m_Document)) << "a skip is a normal end";
}

TEST_F(StorageDocument, IniPathExpandsOnlyTheFirstMacroThatOccurs) {
    const auto iniPath = [&](const std::string& path) {
        const HRESULT hr = Read(Storage(IniFile(path, Store("K", "string", "v"))));
        EXPECT_EQ(S_OK, hr) << path;
        if (m_Chain.GetCount() != 1) {
            return std::wstring();
        }
        const auto& command = dynamic_cast<const CommandBase&>(*m_Chain.GetCommand(0));
        return dynamic_cast<const Ostrel::Storage::SectionIniFile&>(*command.GetSection(0))
            .GetFilePath();
    };
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, MAX_PATH);
    EXPECT_EQ(L"$SYSTEM$a" + std::wstring(windows) + L"\\b.ini",
              iniPath("$SYSTEM$a$WINDOWS$b.ini"));
    EXPECT_EQ(L"plain.ini", iniPath("plain.ini"));
    EXPECT_EQ(m_Folder.Path() + L"\\demo.ini$INSTALL$", iniPath("$INSTALL$demo.ini$INSTALL$"))
        << "the installed folder ends in exactly one backslash; only the first occurrence";

    EXPECT_EQ(0, m_Chain.Invoke());
    wchar_t text[16] = {};
    GetPrivateProfileStringW(L"S", L"K", L"", text, 16,
                             (m_Folder.Path() + L"\\demo.ini$INSTALL$").c_str());
    EXPECT_STREQ(L"v", text);

    m_Log.Product().RemoveValue(L"InstalledFolder");
    EXPECT_EQ(kInvalidData, Read(Storage(IniFile("$INSTALL$x.ini", Store("K", "string", "v")))));
}

TEST_F(StorageDocument, SaveKeepsTheDocumentAndUnknownChildrenAreIgnored) {
    const std::string body = Registry(SubKey("A"), Store("V", "string", "x")) +
                             "<Comment>not a section</Comment><Other/>";
    for (const auto& [attributes, kept] :
         {std::make_pair(" save=\"yes\"", true), std::make_pair(" save=\"no\"", false),
          std::make_pair("", false)}) {
        EXPECT_EQ(S_OK, Read(Storage(body, attributes))) << attributes;
        EXPECT_EQ(1u, m_Chain.GetCount());
        EXPECT_EQ(kept, FileExists(m_Document)) << attributes;
    }
    EXPECT_EQ(kInvalidData, Read(Storage(body, " save=\"maybe\"")));
    EXPECT_TRUE(FileExists(m_Document)) << "an early failure keeps the document";

    Write(Storage(body));
    CXmlParserStorageControl reader(m_XmlParser);
    reader.SetKeepDocument(true);
    EXPECT_EQ(S_OK, reader.QueryValue(&m_Chain, m_Document, L"t"));
    EXPECT_TRUE(FileExists(m_Document));
}

TEST_F(StorageDocument, OnlyTheLastSectionDecidesTheResultAndTheFileItsFate) {
    const std::string good = Registry(SubKey("Good"), Store("V", "string", "x"));
    const std::string bad = Registry(SubKey("Bad"), Store("V", "string", "x"), kAnywhere, "HKXX");
    EXPECT_EQ(S_OK, Read(Storage(bad + good)));
    EXPECT_EQ(1u, m_Chain.GetCount());
    EXPECT_FALSE(FileExists(m_Document));

    m_Log.Clear();
    EXPECT_EQ(kInvalidData, Read(Storage(good + bad)));
    EXPECT_EQ(1u, m_Chain.GetCount()) << "the first section's commands stay";
    EXPECT_TRUE(FileExists(m_Document));
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserStorageControl::QueryValue() - this->m_rXmlParser failed to parse "
        L"element. ["));
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserStorageControl::GetRegistryRoot() - Specified text was not supported. "
        L"[HKXX]"));

    EXPECT_EQ(static_cast<HRESULT>(0xC00CEE3B), Read(Storage(good + "<Note><a></b></Note>")))
        << "the reader's failure after the last section";
    EXPECT_EQ(1u, m_Chain.GetCount());
    EXPECT_TRUE(FileExists(m_Document)) << "a document the reader failed on is kept";
}

// Someone who can write the document's folder swaps the document for another file after
// the reader closed it: the file that was read goes, or nothing does.
class SwapAfterRead : public Ostrel::Storage::IDocumentObserver {
public:
    SwapAfterRead(const std::wstring& movedTo, const std::vector<uint8_t>& other)
        : m_MovedTo(movedTo), m_Other(other) {}

    void OnSection(const std::wstring&, const Ostrel::Storage::Target&,
                   Ostrel::Storage::TargetVerdict) override {}
    void OnEntry(const Ostrel::Storage::Target&, Ostrel::Storage::TargetVerdict,
                 const Ostrel::Storage::DocumentEntry*) override {}
    void OnSectionEnd(const std::wstring&, const Ostrel::Storage::ISection*, HRESULT) override {}
    void OnDocumentClosed(const std::wstring& documentPath) override {
        ASSERT_TRUE(MoveFileW(documentPath.c_str(), m_MovedTo.c_str()));
        TestSupport::WriteFileBytes(documentPath, m_Other);
    }

private:
    std::wstring m_MovedTo;
    std::vector<uint8_t> m_Other;
};

TEST_F(StorageDocument, OnlyTheFileThatWasReadIsDeleted) {
    const std::wstring movedTo = m_Folder.File(L"moved.xen");
    const std::vector<uint8_t> other = {'n', 'o', 't', ' ', 'm', 'i', 'n', 'e'};
    SwapAfterRead swap(movedTo, other);
    CXmlParserStorageControl reader(m_XmlParser);
    reader.SetObserver(&swap);
    Write(Storage(Registry(SubKey("A"), Store("V", "string", "x"))));
    EXPECT_EQ(S_OK, reader.QueryValue(&m_Chain, m_Document, L"t"));
    EXPECT_EQ(1u, m_Chain.GetCount());
    EXPECT_EQ(other, TestSupport::ReadFileBytes(m_Document)) << "the file put in its place stays";
    EXPECT_TRUE(FileExists(movedTo)) << "the document read is no longer at its path";
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserStorageControl::QueryValue() - ZorvCommon::Storage::File::Delete() "
        L"failed. [0x00000002]"));

    // Without a swap the same road deletes the document, and a file it may not delete
    // is reported as before.
    Write(Storage(Registry(SubKey("A"), Store("V", "string", "x"))));
    reader.SetObserver(nullptr);
    EXPECT_EQ(S_OK, reader.QueryValue(&m_Chain, m_Document, L"t"));
    EXPECT_FALSE(FileExists(m_Document));
    Write(Storage(Registry(SubKey("A"), Store("V", "string", "x"))));
    ASSERT_TRUE(SetFileAttributesW(m_Document.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(S_OK, reader.QueryValue(&m_Chain, m_Document, L"t"));
    SetFileAttributesW(m_Document.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(FileExists(m_Document));
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserStorageControl::QueryValue() - ZorvCommon::Storage::File::Delete() "
        L"failed. [0x00000005]"));
}

TEST_F(StorageDocument, ConsecutiveEntriesOfOneEffectiveCommandShareIt) {
    const HRESULT hr = Read(Storage(
        Registry(SubKey("A"), Store("A", "string", "a") + Store("B", "uint32", "2") +
                                  Control("store", "C", "string", "c") +  // no overwrite: a create
                                  Control("create", "D", "string", "d") + Control("delete", "E") +
                                  Store("F", "string", "f"))));
    ASSERT_EQ(S_OK, hr);
    EXPECT_EQ((std::vector<uint32_t>{3, 1, 5, 3}), CommandTypes());
    const auto entries = [&](size_t command) {
        return dynamic_cast<const CommandBase&>(*m_Chain.GetCommand(command))
            .GetSection(0)
            ->GetEntryCount();
    };
    EXPECT_EQ(2u, entries(0));
    EXPECT_EQ(2u, entries(1));
    EXPECT_EQ(1u, entries(2));

    EXPECT_EQ(kInvalidData, Read(Storage(Registry(SubKey("A"), Store("", "string", "a")))))
        << "only create and delete may leave the name out";
    EXPECT_EQ(kInvalidData, Read(Storage(Registry(SubKey("A"), Store("N", "uint32", "")))));
    EXPECT_EQ(static_cast<HRESULT>(0x80040205),
              Read(Storage(Registry(SubKey("A"), Store("N", "uint32", "12abc")))));
}

TEST_F(StorageDocument, BuiltCommandsRunAgainstTheRegistry) {
    const uint32_t stale = 1;
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, Child("Old\\Deeper"), L"X", REG_DWORD, &stale,
                               sizeof(stale));
    TestSupport::WriteRegValue(HKEY_CURRENT_USER, Child("Kept"), L"Gone", REG_DWORD, &stale,
                               sizeof(stale));
    const HRESULT hr = Read(Storage(
        Registry(SubKey("New"),
                 Control("create", "Stamp", "string", "first") + Store("Text", "string", "hello") +
                     Store("Bytes", "binary", "0A0b0C") + Store("Small", "uint32", "0x10") +
                     Store("Big", "uint64", "4294967296") +
                     Control("append", "Text", "string", ";more") +
                     Control("append", "Small", "uint32", "2")) +
        Registry(SubKey("Old"), Control("delete", "")) +
        Registry(SubKey("Kept"), Control("delete", "Gone")) +
        Registry(SubKey("Made"), Control("create", ""))));
    ASSERT_EQ(S_OK, hr);
    EXPECT_EQ(0, m_Chain.Invoke());

    const std::wstring made = Child("New");
    EXPECT_EQ(L"first", TestSupport::ReadRegString(HKEY_CURRENT_USER, made, L"Stamp"));
    EXPECT_EQ(L"hello;more", TestSupport::ReadRegString(HKEY_CURRENT_USER, made, L"Text"));
    uint8_t bytes[8] = {};
    DWORD cbBytes = sizeof(bytes);
    EXPECT_EQ(ERROR_SUCCESS, RegGetValueW(HKEY_CURRENT_USER, made.c_str(), L"Bytes",
                                          RRF_RT_REG_BINARY, nullptr, bytes, &cbBytes));
    EXPECT_EQ((std::vector<uint8_t>{0x0A, 0x0B, 0x0C}),
              std::vector<uint8_t>(bytes, bytes + cbBytes));
    DWORD small = 0;
    DWORD cbSmall = sizeof(small);
    RegGetValueW(HKEY_CURRENT_USER, made.c_str(), L"Small", RRF_RT_REG_DWORD, nullptr, &small,
                 &cbSmall);
    EXPECT_EQ(0x12u, small);
    uint64_t big = 0;
    DWORD cbBig = sizeof(big);
    RegGetValueW(HKEY_CURRENT_USER, made.c_str(), L"Big", RRF_RT_REG_QWORD, nullptr, &big, &cbBig);
    EXPECT_EQ(0x100000000ull, big);

    EXPECT_FALSE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, Child("Old")))
        << "a nameless delete removes the key with its sub-keys";
    EXPECT_TRUE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, Child("Kept")));
    EXPECT_FALSE(TestSupport::RegValueExists(HKEY_CURRENT_USER, Child("Kept"), L"Gone"));
    EXPECT_TRUE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, Child("Made")))
        << "a nameless create makes the key";
}

}  // namespace
