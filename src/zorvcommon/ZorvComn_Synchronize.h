#pragma once
// Critical section and the scoped lock over it.

#include <windows.h>

namespace ZorvCommon {
namespace Synchronize {

class CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&m_Section); }
    virtual ~CriticalSection() { DeleteCriticalSection(&m_Section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    virtual void Lock() { EnterCriticalSection(&m_Section); }
    virtual void Unlock() { LeaveCriticalSection(&m_Section); }
    // Enters only when no other thread holds the section; never waits.
    bool TryLock() { return TryEnterCriticalSection(&m_Section) != FALSE; }

private:
    CRITICAL_SECTION m_Section;
};

// Locks on construction (or, when waiting is not allowed, only tries to), unlocks in its
// destructor when it holds a section.
class SingleLock {
public:
    explicit SingleLock(CriticalSection* pSection, bool mayWait = true) : m_pSection(pSection) {
        if (m_pSection != nullptr && mayWait) {
            m_pSection->Lock();
        } else if (m_pSection != nullptr && !m_pSection->TryLock()) {
            m_pSection = nullptr;
        }
    }
    ~SingleLock() {
        if (m_pSection != nullptr) {
            m_pSection->Unlock();
        }
    }
    SingleLock(const SingleLock&) = delete;
    SingleLock& operator=(const SingleLock&) = delete;

    bool IsHeld() const { return m_pSection != nullptr; }

private:
    CriticalSection* m_pSection;
};

}  // namespace Synchronize
}  // namespace ZorvCommon
