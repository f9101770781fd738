// A request changes exactly what its document names, and a document the reader broke off
// is kept for the host to look at.

#include <gtest/gtest.h>

#include <string>

#include "ReliabilityKit.h"

namespace {

using namespace Reliability;
using namespace TestSupport;

std::wstring IniSection(const std::wstring& file, const wchar_t* section) {
    wchar_t buffer[4096] = {};
    return std::wstring(
        buffer, GetPrivateProfileSectionW(section, buffer, ARRAYSIZE(buffer), file.c_str()));
}

class NothingLostTest : public ::testing::Test {
protected:
    HRESULT Send(const std::string& text) {
        WriteDocument(m_Document, kStorageKey, text);
        SrvFrwk::Interface::StorageControlRequest request;
        request.DocumentPath = m_Document;
        request.CommandArgument = L"t";
        return m_Module.Utility().Send(SrvFrwk::Interface::ValueTypeStorageControl, &request);
    }

    ModuleUnderTest m_Module;
    ScratchRegistryKey m_Key{L"ReliabilityNothingLost"};
    ScratchFolder m_Folder{L"ReliabilityNothingLost"};
    std::wstring m_Document = m_Folder.File(L"request.xen");
};

// A document that stores one value and deletes another in one key and one INI section
// changes exactly those; every other key, value and section stays as it was.
TEST_F(NothingLostTest, OnlyTheNamedValuesOfTheNamedKeysAndSectionsChange) {
    for (const wchar_t* key : {L"Target", L"Target\\Child", L"Sibling"}) {
        WriteRegString(HKEY_CURRENT_USER, m_Key.Child(key), L"Changed", L"old");
        WriteRegString(HKEY_CURRENT_USER, m_Key.Child(key), L"Removed", L"old");
    }
    const std::wstring ini = m_Folder.File(L"settings.ini");
    WriteFileBytes(ini, Bytes("[S]\r\nChanged=old\r\nRemoved=old\r\nKept=same\r\n[Other]\r\n"
                              "Changed=other\r\nRemoved=other\r\n"));
    RegistrySnapshot expected = SnapshotRegistry(HKEY_CURRENT_USER, m_Key.Path());
    expected[L"\\Target|Changed"].second = {'n', 0, 'e', 0, 'w', 0, 0, 0};
    expected.erase(L"\\Target|Removed");

    const std::string controls = Store("Changed", "string", "new") + Control("delete", "Removed");
    EXPECT_EQ(S_OK, Send(Storage(Registry(Narrow(m_Key.Child(L"Target")), controls) +
                                 IniFile(Narrow(ini), controls))));
    EXPECT_EQ(expected, SnapshotRegistry(HKEY_CURRENT_USER, m_Key.Path()));
    EXPECT_EQ(std::wstring(L"Changed=new\0Kept=same\0", 22), IniSection(ini, L"S"));
    EXPECT_EQ(std::wstring(L"Changed=other\0Removed=other\0", 28), IniSection(ini, L"Other"));
    EXPECT_FALSE(FileExists(m_Document)) << "a complete walk deletes the document";
}

// Wherever the reader breaks off (after a whole section, between sections, before the
// root's end), the document is kept for the host to look at, as when its last section
// fails; the commands of the sections read before still run.
TEST_F(NothingLostTest, ADocumentTheReaderBrokeOffIsKeptWhereverItBroke) {
    const std::string section =
        Registry(Narrow(m_Key.Child(L"Cut")), Store("Text", "string", "steady"));
    const std::string whole = Storage(section + "\r\n" + section);
    const size_t firstEnd = whole.find("</Registry>") + 11;
    for (const size_t length :
         {firstEnd, whole.find("<Registry", firstEnd), whole.rfind("</Registry>") + 11}) {
        WriteRegString(HKEY_CURRENT_USER, m_Key.Child(L"Cut"), L"Text", L"");
        EXPECT_EQ(S_OK, Send(whole.substr(0, length))) << length << ": the commands built run";
        EXPECT_EQ(L"steady", ReadRegString(HKEY_CURRENT_USER, m_Key.Child(L"Cut"), L"Text"))
            << length;
        EXPECT_TRUE(FileExists(m_Document)) << length;
    }
    EXPECT_EQ(3u, m_Module.Log().Count(L"*** CXmlParserStorageControl::QueryValue() - "
                                       L"this->m_rXmlParser failed to parse. [0xc00cee01]"));
}

}  // namespace
