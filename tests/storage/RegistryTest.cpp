#include <gtest/gtest.h>

#include <algorithm>

#include "NativeRegistry.h"
#include "Scratch.h"
#include "ThrownError.h"
#include "ZorvComn_Registry.h"

namespace {

using namespace ZorvCommon::Storage;
using StorageTests::ThrownError;
using TestSupport::ScratchRegistryKey;
using ZorvCommon::ByteArray;

Key KeyOf(const ScratchRegistryKey& scratch, const std::wstring& suffix = L"") {
    return Key(StorageTypeRegistry, scratch.Root(), scratch.Path() + suffix);
}

void WriteRaw(const ScratchRegistryKey& scratch, const wchar_t* name, DWORD type, const void* data,
              DWORD size) {
    TestSupport::WriteRegValue(scratch.Root(), scratch.Path(), name, type, data, size);
}

TEST(Registry, ValuesRoundTripAndStringsAreReadAsStored) {
    ScratchRegistryKey scratch(L"storage-values");
    Registry registry;
    ASSERT_TRUE(registry.Create(KeyOf(scratch), L""));
    const uint8_t bytes[] = {0x00, 0x01, 0xFF};
    EXPECT_TRUE(registry.SetString(L"Text", L"hello") && registry.SetUint32(L"D", 0xFFFFFFFEu) &&
                registry.SetUint64(L"Q", 0x1122334455667788ull) &&
                registry.SetBinary(L"Bytes", bytes, 3) && registry.SetBinary(L"None", nullptr, 0));
    EXPECT_EQ(L"hello", registry.QueryString(L"Text", L""));
    EXPECT_EQ(0xFFFFFFFEu, registry.QueryUint32(L"D", 0));
    EXPECT_EQ(0x1122334455667788ull, registry.QueryUint64(L"Q"));
    ByteArray array;
    ASSERT_TRUE(registry.QueryBinary(L"Bytes", array));
    ASSERT_EQ(3u, array.Length());
    EXPECT_EQ(0, memcmp(bytes, array.Data(), 3));
    ASSERT_TRUE(registry.QueryBinary(L"None", array));
    EXPECT_TRUE(array.IsEmpty()) << "a zero-length value replaces the earlier bytes";
    DWORD cbText = 0;
    RegGetValueW(scratch.Root(), scratch.Path().c_str(), L"Text", RRF_RT_ANY, nullptr, nullptr,
                 &cbText);
    EXPECT_EQ(6 * sizeof(wchar_t), cbText) << "REG_SZ is written with its NUL";

    const wchar_t expand[] = L"%SystemRoot%\\x";
    WriteRaw(scratch, L"Expand", REG_EXPAND_SZ, expand, sizeof(expand));
    WriteRaw(scratch, L"Unterminated", REG_SZ, L"abc", 3 * sizeof(wchar_t));
    WriteRaw(scratch, L"OddBytes", REG_SZ, L"abcd", 7);  // the last character cut to one byte
    EXPECT_EQ(expand, registry.QueryString(L"Expand", L"")) << "returned unexpanded";
    EXPECT_EQ(L"abc", registry.QueryString(L"Unterminated", L""));
    EXPECT_EQ(L"abcd", registry.QueryString(L"OddBytes", L""));
    const std::wstring longText(5000, L'z');  // beyond the room a first read offers
    EXPECT_TRUE(registry.SetString(L"Long", longText));
    EXPECT_EQ(longText, registry.QueryString(L"Long", L""));
}

TEST(Registry, WrongTypesThrowInvalidDataAndNonThrowingFormsGiveTheDefault) {
    ScratchRegistryKey scratch(L"storage-types");
    const uint64_t number = 42;
    WriteRaw(scratch, L"Dword", REG_DWORD, &number, 4);
    WriteRaw(scratch, L"FourBytes", REG_BINARY, &number, 4);
    Registry registry;
    ASSERT_TRUE(registry.Open(KeyOf(scratch), L""));
    ByteArray array;
    EXPECT_EQ(13u, ThrownError([&] { (void)registry.QueryString(L"Dword", L""); }));
    EXPECT_EQ(13u, ThrownError([&] { (void)registry.QueryUint32(L"FourBytes", 0); }));
    EXPECT_EQ(13u, ThrownError([&] { (void)registry.QueryUint64(L"Dword"); }));
    EXPECT_EQ(13u, ThrownError([&] { (void)registry.QueryBinary(L"Dword", array); }));
    EXPECT_EQ(5u, ThrownError([&] { (void)registry.SetUint32(L"Dword", 1); })) << "Open only reads";

    uint32_t error = 0xdeadbeef;
    EXPECT_EQ(42u, registry.QueryUint32(L"Dword", 9, &error));
    EXPECT_EQ(0u, error);
    EXPECT_EQ(9u, registry.QueryUint32(L"Missing", 9, &error));
    EXPECT_EQ(2u, error);
    EXPECT_EQ(L"d", registry.QueryString(L"Dword", L"d", &error));
    EXPECT_EQ(13u, error);
    std::wstring value;
    EXPECT_EQ(2u, Reg::QueryValue(scratch.Root(), scratch.Child(L"No"), L"V", L"d2", value));
    EXPECT_EQ(L"d2", value);
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

TEST(Registry, DeleteKeyIsOneLevelAndEnumerationsAppend) {
    ScratchRegistryKey scratch(L"storage-delete");
    Registry registry;
    ASSERT_TRUE(registry.Create(KeyOf(scratch), L"Parent\\Child"));
    ASSERT_TRUE(registry.CreateAllAccess(KeyOf(scratch), L"") && registry.SetUint32(L"V", 1));
    ASSERT_TRUE(registry.OpenForEnum(KeyOf(scratch), L""));
    std::vector<std::wstring> names = {L"kept"};
    ASSERT_TRUE(registry.EnumKeys(names) && registry.EnumValues(names));
    EXPECT_EQ((std::vector<std::wstring>{L"kept", L"Parent", L"V"}), names);

    ASSERT_TRUE(registry.OpenForDelete(KeyOf(scratch), L""));
    EXPECT_EQ(5u, ThrownError([&] { (void)registry.DeleteKey(L"Parent"); }));
    EXPECT_TRUE(registry.DeleteKey(L"Parent\\Child") && registry.DeleteKey(L"Parent"));
    EXPECT_TRUE(registry.DeleteValue(L"V"));
    EXPECT_EQ(2u, ThrownError([&] { (void)registry.DeleteValue(std::wstring(L"V")); }));
    EXPECT_FALSE(TestSupport::RegKeyExists(scratch.Root(), scratch.Child(L"Parent")));
}

// The nodes of a tree delete: opened as named (a link itself) relative to their parent,
// and deleted through their own handle, which leaves a link's target alone.
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
    EXPECT_EQ(2u, ThrownError([&] { (void)node.OpenNodeForDelete(parent, L"Missing"); }));
    EXPECT_EQ(scratch.Child(L"Link"), node.GetPath()) << "a failed open keeps the open key";

    EXPECT_TRUE(node.DeleteOpenKey());
    EXPECT_FALSE(link.Exists());
    EXPECT_TRUE(TestSupport::RegValueExists(scratch.Root(), scratch.Child(L"Target"), L"V"));
    EXPECT_TRUE(TestSupport::RegKeyExists(scratch.Root(), scratch.Child(L"Target\\Sub")));
    EXPECT_EQ(6u, ThrownError([&] { (void)node.DeleteOpenKey(); })) << "closed by the delete";
    EXPECT_EQ(5u, ThrownError([&] { (void)parent.DeleteOpenKey(); })) << "it has sub-keys";
}

}  // namespace
