#pragma once
// Watches the input under way. Before an input runs its bytes are written to
// "current.xen" (and a description to "current.txt") in the work folder, so that even a
// death no handler sees leaves it behind. A watchdog thread flags an input that runs
// past the time limit as a hang; an unhandled exception or an abort is a crash. Either
// saves the input into the regressions folder, says so on stdout and ends the process
// (exit code 4 for a hang, 3 for a crash). The time limit counts the processor time of the
// thread that runs the input, so that a busy machine does not make hangs of slow inputs;
// an input that waits instead of working is a hang after ten times the limit.

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "FuzzGenerator.h"
#include "ZorvComn_Handle.h"

namespace OstrelFuzz {

constexpr int kExitCrash = 3;
constexpr int kExitHang = 4;

class FuzzGuard {
public:
    // One guard per process: it installs the crash handlers.
    FuzzGuard(const std::wstring& workFolder, const std::wstring& regressionsFolder,
              DWORD hangMilliseconds);
    ~FuzzGuard();
    FuzzGuard(const FuzzGuard&) = delete;
    FuzzGuard& operator=(const FuzzGuard&) = delete;

    void Begin(const FuzzInput& input, uint64_t number);
    void End();

    // Saves the current input and ends the process with exitCode.
    [[noreturn]] void Fail(const char* what, int exitCode);

private:
    static DWORD WINAPI Watch(void* pGuard);

    std::wstring m_CurrentFile;
    std::wstring m_CurrentText;
    std::wstring m_RegressionsFolder;
    std::wstring m_SaveTarget;  // the current input's name in the regressions folder
    char m_Description[512] = {};
    char m_SaveTargetText[2 * MAX_PATH] = {};
    DWORD m_HangMilliseconds;
    ZorvCommon::UniqueThread m_InputThread;  // the thread that runs the inputs
    std::atomic<uint64_t> m_StartedAt{0};    // tick count; 0: no input under way
    std::atomic<uint64_t> m_StartedCpu{0};   // the input thread's processor time then, in ms
    std::atomic<bool> m_Stopping{false};
    ZorvCommon::UniqueThread m_Watchdog;
};

}  // namespace OstrelFuzz
