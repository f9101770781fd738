#include <gtest/gtest.h>

#include "LogCapture.h"
#include "NativeRegistry.h"
#include "Scratch.h"
#include "StorageControl.h"

namespace {

using namespace Ostrel;
using namespace Ostrel::Storage;
using TestSupport::LogCapture;
using TestSupport::RegKeyExists;
using TestSupport::RegValueExists;
using TestSupport::ScratchRegistryKey;
using ZorvCommon::Storage::Key;
using ZorvCommon::Storage::StorageTypeRegistry;

Key RegistryKey(const ScratchRegistryKey& scratch) {
    return Key(StorageTypeRegistry, scratch.Root(), scratch.Path());
}

// The key with a value V, in the scratch key's view.
void CreateKey(const ScratchRegistryKey& scratch, const std::wstring& relative, REGSAM view = 0) {
    const uint32_t value = 1;
    TestSupport::WriteRegValue(scratch.Root(), scratch.Child(relative), L"V", REG_DWORD, &value,
                               sizeof(value), view);
}

// Opens name over key for deletion, deletes the whole section and closes: the delete's result.
int32_t DeleteSection(const Key& key, const std::wstring& name,
                      const uint32_t* accessMode = nullptr) {
    Control control;
    EXPECT_EQ(kSuccess, control.Initialize(key, accessMode));
    EXPECT_EQ(kSuccess, control.Open(OpenTypeDelete, name));
    const int32_t hr = control.DeteleSection();
    EXPECT_EQ(kSuccess, control.Close(false));
    return hr;
}

// Every value type goes through the control in CommandAppend.AddsToWhatIsStored; here what
// a missing or wrong value gives, and a close whose flush fails (the key was deleted behind
// the section's back): its result, but the section is closed all the same.
TEST(Control, ReportsAbsenceByTypeAndClosesASectionWhoseFlushFailed) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-control-values");
    Control control;
    const uint32_t check = AccessModeCheck;
    ASSERT_EQ(kSuccess, control.Initialize(RegistryKey(scratch), &check)) << "3 acts as 0";
    ASSERT_EQ(kSuccess, control.Open(OpenTypeStore, L"Values"));
    EXPECT_EQ(kSuccess, control.StoreValue(L"S", std::wstring(L"text")));
    std::wstring text;
    EXPECT_EQ(kWrongOpenState, control.QueryValue(L"S", text));
    ASSERT_EQ(kSuccess, control.Close(true));
    EXPECT_EQ(L"text", TestSupport::ReadRegString(scratch.Root(), scratch.Child(L"Values"), L"S"))
        << "mode 3 writes to the default view";

    ASSERT_EQ(kSuccess, control.Open(OpenTypeQuery, L"Values"));
    ZorvCommon::ByteArray bytes;
    uint32_t number = 0;
    EXPECT_EQ(kSuccess, control.QueryValue(L"S", text));
    EXPECT_EQ(kAbsentAccepted, control.QueryValue(L"Missing", text));
    EXPECT_EQ(kAbsentAccepted, control.QueryValue(L"Missing", number));
    EXPECT_EQ(kNotFound, control.QueryValue(L"Missing", bytes));
    EXPECT_EQ(L"text", text) << "a failed query leaves the value alone";
    EXPECT_EQ(static_cast<int32_t>(0x8007000D), control.QueryValue(L"S", number));
    EXPECT_EQ(kWrongOpenState, control.StoreValue(L"S", std::wstring(L"x")));
    EXPECT_TRUE(
        log.Contains(L"*** Control::StoreValue() - _eOpenType was not opened for query. [1]"))
        << "a store names the query";
    ASSERT_EQ(kSuccess, control.Close(true));

    EXPECT_EQ(kNotFound, control.Open(OpenTypeQuery, L"NoSuchKey"));
    ASSERT_EQ(kSuccess, control.Open(OpenTypeDelete, L"Values"));
    EXPECT_EQ(kSuccess, control.DeteleEntry(L"S"));
    EXPECT_EQ(kAbsentAccepted, control.DeteleEntry(L"S"));
    ASSERT_EQ(kSuccess, control.Close(false));

    ASSERT_EQ(kSuccess, control.Open(OpenTypeStore, L"Doomed"));
    EXPECT_EQ(kSuccess, control.StoreValue(L"V", uint32_t{1}));
    ASSERT_EQ(ERROR_SUCCESS, RegDeleteKeyW(scratch.Root(), scratch.Child(L"Doomed").c_str()));
    EXPECT_EQ(static_cast<int32_t>(0x800703FA), control.Close(true)) << "the key was deleted";
    ASSERT_EQ(kSuccess, control.Open(OpenTypeStore, L"Again"));
    EXPECT_EQ(kSuccess, control.StoreValue(L"V", uint32_t{2}));
    EXPECT_EQ(kSuccess, control.Close(true));
    EXPECT_TRUE(RegValueExists(scratch.Root(), scratch.Child(L"Again"), L"V"));
}

// Deleting a section never reaches through a registry link: a link below the section,
// or the section's own key when it is one, goes itself, and its target keeps its values
// and sub-keys. A sub-key that cannot be opened (its name holds a NUL) stops the walk:
// the section and the keys not reached stay.
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
    for (const wchar_t* section : {L"Top", L"Alias"}) {
        EXPECT_EQ(kSuccess, DeleteSection(RegistryKey(scratch), section)) << section;
        EXPECT_TRUE(RegValueExists(scratch.Root(), scratch.Child(L"Target"), L"V")) << section;
        EXPECT_TRUE(RegKeyExists(scratch.Root(), scratch.Child(L"Target\\Sub"))) << section;
    }
    EXPECT_FALSE(below.Exists() || alias.Exists());
    EXPECT_FALSE(RegKeyExists(scratch.Root(), scratch.Child(L"Top")));

    const TestSupport::ScratchUnopenableKey hidden(scratch.Root(), scratch.Child(L"Target\\Sub"));
    EXPECT_EQ(kNotFound, DeleteSection(RegistryKey(scratch), L"Target"));
    EXPECT_TRUE(
        log.Contains(L"*** Control::DeteleSection() - Failed to delete all entiries under the "
                     L"section() failed."));
    EXPECT_TRUE(RegKeyExists(scratch.Root(), scratch.Child(L"Target\\Sub")));
}

TEST(Control, TheNestedDeleteKeepsTheSectionsView) {
    LogCapture log;
    const ScratchRegistryKey scratch64(L"engine-control-view", HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY);
    const ScratchRegistryKey scratch32(L"engine-control-view", HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY);
    CreateKey(scratch32, L"Top\\A32\\Deep", KEY_WOW64_32KEY);
    CreateKey(scratch64, L"Top\\A64\\Deep", KEY_WOW64_64KEY);

    const uint32_t mode = AccessMode32;
    EXPECT_EQ(kSuccess, DeleteSection(RegistryKey(scratch32), L"Top", &mode));
    EXPECT_FALSE(RegKeyExists(HKEY_LOCAL_MACHINE, scratch32.Child(L"Top"), KEY_WOW64_32KEY));
    EXPECT_TRUE(
        RegKeyExists(HKEY_LOCAL_MACHINE, scratch64.Child(L"Top\\A64\\Deep"), KEY_WOW64_64KEY));
}

}  // namespace
