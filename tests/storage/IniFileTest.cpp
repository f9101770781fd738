#include <gtest/gtest.h>

#include "Scratch.h"
#include "ThrownError.h"
#include "ZorvComn_IniFile.h"

namespace {

using namespace ZorvCommon::Storage;
using StorageTests::ThrownError;

// Each test gets a fresh folder; the file appears with the first write.
class IniFileTest : public testing::Test {
protected:
    Key Section(const wchar_t* section) const { return Key(StorageTypeIniFile, m_File, section); }
    // What the profile functions read, bypassing the class.
    std::wstring Stored(const wchar_t* section, const wchar_t* name) const {
        wchar_t text[64] = {};
        GetPrivateProfileStringW(section, name, L"<absent>", text, 64, m_File.c_str());
        return text;
    }

    TestSupport::ScratchFolder m_Folder{L"storage-ini"};
    const std::wstring m_File = m_Folder.File(L"test.ini");
    IniFile m_Ini;
};

TEST_F(IniFileTest, OnlyTheThrowingQueriesReadTheFile) {
    ASSERT_TRUE(m_Ini.Create(Section(L"Main"), L""));
    EXPECT_EQ(2u, ThrownError([&] { (void)m_Ini.QueryString(L"Text", L"x"); })) << "no file yet";
    ASSERT_TRUE(m_Ini.SetString(L"Text", std::wstring(300, L'y')) && m_Ini.SetUint32(L"N", 12));
    ASSERT_TRUE(m_Ini.SetString(L"Marker", L"\x1")) << "the text of the first absence probe";
    EXPECT_EQ(L"12", Stored(L"Main", L"N"));

    uint32_t error = 0;
    EXPECT_EQ(L"default", m_Ini.QueryString(L"Text", L"default", &error));
    EXPECT_EQ(7u, m_Ini.QueryUint32(L"N", 7, &error));
    EXPECT_EQ(std::wstring(300, L'y'), m_Ini.QueryString(L"Text", L""));
    EXPECT_EQ(12u, m_Ini.QueryUint32(L"N", 7));
    EXPECT_EQ(L"\x1", m_Ini.QueryString(L"Marker", L""));
    EXPECT_EQ(2u, ThrownError([&] { (void)m_Ini.QueryUint32(L"Missing", 3); }));

    ASSERT_TRUE(m_Ini.Open(Section(L"Main"), L"Other")) << "the name selects the section";
    ASSERT_TRUE(m_Ini.SetString(L"A", L"1") && m_Ini.SetString(L"B", L"2"));
    std::vector<std::wstring> names = {L"kept"};
    ASSERT_TRUE(m_Ini.EnumValues(names));
    EXPECT_EQ((std::vector<std::wstring>{L"kept", L"A", L"B"}), names);
    EXPECT_TRUE(m_Ini.DeleteValue(L"A"));
    EXPECT_EQ(L"<absent>", Stored(L"Other", L"A"));
    EXPECT_TRUE(m_Ini.DeleteKey(L""));
    EXPECT_EQ(L"<absent>", Stored(L"Other", L"B")) << "the whole section goes";
    EXPECT_EQ(L"12", Stored(L"Main", L"N"));
}

}  // namespace
