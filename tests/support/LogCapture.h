#pragma once
// Turns the debug log on for a test and reads back what it wrote: the interactive session's
// debug-log settings under the product key (restored afterwards) point at a scratch folder
// and, unless told otherwise, this process's ZorvCommon::g_DebugLog starts with the trace
// library from build\bin. A test of Ostrel.dll passes initializeProcessLog = false and loads
// the module after the capture exists: the module's own log reads the same settings.

#include <cstdint>
#include <string>

#include "Scratch.h"

namespace TestSupport {

class LogCapture {
public:
    explicit LogCapture(uint32_t levelMask = 0x111, bool initializeProcessLog = true);
    ~LogCapture();

    // Every line written since construction or the last Clear(), decoded from UTF-8.
    std::wstring Text() const;
    bool Contains(const std::wstring& fragment) const {
        return Text().find(fragment) != std::wstring::npos;
    }
    size_t Count(const std::wstring& fragment) const;
    void Clear() { m_Offset = FileExists(FilePath()) ? ReadFileBytes(FilePath()).size() : 0; }
    const std::wstring& Folder() const { return m_Folder.Path(); }
    // The log file ("capture.log" in Folder()).
    std::wstring FilePath() const { return m_Folder.File(L"capture.log"); }
    // The product key this capture backs up and restores: a test that needs other
    // product values sets them here rather than through a second ProductKey.
    ProductKey& Product() { return m_ProductKey; }

private:
    ProductKey m_ProductKey;
    ScratchFolder m_Folder{L"LogCapture"};
    bool m_InitializedProcessLog;
    size_t m_Offset = 0;  // bytes of the log files already consumed by Clear()
};

}  // namespace TestSupport
