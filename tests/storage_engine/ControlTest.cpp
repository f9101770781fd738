#include <gtest/gtest.h>

#include "LogCapture.h"
#include "NativeRegistry.h"
#include "Scratch.h"
#include "StorageControl.h"
#include "StorageProduct.h"

namespace {

using namespace Ostrel;
using namespace Ostrel::Storage;
using TestSupport::LogCapture;
using TestSupport::RegKeyExists;
using TestSupport::ScratchFolder;
using TestSupport::ScratchRegistryKey;
using ZorvCommon::Storage::Key;
using ZorvCommon::Storage::StorageTypeIniFile;
using ZorvCommon::Storage::StorageTypeRegistry;

Key RegistryKey(const ScratchRegistryKey& scratch) {
    return Key(StorageTypeRegistry, scratch.Root(), scratch.Path());
}

void CreateKey(const ScratchRegistryKey& scratch, const std::wstring& relative) {
    const uint32_t value = 1;
    TestSupport::WriteRegValue(scratch.Root(), scratch.Child(relative), L"V", REG_DWORD, &value,
                               sizeof(value));
}

// Deletes the whole section name through a control over key (accessMode may be null):
// open for deletion, delete, close. Returns what the delete gave.
int32_t DeleteSection(const Key& key, const std::wstring& name,
                      const uint32_t* accessMode = nullptr) {
    Control control;
    EXPECT_EQ(kSuccess, control.Initialize(key, accessMode));
    EXPECT_EQ(kSuccess, control.Open(OpenTypeDelete, name));
    const int32_t hr = control.DeteleSection();
    EXPECT_EQ(kSuccess, control.Close(false));
    return hr;
}

TEST(Control, GuardsItsStates) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-control-state");
    Control control;
    EXPECT_EQ(kInvalidObject, control.OpenEx(OpenTypeQuery, L"", true));
    EXPECT_EQ(kInvalidObject, control.Close(false));

    const uint32_t mode5 = 5;
    EXPECT_EQ(kNotSupported, control.Initialize(RegistryKey(scratch), &mode5));
    EXPECT_TRUE(
        log.Contains(L"*** Control::Initialize() - Specified Access Mode was not supported. [5]"));
    EXPECT_EQ(kNotSupported, control.Initialize(Key(2, scratch.Root(), scratch.Path()), nullptr));

    ASSERT_EQ(kSuccess, control.Initialize(RegistryKey(scratch), nullptr));
    EXPECT_EQ(kWrongState, control.Initialize(RegistryKey(scratch), nullptr));
    ASSERT_EQ(kSuccess, control.Open(OpenTypeQuery, L""));
    EXPECT_EQ(kWrongOpenState, control.Open(OpenTypeQuery, L""));
    EXPECT_EQ(kSuccess, control.Close(true));
    EXPECT_EQ(kWrongState, control.Close(true));
    EXPECT_TRUE(log.Contains(L"*** Control::Close() - _eOpenType was already closed."));
    EXPECT_EQ(kNotSupported, control.Open(9, L""));
    EXPECT_TRUE(
        log.Contains(L"*** Control::OpenEx() - Specified Open Type was not supported. [9]"));

    // Only a registry store may ask for more than the default access.
    EXPECT_EQ(kNotSupported, control.OpenEx(OpenTypeQuery, L"", false));
    EXPECT_TRUE(
        log.Contains(L"*** Control::OpenEx() - Specified Access was not allowed as default access "
                     L"right. [1][0]"));
    ASSERT_EQ(kSuccess, control.OpenEx(OpenTypeStore, L"Made\\Deep", false));
    EXPECT_TRUE(RegKeyExists(scratch.Root(), scratch.Child(L"Made\\Deep")));
    std::wstring text;
    EXPECT_EQ(kWrongOpenState, control.QueryValue(L"V", text));
    EXPECT_EQ(kSuccess, control.Uninitialize()) << "an open section is closed";
    EXPECT_FALSE(control.IsInitialized());
}

TEST(Control, ReadsAndWritesEveryTypeAndReportsAbsence) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-control-values");
    Control control;
    const uint32_t check = AccessModeCheck;
    ASSERT_EQ(kSuccess, control.Initialize(RegistryKey(scratch), &check)) << "3 acts as 0";
    ASSERT_EQ(kSuccess, control.Open(OpenTypeStore, L"Values"));
    ZorvCommon::ByteArray bytes;
    const uint8_t raw[] = {1, 2, 3};
    ASSERT_TRUE(bytes.AddData(raw, 3));
    EXPECT_EQ(kSuccess, control.StoreValue(L"S", std::wstring(L"text")));
    EXPECT_EQ(kSuccess, control.StoreValue(L"B", bytes));
    EXPECT_EQ(kSuccess, control.StoreValue(L"D", uint32_t{7}));
    EXPECT_EQ(kSuccess, control.StoreValue(L"Q", uint64_t{1} << 40));
    std::wstring text;
    EXPECT_EQ(kWrongOpenState, control.QueryValue(L"S", text));
    EXPECT_TRUE(
        log.Contains(L"*** Control::QueryValue() - _eOpenType was not opened for query. [2]"));
    ASSERT_EQ(kSuccess, control.Close(true));
    EXPECT_EQ(L"text", TestSupport::ReadRegString(scratch.Root(), scratch.Child(L"Values"), L"S"))
        << "mode 3 writes to the default view";

    ASSERT_EQ(kSuccess, control.Open(OpenTypeQuery, L"Values"));
    ZorvCommon::ByteArray readBytes;
    uint32_t number32 = 0;
    uint64_t number64 = 0;
    EXPECT_EQ(kSuccess, control.QueryValue(L"S", text));
    EXPECT_EQ(kSuccess, control.QueryValue(L"B", readBytes));
    EXPECT_EQ(kSuccess, control.QueryValue(L"D", number32));
    EXPECT_EQ(kSuccess, control.QueryValue(L"Q", number64));
    EXPECT_EQ(L"text", text);
    EXPECT_EQ(3u, readBytes.Length());
    EXPECT_EQ(7u, number32);
    EXPECT_EQ(uint64_t{1} << 40, number64);
    EXPECT_EQ(kAbsentAccepted, control.QueryValue(L"Missing", text));
    EXPECT_EQ(kAbsentAccepted, control.QueryValue(L"Missing", number32));
    EXPECT_EQ(kNotFound, control.QueryValue(L"Missing", readBytes));
    EXPECT_EQ(L"text", text) << "a failed query leaves the value alone";
    EXPECT_EQ(static_cast<int32_t>(0x8007000D), control.QueryValue(L"S", number32))
        << "a value of another type";
    EXPECT_TRUE(log.Contains(
        L"*** Control::QueryValue() - Got ZorvCommon::Storage::Exception(). [0x00000002]"));
    EXPECT_TRUE(log.Contains(L"[Missing]"));
    EXPECT_EQ(kWrongOpenState, control.StoreValue(L"S", std::wstring(L"x")));
    EXPECT_TRUE(
        log.Contains(L"*** Control::StoreValue() - _eOpenType was not opened for query. [1]"));
    ASSERT_EQ(kSuccess, control.Close(true));

    EXPECT_EQ(kNotFound, control.Open(OpenTypeQuery, L"NoSuchKey"));
    ASSERT_EQ(kSuccess, control.Open(OpenTypeDelete, L"Values"));
    EXPECT_EQ(kSuccess, control.DeteleEntry(L"S"));
    EXPECT_EQ(kAbsentAccepted, control.DeteleEntry(L"S"));
    ASSERT_EQ(kSuccess, control.Close(false));
}

TEST(Control, IniFilesRefuseSixtyFourBitValuesAndExtraAccess) {
    LogCapture log;
    ScratchFolder folder(L"engine-control-ini");
    const std::wstring path = folder.File(L"a.ini");
    Control control;
    ASSERT_EQ(kSuccess, control.Initialize(Key(StorageTypeIniFile, path, L"Main"), nullptr));
    EXPECT_EQ(kNotSupported, control.OpenEx(OpenTypeStore, L"Main", false));
    ASSERT_EQ(kSuccess, control.Open(OpenTypeStore, L"Main"));
    EXPECT_EQ(kNotSupported, control.StoreValue(L"Q", uint64_t{1}));
    EXPECT_TRUE(
        log.Contains(L"*** Control::StoreValue() - Specified Access Type was not supported. [1]"));
    EXPECT_EQ(kSuccess, control.StoreValue(L"D", uint32_t{12}));
    EXPECT_EQ(kSuccess, control.StoreValue(L"S", std::wstring(L"text")));
    ASSERT_EQ(kSuccess, control.Close(true));

    ASSERT_EQ(kSuccess, control.Open(OpenTypeQuery, L"Main"));
    uint64_t number64 = 0;
    uint32_t number32 = 0;
    std::wstring text;
    EXPECT_EQ(kNotSupported, control.QueryValue(L"Q", number64));
    EXPECT_EQ(kSuccess, control.QueryValue(L"D", number32));
    EXPECT_EQ(12u, number32);
    EXPECT_EQ(kSuccess, control.QueryValue(L"S", text));
    EXPECT_EQ(L"text", text);
    EXPECT_EQ(kAbsentAccepted, control.QueryValue(L"Missing", text));
    ASSERT_EQ(kSuccess, control.Close(true));

    ASSERT_EQ(kSuccess, control.Open(OpenTypeDelete, L"Main"));
    EXPECT_EQ(kSuccess, control.DeteleSection());
    ASSERT_EQ(kSuccess, control.Close(false));
    ASSERT_EQ(kSuccess, control.Open(OpenTypeQuery, L"Main"));
    EXPECT_EQ(kAbsentAccepted, control.QueryValue(L"S", text));
}

TEST(Control, DeletesNestedKeysDeepestFirst) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-control-tree");
    CreateKey(scratch, L"Top\\A\\A1\\A11");
    CreateKey(scratch, L"Top\\A\\A2");
    CreateKey(scratch, L"Top\\B");
    EXPECT_EQ(kSuccess, DeleteSection(RegistryKey(scratch), L"Top"));
    EXPECT_FALSE(RegKeyExists(scratch.Root(), scratch.Child(L"Top")));
    EXPECT_TRUE(RegKeyExists(scratch.Root(), scratch.Path()));

    Control control;
    ASSERT_EQ(kSuccess, control.Initialize(RegistryKey(scratch), nullptr));
    std::vector<std::wstring> names;
    EXPECT_EQ(kWrongOpenState, control.EnumSection(names));
    EXPECT_EQ(kNotFound, control.Open(OpenTypeEnum, L"Top"));
}

// A sub-key that cannot be opened (its name holds a NUL) stops the walk: the section
// and the keys not reached stay.
TEST(Control, AFailureBelowKeepsTheSection) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-control-keep");
    CreateKey(scratch, L"Top\\Below");
    const TestSupport::ScratchUnopenableKey hidden(scratch.Root(), scratch.Child(L"Top\\Below"));
    EXPECT_EQ(kNotFound, DeleteSection(RegistryKey(scratch), L"Top"));
    EXPECT_TRUE(log.Contains(L"*** Control::DeteleSection() - cControlForEntry.Open() failed."));
    EXPECT_TRUE(
        log.Contains(L"*** Control::DeteleSection() - Failed to delete all entiries under the "
                     L"section() failed."));
    EXPECT_TRUE(RegKeyExists(scratch.Root(), scratch.Child(L"Top\\Below")));
}

// Deleting a section never reaches through a registry link: a link below the section,
// or the section's own key when it is one, goes itself, and its target keeps its values
// and sub-keys. The other keys of the section go as usual.
TEST(Control, DeletesALinkItselfAndNeverItsTarget) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-control-link");
    CreateKey(scratch, L"Target\\Sub");
    CreateKey(scratch, L"Target");
    CreateKey(scratch, L"Top\\Plain\\Deep");
    const TestSupport::ScratchRegistryLink below(scratch.Root(), scratch.Child(L"Top\\Plain\\Link"),
                                                 scratch.Root(), scratch.Child(L"Target"));
    const TestSupport::ScratchRegistryLink alias(scratch.Root(), scratch.Child(L"Alias"),
                                                 scratch.Root(), scratch.Child(L"Target"));
    struct Case {
        const wchar_t* section;
        const TestSupport::ScratchRegistryLink& link;
    };
    for (const Case& test : {Case{L"Top", below}, Case{L"Alias", alias}}) {
        EXPECT_EQ(kSuccess, DeleteSection(RegistryKey(scratch), test.section)) << test.section;
        EXPECT_FALSE(test.link.Exists()) << test.section;
        EXPECT_TRUE(TestSupport::RegValueExists(scratch.Root(), scratch.Child(L"Target"), L"V"))
            << test.section;
        EXPECT_TRUE(RegKeyExists(scratch.Root(), scratch.Child(L"Target\\Sub"))) << test.section;
    }
    EXPECT_FALSE(RegKeyExists(scratch.Root(), scratch.Child(L"Top")));
}

// A section of the 32-bit view is emptied in that view: the 64-bit key of the same path
// and what is below it stay.
TEST(Control, TheNestedDeleteKeepsTheSectionsView) {
    LogCapture log;
    const ScratchRegistryKey scratch64(L"engine-control-view", HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY);
    const ScratchRegistryKey scratch32(L"engine-control-view", HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY);
    const uint32_t value = 1;
    TestSupport::WriteRegValue(HKEY_LOCAL_MACHINE, scratch32.Child(L"Top\\A32\\Deep"), L"V",
                               REG_DWORD, &value, sizeof(value), KEY_WOW64_32KEY);
    TestSupport::WriteRegValue(HKEY_LOCAL_MACHINE, scratch64.Child(L"Top\\A64\\Deep"), L"V",
                               REG_DWORD, &value, sizeof(value), KEY_WOW64_64KEY);

    const uint32_t mode = AccessMode32;
    EXPECT_EQ(kSuccess, DeleteSection(RegistryKey(scratch32), L"Top", &mode));
    EXPECT_FALSE(RegKeyExists(HKEY_LOCAL_MACHINE, scratch32.Child(L"Top"), KEY_WOW64_32KEY));
    EXPECT_TRUE(
        RegKeyExists(HKEY_LOCAL_MACHINE, scratch64.Child(L"Top\\A64\\Deep"), KEY_WOW64_64KEY));
}

// A flush that fails (the key was deleted behind the section's back) is the close's
// result, but the section is closed all the same: the next open succeeds.
TEST(Control, AFailedFlushStillClosesTheSection) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-control-flush");
    Control control;
    ASSERT_EQ(kSuccess, control.Initialize(RegistryKey(scratch), nullptr));
    ASSERT_EQ(kSuccess, control.Open(OpenTypeStore, L"Doomed"));
    EXPECT_EQ(kSuccess, control.StoreValue(L"V", uint32_t{1}));
    ASSERT_EQ(ERROR_SUCCESS, RegDeleteKeyW(scratch.Root(), scratch.Child(L"Doomed").c_str()));
    constexpr int32_t kKeyDeleted = static_cast<int32_t>(0x800703FA);
    EXPECT_EQ(kKeyDeleted, control.Close(true));
    EXPECT_TRUE(
        log.Contains(L"*** Control::Close() - Got ZorvCommon::Storage::Exception(). [0x000003fa]"));

    ASSERT_EQ(kSuccess, control.Open(OpenTypeStore, L"Again"));
    EXPECT_EQ(kSuccess, control.StoreValue(L"V", uint32_t{2}));
    EXPECT_EQ(kSuccess, control.Close(true));
    EXPECT_TRUE(TestSupport::RegValueExists(scratch.Root(), scratch.Child(L"Again"), L"V"));
}

TEST(Control, DocumentRootNumbersBecomePredefinedHandles) {
    EXPECT_EQ(HKEY_CLASSES_ROOT, ToRegistryRoot(0x80000000u));
    EXPECT_EQ(HKEY_CURRENT_USER, ToRegistryRoot(0x80000001u));
    EXPECT_EQ(HKEY_LOCAL_MACHINE, ToRegistryRoot(0x80000002u));
    EXPECT_EQ(HKEY_USERS, ToRegistryRoot(0xFFFFFFFF80000003ull));
    EXPECT_EQ(reinterpret_cast<HKEY>(0x80000004ull), ToRegistryRoot(0x80000004u));
}

TEST(QueryVersion, ReadsTheProductKey) {
    LogCapture log;
    TestSupport::ProductKey product;
    product.SetVersion(L"3.1.4");
    std::wstring version = L"stale";
    EXPECT_EQ(kSuccess, QueryVersion(version));
    EXPECT_EQ(L"3.1.4", version);

    product.RemoveValue(L"Version");
    EXPECT_EQ(kNotFound, QueryVersion(version));
    EXPECT_EQ(L"", version);
    product.RemoveKey();
    EXPECT_EQ(kNotFound, QueryVersion(version));
    EXPECT_EQ(
        2u,
        log.Count(
            L"*** QueryVersion() - ZorvCommon::Storage::Reg::QueryValue() failed. [0x00000002]"));
}

}  // namespace
