#include "LogCapture.h"

#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Storage.h"

namespace TestSupport {

LogCapture::LogCapture(uint32_t levelMask, bool initializeProcessLog)
    : m_InitializedProcessLog(initializeProcessLog) {
    // Every value is written: the reader stops at the first missing one.
    m_ProductKey.SetDebugLogUint32(L"Enable", 1);
    m_ProductKey.SetDebugLogUint32(L"Level", levelMask);
    m_ProductKey.SetDebugLogUint32(L"LogProcess", 0);
    m_ProductKey.SetDebugLogUint32(L"LogUnitType", 0);
    m_ProductKey.SetDebugLogString(L"LogFolder", m_Folder.Path());
    m_ProductKey.SetDebugLogString(L"LogPrefix", L"");
    m_ProductKey.SetDebugLogString(L"LogFile", L"capture");
    m_ProductKey.SetDebugLogString(L"LogExtension", L"log");
    m_ProductKey.SetDebugLogUint32(L"Robust", 0);
    m_ProductKey.SetDebugLogUint32(L"Debugger", 0);
    if (m_InitializedProcessLog) {
        const ZorvCommon::Storage::Key key(ZorvCommon::Storage::StorageTypeRegistry,
                                           HKEY_LOCAL_MACHINE, ProductKey::kDebugLogPath);
        ZorvCommon::g_DebugLog.Uninitialize();
        ZorvCommon::g_DebugLog.Initialize(L"Ostrel", key, BinFolder());
    }
}

LogCapture::~LogCapture() {
    if (m_InitializedProcessLog) {
        ZorvCommon::g_DebugLog.Uninitialize();
    }
}

std::wstring LogCapture::Text() const {
    const std::vector<uint8_t> bytes =
        FileExists(FilePath()) ? ReadFileBytes(FilePath()) : std::vector<uint8_t>();
    if (m_Offset >= bytes.size()) {
        return std::wstring();
    }
    const char* text = reinterpret_cast<const char*>(bytes.data()) + m_Offset;
    const int cbText = static_cast<int>(bytes.size() - m_Offset);
    std::wstring wide(static_cast<size_t>(cbText), L'\0');
    wide.resize(static_cast<size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text, cbText, &wide[0], static_cast<int>(wide.size()))));
    return wide;
}

size_t LogCapture::Count(const std::wstring& fragment) const {
    const std::wstring text = Text();
    size_t count = 0;
    for (size_t at = text.find(fragment); !fragment.empty() && at != std::wstring::npos;
         at = text.find(fragment, at + fragment.size())) {
        ++count;
    }
    return count;
}

}  // namespace TestSupport
