#include <gtest/gtest.h>

#include <array>
#include <string>

#include "ReliabilityKit.h"
#include "ToolRun.h"

namespace {

using namespace Reliability;
using TestSupport::ExecutableFolder;
using TestSupport::FileExists;
using TestSupport::LogCapture;

using Answers = std::array<std::wstring, kRequestKinds>;

const std::wstring kStandIn = ExecutableFolder() + L"trace-library-standin\\ZorvDbg64.dll";
const std::wstring kImporting = ExecutableFolder() + L"trace-library-importing\\ZorvDbg64.dll";
const std::wstring kImport = ExecutableFolder() + L"trace-library-import\\ZorvDbgImport.dll";

void Copy(const std::wstring& from, const std::wstring& to) {
    ASSERT_TRUE(CopyFileW(from.c_str(), to.c_str(), FALSE)) << TestSupport::Narrow(to);
}

// Runs trace_exit_child (quiet or blocked) over the module in folder, in currentFolder
// (this process's when empty); its exit code.
DWORD RunExitChild(const std::wstring& folder, const wchar_t* mode,
                   const std::wstring& currentFolder = std::wstring()) {
    return TestSupport::RunProgram(ExecutableFolder() + L"trace_exit_child.exe",
                                   TestSupport::Quoted(folder) + L" " + mode, currentFolder)
        .ExitCode;
}

Answers AskEverything(ModuleUnderTest& module, const StorageLane& lane) {
    Answers answers;
    for (size_t kind = 0; kind < kRequestKinds; ++kind) {
        answers[kind] = Ask(*module.Utility().Get(), static_cast<RequestKind>(kind), lane);
    }
    return answers;
}

// A copy of the module in a scratch folder, alone or beside another trace library.
class TraceLibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        Copy(TestSupport::BinFolder() + L"Ostrel.dll", m_Copy.File(L"Ostrel.dll"));
    }

    TestSupport::ScratchFolder m_Copy{L"ReliabilityTraceModule"};
};

// Without its trace library, or with one that refuses to start, the module answers as the
// shipped one, whose trace library works, and logs nothing.
TEST_F(TraceLibraryTest, AModuleWithoutAWorkingTraceLibraryAnswersAsUsualAndLogsNothing) {
    TestSupport::ScratchRegistryKey key(L"ReliabilityTrace");
    TestSupport::ScratchFolder documents(L"ReliabilityTraceDocuments");
    const StorageLane lane = MakeLane(documents, key.Path(), L"trace");
    Answers expected;
    {
        ModuleUnderTest shipped;
        AskEverything(shipped, lane);  // the first round creates the key
        expected = AskEverything(shipped, lane);
        ASSERT_TRUE(shipped.Log().Contains(L"*** Ostrel.dll was loaded as process attach."));
    }
    for (const bool standIn : {false, true}) {
        if (standIn) {
            Copy(kStandIn, m_Copy.File(L"ZorvDbg64.dll"));
            TestSupport::WriteFileBytes(m_Copy.File(L"refuse.mode"), {});
        }
        ModuleUnderTest copy(0x111, m_Copy.Path() + L"\\");
        ASSERT_TRUE(copy.Utility().IsValid());
        EXPECT_EQ(expected, AskEverything(copy, lane)) << standIn;
        const std::wstring logFolder = copy.Log().Folder() + L"\\";
        EXPECT_EQ(standIn, FileExists(logFolder + L"initialize-refused.mark"))
            << "the trace library was asked to start";
        EXPECT_FALSE(FileExists(copy.Log().FilePath()))
            << "no line goes to a library that did not start";
    }
}

// A host that ends its process with the module loaded: the module's entry point is told
// so (process-exit detach), when other threads are already gone. It writes the detach line
// only when the log's locks are free, and leaves the trace library as it is.
TEST_F(TraceLibraryTest, AtProcessExitTheModuleTearsNothingDownAndNeverWaitsForTheLog) {
    Copy(kStandIn, m_Copy.File(L"ZorvDbg64.dll"));
    const std::wstring detachLine = L"*** Ostrel.dll was unloaded as process detach.";
    for (const bool blocked : {false, true}) {
        if (blocked) {  // a thread was stopped inside a log call, holding the log's locks
            TestSupport::WriteFileBytes(m_Copy.File(L"hang.mode"), {});
        }
        LogCapture log(0x111, false);
        ASSERT_EQ(0u, RunExitChild(m_Copy.Path(), blocked ? L"blocked" : L"quiet"))
            << "258: the process never ended";
        EXPECT_TRUE(log.Contains(blocked ? L"[Enter] CServiceFactory::Initialize()..."
                                         : L"*** Ostrel.dll was loaded as process attach."));
        EXPECT_EQ(!blocked, log.Contains(detachLine)) << TestSupport::Narrow(log.Text());
        EXPECT_FALSE(FileExists(log.Folder() + L"\\uninitialized.mark"));
    }
}

// A library's own imports are looked for beside it and in the system directory, never in
// the current directory: ostrel-host loading Ostrel.dll, the module loading its trace
// library. The importing stand-in's import is put in the current directory, then beside it.
TEST_F(TraceLibraryTest, LoadedLibrariesTakeTheirImportsFromTheirOwnFolderOrTheSystemOnly) {
    TestSupport::ScratchFolder current(L"ReliabilityTraceCurrent");
    Copy(kImport, current.File(L"ZorvDbgImport.dll"));
    // The host: a stand-in in the place of Ostrel.dll. Once loaded, it lacks the exports.
    TestSupport::ScratchFolder host(L"ReliabilityTraceHost");
    Copy(TestSupport::BinFolder() + L"ostrel-host.exe", host.File(L"ostrel-host.exe"));
    Copy(kImporting, host.File(L"Ostrel.dll"));
    // The module, in a process of its own (Wine keeps a library whose import was missing
    // mapped until its process ends): its log starts only when the trace library loads.
    Copy(kImporting, m_Copy.File(L"ZorvDbg64.dll"));
    for (const bool beside : {false, true}) {
        if (beside) {
            Copy(kImport, host.File(L"ZorvDbgImport.dll"));
            Copy(kImport, m_Copy.File(L"ZorvDbgImport.dll"));
        }
        const std::string output =
            TestSupport::RunProgram(host.File(L"ostrel-host.exe"), L"services", current.Path())
                .Output;
        EXPECT_NE(std::string::npos,
                  output.find(beside ? "lacks one of its four exports" : "cannot load"))
            << output;
        LogCapture log(0x111, false);
        ASSERT_EQ(0u, RunExitChild(m_Copy.Path(), L"quiet", current.Path()));
        EXPECT_EQ(beside, log.Contains(L"was loaded as process attach.")) << beside;
    }
}

}  // namespace
