#include "LogCapture.h"

#include <windows.h>

#include "Scratch.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Storage.h"

namespace TestSupport {
namespace {

constexpr const wchar_t* kLogFileName = L"capture";

std::wstring FromUtf8(const std::vector<uint8_t>& bytes, size_t offset) {
    if (offset >= bytes.size()) {
        return std::wstring();
    }
    const char* text = reinterpret_cast<const char*>(bytes.data()) + offset;
    const int cbText = static_cast<int>(bytes.size() - offset);
    const int cchWide = MultiByteToWideChar(CP_UTF8, 0, text, cbText, nullptr, 0);
    std::wstring wide(static_cast<size_t>(cchWide), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text, cbText, &wide[0], cchWide);
    return wide;
}

}  // namespace

LogCapture::LogCapture(uint32_t levelMask, bool initializeProcessLog)
    : m_ProductKey(std::make_unique<ProductKey>()),
      m_Folder(std::make_unique<ScratchFolder>(L"LogCapture")),
      m_InitializedProcessLog(initializeProcessLog) {
    // Every value is written: the reader stops at the first missing one.
    m_ProductKey->ClearDebugLog();
    m_ProductKey->SetDebugLogUint32(L"Enable", 1);
    m_ProductKey->SetDebugLogUint32(L"Level", levelMask);
    m_ProductKey->SetDebugLogUint32(L"LogProcess", 0);
    m_ProductKey->SetDebugLogUint32(L"LogUnitType", 0);
    m_ProductKey->SetDebugLogString(L"LogFolder", m_Folder->Path());
    m_ProductKey->SetDebugLogString(L"LogPrefix", L"");
    m_ProductKey->SetDebugLogString(L"LogFile", kLogFileName);
    m_ProductKey->SetDebugLogString(L"LogExtension", L"log");
    m_ProductKey->SetDebugLogUint32(L"Robust", 0);
    m_ProductKey->SetDebugLogUint32(L"Debugger", 0);
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

std::wstring LogCapture::FilePath() const {
    return m_Folder->File(std::wstring(kLogFileName) + L".log");
}

std::wstring LogCapture::Text() const {
    if (!FileExists(FilePath())) {
        return std::wstring();
    }
    return FromUtf8(ReadFileBytes(FilePath()), m_Offset);
}

bool LogCapture::Contains(const std::wstring& fragment) const {
    return Text().find(fragment) != std::wstring::npos;
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

void LogCapture::Clear() {
    m_Offset = FileExists(FilePath()) ? ReadFileBytes(FilePath()).size() : 0;
}

const std::wstring& LogCapture::Folder() const {
    return m_Folder->Path();
}

ProductKey& LogCapture::Product() {
    return *m_ProductKey;
}

}  // namespace TestSupport
