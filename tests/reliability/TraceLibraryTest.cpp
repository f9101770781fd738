#include <gtest/gtest.h>

#include <windows.h>

#include <array>
#include <string>

#include "ReliabilityKit.h"
#include "ToolRun.h"
#include "ZorvComn_Handle.h"

namespace {

using namespace Reliability;

using Answers = std::array<std::wstring, kRequestKinds>;

std::wstring StandIn(const wchar_t* build) {
    return TestSupport::ExecutableFolder() + build + L"\\ZorvDbg64.dll";
}

// Runs trace_exit_child over the module in folder (no final backslash), in the current
// folder given (this process's when empty); its exit code, or WAIT_TIMEOUT when it had not
// ended within a minute (it is then ended here).
DWORD RunExitChild(const std::wstring& folder, const wchar_t* mode,
                   const std::wstring& currentFolder = std::wstring()) {
    std::wstring command =
        TestSupport::Quoted(TestSupport::ExecutableFolder() + L"trace_exit_child.exe") + L" " +
        TestSupport::Quoted(folder) + L" " + mode;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr,
                        currentFolder.empty() ? nullptr : currentFolder.c_str(), &startup,
                        &process)) {
        return GetLastError();
    }
    const ZorvCommon::UniqueProcess processHandle(process.hProcess);
    const ZorvCommon::UniqueThread threadHandle(process.hThread);
    if (WaitForSingleObject(processHandle.get(), 60000) != WAIT_OBJECT_0) {
        TerminateProcess(processHandle.get(), WAIT_TIMEOUT);
        return WAIT_TIMEOUT;
    }
    DWORD exitCode = 0;
    GetExitCodeProcess(processHandle.get(), &exitCode);
    return exitCode;
}

Answers AskEverything(ModuleUnderTest& module, const StorageLane& lane) {
    Answers answers;
    for (size_t kind = 0; kind < kRequestKinds; ++kind) {
        answers[kind] = Ask(module.Utility(), static_cast<RequestKind>(kind), lane);
    }
    return answers;
}

// The module copied into a scratch folder, alone or beside another trace library. Its
// answers are compared with those of the module in build\bin, whose trace library works.
class TraceLibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        ModuleUnderTest shipped;
        AskEverything(shipped, m_Lane);  // the first round creates the key
        m_Expected = AskEverything(shipped, m_Lane);
        ASSERT_TRUE(shipped.Log().Contains(L"*** Ostrel.dll was loaded as process attach."));
    }

    std::wstring CopyModule() {
        const std::wstring target = m_Copy.File(L"Ostrel.dll");
        EXPECT_TRUE(
            CopyFileW((TestSupport::BinFolder() + L"Ostrel.dll").c_str(), target.c_str(), FALSE));
        return m_Copy.Path() + L"\\";
    }
    // The copy of the module with the stand-in trace library beside it.
    std::wstring CopyModuleWithStandIn() {
        const std::wstring folder = CopyModule();
        EXPECT_TRUE(CopyFileW(StandIn(L"trace-library-standin").c_str(),
                              m_Copy.File(L"ZorvDbg64.dll").c_str(), FALSE));
        return folder;
    }

    TestSupport::ScratchRegistryKey m_Key{L"ReliabilityTrace"};
    TestSupport::ScratchFolder m_Documents{L"ReliabilityTraceDocuments"};
    TestSupport::ScratchFolder m_Copy{L"ReliabilityTraceModule"};
    StorageLane m_Lane = MakeLane(m_Documents, m_Key.Path(), L"trace");
    Answers m_Expected;
};

TEST_F(TraceLibraryTest, AModuleWithoutItsTraceLibraryAnswersAsUsualAndLogsNothing) {
    ModuleUnderTest copy(0x111, CopyModule());
    ASSERT_TRUE(copy.Utility().IsValid());
    EXPECT_EQ(m_Expected, AskEverything(copy, m_Lane));
    EXPECT_FALSE(TestSupport::FileExists(copy.Log().FilePath()));
}

TEST_F(TraceLibraryTest, AModuleWhoseTraceLibraryRefusesToStartAnswersAsUsualAndLogsNothing) {
    const std::wstring folder = CopyModuleWithStandIn();
    TestSupport::WriteFileBytes(m_Copy.File(L"refuse.mode"), {});
    ModuleUnderTest copy(0x111, folder);
    ASSERT_TRUE(copy.Utility().IsValid());
    EXPECT_EQ(m_Expected, AskEverything(copy, m_Lane));
    const std::wstring logFolder = copy.Log().Folder() + L"\\";
    EXPECT_TRUE(TestSupport::FileExists(logFolder + L"initialize-refused.mark"))
        << "the trace library was asked to start";
    EXPECT_FALSE(TestSupport::FileExists(logFolder + L"trace-called.mark"))
        << "no line goes to a library that did not start";
    EXPECT_FALSE(TestSupport::FileExists(copy.Log().FilePath()));
}

// A host that ends its process with the module loaded: the module's entry point is told
// so (process-exit detach), when other threads are already gone.
TEST_F(TraceLibraryTest, AtProcessExitTheModuleTearsNothingDownAndNeverWaitsForTheLog) {
    CopyModuleWithStandIn();
    const std::wstring detachLine = L"*** Ostrel.dll was unloaded as process detach.";
    {
        TestSupport::LogCapture log(0x111, false);
        ASSERT_EQ(0u, RunExitChild(m_Copy.Path(), L"quiet"));
        EXPECT_TRUE(log.Contains(L"*** Ostrel.dll was loaded as process attach."));
        EXPECT_TRUE(log.Contains(detachLine)) << "the locks were free: the line is written";
        EXPECT_FALSE(TestSupport::FileExists(log.Folder() + L"\\uninitialized.mark"))
            << "the trace library is left as it is";
    }
    {
        // A thread was stopped inside a log call, holding the log's locks.
        TestSupport::WriteFileBytes(m_Copy.File(L"hang.mode"), {});
        TestSupport::LogCapture log(0x111, false);
        ASSERT_EQ(0u, RunExitChild(m_Copy.Path(), L"blocked")) << "258: the process never ended";
        EXPECT_TRUE(log.Contains(L"[Enter] CServiceFactory::Initialize()..."));
        EXPECT_FALSE(log.Contains(detachLine)) << log.Text();
        EXPECT_FALSE(TestSupport::FileExists(log.Folder() + L"\\uninitialized.mark"));
    }
}

// A library's own imports are looked for beside it and in the system directory, never in
// the current directory: ostrel-host loading Ostrel.dll, the module loading its trace
// library. The importing stand-in's import is put in the current directory, then beside it.
TEST_F(TraceLibraryTest, LoadedLibrariesTakeTheirImportsFromTheirOwnFolderOrTheSystemOnly) {
    const std::wstring import =
        TestSupport::ExecutableFolder() + L"trace-library-import\\ZorvDbgImport.dll";
    TestSupport::ScratchFolder current(L"ReliabilityTraceCurrent");
    ASSERT_TRUE(CopyFileW(import.c_str(), current.File(L"ZorvDbgImport.dll").c_str(), FALSE));

    // The host: a stand-in in the place of Ostrel.dll. Once loaded, it lacks the exports.
    TestSupport::ScratchFolder host(L"ReliabilityTraceHost");
    ASSERT_TRUE(CopyFileW((TestSupport::BinFolder() + L"ostrel-host.exe").c_str(),
                          host.File(L"ostrel-host.exe").c_str(), FALSE));
    ASSERT_TRUE(CopyFileW(StandIn(L"trace-library-importing").c_str(),
                          host.File(L"Ostrel.dll").c_str(), FALSE));
    const TestSupport::ToolRun refused =
        TestSupport::RunProgram(host.File(L"ostrel-host.exe"), L"services", current.Path());
    EXPECT_NE(std::string::npos, refused.Output.find("cannot load")) << refused.Output;

    // The module, in a process of its own (Wine keeps a library whose import was missing
    // mapped until its process ends): its log starts only when the trace library loads.
    CopyModule();
    ASSERT_TRUE(CopyFileW(StandIn(L"trace-library-importing").c_str(),
                          m_Copy.File(L"ZorvDbg64.dll").c_str(), FALSE));
    {
        TestSupport::LogCapture log(0x111, false);
        ASSERT_EQ(0u, RunExitChild(m_Copy.Path(), L"quiet", current.Path()));
        EXPECT_FALSE(log.Contains(L"was loaded as process attach."));
    }

    // Beside the library, the import is found.
    ASSERT_TRUE(CopyFileW(import.c_str(), host.File(L"ZorvDbgImport.dll").c_str(), FALSE));
    const TestSupport::ToolRun loaded =
        TestSupport::RunProgram(host.File(L"ostrel-host.exe"), L"services", current.Path());
    EXPECT_NE(std::string::npos, loaded.Output.find("lacks one of its four exports"))
        << loaded.Output;
    ASSERT_TRUE(CopyFileW(import.c_str(), m_Copy.File(L"ZorvDbgImport.dll").c_str(), FALSE));
    TestSupport::LogCapture log(0x111, false);
    ASSERT_EQ(0u, RunExitChild(m_Copy.Path(), L"quiet", current.Path()));
    EXPECT_TRUE(log.Contains(L"was loaded as process attach."));
}

}  // namespace
