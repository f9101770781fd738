// The storage engine: entries, commands and the control under them, against scratch
// registry keys and INI files.

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <type_traits>

#include "LogCapture.h"
#include "NativeRegistry.h"
#include "Scratch.h"
#include "StorageCommand.h"
#include "StorageControl.h"
#include "StorageDryRun.h"

namespace {

using namespace Ostrel;
using namespace Ostrel::Storage;
using TestSupport::LogCapture;
using TestSupport::ReadRegString;
using TestSupport::RegKeyExists;
using TestSupport::RegValueExists;
using TestSupport::ScratchFolder;
using TestSupport::ScratchRegistryKey;
using ZorvCommon::Storage::Key;
using ZorvCommon::Storage::StorageTypeRegistry;

// The value CreateEntry made from text as the plan shows it ("<none>": no entry). The hex
// digits' rules are HexStringToByteArray's.
std::wstring Converted(uint32_t type, const wchar_t* text) {
    std::unique_ptr<IEntry> pEntry(CreateEntry(type, text, L"Name", nullptr));
    return pEntry ? DescribeValue(*pEntry) : L"<none>";
}

// The value rules of the storage engine, in one place: the commands and the document
// reader take their entries from here.
TEST(CreateEntry, ConvertsTheTextOfEachType) {
    LogCapture log;
    const struct {
        uint32_t type;
        const wchar_t* text;
        const wchar_t* value;
    } cases[] = {
        {ValueTypeUint32, L"0x1F", L"31"},
        {ValueTypeUint32, L"017", L"15"},  // C bases: a leading 0 is octal
        {ValueTypeUint32, L"12abc", L"<none>"},
        {ValueTypeUint32, L"", L"<none>"},
        {ValueTypeUint32, L"4294967296", L"<none>"},
        {ValueTypeUint64, L"4294967296", L"4294967296"},
        {ValueTypeUint64, L"18446744073709551616", L"<none>"},
        {ValueTypeString, L" keep  as is ", L"\" keep  as is \""},
        {ValueTypeString, L"", L"\"\""},
        {ValueTypeBinary, L"0aFF", L"hex 0AFF"},
        {ValueTypeBinary, L"A", L"<none>"},
        {ValueTypeName, L"ignored", L""},
        {5, L"1", L"<none>"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.value, Converted(c.type, c.text)) << c.type << L" " << c.text;
    }
    EXPECT_EQ(nullptr, CreateEntry(ValueTypeString, L"x", L"", nullptr)) << "a name is required";
}

TEST(SectionCopy, IsDeepSkipsHolesAndCarriesEveryField) {
    LogCapture log;
    SectionRegistry source(HKEY_CURRENT_USER, L"Software\\X", AccessMode64, 2, L"Base");
    source.AddEntry(CreateEntry(ValueTypeString, L"text", L"S", nullptr));
    source.AddEntry(nullptr);
    source.AddEntry(CreateEntry(ValueTypeBinary, L"0102", L"B", nullptr));
    EXPECT_EQ(&source, source.GetEntry(0)->GetSection()) << "an added entry belongs to its section";

    std::unique_ptr<SectionRegistry> pCopy(source.CreateCopyData());
    ASSERT_NE(nullptr, pCopy);
    EXPECT_EQ(L"Base", pCopy->GetBaseSubKey());
    EXPECT_EQ(static_cast<uint32_t>(AccessMode64), pCopy->GetAccessMode());
    ASSERT_EQ(2u, pCopy->GetEntryCount()) << "the hole is skipped";
    EXPECT_EQ(pCopy.get(), pCopy->GetEntry(1)->GetSection());
    auto* pBinary = dynamic_cast<EntryBinary*>(pCopy->GetEntry(1));
    ASSERT_NE(nullptr, pBinary);
    pBinary->GetValue().Data()[0] = 0xEE;
    EXPECT_EQ(0x01, static_cast<EntryBinary*>(source.GetEntry(2))->GetValue().Data()[0]);
}

struct EntryRow {
    uint32_t type;
    const wchar_t* name;
    const wchar_t* text;
};

ISection* WithEntries(ISection* pSection, std::initializer_list<EntryRow> entries) {
    for (const EntryRow& entry : entries) {
        pSection->AddEntry(CreateEntry(entry.type, entry.text, entry.name, pSection));
    }
    return pSection;
}

ISection* RegistrySection(const ScratchRegistryKey& scratch, const wchar_t* child,
                          std::initializer_list<EntryRow> entries) {
    return WithEntries(
        new SectionRegistry(scratch.Root(), scratch.Child(child), AccessModeDefault, 1), entries);
}

template <typename TCommand>
TCommand* Command(ISection* pSection, bool sectionFlag = false) {
    auto* pCommand = new TCommand();
    pCommand->AddSection(pSection);
    if constexpr (std::is_base_of<CommandWithSectionFlag, TCommand>::value) {
        pCommand->SetSectionFlag(sectionFlag);
    }
    return pCommand;
}

template <typename TCommand>
int32_t Invoke(ISection* pSection, bool sectionFlag = false) {
    std::unique_ptr<TCommand> pCommand(Command<TCommand>(pSection, sectionFlag));
    return pCommand->Invoke();
}

std::wstring ReadIni(const std::wstring& path, const wchar_t* section, const wchar_t* name) {
    wchar_t text[256] = {};
    GetPrivateProfileStringW(section, name, L"<none>", text, 256, path.c_str());
    return text;
}

TEST(CommandCreate, WritesOnlyIntoSectionsThatDoNotExistYet) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-create");
    ASSERT_EQ(kSuccess,
              Invoke<CommandStore>(RegistrySection(scratch, L"Exists", {{1, L"Other", L""}})));
    EXPECT_EQ(kSuccess,
              Invoke<CommandCreate>(RegistrySection(scratch, L"Exists", {{1, L"S", L"x"}})));
    EXPECT_FALSE(RegValueExists(scratch.Root(), scratch.Child(L"Exists"), L"S"));

    // The store that creates the key makes the second entry's query succeed.
    EXPECT_EQ(kSuccess, Invoke<CommandCreate>(RegistrySection(
                            scratch, L"New", {{1, L"S1", L"first"}, {3, L"D2", L"2"}})));
    EXPECT_EQ(L"first", ReadRegString(scratch.Root(), scratch.Child(L"New"), L"S1"));
    EXPECT_FALSE(RegValueExists(scratch.Root(), scratch.Child(L"New"), L"D2"));
}

// Set up by a chain, which runs every command and returns the last failure.
TEST(CommandDelete, RemovesValuesOrTheWholeSection) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-delete");
    CommandChain chain;
    chain.Append(
        Command<CommandStore>(RegistrySection(scratch, L"K", {{1, L"A", L""}, {1, L"B", L""}})));
    chain.Append(Command<CommandQuery>(RegistrySection(scratch, L"Missing", {{1, L"S", L""}})));
    chain.Append(
        Command<CommandStore>(RegistrySection(scratch, L"K\\Sub\\Deeper", {{1, L"C", L""}})));
    EXPECT_EQ(kWrongState, chain.Invoke()) << "a query of a missing section fails in its close";
    EXPECT_TRUE(RegKeyExists(scratch.Root(), scratch.Child(L"K\\Sub\\Deeper")));
    EXPECT_TRUE(
        log.Contains(L"*** CommandCreate::OnVisit() - CommandBase::OnVisit() failed. [0x80040209]"))
        << "the query's failure under the create's name";
    EXPECT_EQ(kSuccess, Invoke<CommandDelete>(RegistrySection(scratch, L"K", {{1, L"A", L"x"}})));
    EXPECT_FALSE(RegValueExists(scratch.Root(), scratch.Child(L"K"), L"A"));
    EXPECT_TRUE(RegValueExists(scratch.Root(), scratch.Child(L"K"), L"B"));

    // The entries are still tried by name once their key is gone.
    EXPECT_EQ(kSuccess,
              Invoke<CommandDelete>(RegistrySection(scratch, L"K", {{0, L"B", L""}}), true));
    EXPECT_FALSE(RegKeyExists(scratch.Root(), scratch.Child(L"K")));
    EXPECT_TRUE(
        log.Contains(L"*** CommandDelete::Visit() - this->m_Control.DeteleEntry() failed."));
    EXPECT_TRUE(log.Contains(L"*** CommandStore::OnVisit() - CommandBase::OnVisit() failed."));
}

TEST(CommandAppend, AddsToWhatIsStored) {
    LogCapture log;
    ScratchRegistryKey scratch(L"engine-append");
    const std::initializer_list<EntryRow> stored = {{1, L"S", L"ab"},
                                                    {3, L"D", L"0xFFFFFFFF"},
                                                    {4, L"Q", L"18446744073709551615"},
                                                    {2, L"B", L"0102"}};
    const std::initializer_list<EntryRow> appended = {
        {1, L"S", L"cd"},     {3, L"D", L"2"},    {4, L"Q", L"3"},      {2, L"B", L"03"},
        {1, L"NewS", L"new"}, {3, L"NewD", L"5"}, {2, L"NewB", L"0A0B"}};
    ASSERT_EQ(kSuccess, Invoke<CommandStore>(RegistrySection(scratch, L"K", stored)));
    EXPECT_EQ(kSuccess, Invoke<CommandAppend>(RegistrySection(scratch, L"K", appended)));
    TestSupport::RegistrySnapshot k =
        TestSupport::SnapshotRegistry(scratch.Root(), scratch.Child(L"K"));
    using Bytes = std::vector<uint8_t>;
    EXPECT_EQ(L"abcd", ReadRegString(scratch.Root(), scratch.Child(L"K"), L"S"));
    EXPECT_EQ((Bytes{1, 0, 0, 0}), k[L"|D"].second) << "wraps round";
    EXPECT_EQ((Bytes{2, 0, 0, 0, 0, 0, 0, 0}), k[L"|Q"].second);
    EXPECT_EQ((Bytes{1, 2, 3}), k[L"|B"].second);
    EXPECT_EQ(L"new", ReadRegString(scratch.Root(), scratch.Child(L"K"), L"NewS"));
    EXPECT_EQ((Bytes{5, 0, 0, 0}), k[L"|NewD"].second);
    EXPECT_EQ((Bytes{0x0A, 0x0B}), k[L"|NewB"].second) << "a missing value starts from nothing";
}

TEST(CommandsOnIniFiles, StoreCreateAndDelete) {
    LogCapture log;
    ScratchFolder folder(L"engine-ini");
    const std::wstring path = folder.File(L"settings.ini");
    auto section = [&](std::initializer_list<EntryRow> entries) {
        return WithEntries(new SectionIniFile(path, L"Main"), entries);
    };
    EXPECT_EQ(kSuccess, Invoke<CommandStore>(section({{1, L"S", L"text"}, {3, L"D", L"0x10"}})));
    EXPECT_EQ(L"text", ReadIni(path, L"Main", L"S"));
    EXPECT_EQ(L"16", ReadIni(path, L"Main", L"D"));

    EXPECT_EQ(kSuccess, Invoke<CommandCreate>(section({{1, L"Other", L"x"}})))
        << "an INI section always exists for a query";
    EXPECT_EQ(L"<none>", ReadIni(path, L"Main", L"Other"));

    EXPECT_EQ(kSuccess, Invoke<CommandDelete>(section({{0, L"S", L""}})));
    EXPECT_EQ(L"<none>", ReadIni(path, L"Main", L"S"));
    EXPECT_EQ(L"16", ReadIni(path, L"Main", L"D"));
    EXPECT_EQ(kSuccess, Invoke<CommandDelete>(section({}), true));
    EXPECT_EQ(L"<none>", ReadIni(path, L"Main", L"D"));
}

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
