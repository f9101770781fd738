#pragma once
// One configured log file of the trace library. Lines are appended as UTF-8, one
// WriteFile per line on a handle opened for appending only: the system puts each write
// whole at the end of the file, so threads, modules and processes can share the file
// without a lock of their own.

#include <windows.h>

#include <string>

#include "ZorvComn_Handle.h"
#include "ZorvDbg.h"

namespace ZorvDbg {

// The folder that stands in for an empty LogFolder: "ZorvDbg" in the common application
// data folder, which the library creates with its own access list. Empty when the common
// application data folder is unknown.
std::wstring DefaultLogFolder();

// "<prefix><file, or the unit name when empty>[_<pid>][.<extension>]", the file's name in
// its folder: LogFolder, or DefaultLogFolder() when that is empty.
std::wstring LogFileName(const DebugLogConfig& config, DWORD processId);

// The line as one line of the file: control characters (below U+0020, U+007F, U+0085,
// U+2028, U+2029) written as "\r", "\n", "\t", "\xHH" or "\uHHHH", so that no text in it
// can start a line of its own; then "\r\n". One "\r\n" at the end of line is its own
// ending and is not escaped.
std::wstring OneLine(const wchar_t* line);

class LogFile {
public:
    explicit LogFile(const DebugLogConfig& config);
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Opens or creates the file for appending; the Win32 error on failure. Refused: a
    // folder that is not a full path, a file name with a separator or colon (161), a
    // folder that is a file (267), a folder or file that is a reparse point, a file with
    // several links (5), a folder or file owned by anyone but this process's user, Local
    // System or the Administrators (1307).
    DWORD Open();
    // Appends one line (see OneLine); the Win32 error on failure.
    DWORD Append(const wchar_t* line);

private:
    DWORD OpenFolder(ZorvCommon::UniqueFile& folder, PSID processUser) const;

    std::wstring m_Folder;
    std::wstring m_Name;
    bool m_CreateFolder;  // the default folder, made with the library's access list
    bool m_Robust;        // flush every line to disk
    bool m_Debugger;      // also send every line to the debugger
    ZorvCommon::UniqueFile m_File;
};

}  // namespace ZorvDbg
