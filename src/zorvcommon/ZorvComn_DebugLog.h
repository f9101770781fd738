#pragma once
// The process-wide debug log. Every function of the module reports through it with
// one of the macros below; a call whose level is filtered out (or with the log
// disabled) costs one relaxed atomic load: its arguments are not even evaluated.

#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <string>

#include "ZorvComn_Synchronize.h"
#include "ZorvComn_ZorvDbg.h"

namespace ZorvCommon {

namespace Storage {
class Key;
}

enum LogLevel : uint32_t {
    LogLevelTrace = 1,    // "[Enter] " and "[Leave] " lines
    LogLevelInfo = 16,    // progress lines beginning "*** "
    LogLevelError = 256,  // failure lines
    LogLevelWarning = 4096,
    LogLevelFatal = 65536,
};

class DebugLog {
public:
    DebugLog() = default;
    virtual ~DebugLog() = default;
    DebugLog(const DebugLog&) = delete;
    DebugLog& operator=(const DebugLog&) = delete;

    // Reads the configuration below configKey and, when enabled, loads
    // traceLibraryFolder\ZorvDbg64.dll and hands it the configuration. The folder must be
    // a full path: an empty one (the module's own path was unknown) or a relative one loads
    // no trace library, so that the library is never looked for along a search path.
    // Never throws: a failure of any kind is false.
    bool Initialize(const std::wstring& unitName, const Storage::Key& configKey,
                    const std::wstring& traceLibraryFolder);
    bool Uninitialize();

    // sourceFile is the compiler's source path; only its last component is printed.
    // format is a wide printf format with Microsoft semantics (%s takes a wide string).
    // Never throws: a line that cannot be made (memory ran out) is lost and answers false.
    bool Trace(const char* sourceFile, uint32_t line, uint32_t level, const wchar_t* format, ...);
    // The same, for process exit, where a thread stopped in the middle of a log call may
    // still hold one of the log's locks: the line is written only when both locks can be
    // taken without waiting, else it is lost (false).
    bool TraceWithoutWaiting(const char* sourceFile, uint32_t line, uint32_t level,
                             const wchar_t* format, ...);
    // Process exit: the log passes nothing more and tears nothing down. The trace library
    // stays loaded and its file open (the loader and the system end them), no lock is
    // taken and nothing waits.
    void AbandonAtProcessExit();

    // The fast filter the macros test before anything is formatted: the level mask
    // while the log is initialized and enabled, 0 otherwise.
    bool IsPassing(uint32_t level) const {
        return (m_PassMask.load(std::memory_order_relaxed) & level) != 0;
    }

private:
    bool InitializeUnguarded(const std::wstring& unitName, const Storage::Key& configKey,
                             const std::wstring& traceLibraryFolder);
    bool LoadTraceLibrary(const std::wstring& traceLibraryFolder, const DebugLogConfig& config);
    bool TraceV(bool mayWait, const char* sourceFile, uint32_t line, uint32_t level,
                const wchar_t* format, va_list args) noexcept;
    bool HandOver(bool mayWait, const SYSTEMTIME& time, const std::wstring& line);
    void PublishPassMask();  // under the state lock

    Synchronize::CriticalSection m_StateLock;
    bool m_Initialized = false;
    bool m_Enabled = false;
    uint32_t m_LevelMask = 0;
    std::wstring m_UnitName;
    Library::ZorvDbg m_TraceLibrary;
    void* m_TraceHandle = nullptr;
    std::atomic<uint32_t> m_PassMask{0};
    Synchronize::CriticalSection m_InitializeLock;
};

extern DebugLog g_DebugLog;

}  // namespace ZorvCommon

#define ZORV_LOG(level, ...)                                                                \
    do {                                                                                    \
        if (::ZorvCommon::g_DebugLog.IsPassing(level)) {                                    \
            (void)::ZorvCommon::g_DebugLog.Trace(__FILE__, __LINE__, (level), __VA_ARGS__); \
        }                                                                                   \
    } while (0)
#define ZORV_TRACE(...) ZORV_LOG(::ZorvCommon::LogLevelTrace, __VA_ARGS__)
#define ZORV_INFO(...) ZORV_LOG(::ZorvCommon::LogLevelInfo, __VA_ARGS__)
#define ZORV_ERROR(...) ZORV_LOG(::ZorvCommon::LogLevelError, __VA_ARGS__)
