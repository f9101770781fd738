#include "ZorvComn_Rijndael.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

#include "ZorvComn_BlockModes.h"
#include "ZorvComn_Padding.h"
#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Cryptograph {

using Win32Error::Fail;

using Aes::kBlockSize;

Rijndael::~Rijndael() {
    Wipe();
}

void Rijndael::Wipe() {
    SecureZeroMemory(&m_Encryption, sizeof(m_Encryption));
    SecureZeroMemory(&m_Decryption, sizeof(m_Decryption));
    SecureZeroMemory(m_Pending, sizeof(m_Pending));
    SecureZeroMemory(m_Register, sizeof(m_Register));
}

bool Rijndael::Initialize(uint32_t direction, const uint8_t* key, uint32_t keyLength, uint32_t mode,
                          const uint8_t* iv, uint32_t ivLength, uint32_t* error) {
    if (m_State == StateProcessing || m_State == StateFinished) {
        return Fail(error, ERROR_INVALID_FUNCTION);
    }
    if (!Aes::ExpandKey(key, keyLength, &m_Encryption)) {
        return Fail(error, ERROR_INVALID_DATA);
    }
    m_KeyLength = keyLength;
    m_Direction = direction == DirectionDecrypt ? DirectionDecrypt : DirectionEncrypt;
    if (IsDecrypting()) {
        Aes::DeriveDecryptionSchedule(m_Encryption, &m_Decryption);
    }
    if (mode > ModeCFB) {
        return Fail(error, ERROR_INVALID_PARAMETER);
    }
    m_Mode = mode;
    m_Engine = &Aes::ActiveEngine();
    ResetMessage(iv, ivLength);
    m_State = StateInitialized;
    return true;
}

bool Rijndael::Restart(const uint8_t* iv, uint32_t ivLength, uint32_t* error) {
    if (m_State == StateNotInitialized) {
        return Fail(error, ERROR_INVALID_FUNCTION);
    }
    ResetMessage(iv, ivLength);
    m_State = StateInitialized;
    return true;
}

void Rijndael::ResetMessage(const uint8_t* iv, uint32_t ivLength) {
    memset(m_Pending, 0, sizeof(m_Pending));
    m_PendingCount = 0;
    memset(m_Register, 0, sizeof(m_Register));
    if (iv != nullptr) {
        memcpy(m_Register, iv, std::min(ivLength, kBlockSize));
    }
}

bool Rijndael::Uninitialize(uint32_t* error) {
    if (m_State == StateNotInitialized) {
        return Fail(error, ERROR_INVALID_FUNCTION);
    }
    Wipe();
    m_PendingCount = 0;
    m_State = StateNotInitialized;
    return true;
}

void Rijndael::ProcessBlocks(const uint8_t* in, uint8_t* out, size_t blocks) {
    const Modes::Keys keys = {m_Engine, &m_Encryption, &m_Decryption};
    Modes::TransformBlocks(m_Direction, m_Mode, keys, m_Register, in, out, blocks);
}

bool Rijndael::Update(const uint8_t* input, uint32_t inputLength, uint8_t* output,
                      uint32_t* outputLength, uint32_t* error) {
    if (input == nullptr || output == nullptr || outputLength == nullptr || *outputLength == 0) {
        return Fail(error, ERROR_INVALID_DATA);
    }
    if (m_State != StateInitialized && m_State != StateProcessing) {
        return Fail(error, ERROR_INVALID_FUNCTION);
    }
    if (m_Mode > ModeCFB) {
        return Fail(error, ERROR_NOT_SUPPORTED);
    }
    const uint64_t available = uint64_t{m_PendingCount} + inputLength;
    uint64_t blocks = available / kBlockSize;
    if (IsDecrypting() && blocks > 0 && available % kBlockSize == 0) {
        --blocks;  // the last block waits for Final, which removes the padding
    }
    if (blocks * kBlockSize > *outputLength) {
        return Fail(error, ERROR_NOT_ENOUGH_MEMORY);
    }

    uint32_t written = 0;
    if (m_PendingCount > 0 && blocks > 0) {
        const uint32_t fill = kBlockSize - m_PendingCount;
        memcpy(m_Pending + m_PendingCount, input, fill);
        input += fill;
        inputLength -= fill;
        ProcessBlocks(m_Pending, output, 1);
        m_PendingCount = 0;
        written = kBlockSize;
        --blocks;
    }
    const size_t direct = static_cast<size_t>(blocks) * kBlockSize;
    ProcessBlocks(input, output + written, static_cast<size_t>(blocks));
    written += static_cast<uint32_t>(direct);
    const uint32_t rest = inputLength - static_cast<uint32_t>(direct);
    memcpy(m_Pending + m_PendingCount, input + direct, rest);
    m_PendingCount += rest;

    *outputLength = written;
    m_State = StateProcessing;
    return true;
}

bool Rijndael::Final(uint8_t* output, uint32_t* outputLength, uint32_t* error) {
    if (m_State != StateProcessing) {
        return Fail(error, ERROR_INVALID_FUNCTION);
    }
    if (output == nullptr || outputLength == nullptr) {
        return Fail(error, ERROR_INVALID_DATA);
    }
    const bool emptyDecryption = IsDecrypting() && m_PendingCount == 0;
    if (!emptyDecryption && *outputLength < kBlockSize) {
        return Fail(error, ERROR_NOT_ENOUGH_MEMORY);
    }
    uint32_t produced = 0;
    if (!IsDecrypting()) {
        Padding::Pad(m_Pending, m_PendingCount);
        ProcessBlocks(m_Pending, output, 1);
        produced = kBlockSize;
    } else if (m_PendingCount == kBlockSize) {
        ProcessBlocks(m_Pending, output, 1);
        const uint32_t padLength = Padding::PadLength(output);
        memset(output + kBlockSize - padLength, 0, padLength);
        produced = kBlockSize - padLength;
    } else if (m_PendingCount != 0) {
        return Fail(error, ERROR_INVALID_DATA);  // the ciphertext ends inside a block
    }
    m_PendingCount = 0;
    *outputLength = produced;
    m_State = StateFinished;
    return true;
}

bool Rijndael::Transform(const uint8_t* input, uint32_t inputLength, uint8_t* output,
                         uint32_t outputCapacity, uint32_t* outputLength, uint32_t* error) {
    uint32_t updated = outputCapacity;
    if (!Update(input, inputLength, output, &updated, error)) {
        return false;
    }
    uint32_t finished = outputCapacity - updated;
    if (!Final(output + updated, &finished, error)) {
        return false;
    }
    if (outputLength != nullptr) {
        *outputLength = updated + finished;
    }
    return true;
}

}  // namespace Cryptograph
}  // namespace ZorvCommon
