#pragma once
// Run-time binding of the trace library ZorvDbg64.dll: its three entry points,
// resolved only when all of them exist.

#include "ZorvComn_Library.h"
#include "ZorvDbg.h"

namespace ZorvCommon {
namespace Library {

class ZorvDbg : public Wrapper {
public:
    bool IsResolved() const { return m_Resolved; }
    ZorvDbgInitializeFn InitializeFunction() const { return m_ZorvDbgInitialize; }
    ZorvDbgUninitializeFn UninitializeFunction() const { return m_ZorvDbgUninitialize; }
    ZorvDbgTraceFn TraceFunction() const { return m_ZorvDbgTrace; }

protected:
    // After a load: looks the three names up (a missing module records 6, a missing
    // name its GetLastError). After a free: forgets them.
    bool Resolve(bool load, uint32_t* error) override;

private:
    bool m_Resolved = false;
    ZorvDbgInitializeFn m_ZorvDbgInitialize = nullptr;
    ZorvDbgUninitializeFn m_ZorvDbgUninitialize = nullptr;
    ZorvDbgTraceFn m_ZorvDbgTrace = nullptr;
};

}  // namespace Library
}  // namespace ZorvCommon
