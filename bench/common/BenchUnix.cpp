#include "BenchUnix.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>

namespace Bench {

namespace {

std::wstring ProcFolder(uint32_t pid) {
    return L"Z:\\proc\\" + std::to_wstring(pid) + L"\\";
}

ZorvCommon::UniqueFile OpenForReading(const std::wstring& path) {
    return ZorvCommon::UniqueFile(CreateFileW(path.c_str(), GENERIC_READ,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                              OPEN_EXISTING, 0, nullptr));
}

// The whole of a small /proc file from its start (empty when it cannot be read).
std::string ReadFromStart(HANDLE file) {
    char text[4096];
    DWORD count = 0;
    if (SetFilePointer(file, 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER ||
        !ReadFile(file, text, sizeof(text), &count, nullptr)) {
        return std::string();
    }
    return std::string(text, count);
}

std::string ReadWhole(const std::wstring& path) {
    const ZorvCommon::UniqueFile file = OpenForReading(path);
    return file ? ReadFromStart(file.get()) : std::string();
}

// The numeric entries of a /proc folder.
std::vector<uint32_t> NumberedEntries(const std::wstring& folder) {
    std::vector<uint32_t> numbers;
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder + L"*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return numbers;
    }
    do {
        wchar_t* end = nullptr;
        const unsigned long number = wcstoul(found.cFileName, &end, 10);
        if (end != found.cFileName && *end == L'\0') {
            numbers.push_back(static_cast<uint32_t>(number));
        }
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return numbers;
}

}  // namespace

uint32_t FindUnixProcess(const std::wstring& argument) {
    // The arguments are separated by NULs; the ones the benchmarks look for are ASCII.
    const std::string wanted = '\0' + std::string(argument.begin(), argument.end()) + '\0';
    uint32_t match = 0;
    for (const uint32_t pid : NumberedEntries(L"Z:\\proc\\")) {
        if ((ReadWhole(ProcFolder(pid) + L"cmdline") + '\0').find(wanted) != std::string::npos) {
            if (match != 0) {
                return 0;
            }
            match = pid;
        }
    }
    return match;
}

bool IsThisProcess(uint32_t pid) {
    wchar_t path[MAX_PATH];
    const std::wstring self(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    const std::wstring file = self.substr(self.find_last_of(L'\\') + 1);
    // The kernel keeps the first 15 characters of the name.
    const std::string name(file.begin(), file.begin() + std::min<size_t>(file.size(), 15));
    const std::string comm = ReadWhole(ProcFolder(pid) + L"comm");
    return pid != 0 && comm.compare(0, name.size(), name) == 0;
}

UnixCpuTime::UnixCpuTime(uint32_t pid) {
    if (pid == 0) {
        return;
    }
    const std::wstring tasks = ProcFolder(pid) + L"task\\";
    for (const uint32_t tid : NumberedEntries(tasks)) {
        ZorvCommon::UniqueFile file = OpenForReading(tasks + std::to_wstring(tid) + L"\\schedstat");
        if (file && !ReadFromStart(file.get()).empty()) {
            m_Threads.push_back(std::move(file));
        }
    }
    m_Nanoseconds.assign(m_Threads.size(), 0);
}

double UnixCpuTime::Seconds() const {
    unsigned long long nanoseconds = 0;
    for (size_t i = 0; i < m_Threads.size(); ++i) {
        // The first figure is the time the thread has run. A thread that has ended
        // reads as nothing: it keeps the time it had.
        const std::string text = ReadFromStart(m_Threads[i].get());
        if (!text.empty()) {
            m_Nanoseconds[i] = strtoull(text.c_str(), nullptr, 10);
        }
        nanoseconds += m_Nanoseconds[i];
    }
    return static_cast<double>(nanoseconds) * 1e-9;
}

bool ResetPeakResidentSet(uint32_t pid) {
    const ZorvCommon::UniqueFile file(CreateFileW((ProcFolder(pid) + L"clear_refs").c_str(),
                                                  GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                                                  nullptr));
    DWORD written = 0;
    return pid != 0 && file && WriteFile(file.get(), "5", 1, &written, nullptr) && written == 1;
}

}  // namespace Bench
