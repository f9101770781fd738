#include <gtest/gtest.h>

#include <windows.h>
#include <knownfolders.h>

#include <string>

#include "Scratch.h"
#include "ZorvComn_DebugLogSettings.h"
#include "ZorvComn_Library.h"

namespace {

using TestSupport::ScratchRegistryKey;
using ZorvCommon::DebugLogSettings;
using ZorvCommon::ExpandLogFolder;
using ZorvCommon::ReadDebugLogSettings;

std::wstring KnownLocalAppDataLow() {
    return ZorvCommon::Library::KnownFolderPath(FOLDERID_LocalAppDataLow);
}

class DebugLogSettingsTest : public ::testing::Test {
protected:
    void SetUint32(const wchar_t* session, const wchar_t* name, DWORD value) {
        TestSupport::WriteRegValue(m_Scratch.Root(), m_Scratch.Child(session), name, REG_DWORD,
                                   &value, sizeof(value));
    }
    void SetString(const wchar_t* session, const wchar_t* name, const std::wstring& value) {
        TestSupport::WriteRegString(m_Scratch.Root(), m_Scratch.Child(session), name, value);
    }
    void SetAll(const wchar_t* session, const std::wstring& folder) {
        SetUint32(session, L"Enable", 1);
        SetUint32(session, L"Level", 0x10001);
        SetUint32(session, L"LogProcess", 3);
        SetUint32(session, L"LogUnitType", 4);
        SetString(session, L"LogFolder", folder);
        SetString(session, L"LogPrefix", L"pfx");
        SetString(session, L"LogFile", L"file");
        SetString(session, L"LogExtension", L"txt");
        SetUint32(session, L"Robust", 9);
        SetUint32(session, L"Debugger", 0);
    }
    bool Read(bool serviceSession, DebugLogSettings& settings,
              const std::wstring& unitName = L"Ostrel") {
        const ZorvCommon::Storage::Key key(ZorvCommon::Storage::StorageTypeRegistry,
                                           m_Scratch.Root(), m_Scratch.Path());
        return ReadDebugLogSettings(key, unitName, serviceSession, settings);
    }

    ScratchRegistryKey m_Scratch{L"DebugLogSettings"};
    TestSupport::ScratchFolder m_Folder{L"DebugLogSettings"};
};

TEST_F(DebugLogSettingsTest, FirstMissingValueEndsTheReading) {
    DebugLogSettings settings;
    ASSERT_TRUE(Read(false, settings)) << "a missing key is no failure";
    EXPECT_FALSE(settings.Enabled);
    EXPECT_EQ(256u, settings.LevelMask);

    // Everything but "Level", then "Level" of the wrong type: only "Enable" is read.
    SetAll(L"InteractiveSession", m_Folder.Path());
    ASSERT_EQ(ERROR_SUCCESS,
              RegDeleteKeyValueW(m_Scratch.Root(), m_Scratch.Child(L"InteractiveSession").c_str(),
                                 L"Level"));
    for (bool wrongType : {false, true}) {
        if (wrongType) {
            SetString(L"InteractiveSession", L"Level", L"257");
        }
        ASSERT_TRUE(Read(false, settings));
        EXPECT_TRUE(settings.Enabled);
        EXPECT_EQ(256u, settings.LevelMask);
        EXPECT_EQ(0u, +settings.Record.LogProcess);
        EXPECT_EQ(L"", std::wstring(settings.Record.LogFolder));
    }

    const ZorvCommon::Storage::Key unknownType(7, m_Scratch.Root(), m_Scratch.Path());
    EXPECT_FALSE(ReadDebugLogSettings(unknownType, L"Ostrel", false, settings));
}

// Each session reads its own key, every value reaching the record; only the interactive one
// expands the folder's token and creates the folder.
TEST_F(DebugLogSettingsTest, EachSessionReadsItsOwnKey) {
    const std::wstring leaf = L"OstrelTests-" + std::to_wstring(GetCurrentProcessId());
    const std::wstring expanded = KnownLocalAppDataLow() + L"\\" + leaf;
    SetAll(L"ServiceSession", L"%LocalAppDataLow%\\" + leaf);
    SetUint32(L"ServiceSession", L"Level", 16);
    SetAll(L"InteractiveSession", L"%LOCALAPPDATALOW%\\" + leaf);
    DebugLogSettings settings;
    ASSERT_TRUE(Read(true, settings));
    EXPECT_EQ(1, settings.Record.ServiceSession);
    EXPECT_EQ(16u, settings.LevelMask);
    EXPECT_EQ(L"%LocalAppDataLow%\\" + leaf, std::wstring(settings.Record.LogFolder));
    EXPECT_FALSE(TestSupport::FileExists(expanded)) << "not created";

    ASSERT_TRUE(Read(false, settings, std::wstring(40, L'u')));
    const DebugLogConfig& record = settings.Record;
    EXPECT_TRUE(settings.Enabled);
    EXPECT_EQ(0x10001u, settings.LevelMask);
    EXPECT_EQ(0, record.ServiceSession);
    EXPECT_EQ(1, record.Robust) << "non-zero becomes 1";
    EXPECT_EQ(3u, +record.LogProcess);
    EXPECT_EQ(4u, +record.LogUnitType);
    EXPECT_EQ(std::wstring(31, L'u'), std::wstring(record.UnitName)) << "truncated to its field";
    EXPECT_EQ(L"txt", std::wstring(record.LogExtension));
    EXPECT_EQ(expanded, std::wstring(record.LogFolder));
    EXPECT_TRUE(TestSupport::FileExists(expanded)) << "a missing folder is created";
    RemoveDirectoryW(expanded.c_str());
}

TEST(ExpandLogFolder, OnlyTheExactLeadingTokenIsReplaced) {
    const std::wstring known = KnownLocalAppDataLow();
    ASSERT_FALSE(known.empty());
    EXPECT_EQ(known + L"\\x", ExpandLogFolder(L"%localappdatalow%\\x"));
    EXPECT_EQ(known, ExpandLogFolder(L"%LocalAppDataLow%"));
    EXPECT_EQ(L"%LocalAppDataLowX%\\x", ExpandLogFolder(L"%LocalAppDataLowX%\\x"));
    EXPECT_EQ(L"%Temp%\\x", ExpandLogFolder(L"%Temp%\\x"));
    EXPECT_EQ(L"%LocalAppDataLow", ExpandLogFolder(L"%LocalAppDataLow"));
    EXPECT_EQ(L"C:\\%LocalAppDataLow%", ExpandLogFolder(L"C:\\%LocalAppDataLow%"));
    EXPECT_EQ(L"", ExpandLogFolder(L""));
}

// A shell whose lookup answers as told and hands out its text even when it fails (as
// SHGetKnownFolderPath may: its caller frees the text whatever the result).
struct FakeShell {
    static inline HRESULT s_Result = S_OK;
    static inline wchar_t* s_Text = nullptr;
    static inline void* s_Freed = nullptr;

    static HRESULT WINAPI GetPath(REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) {
        *path = s_Text;
        return s_Result;
    }
    static void WINAPI FreeText(void* text) { s_Freed = text; }
};

TEST(KnownFolderPath, TheShellsTextIsFreedAfterAFailureToo) {
    wchar_t text[] = L"C:\\Known";
    const struct {
        HRESULT result;
        wchar_t* text;
        const wchar_t* path;
    } cases[] = {
        {S_OK, text, L"C:\\Known"}, {E_FAIL, text, L""},  {E_INVALIDARG, text, L""},
        {E_FAIL, nullptr, L""},     {S_OK, nullptr, L""},
    };
    const ZorvCommon::Library::KnownFolderLookup shell = {FakeShell::GetPath, FakeShell::FreeText};
    for (const auto& testCase : cases) {
        FakeShell::s_Result = testCase.result;
        FakeShell::s_Text = testCase.text;
        FakeShell::s_Freed = nullptr;
        EXPECT_EQ(testCase.path, ZorvCommon::Library::KnownFolderPath(shell, FOLDERID_ProgramData))
            << std::hex << testCase.result;
        EXPECT_EQ(static_cast<void*>(testCase.text), FakeShell::s_Freed)
            << std::hex << testCase.result;
    }
}

}  // namespace
