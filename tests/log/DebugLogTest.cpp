#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <map>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "Scratch.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Handle.h"
#include "ZorvComn_Storage.h"

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

std::wstring Hex4(DWORD value) {
    wchar_t text[16];
    _snwprintf_s(text, _countof(text), _TRUNCATE, L"%04x", value);
    return text;
}

ZorvCommon::Storage::Key DebugLogKey() {
    return ZorvCommon::Storage::Key(ZorvCommon::Storage::StorageTypeRegistry, HKEY_LOCAL_MACHINE,
                                    TestSupport::ProductKey::kDebugLogPath);
}

TEST(DebugLog, WritesOneExactlyFormattedLinePerCall) {
    LogCapture capture(0x111);
    const uint32_t line = __LINE__ + 1;
    ZORV_TRACE(L"[Enter] Sample::Run()... [%s] [0x%08x] [%lu]", L"wide", 0x2au, 7ul);

    const std::vector<std::wstring> lines = Lines(capture.Text());
    ASSERT_EQ(1u, lines.size()) << capture.Text();
    const std::wregex shape(
        LR"(^(\d\d)/(\d\d)/(\d{4}) \d\d:\d\d:\d\d\.\d{3} ([0-9a-f]{4,}):([0-9a-f]{4,}) \.w\. <Ostrel> )"
        LR"(\[Enter\] Sample::Run\(\)\.\.\. \[wide\] \[0x0000002a\] \[7\] - DebugLogTest\.cpp\((\d+)\)\r\n$)");
    std::wsmatch match;
    ASSERT_TRUE(std::regex_match(lines[0], match, shape)) << lines[0];
    SYSTEMTIME now;
    GetLocalTime(&now);
    EXPECT_EQ(now.wYear, std::stoi(match[3].str()));
    EXPECT_LE(std::stoi(match[1].str()), 31) << "the day comes first";
    EXPECT_EQ(Hex4(GetCurrentProcessId()), match[4].str());
    EXPECT_EQ(Hex4(GetCurrentThreadId()), match[5].str());
    EXPECT_EQ(std::to_wstring(line), match[6].str());
}

TEST(DebugLog, LevelMaskSelectsTheLinesAndTagsThem) {
    {
        LogCapture capture(257);
        ZORV_TRACE(L"[Enter] A()...");
        ZORV_INFO(L"*** progress");
        ZORV_ERROR(L"*** A() - failed. [0x%08x]", 0x80040201u);
        EXPECT_TRUE(capture.Contains(L" .w. <Ostrel> [Enter] A()..."));
        EXPECT_FALSE(capture.Contains(L"progress"));
        EXPECT_TRUE(capture.Contains(L" !!! <Ostrel> *** A() - failed. [0x80040201]"));
    }
    {
        LogCapture capture(16);
        ZORV_TRACE(L"[Enter] A()...");
        ZORV_INFO(L"*** progress");
        ZORV_ERROR(L"*** A() - failed.");
        EXPECT_EQ(1u, Lines(capture.Text()).size());
        EXPECT_TRUE(capture.Contains(L" @@@ <Ostrel> *** progress - "));
    }
    {
        LogCapture capture(0xFFFFFFFF);
        EXPECT_TRUE(g_DebugLog.Trace(__FILE__, 1, 4096, L"warning"));
        EXPECT_TRUE(g_DebugLog.Trace(__FILE__, 2, 65536, L"fatal"));
        EXPECT_TRUE(g_DebugLog.Trace(__FILE__, 3, 0x11, L"two bits"));
        EXPECT_FALSE(g_DebugLog.Trace(__FILE__, 4, 0, L"no bits"));
        EXPECT_TRUE(capture.Contains(L" +++ <Ostrel> warning - "));
        EXPECT_TRUE(capture.Contains(L" ### <Ostrel> fatal - "));
        EXPECT_TRUE(capture.Contains(L" ??? <Ostrel> two bits - "));
        EXPECT_FALSE(capture.Contains(L"no bits"));
    }
}

TEST(DebugLog, LongMessagesAndBothSeparatorsOfTheSourcePath) {
    LogCapture capture(0x111);
    const std::wstring longText(1000, L'x');
    EXPECT_TRUE(g_DebugLog.Trace("C:\\src\\deep\\Win.cpp", 5, 16, L"[%s]", longText.c_str()));
    EXPECT_TRUE(g_DebugLog.Trace("/src/deep/Unix.cpp", 6, 16, L"short"));
    EXPECT_TRUE(g_DebugLog.Trace("Bare.cpp", 7, 16, L"100%% sure"));
    EXPECT_TRUE(capture.Contains(L"[" + longText + L"] - Win.cpp(5)\r\n"));
    EXPECT_TRUE(capture.Contains(L"short - Unix.cpp(6)\r\n"));
    EXPECT_TRUE(capture.Contains(L"100% sure - Bare.cpp(7)\r\n"));
}

TEST(DebugLog, UninitializedLogWritesNothingAndKeepsTheLastError) {
    LogCapture capture(0x111);
    SetLastError(0xdeadbeef);
    ZORV_INFO(L"*** before %d", 1);
    EXPECT_EQ(0xdeadbeefu, GetLastError());
    ZORV_TRACE(L"filtered out");
    EXPECT_EQ(0xdeadbeefu, GetLastError());

    EXPECT_TRUE(g_DebugLog.Uninitialize());
    EXPECT_FALSE(g_DebugLog.Uninitialize());
    EXPECT_FALSE(g_DebugLog.IsPassing(0xFFFFFFFF));
    SetLastError(0xdeadbeef);
    EXPECT_FALSE(g_DebugLog.Trace(__FILE__, __LINE__, 16, L"*** after"));
    EXPECT_EQ(0xdeadbeefu, GetLastError());
    EXPECT_TRUE(capture.Contains(L"*** before 1"));
    EXPECT_FALSE(capture.Contains(L"after"));
}

TEST(DebugLog, DisabledLogIsInitializedButSilent) {
    LogCapture capture(0x111, false);
    capture.Product().SetDebugLogUint32(L"Enable", 0);
    ASSERT_TRUE(g_DebugLog.Initialize(L"Ostrel", DebugLogKey(), TestSupport::BinFolder()));
    EXPECT_FALSE(g_DebugLog.IsPassing(0xFFFFFFFF));
    EXPECT_TRUE(g_DebugLog.Trace(__FILE__, __LINE__, 256, L"silent")) << "disabled answers true";
    EXPECT_TRUE(g_DebugLog.Uninitialize());
    EXPECT_EQ(L"", capture.Text());

    // Enabled, but no trace library in that folder: Initialize fails, nothing passes.
    capture.Product().SetDebugLogUint32(L"Enable", 1);
    EXPECT_FALSE(g_DebugLog.Initialize(L"Ostrel", DebugLogKey(), capture.Folder()));
    EXPECT_FALSE(g_DebugLog.IsPassing(0xFFFFFFFF));
    EXPECT_FALSE(g_DebugLog.Trace(__FILE__, __LINE__, 256, L"nowhere"));
}

TEST(DebugLog, MissingLevelKeepsTheDefaultMaskAndLeavesTheRestUnread) {
    LogCapture capture(0x111, false);
    capture.Product().ClearDebugLog();
    capture.Product().SetDebugLogUint32(L"Enable", 1);
    capture.Product().SetDebugLogString(L"LogFolder", capture.Folder());
    capture.Product().SetDebugLogString(L"LogFile", L"unread");

    ASSERT_TRUE(g_DebugLog.Initialize(L"OstrelLevelTest", DebugLogKey(), TestSupport::BinFolder()));
    EXPECT_TRUE(g_DebugLog.IsPassing(256));
    EXPECT_FALSE(g_DebugLog.IsPassing(1));
    EXPECT_FALSE(g_DebugLog.IsPassing(16));
    ZORV_ERROR(L"*** default mask");
    EXPECT_TRUE(g_DebugLog.Uninitialize());

    // Neither the folder nor the file name was read: the trace library fell back to the
    // temporary folder and the unit name.
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    const std::wstring fallback = std::wstring(temp) + L"OstrelLevelTest";
    EXPECT_FALSE(TestSupport::FileExists(capture.Folder() + L"\\unread"));
    ASSERT_TRUE(TestSupport::FileExists(fallback));
    const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(fallback);
    DeleteFileW(fallback.c_str());
    EXPECT_NE(
        std::string::npos,
        std::string(bytes.begin(), bytes.end()).find("!!! <OstrelLevelTest> *** default mask"));
}

TEST(DebugLog, ProcessIdInTheFileNameAndUtf8Text) {
    LogCapture capture(0x111, false);
    capture.Product().SetDebugLogUint32(L"LogProcess", 1);
    capture.Product().SetDebugLogUint32(L"Robust", 1);
    capture.Product().SetDebugLogUint32(L"Debugger", 1);
    capture.Product().SetDebugLogString(L"LogPrefix", L"pre_");
    ASSERT_TRUE(g_DebugLog.Initialize(L"Ostrel", DebugLogKey(), TestSupport::BinFolder()));
    ZORV_INFO(L"*** caf\u00e9 \u20ac");
    EXPECT_TRUE(g_DebugLog.Uninitialize());

    const std::wstring path =
        capture.Folder() + L"\\pre_capture_" + std::to_wstring(GetCurrentProcessId()) + L".log";
    ASSERT_TRUE(TestSupport::FileExists(path));
    const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(path);
    EXPECT_NE(std::string::npos,
              std::string(bytes.begin(), bytes.end()).find("*** caf\xC3\xA9 \xE2\x82\xAC - "));
}

// Two processes and two threads of this one write into one file at the same time:
// every line arrives whole, none is lost.
TEST(DebugLog, ConcurrentWritersLoseNoLines) {
    constexpr int kLinesPerWriter = 300;
    LogCapture capture(0x111);

    std::wstring binFolder = TestSupport::BinFolder();
    binFolder.pop_back();  // a backslash before the closing quote would escape it
    std::vector<PROCESS_INFORMATION> children;
    for (const wchar_t* tag : {L"procA", L"procB"}) {
        std::wstring command = L"\"" + TestSupport::ExecutableFolder() + L"log_writer.exe\" \"" +
                               binFolder + L"\" " + tag + L" " + std::to_wstring(kLinesPerWriter);
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process = {};
        ASSERT_TRUE(CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr,
                                   nullptr, &startup, &process))
            << GetLastError();
        children.push_back(process);
    }
    auto write = [](const wchar_t* tag) {
        for (int i = 0; i < kLinesPerWriter; ++i) {
            ZORV_INFO(L"*** line %s %d", tag, i);
        }
    };
    std::thread threadA(write, L"threadA");
    std::thread threadB(write, L"threadB");
    threadA.join();
    threadB.join();
    for (PROCESS_INFORMATION& process : children) {
        ZorvCommon::UniqueFile processHandle(process.hProcess);
        ZorvCommon::UniqueFile threadHandle(process.hThread);
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(processHandle.get(), 60000));
        DWORD exitCode = 1;
        GetExitCodeProcess(processHandle.get(), &exitCode);
        EXPECT_EQ(0u, exitCode);
    }

    const std::wregex shape(
        LR"(^\S+ \S+ [0-9a-f]+:[0-9a-f]+ @@@ <(Ostrel|Writer)> \*\*\* line )"
        LR"((procA|procB|threadA|threadB) (\d+) - \S+\(\d+\)\r\n$)");
    std::map<std::wstring, std::vector<bool>> seen;
    for (const std::wstring& line : Lines(capture.Text())) {
        std::wsmatch match;
        ASSERT_TRUE(std::regex_match(line, match, shape)) << line;
        std::vector<bool>& numbers = seen[match[2].str()];
        numbers.resize(kLinesPerWriter);
        numbers[std::stoi(match[3].str())] = true;
    }
    ASSERT_EQ(4u, seen.size());
    for (const auto& writer : seen) {
        EXPECT_EQ(kLinesPerWriter, std::count(writer.second.begin(), writer.second.end(), true))
            << writer.first.c_str();
    }
}

}  // namespace
