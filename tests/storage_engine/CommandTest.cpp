#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <type_traits>

#include "LogCapture.h"
#include "Scratch.h"
#include "StorageCommand.h"

namespace {

using namespace Ostrel;
using namespace Ostrel::Storage;
using TestSupport::LogCapture;
using TestSupport::ReadRegString;
using TestSupport::RegKeyExists;
using TestSupport::RegValueExists;
using TestSupport::ScratchFolder;
using TestSupport::ScratchRegistryKey;

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

}  // namespace
