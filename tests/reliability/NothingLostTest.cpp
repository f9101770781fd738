#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "ReliabilityKit.h"

namespace {

using namespace Reliability;
using SrvFrwk::Interface::StorageControlRequest;

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());
}

std::wstring IniSection(const std::wstring& file, const wchar_t* section) {
    wchar_t buffer[4096] = {};
    const DWORD length = GetPrivateProfileSectionW(section, buffer, _countof(buffer), file.c_str());
    return std::wstring(buffer, length);
}

class NothingLostTest : public ::testing::Test {
protected:
    HRESULT Send(const std::wstring& path) {
        StorageControlRequest request;
        request.DocumentPath = path;
        request.CommandArgument = kCommandArgument;
        return m_Module.Utility().Send(SrvFrwk::Interface::ValueTypeStorageControl, &request);
    }

    void SetString(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
        TestSupport::WriteRegValue(HKEY_CURRENT_USER, m_Key.Child(path), name, REG_SZ,
                                   value.c_str(),
                                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }

    static std::string Delete(const std::string& name) {
        return "    <Control assign=\"reliability\"><Action>delete</Action><Name>" + name +
               "</Name></Control>\n";
    }

    ModuleUnderTest m_Module{0x110};
    TestSupport::ScratchRegistryKey m_Key{L"ReliabilityNothingLost"};
    TestSupport::ScratchFolder m_Folder{L"ReliabilityNothingLost"};
};

// A document that stores one value and deletes another in one key and one INI section
// changes exactly those; every other key, value and section stays as it was.
TEST_F(NothingLostTest, OnlyTheNamedValuesOfTheNamedKeysAndSectionsChange) {
    SetString(L"Target", L"Changed", L"old");
    SetString(L"Target", L"Removed", L"old");
    SetString(L"Target", L"Kept", L"same");
    SetString(L"Target\\Child", L"Changed", L"child");
    SetString(L"Sibling", L"Changed", L"sibling");
    SetString(L"Sibling", L"Removed", L"sibling");
    const std::wstring ini = m_Folder.File(L"settings.ini");
    const std::string iniText =
        "[Target]\r\nChanged=old\r\nRemoved=old\r\nKept=same\r\n[Other]\r\nChanged=other\r\n"
        "Removed=other\r\n";
    TestSupport::WriteFileBytes(ini, std::vector<uint8_t>(iniText.begin(), iniText.end()));

    RegistrySnapshot expected = SnapshotRegistry(HKEY_CURRENT_USER, m_Key.Path());
    const std::wstring changed = L"\\Target|Changed";
    const std::wstring newValue = L"new";
    expected[changed].second.assign(
        reinterpret_cast<const uint8_t*>(newValue.c_str()),
        reinterpret_cast<const uint8_t*>(newValue.c_str() + newValue.size() + 1));
    expected.erase(L"\\Target|Removed");

    const std::wstring document = m_Folder.File(L"request.xen");
    const std::string controls = Store("Changed", "string", "new") + Delete("Removed");
    WriteStorageDocument(
        document,
        "<?xml version=\"1.0\"?>\n<Storage version=\"1.0\">\n"
        "  <Registry assign=\"reliability\"><Root>HKCU</Root><Path>" +
            Narrow(m_Key.Child(L"Target")) +
            "</Path><AccessMode>default</AccessMode><AccessRight>default</AccessRight>\n" +
            controls + "  </Registry>\n  <IniFile assign=\"reliability\"><Path>" + Narrow(ini) +
            "</Path><Section>Target</Section>\n" + controls + "  </IniFile>\n</Storage>\n");
    EXPECT_EQ(S_OK, Send(document));

    EXPECT_EQ(expected, SnapshotRegistry(HKEY_CURRENT_USER, m_Key.Path()));
    EXPECT_EQ(std::wstring(L"Changed=new\0Kept=same\0", 22), IniSection(ini, L"Target"));
    EXPECT_EQ(std::wstring(L"Changed=other\0Removed=other\0", 28), IniSection(ini, L"Other"));
    EXPECT_FALSE(TestSupport::FileExists(document)) << "a complete walk deletes the document";
}

// The document goes only when the walk read it to its end; a document that fails in its
// last section, or whose text ends inside a section, stays for the host to look at.
TEST_F(NothingLostTest, ADocumentIsDeletedOnlyAfterACompleteWalk) {
    const std::string complete = SteadyStorageDocument(m_Key.Child(L"Walk"));
    std::string unsaved = complete;
    unsaved.replace(unsaved.find(" save=\"yes\""), 11, "");

    const std::wstring saved = m_Folder.File(L"saved.xen");
    WriteStorageDocument(saved, complete);
    EXPECT_EQ(S_OK, Send(saved));
    EXPECT_TRUE(TestSupport::FileExists(saved)) << "save=\"yes\" keeps it";

    const std::wstring normal = m_Folder.File(L"normal.xen");
    WriteStorageDocument(normal, unsaved);
    EXPECT_EQ(S_OK, Send(normal));
    EXPECT_FALSE(TestSupport::FileExists(normal));

    const std::wstring broken = m_Folder.File(L"broken.xen");
    WriteStorageDocument(broken, BrokenStorageDocument(m_Key.Child(L"Walk")));
    Send(broken);
    EXPECT_TRUE(TestSupport::FileExists(broken)) << "its last section failed";
    EXPECT_TRUE(
        m_Module.Log().Contains(L"*** CXmlParserStorageControl::QueryValue() - "
                                L"this->m_rXmlParser failed to parse element. ["));

    const std::wstring cut = m_Folder.File(L"cut.xen");
    WriteStorageDocument(cut, unsaved.substr(0, unsaved.find("<Name>Missing")));
    EXPECT_GT(0, Send(cut));
    EXPECT_TRUE(TestSupport::FileExists(cut)) << "its text ended inside a section";
    EXPECT_EQ(L"steady",
              TestSupport::ReadRegString(HKEY_CURRENT_USER, m_Key.Child(L"Walk"), L"Text"));
}

// Wherever the reader breaks off (after a whole section, between sections, before the
// root's end), the document is kept for the host to look at, as when its last section
// fails; the commands of the sections read before still run.
TEST_F(NothingLostTest, ADocumentTheReaderBrokeOffIsKeptWhereverItBroke) {
    std::string whole = SteadyStorageDocument(m_Key.Child(L"Cut"));
    whole.replace(whole.find(" save=\"yes\""), 11, "");
    const size_t sectionStart = whole.find("  <Registry");
    const size_t sectionEnd = whole.find("</Registry>\n") + 12;
    whole.insert(sectionEnd, whole.substr(sectionStart, sectionEnd - sectionStart));
    const size_t firstEnd = whole.find("</Registry>") + 11;
    const size_t secondStart = whole.find("<Registry", firstEnd);
    const size_t lastEnd = whole.rfind("</Registry>") + 12;
    for (const auto& [where, length] : {std::make_pair("after a whole section", firstEnd),
                                        std::make_pair("between sections", secondStart),
                                        std::make_pair("before the root's end", lastEnd)}) {
        TestSupport::WriteRegValue(HKEY_CURRENT_USER, m_Key.Child(L"Cut"), L"Text", REG_SZ, L"",
                                   sizeof(wchar_t));
        const std::wstring cut = m_Folder.File(L"cut.xen");
        WriteStorageDocument(cut, whole.substr(0, length));
        EXPECT_EQ(S_OK, Send(cut)) << where << ": the commands built run, and answer";
        EXPECT_EQ(L"steady",
                  TestSupport::ReadRegString(HKEY_CURRENT_USER, m_Key.Child(L"Cut"), L"Text"))
            << where;
        EXPECT_TRUE(TestSupport::FileExists(cut)) << where;
    }
    EXPECT_EQ(3u, m_Module.Log().Count(L"*** CXmlParserStorageControl::QueryValue() - "
                                       L"this->m_rXmlParser failed to parse. [0xc00cee01]"));
}

}  // namespace
