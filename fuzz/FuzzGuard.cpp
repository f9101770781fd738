#include "FuzzGuard.h"

#include <csignal>
#include <cstdio>

#include "FuzzRegressions.h"
#include "Scratch.h"

namespace OstrelFuzz {
namespace {

FuzzGuard* g_pGuard = nullptr;

// Handlers run on a broken stack or with locks held: no allocation, one WriteFile.
void Say(const char* text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text, static_cast<DWORD>(strlen(text)), &written,
              nullptr);
}

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* pPointers) {
    char what[64];
    snprintf(what, sizeof(what), "CRASH (exception 0x%08lx)",
             pPointers->ExceptionRecord->ExceptionCode);
    g_pGuard->Fail(what, kExitCrash);
}

void OnAbort(int) {
    g_pGuard->Fail("CRASH (abort)", kExitCrash);
}

// Kernel and user time of a thread, in milliseconds.
uint64_t ProcessorMilliseconds(HANDLE thread) {
    FILETIME creation, exit, kernel, user;
    if (!GetThreadTimes(thread, &creation, &exit, &kernel, &user)) {
        return 0;
    }
    const auto ticks = [](const FILETIME& time) {
        return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    };
    return (ticks(kernel) + ticks(user)) / 10000;
}

std::string Describe(const FuzzInput& input, uint64_t number) {
    std::string text = "input #" + std::to_string(number) + " (" + PathName(input.Path) +
                       ", seed " + input.SeedName + ", " + std::to_string(input.File.size()) +
                       " bytes;";
    for (size_t mutation = 0; mutation < kMutationCount; ++mutation) {
        if (input.Mutations & Bit(static_cast<Mutation>(mutation))) {
            text += std::string(" ") + MutationName(static_cast<Mutation>(mutation)) + ";";
        }
    }
    return text + ")";
}

}  // namespace

FuzzGuard::FuzzGuard(const std::wstring& workFolder, const std::wstring& regressionsFolder,
                     DWORD hangMilliseconds)
    : m_CurrentFile(workFolder + L"\\current.xen"),
      m_CurrentText(workFolder + L"\\current.txt"),
      m_RegressionsFolder(regressionsFolder),
      m_HangMilliseconds(hangMilliseconds) {
    CreateDirectoryW(workFolder.c_str(), nullptr);
    CreateDirectoryW(regressionsFolder.c_str(), nullptr);
    g_pGuard = this;
    HANDLE thread = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    m_InputThread.reset(thread);
    ULONG stackReserve = 64 * 1024;  // room for the handler after a stack overflow
    SetThreadStackGuarantee(&stackReserve);
    SetUnhandledExceptionFilter(&OnUnhandledException);
    signal(SIGABRT, &OnAbort);
    m_Watchdog.reset(CreateThread(nullptr, 0, &FuzzGuard::Watch, this, 0, nullptr));
}

FuzzGuard::~FuzzGuard() {
    m_Stopping = true;
    WaitForSingleObject(m_Watchdog.get(), INFINITE);
    DeleteFileW(m_CurrentFile.c_str());
    DeleteFileW(m_CurrentText.c_str());
    g_pGuard = nullptr;
}

void FuzzGuard::Begin(const FuzzInput& input, uint64_t number) {
    const std::string description = Describe(input, number);
    snprintf(m_Description, sizeof(m_Description), "%s", description.c_str());
    m_SaveTarget = m_RegressionsFolder + SavedInputName(input.Path, input.File);
    WideCharToMultiByte(CP_UTF8, 0, m_SaveTarget.c_str(), -1, m_SaveTargetText,
                        sizeof(m_SaveTargetText), nullptr, nullptr);
    TestSupport::WriteFileBytes(m_CurrentFile, input.File);
    TestSupport::WriteFileBytes(m_CurrentText,
                                std::vector<uint8_t>(description.begin(), description.end()));
    m_StartedCpu = ProcessorMilliseconds(GetCurrentThread());
    m_StartedAt = GetTickCount64();
}

void FuzzGuard::End() {
    m_StartedAt = 0;
}

void FuzzGuard::Fail(const char* what, int exitCode) {
    char line[1024];
    const bool saved = CopyFileW(m_CurrentFile.c_str(), m_SaveTarget.c_str(), FALSE) != FALSE;
    snprintf(line, sizeof(line), "\n%s: %s\n  saved as %s\n", what, m_Description,
             saved ? m_SaveTargetText : "nothing: see current.xen in the work folder");
    Say(line);
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    for (;;) {
        Sleep(INFINITE);  // TerminateProcess does not return for the own process
    }
}

DWORD WINAPI FuzzGuard::Watch(void* pGuard) {
    FuzzGuard& guard = *static_cast<FuzzGuard*>(pGuard);
    while (!guard.m_Stopping) {
        Sleep(50);
        const uint64_t startedAt = guard.m_StartedAt;
        if (startedAt == 0) {
            continue;
        }
        const uint64_t busy = ProcessorMilliseconds(guard.m_InputThread.get()) - guard.m_StartedCpu;
        const uint64_t elapsed = GetTickCount64() - startedAt;
        if (guard.m_StartedAt == startedAt &&
            (busy > guard.m_HangMilliseconds || elapsed > 10ull * guard.m_HangMilliseconds)) {
            char what[96];
            snprintf(what, sizeof(what), "HANG (%llu ms of processor time in %llu ms)",
                     static_cast<unsigned long long>(busy),
                     static_cast<unsigned long long>(elapsed));
            guard.Fail(what, kExitHang);
        }
    }
    return 0;
}

}  // namespace OstrelFuzz
