#include "ZorvComn_ByteArray.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>

#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {

using Win32Error::Fail;
using Win32Error::Succeed;

ByteArray::~ByteArray() {
    Free();
}

void ByteArray::Free() {
    std::free(m_pData);
    m_pData = nullptr;
    m_Capacity = 0;
    m_Length = 0;
}

bool ByteArray::Create(uint64_t size, uint32_t* error) {
    if (!IsEmpty()) {
        return Fail(error, ERROR_OBJECT_ALREADY_EXISTS);
    }
    if (size == 0) {
        return Fail(error, ERROR_BAD_ARGUMENTS);
    }
    auto* pBlock = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(size), 1));
    if (pBlock == nullptr) {
        return Fail(error, ERROR_INVALID_HANDLE);
    }
    m_pData = pBlock;
    m_Capacity = size;
    m_Length = 0;
    return Succeed(error);
}

bool ByteArray::Copy(const ByteArray& source, uint32_t* error) {
    Free();
    if (source.m_pData == nullptr || source.m_Length == 0) {
        return Fail(error, ERROR_INVALID_HANDLE);
    }
    auto* pBlock = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(source.m_Length)));
    if (pBlock == nullptr) {
        return Fail(error, ERROR_INVALID_HANDLE);
    }
    std::memcpy(pBlock, source.m_pData, static_cast<size_t>(source.m_Length));
    m_pData = pBlock;
    m_Capacity = source.m_Length;
    m_Length = source.m_Length;
    return Succeed(error);
}

bool ByteArray::AddData(const uint8_t* bytes, uint64_t count, uint32_t* error) {
    if (bytes == nullptr || count == 0) {
        return Fail(error, ERROR_INVALID_HANDLE);
    }
    if (m_Length + count <= m_Capacity) {
        return Fail(error, ERROR_BAD_ARGUMENTS);
    }
    const uint64_t newLength = m_Length + count;
    auto* pBlock = static_cast<uint8_t*>(std::realloc(m_pData, static_cast<size_t>(newLength)));
    if (pBlock == nullptr) {
        return Fail(error, ERROR_INVALID_HANDLE);
    }
    std::memcpy(pBlock + m_Length, bytes, static_cast<size_t>(count));
    m_pData = pBlock;
    m_Capacity = newLength;
    m_Length = newLength;
    return Succeed(error);
}

}  // namespace ZorvCommon
