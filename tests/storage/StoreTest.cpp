// The registry and INI-file stores against scratch keys and files.

#include <gtest/gtest.h>

#include "NativeRegistry.h"
#include "Scratch.h"
#include "ZorvComn_IniFile.h"
#include "ZorvComn_Registry.h"

namespace {

using namespace ZorvCommon::Storage;
using TestSupport::ScratchRegistryKey;

// The stores throw their exceptions by pointer: catch one, delete it and hand back its
// Win32 error (0 when nothing was thrown).
template <typename Call>
uint32_t ThrownError(Call call) {
    try {
        call();
    } catch (Exception* e) {
        const uint32_t error = e->m_Error;
        delete e;
        return error;
    }
    return 0;
}

Key KeyOf(const ScratchRegistryKey& scratch, const std::wstring& suffix = L"") {
    return Key(StorageTypeRegistry, scratch.Root(), scratch.Path() + suffix);
}

void WriteRaw(const ScratchRegistryKey& scratch, const wchar_t* name, DWORD type, const void* data,
              DWORD size) {
    TestSupport::WriteRegValue(scratch.Root(), scratch.Path(), name, type, data, size);
}

TEST(Registry, StringsAreReadAsStoredAndValuesOnlyAsTheirType) {
    ScratchRegistryKey scratch(L"storage-values");
    const uint32_t number = 42;
    WriteRaw(scratch, L"D", REG_DWORD, &number, 4);
    WriteRaw(scratch, L"FourBytes", REG_BINARY, &number, 4);
    WriteRaw(scratch, L"Unterminated", REG_SZ, L"abc", 3 * sizeof(wchar_t));
    WriteRaw(scratch, L"OddBytes", REG_SZ, L"abcd", 7);  // the last character cut to one byte
    Registry registry;
    ASSERT_TRUE(registry.Open(KeyOf(scratch), L""));
    EXPECT_EQ(L"abc", registry.QueryString(L"Unterminated", L""));
    EXPECT_EQ(L"abcd", registry.QueryString(L"OddBytes", L""));
    EXPECT_EQ(13u, ThrownError([&] { (void)registry.QueryString(L"D", L""); }));
    EXPECT_EQ(13u, ThrownError([&] { (void)registry.QueryUint32(L"FourBytes", 0); }));
    uint32_t error = 0xdeadbeef;
    EXPECT_EQ(9u, registry.QueryUint32(L"Missing", 9, &error));
    EXPECT_EQ(2u, error);
    EXPECT_EQ(5u, ThrownError([&] { (void)registry.SetUint32(L"D", 1); })) << "Open only reads";

    const std::wstring longText(5000, L'z');  // beyond the room a first read offers
    ASSERT_TRUE(registry.Create(KeyOf(scratch), L"") && registry.SetString(L"Long", longText));
    EXPECT_EQ(longText, registry.QueryString(L"Long", L""));
}

TEST(Registry, PathsJoinWithOneBackslashAndViewsSelectTheTree) {
    EXPECT_EQ(L"A\\B", JoinKeyPath(L"A\\", L"B"));
    ScratchRegistryKey scratch(L"storage-view", HKEY_LOCAL_MACHINE);
    const ScratchRegistryKey redirected(L"storage-view", HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY);
    Registry view32(RegistryView32), view64(RegistryView64);
    ASSERT_TRUE(view32.Create(KeyOf(scratch), L"Child") && view32.SetString(L"V", L"32"));
    ASSERT_TRUE(view64.Create(KeyOf(scratch, L"\\"), L"Child") && view64.SetString(L"V", L"64"));
    EXPECT_EQ(L"32", TestSupport::ReadRegString(
                         HKEY_LOCAL_MACHINE,
                         L"Software\\Wow6432Node\\OstrelTests\\storage-view\\Child", L"V"));
    EXPECT_EQ(L"64", TestSupport::ReadRegString(HKEY_LOCAL_MACHINE, scratch.Child(L"Child"), L"V",
                                                KEY_WOW64_64KEY));
    ASSERT_TRUE(view32.OpenForDelete(KeyOf(scratch), L""));
    EXPECT_TRUE(view32.DeleteKey(L"Child"));
    EXPECT_EQ(2u, ThrownError([&] { (void)view32.Open(KeyOf(scratch), L"Child"); }));
    EXPECT_TRUE(view64.Open(KeyOf(scratch), L"Child")) << "the 64-bit key is untouched";
}

// The nodes of a tree delete: opened as named (a link itself) relative to their parent,
// and deleted through their own handle, which leaves a link's target alone. A delete by
// name goes one level; enumerations append to the list they are given.
TEST(Registry, NodesAreOpenedAsNamedAndDeletedThroughTheirHandle) {
    ScratchRegistryKey scratch(L"storage-node");
    Registry registry;
    ASSERT_TRUE(registry.Create(KeyOf(scratch), L"Target\\Sub"));
    ASSERT_TRUE(registry.Create(KeyOf(scratch), L"Target") && registry.SetUint32(L"V", 1));
    const TestSupport::ScratchRegistryLink link(scratch.Root(), scratch.Child(L"Link"),
                                                scratch.Root(), scratch.Child(L"Target"));
    Registry parent;
    ASSERT_TRUE(parent.OpenNodeForDelete(KeyOf(scratch), L""));
    Registry node;
    ASSERT_TRUE(node.OpenNodeForDelete(parent, L"Link"));
    std::vector<std::wstring> names;
    ASSERT_TRUE(node.EnumKeys(names));
    EXPECT_TRUE(names.empty()) << "the link's own sub-keys, not its target's";

    EXPECT_TRUE(node.DeleteOpenKey());
    EXPECT_FALSE(link.Exists());
    EXPECT_TRUE(TestSupport::RegValueExists(scratch.Root(), scratch.Child(L"Target"), L"V"));
    EXPECT_TRUE(TestSupport::RegKeyExists(scratch.Root(), scratch.Child(L"Target\\Sub")));
    EXPECT_EQ(6u, ThrownError([&] { (void)node.DeleteOpenKey(); })) << "closed by the delete";
    EXPECT_EQ(5u, ThrownError([&] { (void)parent.DeleteOpenKey(); })) << "it has sub-keys";

    ASSERT_TRUE(registry.OpenForEnum(KeyOf(scratch), L"Target"));
    names = {L"kept"};
    ASSERT_TRUE(registry.EnumKeys(names) && registry.EnumValues(names));
    EXPECT_EQ((std::vector<std::wstring>{L"kept", L"Sub", L"V"}), names);
    ASSERT_TRUE(registry.OpenForDelete(KeyOf(scratch), L"Target"));
    EXPECT_TRUE(registry.DeleteValue(L"V"));
    EXPECT_EQ(2u, ThrownError([&] { (void)registry.DeleteValue(std::wstring(L"V")); }));
    ASSERT_TRUE(registry.OpenForDelete(KeyOf(scratch), L""));
    EXPECT_EQ(5u, ThrownError([&] { (void)registry.DeleteKey(L"Target"); }));
    EXPECT_TRUE(registry.DeleteKey(L"Target\\Sub") && registry.DeleteKey(L"Target"));
    EXPECT_FALSE(TestSupport::RegKeyExists(scratch.Root(), scratch.Child(L"Target")));
}

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
