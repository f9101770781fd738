#pragma once
// One configured log file of the trace library: lines are appended as UTF-8, one
// WriteFile per line under a named mutex derived from the file path, so that several
// processes (and several modules of one process) can share the file.

#include <windows.h>

#include <string>

#include "ZorvComn_Handle.h"
#include "ZorvDbg.h"

namespace ZorvDbg {

// "<folder>\<prefix><file, or the unit name when empty>[_<pid>][.<extension>]"; the
// temporary folder stands in for an empty folder.
std::wstring LogFilePath(const DebugLogConfig& config, DWORD processId);

class LogFile {
public:
    explicit LogFile(const DebugLogConfig& config);
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Opens or creates the file for appending; the Win32 error on failure.
    DWORD Open();
    // Appends one complete line; the Win32 error on failure.
    DWORD Append(const wchar_t* line);

private:
    std::wstring m_Path;
    bool m_Robust;    // flush every line to disk
    bool m_Debugger;  // also send every line to the debugger
    ZorvCommon::UniqueFile m_File;
    ZorvCommon::UniqueFile m_Mutex;  // a kernel handle closed by CloseHandle, like a file
};

}  // namespace ZorvDbg
