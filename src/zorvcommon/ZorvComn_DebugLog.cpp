#include "ZorvComn_DebugLog.h"

#include <memory>

#include "ZorvComn_DebugLogSettings.h"
#include "ZorvComn_Exception.h"
#include "ZorvComn_Library.h"
#include "ZorvComn_String.h"

namespace ZorvCommon {
namespace {

const wchar_t* LevelTag(uint32_t level) {
    switch (level) {
        case LogLevelTrace:
            return L".w.";
        case LogLevelInfo:
            return L"@@@";
        case LogLevelError:
            return L"!!!";
        case LogLevelWarning:
            return L"+++";
        case LogLevelFatal:
            return L"###";
        default:
            return L"???";
    }
}

// The last path component; the compiler may write either separator.
std::wstring SourceFilePiece(const char* sourceFile) {
    const std::wstring name = Exception::SourceFileName(sourceFile);  // "\Name.cpp"
    return name.empty() ? name : name.substr(1);
}

// Saves the caller's last error and puts it back on every way out.
class LastErrorKeeper {
public:
    LastErrorKeeper() : m_LastError(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(m_LastError); }

private:
    DWORD m_LastError;
};

}  // namespace

DebugLog g_DebugLog;

bool DebugLog::Initialize(const std::wstring& unitName, const Storage::Key& configKey,
                          const std::wstring& traceLibraryFolder) {
    try {
        return InitializeUnguarded(unitName, configKey, traceLibraryFolder);
    } catch (Exception::Base* pException) {
        const std::unique_ptr<Exception::Base> owner(pException);
    } catch (...) {
    }
    return false;  // not initialized: the pass mask stays 0
}

bool DebugLog::InitializeUnguarded(const std::wstring& unitName, const Storage::Key& configKey,
                                   const std::wstring& traceLibraryFolder) {
    Synchronize::SingleLock initializeLock(&m_InitializeLock);
    {
        Synchronize::SingleLock stateLock(&m_StateLock);
        m_UnitName = unitName;
    }
    DebugLogSettings settings;
    if (!ReadDebugLogSettings(configKey, unitName, IsServiceSession(), settings)) {
        return false;
    }
    bool needsLibrary = false;
    {
        Synchronize::SingleLock stateLock(&m_StateLock);
        if (!settings.Enabled) {
            m_Initialized = true;  // initialized but silent
        }
        m_Enabled = settings.Enabled;
        m_LevelMask = settings.LevelMask;
        needsLibrary = !m_Initialized && m_Enabled;
        PublishPassMask();
    }
    if (needsLibrary && !LoadTraceLibrary(traceLibraryFolder, settings.Record)) {
        return false;
    }
    Synchronize::SingleLock stateLock(&m_StateLock);
    m_Initialized = true;
    PublishPassMask();
    return true;
}

// Under the initialisation lock.
bool DebugLog::LoadTraceLibrary(const std::wstring& traceLibraryFolder,
                                const DebugLogConfig& config) {
    if (!Library::IsFullPath(traceLibraryFolder)) {
        return false;
    }
    std::wstring path = traceLibraryFolder;
    String::AppendBackslash(path);
    path += L"ZorvDbg64.dll";
    void* handle = nullptr;
    if (!m_TraceLibrary.Load(path) || !m_TraceLibrary.IsResolved() ||
        m_TraceLibrary.InitializeFunction()(&handle, &config) != 0 || handle == nullptr) {
        m_TraceLibrary.Free();
        return false;
    }
    m_TraceHandle = handle;
    return true;
}

bool DebugLog::Uninitialize() {
    Synchronize::SingleLock initializeLock(&m_InitializeLock);
    Synchronize::SingleLock stateLock(&m_StateLock);
    const bool wasInitialized = m_Initialized;
    if (m_Initialized && m_TraceLibrary.IsLoaded()) {
        if (m_TraceLibrary.IsResolved()) {
            m_TraceLibrary.UninitializeFunction()(m_TraceHandle);
        }
        m_TraceHandle = nullptr;
        m_TraceLibrary.Free();
    }
    m_Initialized = false;
    m_Enabled = false;
    m_LevelMask = 0;
    PublishPassMask();
    return wasInitialized;
}

bool DebugLog::Trace(const char* sourceFile, uint32_t line, uint32_t level, const wchar_t* format,
                     ...) {
    va_list args;
    va_start(args, format);
    const bool written = TraceV(true, sourceFile, line, level, format, args);
    va_end(args);
    return written;
}

bool DebugLog::TraceWithoutWaiting(const char* sourceFile, uint32_t line, uint32_t level,
                                   const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    const bool written = TraceV(false, sourceFile, line, level, format, args);
    va_end(args);
    return written;
}

bool DebugLog::TraceV(bool mayWait, const char* sourceFile, uint32_t line, uint32_t level,
                      const wchar_t* format, va_list args) noexcept {
    LastErrorKeeper lastErrorKeeper;
    try {
        std::wstring unitName;
        {
            Synchronize::SingleLock stateLock(&m_StateLock, mayWait);
            if (!stateLock.IsHeld() || !m_Initialized) {
                return false;
            }
            if (!m_Enabled) {
                return true;
            }
            if ((m_LevelMask & level) == 0) {
                return false;
            }
            unitName = m_UnitName;
        }
        std::wstring message;
        if (!String::FormatV(message, format, args)) {
            return false;
        }
        SYSTEMTIME time = {};
        GetLocalTime(&time);
        std::wstring head;
        std::wstring tail;
        (void)String::Format(head, L"%02d/%02d/%04d %02d:%02d:%02d.%03d %04x:%04x %3s <%s> ",
                             time.wDay, time.wMonth, time.wYear, time.wHour, time.wMinute,
                             time.wSecond, time.wMilliseconds, GetCurrentProcessId(),
                             GetCurrentThreadId(), LevelTag(level), unitName.c_str());
        (void)String::Format(tail, L" - %s(%lu)\r\n", SourceFilePiece(sourceFile).c_str(), line);
        return HandOver(mayWait, time, head + message + tail);
    } catch (Exception::Base* pException) {
        const std::unique_ptr<Exception::Base> owner(pException);
    } catch (...) {
    }
    return false;  // the line is lost, the caller goes on
}

bool DebugLog::HandOver(bool mayWait, const SYSTEMTIME& time, const std::wstring& line) {
    Synchronize::SingleLock initializeLock(&m_InitializeLock, mayWait);
    if (!initializeLock.IsHeld() || !m_TraceLibrary.IsResolved()) {
        return false;
    }
    return m_TraceLibrary.TraceFunction()(m_TraceHandle, &time, line.c_str()) == 0;
}

void DebugLog::AbandonAtProcessExit() {
    // No lock: the threads that could hold one are gone, and one of them may have died
    // holding it.
    m_PassMask.store(0, std::memory_order_relaxed);
    m_TraceLibrary.Abandon();
    m_TraceHandle = nullptr;
}

void DebugLog::PublishPassMask() {
    m_PassMask.store(m_Initialized && m_Enabled ? m_LevelMask : 0, std::memory_order_relaxed);
}

}  // namespace ZorvCommon
