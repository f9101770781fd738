// Placeholder until the configuration reader and the trace library arrive: the log
// stays silent and every call is a no-op.
#include "ZorvComn_DebugLog.h"

namespace ZorvCommon {

DebugLog g_DebugLog;

DebugLog::DebugLog() = default;
DebugLog::~DebugLog() = default;

bool DebugLog::Initialize(const std::wstring&, const Storage::Key&, const std::wstring&) {
    return false;
}

bool DebugLog::Uninitialize() { return false; }

bool DebugLog::Trace(const char*, uint32_t, uint32_t, const wchar_t*, ...) { return false; }

void DebugLog::PublishPassMask() {
    m_PassMask.store(m_Initialized && m_Enabled ? m_LevelMask : 0, std::memory_order_relaxed);
}

}  // namespace ZorvCommon
