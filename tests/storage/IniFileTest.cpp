#include <gtest/gtest.h>

#include "Scratch.h"
#include "ThrownError.h"
#include "ZorvComn_IniFile.h"

namespace {

using namespace ZorvCommon::Storage;
using StorageTests::ThrownError;

TEST(IniFile, OnlyTheThrowingQueriesReadTheFile) {
    const TestSupport::ScratchFolder folder(L"storage-ini");
    const std::wstring file = folder.File(L"test.ini");
    // What the profile functions read, bypassing the class.
    const auto stored = [&](const wchar_t* name, const wchar_t* value) {
        wchar_t text[64] = {};
        GetPrivateProfileStringW(name, value, L"<absent>", text, 64, file.c_str());
        return std::wstring(text);
    };
    IniFile ini;
    ASSERT_TRUE(ini.Create(Key(StorageTypeIniFile, file, L"Main"), L""));
    EXPECT_EQ(2u, ThrownError([&] { (void)ini.QueryString(L"Text", L"x"); })) << "no file yet";
    ASSERT_TRUE(ini.SetString(L"Text", std::wstring(300, L'y')) && ini.SetUint32(L"N", 12));
    ASSERT_TRUE(ini.SetString(L"Marker", L"\x1")) << "the text of the first absence probe";
    EXPECT_EQ(L"12", stored(L"Main", L"N"));

    uint32_t error = 0;
    EXPECT_EQ(L"default", ini.QueryString(L"Text", L"default", &error));
    EXPECT_EQ(7u, ini.QueryUint32(L"N", 7, &error));
    EXPECT_EQ(std::wstring(300, L'y'), ini.QueryString(L"Text", L""));
    EXPECT_EQ(12u, ini.QueryUint32(L"N", 7));
    EXPECT_EQ(L"\x1", ini.QueryString(L"Marker", L""));
    EXPECT_EQ(2u, ThrownError([&] { (void)ini.QueryUint32(L"Missing", 3); }));

    ASSERT_TRUE(ini.Open(Key(StorageTypeIniFile, file, L"Main"), L"Other"))
        << "the name selects the section";
    ASSERT_TRUE(ini.SetString(L"A", L"1") && ini.SetString(L"B", L"2"));
    std::vector<std::wstring> names = {L"kept"};
    ASSERT_TRUE(ini.EnumValues(names));
    EXPECT_EQ((std::vector<std::wstring>{L"kept", L"A", L"B"}), names);
    EXPECT_TRUE(ini.DeleteValue(L"A"));
    EXPECT_EQ(L"<absent>", stored(L"Other", L"A"));
    EXPECT_TRUE(ini.DeleteKey(L""));
    EXPECT_EQ(L"<absent>", stored(L"Other", L"B")) << "the whole section goes";
    EXPECT_EQ(L"12", stored(L"Main", L"N"));
}

}  // namespace
