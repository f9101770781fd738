#include <gtest/gtest.h>

#include <windows.h>
#include <knownfolders.h>
#include <sddl.h>

#include <cwctype>
#include <future>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "AllocationFault.h"
#include "LogCapture.h"
#include "Scratch.h"
#include "ToolRun.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_DebugLogSettings.h"
#include "ZorvComn_Handle.h"
#include "ZorvComn_Library.h"
#include "ZorvComn_Storage.h"
#include "ZorvComn_String.h"
#include "ZorvDbg_FileSecurity.h"
#include "ZorvDbg_LogFile.h"

namespace {

using TestSupport::LogCapture;
using ZorvCommon::DebugLogSettings;
using ZorvCommon::ExpandLogFolder;
using ZorvCommon::g_DebugLog;

ZorvCommon::Storage::Key DebugLogKey() {
    return ZorvCommon::Storage::Key(ZorvCommon::Storage::StorageTypeRegistry, HKEY_LOCAL_MACHINE,
                                    TestSupport::ProductKey::kDebugLogPath);
}

// Each level passes when the mask has one of its bits, and is tagged by what it is. The dump
// layout: day first, process and thread in at least four hex digits, the tag, the unit, the
// message and the source file's name; the text written as UTF-8.
TEST(DebugLog, WritesOneExactlyFormattedLinePerCallOfTheLevelsTheMaskSelects) {
    const struct {
        uint32_t mask;
        uint32_t level;
        const wchar_t* tag;  // null: the line is not written
    } rows[] = {{257, 1, L".w."},    {257, 16, nullptr}, {257, 256, L"!!!"},  {16, 16, L"@@@"},
                {16, 1, nullptr},    {16, 256, nullptr}, {~0u, 4096, L"+++"}, {~0u, 65536, L"###"},
                {~0u, 0x11, L"???"}, {~0u, 0, nullptr}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.mask) + "/" + std::to_string(row.level));
        LogCapture capture(row.mask);
        EXPECT_EQ(row.tag != nullptr, g_DebugLog.Trace(__FILE__, 1, row.level, L"text"));
        EXPECT_EQ(
            row.tag != nullptr ? 1u : 0u,
            capture.Count(std::wstring(L" ") + (row.tag ? row.tag : L"") + L" <Ostrel> text"));
    }

    LogCapture capture(0x111);
    const uint32_t line = __LINE__ + 1;
    ZORV_TRACE(L"[Enter] Sample::Run()... [%s] [0x%08x] [%lu]", L"caf\u00e9 \u20ac", 0x2au, 7ul);

    const std::wstring text = capture.Text();
    const std::wregex shape(
        LR"(^(\d\d)/\d\d/(\d{4}) \d\d:\d\d:\d\d\.\d{3} ([0-9a-f]{4,}):([0-9a-f]{4,}) \.w\. <Ostrel> )"
        LR"(\[Enter\] Sample::Run\(\)\.\.\. \[caf)"
        L"\u00e9 \u20ac"
        LR"(\] \[0x0000002a\] \[7\] - DebugLogTest\.cpp\((\d+)\)\r\n$)");
    std::wsmatch match;
    ASSERT_TRUE(std::regex_match(text, match, shape)) << "one line: " << text;
    SYSTEMTIME now;
    GetLocalTime(&now);
    EXPECT_EQ(now.wDay, std::stoi(match[1].str()));
    EXPECT_EQ(now.wYear, std::stoi(match[2].str()));
    EXPECT_EQ(GetCurrentProcessId(), std::stoul(match[3].str(), nullptr, 16));
    EXPECT_EQ(GetCurrentThreadId(), std::stoul(match[4].str(), nullptr, 16));
    EXPECT_EQ(std::to_wstring(line), match[5].str());
}

// Every user may create files in a service's temporary folder: with no folder configured the
// log goes to the trace library's own folder. The process id joins the name with "_".
TEST(DebugLog, WithoutAFolderTheLogGoesToTheTraceLibrarysOwnFolderNotTheTemporaryOne) {
    const std::wstring folder = ZorvDbg::DefaultLogFolder();
    const bool existed = TestSupport::FileExists(folder);
    LogCapture capture(0x111, false);
    capture.Product().SetDebugLogString(L"LogFolder", L"");
    capture.Product().SetDebugLogString(L"LogFile", L"OstrelDefaultFolderTest");
    capture.Product().SetDebugLogString(L"LogPrefix", L"pre_");
    capture.Product().SetDebugLogUint32(L"LogProcess", 1);
    ASSERT_TRUE(g_DebugLog.Initialize(L"Ostrel", DebugLogKey(), TestSupport::BinFolder()));
    ZORV_INFO(L"*** in its own folder");
    EXPECT_TRUE(g_DebugLog.Uninitialize());

    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    const std::wstring name =
        L"pre_OstrelDefaultFolderTest_" + std::to_wstring(GetCurrentProcessId()) + L".log";
    EXPECT_FALSE(TestSupport::FileExists(temp + name));
    const std::wstring path = folder + L"\\" + name;
    const std::vector<uint8_t> text =
        TestSupport::FileExists(path) ? TestSupport::ReadFileBytes(path) : std::vector<uint8_t>();
    DeleteFileW(path.c_str());
    if (!existed) {
        RemoveDirectoryW(folder.c_str());
    }
    EXPECT_NE(std::string::npos,
              std::string(text.begin(), text.end()).find("@@@ <Ostrel> *** in its own folder"));
}

// ZorvDbg64.dll is loaded by full path only: a module folder that is not a full path (the
// module's own path was unknown) loads nothing, although the current directory holds one.
TEST(DebugLog, NothingIsLoadedOrWrittenThroughTheCurrentDirectory) {
    LogCapture capture(0x111, false);
    TestSupport::ScratchFolder current(L"DebugLogCurrent");
    const std::wstring standIn = current.File(L"ZorvDbg64.dll");
    EXPECT_TRUE(CopyFileW(
        (TestSupport::ExecutableFolder() + L"trace-library-standin\\ZorvDbg64.dll").c_str(),
        standIn.c_str(), FALSE));
    g_DebugLog.Uninitialize();
    wchar_t previous[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, previous);
    SetCurrentDirectoryW(current.Path().c_str());
    for (const wchar_t* folder : {L"", L".\\", L"."}) {
        EXPECT_FALSE(g_DebugLog.Initialize(L"Ostrel", DebugLogKey(), folder)) << folder;
        EXPECT_EQ(nullptr, GetModuleHandleW(standIn.c_str())) << folder;
        g_DebugLog.Uninitialize();
    }
    SetCurrentDirectoryW(previous);
}

// Two processes and two threads append long lines to one file at once: every line arrives
// whole, while a squatter holds the named mutex writers once waited up to 10 s a line for
// (else the lines outlast the suite's time limit).
TEST(DebugLog, ConcurrentWritersLoseNoLines) {
    constexpr int kLinesPerWriter = 300;
    constexpr int kPadding = 3000;
    const std::wstring padding(kPadding, L'p');
    LogCapture capture(0x111);
    uint64_t hash = 14695981039346656037ull;  // FNV-1a of the lower-cased path
    for (wchar_t c : capture.FilePath()) {
        hash = (hash ^ static_cast<uint64_t>(towlower(c))) * 1099511628211ull;
    }
    wchar_t name[64];
    _snwprintf_s(name, _countof(name), _TRUNCATE, L"Local\\ZorvDbg64-%016llx",
                 static_cast<unsigned long long>(hash));
    const ZorvCommon::UniqueMutex squatter(CreateMutexW(nullptr, TRUE, name));
    ASSERT_TRUE(squatter.is_valid());

    std::wstring binFolder = TestSupport::BinFolder();
    binFolder.pop_back();  // a backslash before the closing quote would escape it
    std::vector<std::future<DWORD>> writers;
    for (const wchar_t* tag : {L"procA", L"procB"}) {
        writers.push_back(std::async(std::launch::async, [=] {
            return TestSupport::RunProgram(TestSupport::ExecutableFolder() + L"log_writer.exe",
                                           TestSupport::Quoted(binFolder) + L" " + tag + L" " +
                                               std::to_wstring(kLinesPerWriter) + L" " +
                                               std::to_wstring(kPadding))
                .ExitCode;
        }));
    }
    for (const wchar_t* tag : {L"threadA", L"threadB"}) {
        writers.push_back(std::async(std::launch::async, [&padding, tag] {
            for (int i = 0; i < kLinesPerWriter; ++i) {
                ZORV_INFO(L"*** line %s %d %s", tag, i, padding.c_str());
            }
            return DWORD{0};
        }));
    }
    for (std::future<DWORD>& writer : writers) {
        EXPECT_EQ(0u, writer.get());
    }

    const std::wregex shape(
        LR"(^\S+ \S+ [0-9a-f]+:[0-9a-f]+ @@@ <(Ostrel|Writer)> \*\*\* line )"
        LR"(((procA|procB|threadA|threadB) \d+) p{3000} - \S+\(\d+\)\r$)");
    std::set<std::wstring> seen;
    std::wistringstream lines(capture.Text());
    for (std::wstring line; std::getline(lines, line);) {
        std::wsmatch match;
        ASSERT_TRUE(std::regex_match(line, match, shape)) << line;
        seen.insert(match[2].str());
    }
    EXPECT_EQ(4u * kLinesPerWriter, seen.size()) << "every line of every writer, once";
}

class DebugLogSettingsTest : public ::testing::Test {
protected:
    void Set(const wchar_t* session, const wchar_t* name, DWORD value) {
        TestSupport::WriteRegValue(m_Scratch.Root(), m_Scratch.Child(session), name, REG_DWORD,
                                   &value, sizeof(value));
    }
    void Set(const wchar_t* session, const wchar_t* name, const std::wstring& value) {
        TestSupport::WriteRegString(m_Scratch.Root(), m_Scratch.Child(session), name, value);
    }
    void SetAll(const wchar_t* session, const std::wstring& folder) {
        Set(session, L"Enable", 1);
        Set(session, L"Level", 0x10001);
        Set(session, L"LogProcess", 3);
        Set(session, L"LogUnitType", 4);
        Set(session, L"LogFolder", folder);
        Set(session, L"LogPrefix", L"pfx");
        Set(session, L"LogFile", L"file");
        Set(session, L"LogExtension", L"txt");
        Set(session, L"Robust", 9);
        Set(session, L"Debugger", 0);
    }
    // Reads with a unit name longer than its field.
    bool Read(bool serviceSession, DebugLogSettings& settings) {
        const ZorvCommon::Storage::Key key(ZorvCommon::Storage::StorageTypeRegistry,
                                           m_Scratch.Root(), m_Scratch.Path());
        return ZorvCommon::ReadDebugLogSettings(key, std::wstring(40, L'u'), serviceSession,
                                                settings);
    }

    TestSupport::ScratchRegistryKey m_Scratch{L"DebugLogSettings"};
};

// Each session reads its own key up to its first missing value or one of the wrong type; only
// the interactive one expands the folder's leading token and creates the folder.
TEST_F(DebugLogSettingsTest, EachSessionReadsItsOwnKeyUpToTheFirstMissingValue) {
    DebugLogSettings settings;
    ASSERT_TRUE(Read(false, settings)) << "a missing key is no failure";
    EXPECT_FALSE(settings.Enabled);
    EXPECT_EQ(256u, settings.LevelMask);

    const std::wstring known = ZorvCommon::Library::KnownFolderPath(FOLDERID_LocalAppDataLow);
    const std::wstring leaf = L"OstrelTests-" + std::to_wstring(GetCurrentProcessId());
    const std::wstring expanded = known + L"\\" + leaf;
    SetAll(L"ServiceSession", L"%LocalAppDataLow%\\" + leaf);
    Set(L"ServiceSession", L"Level", 16);
    SetAll(L"InteractiveSession", L"%LOCALAPPDATALOW%\\" + leaf);
    ASSERT_TRUE(Read(true, settings));
    EXPECT_EQ(1, settings.Record.ServiceSession);
    EXPECT_EQ(16u, settings.LevelMask);
    EXPECT_EQ(L"%LocalAppDataLow%\\" + leaf, std::wstring(settings.Record.LogFolder));
    EXPECT_FALSE(TestSupport::FileExists(expanded)) << "not created";

    ASSERT_TRUE(Read(false, settings));
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

    // Everything but "Level", then "Level" of the wrong type: only "Enable" is read.
    ASSERT_EQ(ERROR_SUCCESS,
              RegDeleteKeyValueW(m_Scratch.Root(), m_Scratch.Child(L"InteractiveSession").c_str(),
                                 L"Level"));
    for (bool wrongType : {false, true}) {
        if (wrongType) {
            Set(L"InteractiveSession", L"Level", L"257");
        }
        DebugLogSettings cut;
        ASSERT_TRUE(Read(false, cut));
        EXPECT_TRUE(cut.Enabled);
        EXPECT_EQ(256u, cut.LevelMask);
        EXPECT_EQ(0u, +cut.Record.LogProcess);
        EXPECT_EQ(L"", std::wstring(cut.Record.LogFolder));
    }

    // Only the exact leading token, in any case, is replaced.
    EXPECT_EQ(known, ExpandLogFolder(L"%localappdatalow%"));
    EXPECT_EQ(L"%LocalAppDataLowX%\\x", ExpandLogFolder(L"%LocalAppDataLowX%\\x"));
    EXPECT_EQ(L"%Temp%\\x", ExpandLogFolder(L"%Temp%\\x"));
    EXPECT_EQ(L"C:\\%LocalAppDataLow%", ExpandLogFolder(L"C:\\%LocalAppDataLow%"));
}

// The shell may hand out its text even when its lookup fails: the caller frees it whatever
// the result.
TEST(KnownFolderPath, TheShellsTextIsFreedAfterAFailureToo) {
    static HRESULT s_Result;
    static wchar_t* s_Text;
    static void* s_Freed;
    const ZorvCommon::Library::KnownFolderLookup shell = {
        [](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) {
            *path = s_Text;
            return s_Result;
        },
        [](void* text) { s_Freed = text; }};
    wchar_t text[] = L"C:\\Known";
    const struct {
        HRESULT result;
        wchar_t* text;
        const wchar_t* path;
    } cases[] = {
        {S_OK, text, L"C:\\Known"}, {E_FAIL, text, L""},  {E_INVALIDARG, text, L""},
        {E_FAIL, nullptr, L""},     {S_OK, nullptr, L""},
    };
    for (const auto& c : cases) {
        s_Result = c.result;
        s_Text = c.text;
        s_Freed = nullptr;
        EXPECT_EQ(c.path, ZorvCommon::Library::KnownFolderPath(shell, FOLDERID_ProgramData))
            << std::hex << c.result;
        EXPECT_EQ(static_cast<void*>(c.text), s_Freed) << std::hex << c.result;
    }
}

// Runs call with the countdown-th allocation failing, for every countdown until a run
// reaches none; the number of runs in which an allocation failed.
template <typename Call>
size_t WithEachAllocationFailing(Call call) {
    for (size_t countdown = 0;; ++countdown) {
        TestSupport::AllocationFault fault(countdown);
        call(countdown);
        if (!fault.Fired()) {
            return countdown;
        }
    }
}

// The log never throws: the formatter under it throws only its own exception; setting the
// log up and writing a line throw nothing, and a line keeps the caller's last error.
TEST(DebugLogFaults, FormattingSettingUpAndWritingThrowNothingButTheFormattersOwn) {
    const std::wstring text(5000, L't');
    const std::wstring expected = L"[" + text + L"] 7";
    const size_t formatFaults = WithEachAllocationFailing([&](size_t countdown) {
        std::wstring out;
        try {
            if (ZorvCommon::String::Format(out, L"[%s] %d", text.c_str(), 7)) {
                EXPECT_TRUE(out == expected) << countdown;
            }
        } catch (ZorvCommon::String::Exception* pException) {
            EXPECT_EQ(6u, pException->m_Error) << countdown;
            delete pException;
        } catch (...) {
            ADD_FAILURE() << "another exception at allocation " << countdown;
        }
    });
    EXPECT_GE(formatFaults, 2u) << "the buffer and the text";

    TestSupport::LogCapture capture(0x111);
    const ZorvCommon::Storage::Key key = DebugLogKey();
    const std::wstring folder = TestSupport::BinFolder();
    const size_t faults = WithEachAllocationFailing([&](size_t countdown) {
        g_DebugLog.Uninitialize();
        try {
            (void)g_DebugLog.Initialize(L"Ostrel", key, folder);
            SetLastError(0xdeadbeef);
            (void)g_DebugLog.Trace(__FILE__, __LINE__, 16, L"*** fault %lu [%s]",
                                   static_cast<unsigned long>(countdown), text.c_str());
        } catch (...) {
            ADD_FAILURE() << "the log threw at allocation " << countdown;
        }
        EXPECT_EQ(0xdeadbeefu, GetLastError()) << countdown;
    });
    EXPECT_GE(faults, 14u);
    EXPECT_TRUE(capture.Contains(L"*** fault " + std::to_wstring(faults) + L" [" + text + L"]"))
        << "the run without a fault wrote its line";
}

// The trace library's files. Wine gives every file the process's owner and keeps no access
// list given at creation, so owners and access lists are tested on built descriptors.
std::vector<uint8_t> Sid(const wchar_t* text) {
    PSID sid = nullptr;
    if (!ConvertStringSidToSidW(text, &sid)) {
        ADD_FAILURE() << "ConvertStringSidToSidW failed: " << GetLastError();
        return {};
    }
    const ZorvCommon::UniqueLocalMem owner(sid);
    const auto* bytes = static_cast<const uint8_t*>(sid);
    return std::vector<uint8_t>(bytes, bytes + GetLengthSid(sid));
}

TEST(TraceLibraryFiles, OnlyTheProcessUserSystemAndAdministratorsAreTrustedOwners) {
    std::vector<uint8_t> user = ZorvDbg::ProcessUserSid();
    ASSERT_FALSE(user.empty());
    struct {
        std::vector<uint8_t> owner;
        bool trusted;
    } cases[] = {
        {user, true},
        {Sid(L"S-1-5-18"), true},              // Local System
        {Sid(L"S-1-5-32-544"), true},          // Administrators
        {Sid(L"S-1-5-32-545"), false},         // Users
        {Sid(L"S-1-1-0"), false},              // Everyone
        {Sid(L"S-1-5-21-1-2-3-1001"), false},  // another user
        {{}, false},                           // no owner at all
    };
    for (auto& c : cases) {
        SECURITY_DESCRIPTOR descriptor;
        InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
        if (!c.owner.empty()) {
            SetSecurityDescriptorOwner(&descriptor, c.owner.data(), FALSE);
        }
        EXPECT_EQ(c.trusted, ZorvDbg::IsTrustedOwner(&descriptor, user.data())) << &c - cases;
    }
}

TEST(TraceLibraryFiles, TheDefaultFolderGrantsSystemAndAdministratorsAllAndTheUserWriting) {
    std::vector<uint8_t> user = ZorvDbg::ProcessUserSid();
    ZorvDbg::FolderSecurity security(user.data());
    ASSERT_NE(nullptr, security.Attributes());
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    ASSERT_TRUE(GetSecurityDescriptorControl(security.Descriptor(), &control, &revision));
    EXPECT_NE(0, control & SE_DACL_PROTECTED) << "nothing inherited from the shared parent";
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    ACL* acl = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(security.Descriptor(), &present, &acl, &defaulted));
    ASSERT_TRUE(present && acl != nullptr);
    struct {
        std::vector<uint8_t> sid;
        ACCESS_MASK access;
    } expected[] = {
        {Sid(L"S-1-5-18"), FILE_ALL_ACCESS},
        {Sid(L"S-1-5-32-544"), FILE_ALL_ACCESS},
        {user, FILE_GENERIC_WRITE | FILE_READ_ATTRIBUTES | FILE_LIST_DIRECTORY},
    };
    ASSERT_EQ(3u, acl->AceCount);
    for (DWORD index = 0; index < acl->AceCount; ++index) {
        ACCESS_ALLOWED_ACE* ace = nullptr;
        ASSERT_TRUE(GetAce(acl, index, reinterpret_cast<void**>(&ace)));
        EXPECT_EQ(ACCESS_ALLOWED_ACE_TYPE, ace->Header.AceType) << index;
        EXPECT_EQ(OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE, ace->Header.AceFlags) << index;
        EXPECT_EQ(expected[index].access, ace->Mask) << index;
        EXPECT_TRUE(EqualSid(&ace->SidStart, expected[index].sid.data())) << index;
    }
    EXPECT_EQ(nullptr, ZorvDbg::FolderSecurity(nullptr).Attributes())
        << "never a folder with the parent's access";
}

TEST(TraceLibraryFiles, ControlCharactersCannotStartALine) {
    const struct {
        const wchar_t* line;
        const wchar_t* written;
    } cases[] = {
        {L"plain\r\n", L"plain\r\n"},
        {L"no ending", L"no ending\r\n"},
        {L"a\r\n01/01/2026 00:00:00.000 0001:0001 !!! <Ostrel> forged\r\n",
         L"a\\r\\n01/01/2026 00:00:00.000 0001:0001 !!! <Ostrel> forged\r\n"},
        {L"lone\rreturn and\nfeed\r\n", L"lone\\rreturn and\\nfeed\r\n"},
        {L"tab\there", L"tab\\there\r\n"},
        {L"\x1b[31mred\x7f", L"\\x1B[31mred\\x7F\r\n"},
        {L"next\x85line\x2028sep\x2029para", L"next\\x85line\\u2028sep\\u2029para\r\n"},
        {L"caf\u00e9 \u20ac C:\\path\\r", L"caf\u00e9 \u20ac C:\\path\\r\r\n"},
    };
    for (const auto& testCase : cases) {
        EXPECT_EQ(testCase.written, ZorvDbg::OneLine(testCase.line)) << testCase.line;
    }
}

// Wine cannot make reparse points: those are refused on the handle's record, checked as
// records here; a real hard link is refused, and its target left unchanged.
TEST(TraceLibraryFiles, OpenRefusesRelativeFoldersNonFoldersAndLinkedFiles) {
    const struct {
        DWORD attributes;
        DWORD links;
        bool plain;
    } records[] = {
        {FILE_ATTRIBUTE_ARCHIVE, 1, true},
        {FILE_ATTRIBUTE_ARCHIVE, 2, false},
        {FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT, 1, false},
        {FILE_ATTRIBUTE_DIRECTORY, 1, false},
    };
    for (const auto& record : records) {
        BY_HANDLE_FILE_INFORMATION information = {};
        information.dwFileAttributes = record.attributes;
        information.nNumberOfLinks = record.links;
        EXPECT_EQ(record.plain, ZorvDbg::IsPlainFile(information)) << &record - records;
    }

    TestSupport::ScratchFolder folder(L"TraceLibraryFiles");
    TestSupport::WriteFileBytes(folder.File(L"not-a-folder"), {'x'});
    TestSupport::WriteFileBytes(folder.File(L"target.log"), {'t'});
    ASSERT_TRUE(CreateHardLinkW(folder.File(L"linked.log").c_str(),
                                folder.File(L"target.log").c_str(), nullptr));
    const struct {
        std::wstring folder;
        const wchar_t* file;
        DWORD error;
    } cases[] = {
        {folder.Path(), L"fresh", ERROR_SUCCESS},
        {L"relative", L"fresh", ERROR_BAD_PATHNAME},
        {L"\\rooted", L"fresh", ERROR_BAD_PATHNAME},
        {L"C:drive-relative", L"fresh", ERROR_BAD_PATHNAME},
        {folder.File(L"not-a-folder"), L"fresh", ERROR_DIRECTORY},
        {folder.File(L"missing"), L"fresh", ERROR_FILE_NOT_FOUND},
        {folder.Path(), L"linked", ERROR_ACCESS_DENIED},
        {folder.Path(), L"..\\escaped", ERROR_BAD_PATHNAME},
        {folder.Path(), L"fresh:stream", ERROR_BAD_PATHNAME},
    };
    for (const auto& c : cases) {
        DebugLogConfig config = {};
        wcsncpy_s(config.LogFolder, _countof(config.LogFolder), c.folder.c_str(), _TRUNCATE);
        wcsncpy_s(config.LogFile, _countof(config.LogFile), c.file, _TRUNCATE);
        wcsncpy_s(config.LogExtension, _countof(config.LogExtension), L"log", _TRUNCATE);
        EXPECT_EQ(c.error, ZorvDbg::LogFile(config).Open()) << c.folder.c_str() << " " << c.file;
    }
    EXPECT_EQ((std::vector<uint8_t>{'t'}), TestSupport::ReadFileBytes(folder.File(L"target.log")));
}

}  // namespace
