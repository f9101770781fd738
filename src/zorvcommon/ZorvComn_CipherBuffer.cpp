#include "ZorvComn_CipherBuffer.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "ZorvComn_File.h"
#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Cryptograph {

using Win32Error::Fail;

namespace {

// Plaintext decrypted ahead of a small read: big enough that one ReadFile and one pass
// of the cipher serve many reads, small enough to stay in the processor's cache.
constexpr uint32_t kWindowSize = 256 * 1024;

// Where the ciphertext read from a file offset goes: the file's pages land one block past
// a cache line of the buffer. The kernel copies a file page by page, and a copy between
// pages that are both line-aligned measured about 9 % slower than one to addresses a
// block past a line (docs/performance.md); a buffer at whatever address the heap gave
// was that slow one time in four.
constexpr uintptr_t kLine = 64;
constexpr uint32_t kPageLanding = 16;

}  // namespace

SymmetricCipherBuffer::SymmetricCipherBuffer() = default;
SymmetricCipherBuffer::~SymmetricCipherBuffer() = default;

bool SymmetricCipherBuffer::Initialize(SymmetricCipherBase* cipher, const uint32_t* mode,
                                       const uint8_t* key, uint32_t keyLength, const uint8_t* iv,
                                       uint32_t ivLength, uint32_t* error) {
    if (cipher == nullptr || mode == nullptr || key == nullptr) {
        return Fail(error, ERROR_BAD_ARGUMENTS);
    }
    if (m_Strategy != nullptr) {
        return Fail(error, ERROR_INVALID_FUNCTION);
    }
    m_Strategy = CreateStrategy(cipher, *mode, key, keyLength, iv, ivLength);
    if (m_Strategy == nullptr) {
        return Fail(error, ERROR_INVALID_PARAMETER);
    }
    m_WindowLength = 0;
    return true;
}

void SymmetricCipherBuffer::DestroyStrategy() {
    m_Strategy.reset();
    m_WindowLength = 0;
}

uint8_t* SymmetricCipherBuffer::Place(uint32_t start, uint32_t length) {
    const size_t needed = size_t{length} + 2 * kLine;
    if (m_BufferSize < needed) {
        // One allocation serves a document read from front to back: a window and the
        // blocks before and after it. It is not zeroed: only bytes read are deciphered.
        const size_t window = size_t{kWindowSize} + 2 * sizeof(m_LastBlock) + 2 * kLine;
        m_BufferSize = std::max(needed, window);
        m_Buffer.reset(new uint8_t[m_BufferSize]);
    }
    const uintptr_t address = reinterpret_cast<uintptr_t>(m_Buffer.get());
    const uintptr_t lineAligned = (kLine - address % kLine) % kLine;
    return m_Buffer.get() + lineAligned + (start + kPageLanding) % kLine;
}

bool SymmetricCipherBuffer::ReadCiphertext(Storage::FileBase& file, uint32_t start, uint8_t* out,
                                           uint32_t length, uint32_t* error) {
    uint32_t code = ERROR_INVALID_HANDLE;
    return (file.SetPointer(static_cast<int32_t>(start), FILE_BEGIN, nullptr, &code) &&
            file.Read(out, length, &code)) ||
           Fail(error, code);
}

// Reads the ciphertext from the block holding position to at least position + length
// (more when the file has it, up to the window size) into the window.
bool SymmetricCipherBuffer::FillWindow(Storage::FileBase& file, uint32_t position, uint32_t length,
                                       uint32_t* error) {
    m_WindowLength = 0;
    uint64_t fileSize = 0;
    if (!FileSize(file, &fileSize, error)) {
        return false;
    }
    const uint64_t wanted = std::max(length, kWindowSize);
    const uint32_t span = static_cast<uint32_t>(std::min<uint64_t>(wanted, fileSize - position));
    uint32_t start = 0;
    uint32_t rangeLength = 0;
    if (!m_Strategy->GetRangeWithin(fileSize, position, span, &start, &rangeLength, error)) {
        return false;
    }
    const uint32_t block = m_Strategy->GetBlockSize();
    const uint32_t alignedStart = position / block * block;
    const uint32_t feedbackLength = alignedStart - start;
    const bool final = m_Strategy->IsFinal(fileSize, start, rangeLength);
    const uint32_t readLength = rangeLength + (final ? 0 : block);
    m_Ciphertext = Place(start, readLength);
    if (!ReadCiphertext(file, start, m_Ciphertext, readLength, error)) {
        return false;
    }
    m_WindowOffset = feedbackLength;
    m_WindowStart = alignedStart;
    m_WindowBlocks = (rangeLength - feedbackLength) / block;
    if (!final) {
        m_WindowLength = rangeLength - feedbackLength;
        return true;
    }
    // The data's last block goes through Final, which removes the padding.
    --m_WindowBlocks;
    const uint32_t lastOffset = readLength - block;
    const uint8_t* feedback = lastOffset != 0 ? m_Ciphertext + lastOffset - block : nullptr;
    SymmetricCipherBase* cipher = m_Strategy->GetCipher();
    uint32_t produced = block;
    uint32_t last = block;
    if (!m_Strategy->Prepare(DirectionDecrypt, feedback, error) ||
        !cipher->Update(m_Ciphertext + lastOffset, block, m_LastBlock, &produced, error) ||
        !cipher->Final(m_LastBlock, &last, error)) {
        return false;
    }
    m_WindowLength = m_WindowBlocks * block + last;
    return true;
}

bool SymmetricCipherBuffer::DecipherBlocks(uint32_t first, uint32_t count, uint8_t* out,
                                           uint32_t* error) {
    const uint32_t block = m_Strategy->GetBlockSize();
    const uint8_t* blocks = m_Ciphertext + m_WindowOffset;
    const uint8_t* feedback =
        first != 0 || m_WindowOffset != 0 ? blocks + first * block - block : nullptr;
    // Update keeps the last block of its input back for Final: the one after the run
    // (always there: the data's last block is not served from here) pushes them all out.
    uint32_t produced = count * block;
    if (!m_Strategy->Prepare(DirectionDecrypt, feedback, error) ||
        !m_Strategy->GetCipher()->Update(blocks + first * block, (count + 1) * block, out,
                                         &produced, error)) {
        return false;
    }
    return produced == count * block ? true : Fail(error, ERROR_INVALID_DATA);
}

// Whole blocks go straight into out; a block that out takes only part of is deciphered
// aside first, as is the data's last block once per window.
bool SymmetricCipherBuffer::Decipher(uint32_t offset, uint32_t length, uint8_t* out,
                                     uint32_t* error) {
    const uint32_t block = m_Strategy->GetBlockSize();
    while (length > 0) {
        const uint32_t first = offset / block;
        const uint32_t within = offset % block;
        const uint32_t whole = within == 0 ? std::min(length / block, m_WindowBlocks - first) : 0;
        uint32_t count = whole * block;
        if (whole > 0) {
            if (!DecipherBlocks(first, whole, out, error)) {
                return false;
            }
        } else {
            uint8_t aside[sizeof(m_LastBlock)];
            const uint8_t* plaintext = m_LastBlock;
            if (first < m_WindowBlocks) {
                if (!DecipherBlocks(first, 1, aside, error)) {
                    return false;
                }
                plaintext = aside;
            }
            count = std::min(length, block - within);
            memcpy(out, plaintext + within, count);
        }
        out += count;
        offset += count;
        length -= count;
    }
    return true;
}

bool SymmetricCipherBuffer::DecryptedSize(Storage::FileBase& file, uint32_t* size,
                                          uint32_t* error) {
    m_WindowLength = 0;  // the file may have changed under the window
    uint64_t fileSize = 0;
    if (!FileSize(file, &fileSize, error)) {
        return false;
    }
    const uint32_t block = m_Strategy->GetBlockSize();
    if (fileSize % block != 0 || fileSize > UINT32_MAX) {
        return Fail(error, ERROR_INVALID_DATA);
    }
    if (fileSize == 0) {
        *size = 0;
        return true;
    }
    if (!FillWindow(file, static_cast<uint32_t>(fileSize) - block, block, error)) {
        return false;
    }
    *size = m_WindowStart + m_WindowLength;
    return true;
}

bool SymmetricCipherBuffer::ReadDecrypted(Storage::FileBase& file, uint32_t position,
                                          uint32_t length, uint8_t* out, uint32_t* error) {
    while (length > 0) {
        if (!WindowHolds(position) && !FillWindow(file, position, length, error)) {
            return false;
        }
        if (!WindowHolds(position)) {
            return Fail(error, ERROR_HANDLE_EOF);  // the padding ends the data earlier
        }
        const uint32_t offset = position - m_WindowStart;
        const uint32_t count = std::min(length, m_WindowLength - offset);
        if (!Decipher(offset, count, out, error)) {
            return false;
        }
        out += count;
        position += count;
        length -= count;
    }
    return true;
}

bool SymmetricCipherBuffer::WriteEncrypted(Storage::FileBase& file, uint32_t plainSize,
                                           uint32_t position, const uint8_t* data, uint32_t length,
                                           uint32_t* newSize, uint32_t* error) {
    // Room is left for the padding block behind the data.
    if (position > plainSize || uint64_t{position} + length > UINT32_MAX - 32) {
        return Fail(error, ERROR_INVALID_PARAMETER);
    }
    if (length == 0) {
        *newSize = plainSize;
        return true;
    }
    const uint32_t block = m_Strategy->GetBlockSize();
    const uint32_t alignedStart = position / block * block;
    const uint32_t end = std::max(plainSize, position + length);

    // Everything from the block holding position to the end is enciphered anew.
    std::vector<uint8_t> plaintext(end - alignedStart);
    if (!ReadDecrypted(file, alignedStart, plainSize - alignedStart, plaintext.data(), error)) {
        return false;
    }
    memcpy(plaintext.data() + (position - alignedStart), data, length);

    uint8_t feedback[16];
    bool chained = false;
    if (alignedStart != 0) {
        uint32_t start = 0;
        uint32_t rangeLength = 0;
        if (!m_Strategy->GetRange(file, alignedStart, 1, &start, &rangeLength, error)) {
            return false;
        }
        chained = start != alignedStart;
        if (chained && !ReadCiphertext(file, start, feedback, block, error)) {
            return false;
        }
    }
    if (!m_Strategy->Prepare(DirectionEncrypt, chained ? feedback : nullptr, error)) {
        return false;
    }
    std::vector<uint8_t> ciphertext(plaintext.size() + block);
    uint32_t produced = 0;
    if (!m_Strategy->GetCipher()->Transform(
            plaintext.data(), static_cast<uint32_t>(plaintext.size()), ciphertext.data(),
            static_cast<uint32_t>(ciphertext.size()), &produced, error)) {
        return false;
    }
    m_WindowLength = 0;
    uint32_t code = ERROR_INVALID_HANDLE;
    if (!file.SetPointer(static_cast<int32_t>(alignedStart), FILE_BEGIN, nullptr, &code) ||
        !file.Write(ciphertext.data(), produced, nullptr, &code) || !file.SetEnd(&code)) {
        return Fail(error, code);
    }
    *newSize = end;
    return true;
}

}  // namespace Cryptograph
}  // namespace ZorvCommon
