#include "ZorvComn_CipherStrategy.h"

#include <windows.h>

#include "ZorvComn_File.h"
#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Cryptograph {

using Win32Error::Fail;

bool FileSize(Storage::FileBase& file, uint64_t* size, uint32_t* error) {
    uint32_t code = ERROR_INVALID_HANDLE;
    return file.GetSize(size, &code) || Fail(error, code);
}

SymmetricCipherStrategy::~SymmetricCipherStrategy() {
    if (m_Initialized) {
        (void)m_Cipher->Uninitialize(nullptr);  // nothing to do about a failure here
    }
}

bool SymmetricCipherStrategy::Begin(uint32_t direction, const uint8_t* iv, uint32_t ivLength,
                                    uint32_t* error) {
    if (m_Initialized && m_Direction == direction) {
        return m_Cipher->Restart(iv, ivLength, error);
    }
    if (m_Initialized) {
        m_Initialized = false;
        if (!m_Cipher->Uninitialize(error)) {
            return false;
        }
    }
    if (!m_Cipher->Initialize(direction, m_Key, m_KeyLength, m_Mode, iv, ivLength, error)) {
        return false;
    }
    m_Initialized = true;
    m_Direction = direction;
    return true;
}

bool SymmetricCipherStrategy::GetRange(Storage::FileBase& file, uint32_t position, uint32_t length,
                                       uint32_t* start, uint32_t* rangeLength, uint32_t* error) {
    uint64_t fileSize = 0;
    return FileSize(file, &fileSize, error) &&
           GetRangeWithin(fileSize, position, length, start, rangeLength, error);
}

bool SymmetricCipherStrategy::GetRangeWithin(uint64_t fileSize, uint32_t position, uint32_t length,
                                             uint32_t* start, uint32_t* rangeLength,
                                             uint32_t* error) const {
    const uint64_t block = m_BlockSize;
    const uint64_t end = uint64_t{position} + length;
    const uint64_t alignedStart = position / block * block;
    const uint64_t alignedEnd = end < 2 ? block : ((end - 1) / block + 1) * block;
    const uint64_t rangeStart =
        FeedsBack() && alignedStart != 0 ? alignedStart - block : alignedStart;
    if (alignedEnd > fileSize) {
        return Fail(error, ERROR_INVALID_PARAMETER);
    }
    *start = static_cast<uint32_t>(rangeStart);
    *rangeLength = static_cast<uint32_t>(alignedEnd - rangeStart);
    return true;
}

bool SymmetricCipherStrategy::IsFinal(uint64_t fileSize, uint32_t start,
                                      uint32_t rangeLength) const {
    return uint64_t{start} + rangeLength == fileSize;
}

bool SymmetricCipherStrategyECB::Prepare(uint32_t direction, const uint8_t*, uint32_t* error) {
    return Begin(direction, nullptr, 0, error);
}

bool SymmetricCipherStrategyCBC::Prepare(uint32_t direction, const uint8_t* feedback,
                                         uint32_t* error) {
    return feedback == nullptr ? Begin(direction, m_Iv, m_IvLength, error)
                               : Begin(direction, feedback, m_BlockSize, error);
}

std::unique_ptr<SymmetricCipherStrategy> CreateStrategy(SymmetricCipherBase* cipher, uint32_t mode,
                                                        const uint8_t* key, uint32_t keyLength,
                                                        const uint8_t* iv, uint32_t ivLength) {
    switch (mode) {
        case ModeECB:
            return std::make_unique<SymmetricCipherStrategyECB>(cipher, mode, key, keyLength, iv,
                                                                ivLength);
        case ModeCBC:
            return std::make_unique<SymmetricCipherStrategyCBC>(cipher, mode, key, keyLength, iv,
                                                                ivLength);
        case ModeCFB:
            return std::make_unique<SymmetricCipherStrategyCFB1>(cipher, mode, key, keyLength, iv,
                                                                 ivLength);
        default:
            return nullptr;
    }
}

}  // namespace Cryptograph
}  // namespace ZorvCommon
