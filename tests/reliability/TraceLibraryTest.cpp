#include <gtest/gtest.h>

#include <string>

#include "Documents.h"
#include "LogCapture.h"
#include "ToolRun.h"

namespace {

using namespace TestSupport;

const std::wstring kStandIn = ExecutableFolder() + L"trace-library-standin\\ZorvDbg64.dll";
const std::wstring kImporting = ExecutableFolder() + L"trace-library-importing\\ZorvDbg64.dll";
const std::wstring kImport = ExecutableFolder() + L"trace-library-import\\ZorvDbgImport.dll";

void Copy(const std::wstring& from, const std::wstring& to) {
    ASSERT_TRUE(CopyFileW(from.c_str(), to.c_str(), FALSE)) << Narrow(to);
}

// Runs trace_exit_child (quiet or blocked) over the module in folder, in currentFolder
// (this process's when empty); its exit code.
DWORD RunExitChild(const std::wstring& folder, const wchar_t* mode,
                   const std::wstring& currentFolder = std::wstring()) {
    return RunProgram(ExecutableFolder() + L"trace_exit_child.exe", Quoted(folder) + L" " + mode,
                      currentFolder)
        .ExitCode;
}

// A copy of the module in a scratch folder, alone or beside another trace library.
class TraceLibraryTest : public ::testing::Test {
protected:
    void SetUp() override { Copy(BinFolder() + L"Ostrel.dll", m_Copy.File(L"Ostrel.dll")); }

    ScratchFolder m_Copy{L"ReliabilityTraceModule"};
};

// A host that ends its process with the module loaded: the module's entry point is told
// so (process-exit detach), when other threads are already gone. It writes the detach line
// only when the log's locks are free (not when a thread was stopped inside a log call), and
// leaves the trace library as it is.
TEST_F(TraceLibraryTest, AtProcessExitTheModuleTearsNothingDownAndNeverWaitsForTheLog) {
    Copy(kStandIn, m_Copy.File(L"ZorvDbg64.dll"));
    const std::wstring detachLine = L"*** Ostrel.dll was unloaded as process detach.";
    for (const bool blocked : {false, true}) {
        LogCapture log(0x111, false);
        ASSERT_EQ(0u, RunExitChild(m_Copy.Path(), blocked ? L"blocked" : L"quiet"))
            << "258: the process never ended";
        EXPECT_TRUE(log.Contains(blocked ? L"[Enter] CServiceFactory::Initialize()..."
                                         : L"*** Ostrel.dll was loaded as process attach."));
        EXPECT_EQ(!blocked, log.Contains(detachLine)) << Narrow(log.Text());
        EXPECT_FALSE(FileExists(log.Folder() + L"\\uninitialized.mark"));
    }
}

// A library's own imports are looked for beside it and in the system directory, never in
// the current directory: ostrel-host loading Ostrel.dll, the module loading its trace
// library. The importing stand-in's import is put in the current directory, then beside it.
TEST_F(TraceLibraryTest, LoadedLibrariesTakeTheirImportsFromTheirOwnFolderOrTheSystemOnly) {
    ScratchFolder current(L"ReliabilityTraceCurrent");
    Copy(kImport, current.File(L"ZorvDbgImport.dll"));
    // The host: a stand-in in the place of Ostrel.dll. Once loaded, it lacks the exports.
    ScratchFolder host(L"ReliabilityTraceHost");
    Copy(BinFolder() + L"ostrel-host.exe", host.File(L"ostrel-host.exe"));
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
            RunProgram(host.File(L"ostrel-host.exe"), L"services", current.Path()).Output;
        EXPECT_NE(std::string::npos,
                  output.find(beside ? "lacks one of its four exports" : "cannot load"))
            << output;
        LogCapture log(0x111, false);
        ASSERT_EQ(0u, RunExitChild(m_Copy.Path(), L"quiet", current.Path()));
        EXPECT_EQ(beside, log.Contains(L"was loaded as process attach.")) << beside;
    }
}

}  // namespace
