#include "ZorvComn_FileCrypt.h"

#include <algorithm>
#include <cstring>
#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Storage {

using Win32Error::Fail;
using Win32Error::Succeed;

bool FileCrypt::IsReady(uint32_t* error) const {
    return m_Inner != nullptr && HasStrategy() ? true : Fail(error, ERROR_INVALID_HANDLE);
}

bool FileCrypt::IsOpen() const {
    return m_Inner != nullptr && m_Inner->IsOpen() && HasStrategy();
}

void FileCrypt::SetFileName(const std::wstring& path) {
    if (m_Inner != nullptr) {
        m_Inner->SetFileName(path);
    }
}

std::wstring FileCrypt::GetFileName() const {
    return m_Inner != nullptr ? m_Inner->GetFileName() : std::wstring();
}

bool FileCrypt::Open(AccessControl::SecurityAttributes* securityAttributes, DWORD desiredAccess,
                     DWORD shareMode, DWORD creationDisposition, DWORD flagsAndAttributes,
                     uint32_t* error) {
    if (m_Inner == nullptr) {
        return Fail(error, ERROR_INVALID_HANDLE);
    }
    if (!m_Inner->Open(securityAttributes, desiredAccess, shareMode, creationDisposition,
                       flagsAndAttributes, error)) {
        return false;
    }
    const CipherParameters* p = m_Parameters;
    const bool ready = p != nullptr ? Initialize(p->cipher, &p->mode, p->key, p->keyLength, p->iv,
                                                 p->ivLength, error)
                                    : Fail(error, ERROR_BAD_ARGUMENTS);
    if (!ready) {
        (void)m_Inner->Close(nullptr);  // the error of the failed step is the one reported
        return false;
    }
    if (!DecryptedSize(*m_Inner, &m_Size, error)) {
        DestroyStrategy();
        (void)m_Inner->Close(nullptr);
        return false;
    }
    m_Position = 0;
    return Succeed(error);
}

bool FileCrypt::Close(uint32_t* error) {
    if (m_Inner == nullptr) {
        return Fail(error, ERROR_INVALID_HANDLE);
    }
    uint32_t closeError = ERROR_SUCCESS;
    const bool closed = m_Inner->Close(&closeError);
    if (!HasStrategy()) {
        return Fail(error, ERROR_INVALID_FUNCTION);
    }
    DestroyStrategy();
    m_Size = 0;
    m_Position = 0;
    return closed ? Succeed(error) : Fail(error, closeError);
}

bool FileCrypt::SetPointer(int32_t distance, DWORD moveMethod, uint32_t* newPosition,
                           uint32_t* error) {
    if (!IsReady(error)) {
        return false;
    }
    int64_t origin = 0;
    switch (moveMethod) {
        case FILE_BEGIN:
            break;
        case FILE_CURRENT:
            origin = m_Position;
            break;
        case FILE_END:
            origin = m_Size;
            break;
        default:
            return Fail(error, ERROR_INVALID_PARAMETER);
    }
    const int64_t target = origin + distance;
    if (target < 0) {
        return Fail(error, ERROR_NEGATIVE_SEEK);
    }
    if (target > INT32_MAX) {
        return Fail(error, ERROR_INVALID_PARAMETER);
    }
    if (!m_Inner->SetPointer(static_cast<int32_t>(target), FILE_BEGIN, nullptr, error)) {
        return false;
    }
    m_Position = static_cast<uint32_t>(target);
    if (newPosition != nullptr) {
        *newPosition = m_Position;
    }
    return Succeed(error);
}

bool FileCrypt::Read(void* buffer, uint32_t size, uint32_t* bytesRead, uint32_t* error) {
    if (!IsReady(error)) {
        return false;
    }
    if (buffer == nullptr) {
        return Fail(error, ERROR_INVALID_PARAMETER);
    }
    if (bytesRead != nullptr) {
        *bytesRead = 0;
    }
    const uint32_t remaining = m_Position < m_Size ? m_Size - m_Position : 0;
    const uint32_t count = std::min(size, remaining);
    if (count == 0) {
        // Nothing is written at the end: Wine's XML reader asks again with its whole
        // buffer for each piece of a long text, and zeroing that buffer every time made
        // a 300 KB text cost seconds.
        return Fail(error, ERROR_HANDLE_EOF);
    }
    uint8_t* bytes = static_cast<uint8_t*>(buffer);
    // As in FileBase::Read, what a short read leaves comes back zeroed.
    if (count < size) {
        memset(bytes + count, 0, size - count);
    }
    if (!ReadDecrypted(*m_Inner, m_Position, count, bytes, error)) {
        memset(bytes, 0, count);
        return false;
    }
    m_Position += count;
    if (bytesRead != nullptr) {
        *bytesRead = count;
    }
    return count < size ? Fail(error, ERROR_INVALID_DATA) : Succeed(error);
}

bool FileCrypt::Write(const void* buffer, uint32_t size, uint32_t* bytesWritten, uint32_t* error) {
    if (!IsReady(error)) {
        return false;
    }
    if (buffer == nullptr) {
        return Fail(error, ERROR_INVALID_PARAMETER);
    }
    if (!WriteEncrypted(*m_Inner, m_Size, m_Position, static_cast<const uint8_t*>(buffer), size,
                        &m_Size, error)) {
        return false;
    }
    m_Position += size;
    if (bytesWritten != nullptr) {
        *bytesWritten = size;
    }
    return Succeed(error);
}

bool FileCrypt::GetSize(uint64_t* size, uint32_t* error) {
    return m_Inner != nullptr ? m_Inner->GetSize(size, error) : Fail(error, ERROR_INVALID_HANDLE);
}

bool FileCrypt::Lock(uint32_t offset, uint32_t length, uint32_t* error) {
    return m_Inner != nullptr ? m_Inner->Lock(offset, length, error)
                              : Fail(error, ERROR_INVALID_HANDLE);
}

bool FileCrypt::Unlock(uint32_t offset, uint32_t length, uint32_t* error) {
    return m_Inner != nullptr ? m_Inner->Unlock(offset, length, error)
                              : Fail(error, ERROR_INVALID_HANDLE);
}

bool FileCrypt::SetEnd(uint32_t* error) {
    return IsReady(error) && m_Inner->SetEnd(error) && DecryptedSize(*m_Inner, &m_Size, error) &&
           Succeed(error);
}

}  // namespace Storage
}  // namespace ZorvCommon
