#include <gtest/gtest.h>

#include <windows.h>

#include <chrono>
#include <cwctype>
#include <future>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "Scratch.h"
#include "ToolRun.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Handle.h"
#include "ZorvComn_Storage.h"
#include "ZorvDbg_LogFile.h"

namespace {

using TestSupport::LogCapture;
using ZorvCommon::g_DebugLog;

std::vector<std::wstring> Lines(const std::wstring& text) {
    std::vector<std::wstring> lines;
    size_t start = 0;
    for (size_t end = text.find(L"\r\n"); end != std::wstring::npos;
         end = text.find(L"\r\n", start)) {
        lines.push_back(text.substr(start, end + 2 - start));
        start = end + 2;
    }
    return lines;
}

ZorvCommon::Storage::Key DebugLogKey() {
    return ZorvCommon::Storage::Key(ZorvCommon::Storage::StorageTypeRegistry, HKEY_LOCAL_MACHINE,
                                    TestSupport::ProductKey::kDebugLogPath);
}

std::string FileText(const std::wstring& path) {
    const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(path);
    return std::string(bytes.begin(), bytes.end());
}

// Runs in a scratch folder as the current directory, and goes back afterwards.
class ScratchCurrentDirectory {
public:
    ScratchCurrentDirectory() {
        GetCurrentDirectoryW(MAX_PATH, m_Previous);
        SetCurrentDirectoryW(m_Folder.Path().c_str());
    }
    ~ScratchCurrentDirectory() { SetCurrentDirectoryW(m_Previous); }
    ScratchCurrentDirectory(const ScratchCurrentDirectory&) = delete;
    ScratchCurrentDirectory& operator=(const ScratchCurrentDirectory&) = delete;

    const TestSupport::ScratchFolder& Folder() const { return m_Folder; }

private:
    TestSupport::ScratchFolder m_Folder{L"DebugLogCurrent"};
    wchar_t m_Previous[MAX_PATH] = {};
};

// The dump layout: day first, process and thread in at least four hex digits, the tag, the
// unit, the message and the source file's name; the text written as UTF-8.
TEST(DebugLog, WritesOneExactlyFormattedLinePerCall) {
    LogCapture capture(0x111);
    const uint32_t line = __LINE__ + 1;
    ZORV_TRACE(L"[Enter] Sample::Run()... [%s] [0x%08x] [%lu]", L"caf\u00e9 \u20ac", 0x2au, 7ul);

    const std::vector<std::wstring> lines = Lines(capture.Text());
    ASSERT_EQ(1u, lines.size()) << capture.Text();
    const std::wregex shape(
        LR"(^(\d\d)/\d\d/(\d{4}) \d\d:\d\d:\d\d\.\d{3} ([0-9a-f]{4,}):([0-9a-f]{4,}) \.w\. <Ostrel> )"
        LR"(\[Enter\] Sample::Run\(\)\.\.\. \[caf)"
        L"\u00e9 \u20ac"
        LR"(\] \[0x0000002a\] \[7\] - DebugLogTest\.cpp\((\d+)\)\r\n$)");
    std::wsmatch match;
    ASSERT_TRUE(std::regex_match(lines[0], match, shape)) << lines[0];
    SYSTEMTIME now;
    GetLocalTime(&now);
    EXPECT_EQ(now.wDay, std::stoi(match[1].str()));
    EXPECT_EQ(now.wYear, std::stoi(match[2].str()));
    EXPECT_EQ(GetCurrentProcessId(), std::stoul(match[3].str(), nullptr, 16));
    EXPECT_EQ(GetCurrentThreadId(), std::stoul(match[4].str(), nullptr, 16));
    EXPECT_EQ(std::to_wstring(line), match[5].str());
}

// Each level passes when the mask has one of its bits, and is tagged by what it is.
TEST(DebugLog, LevelMaskSelectsTheLinesAndTagsThem) {
    struct Row {
        uint32_t mask;
        uint32_t level;
        const wchar_t* tag;  // null: the line is not written
    };
    const Row rows[] = {{257, 1, L".w."},    {257, 16, nullptr},   {257, 256, L"!!!"},
                        {16, 16, L"@@@"},    {16, 1, nullptr},     {16, 256, nullptr},
                        {~0u, 4096, L"+++"}, {~0u, 65536, L"###"}, {~0u, 0x11, L"???"},
                        {~0u, 0, nullptr}};
    for (const Row& row : rows) {
        LogCapture capture(row.mask);
        EXPECT_EQ(row.tag != nullptr, g_DebugLog.Trace(__FILE__, 1, row.level, L"text"))
            << row.mask << "/" << row.level;
        EXPECT_EQ(row.tag != nullptr ? 1u : 0u,
                  capture.Count(std::wstring(L" ") + (row.tag ? row.tag : L"") + L" <Ostrel> text"))
            << row.mask << "/" << row.level;
    }
}

// For a service the temporary folder is one where every user may create files: with no
// folder configured the trace library writes into a folder of its own under the common
// application data folder (its access list: TraceLibraryFiles tests). The process id joins
// the file name with an underscore.
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
    DeleteFileW((temp + name).c_str());
    const std::wstring path = folder + L"\\" + name;
    const std::string text = TestSupport::FileExists(path) ? FileText(path) : "";
    DeleteFileW(path.c_str());
    if (!existed) {
        RemoveDirectoryW(folder.c_str());
    }
    EXPECT_NE(std::string::npos, text.find("@@@ <Ostrel> *** in its own folder"));
}

// The trace library is never looked for through the current directory: a module folder
// that is not a full path (the module's own path was unknown) loads nothing. Relative log
// folders: TraceLibraryFiles.OpenRefusesRelativeFoldersNonFoldersAndLinkedFiles.
TEST(DebugLog, NothingIsLoadedOrWrittenThroughTheCurrentDirectory) {
    LogCapture capture(0x111, false);
    g_DebugLog.Uninitialize();
    const ScratchCurrentDirectory current;
    const std::wstring standIn = current.Folder().File(L"ZorvDbg64.dll");
    ASSERT_TRUE(CopyFileW(
        (TestSupport::ExecutableFolder() + L"trace-library-standin\\ZorvDbg64.dll").c_str(),
        standIn.c_str(), FALSE));
    for (const wchar_t* folder : {L"", L".\\", L"."}) {
        EXPECT_FALSE(g_DebugLog.Initialize(L"Ostrel", DebugLogKey(), folder)) << folder;
        EXPECT_EQ(nullptr, GetModuleHandleW(standIn.c_str())) << folder;
        g_DebugLog.Uninitialize();
    }
}

// Writers once took a named mutex derived from the file's path, and waited up to 10 s a
// line for it: whoever made that name first could stall every line. Appends need no
// mutex; a squatter holding the old name changes nothing.
TEST(DebugLog, ASquatterOnTheOldMutexNameDoesNotStallTheLog) {
    LogCapture capture(0x111);
    uint64_t hash = 14695981039346656037ull;  // FNV-1a of the lower-cased path
    for (wchar_t c : capture.FilePath()) {
        hash = (hash ^ static_cast<uint64_t>(towlower(c))) * 1099511628211ull;
    }
    wchar_t name[64];
    _snwprintf_s(name, _countof(name), _TRUNCATE, L"Local\\ZorvDbg64-%016llx",
                 static_cast<unsigned long long>(hash));
    const ZorvCommon::UniqueMutex squatter(CreateMutexW(nullptr, FALSE, name));
    ASSERT_TRUE(squatter.is_valid());
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(squatter.get(), 0)) << "held by this thread";

    std::future<void> lines = std::async(std::launch::async, [] {
        for (int i = 0; i < 3; ++i) {
            ZORV_INFO(L"*** past the squatter %d", i);
        }
    });
    EXPECT_EQ(std::future_status::ready, lines.wait_for(std::chrono::seconds(5)));
    ReleaseMutex(squatter.get());
    lines.wait();
    EXPECT_EQ(3u, capture.Count(L"*** past the squatter "));
}

// Two processes and two threads of this one append long lines to one file at the same
// time, with no named mutex: every line arrives whole, none is lost.
TEST(DebugLog, ConcurrentWritersLoseNoLines) {
    constexpr int kLinesPerWriter = 300;
    constexpr int kPadding = 3000;
    const std::wstring padding(kPadding, L'p');
    LogCapture capture(0x111);

    std::wstring binFolder = TestSupport::BinFolder();
    binFolder.pop_back();  // a backslash before the closing quote would escape it
    std::vector<std::future<TestSupport::ToolRun>> children;
    for (const wchar_t* tag : {L"procA", L"procB"}) {
        children.push_back(std::async(std::launch::async, [=] {
            return TestSupport::RunProgram(TestSupport::ExecutableFolder() + L"log_writer.exe",
                                           TestSupport::Quoted(binFolder) + L" " + tag + L" " +
                                               std::to_wstring(kLinesPerWriter) + L" " +
                                               std::to_wstring(kPadding));
        }));
    }
    auto write = [&padding](const wchar_t* tag) {
        for (int i = 0; i < kLinesPerWriter; ++i) {
            ZORV_INFO(L"*** line %s %d %s", tag, i, padding.c_str());
        }
    };
    std::thread threadA(write, L"threadA");
    std::thread threadB(write, L"threadB");
    threadA.join();
    threadB.join();
    for (std::future<TestSupport::ToolRun>& child : children) {
        EXPECT_EQ(0u, child.get().ExitCode);
    }

    const std::wregex shape(
        LR"(^\S+ \S+ [0-9a-f]+:[0-9a-f]+ @@@ <(Ostrel|Writer)> \*\*\* line )"
        LR"(((procA|procB|threadA|threadB) \d+) p{3000} - \S+\(\d+\)\r\n$)");
    std::set<std::wstring> seen;
    for (const std::wstring& line : Lines(capture.Text())) {
        std::wsmatch match;
        ASSERT_TRUE(std::regex_match(line, match, shape)) << line;
        seen.insert(match[2].str());
    }
    EXPECT_EQ(4u * kLinesPerWriter, seen.size()) << "every line of every writer, once";
}

}  // namespace
