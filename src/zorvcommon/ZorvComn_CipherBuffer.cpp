#include "ZorvComn_CipherBuffer.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

#include "ZorvComn_File.h"
#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Cryptograph {

using Win32Error::Fail;

namespace {

// Plaintext decrypted ahead of a small read: big enough that one ReadFile and one pass
// of the cipher serve many reads, small enough to stay in the processor's cache.
constexpr uint32_t kWindowSize = 256 * 1024;

void Reserve(std::vector<uint8_t>* buffer, size_t size) {
    if (buffer->size() < size) {
        buffer->resize(size);
    }
}

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

bool SymmetricCipherBuffer::ReadCiphertext(Storage::FileBase& file, uint32_t start, uint8_t* out,
                                           uint32_t length, uint32_t* error) {
    uint32_t code = ERROR_INVALID_HANDLE;
    if (!file.SetPointer(static_cast<int32_t>(start), FILE_BEGIN, nullptr, &code) ||
        !file.Read(out, length, &code)) {
        return Fail(error, code);
    }
    return true;
}

// Decrypts from the block holding position to at least position + length (more when
// the file has it, up to the window size) into the window.
bool SymmetricCipherBuffer::FillWindow(Storage::FileBase& file, uint32_t position, uint32_t length,
                                       uint32_t* error) {
    m_WindowLength = 0;
    uint64_t fileSize = 0;
    uint32_t code = ERROR_INVALID_HANDLE;
    if (!file.GetSize(&fileSize, &code)) {
        return Fail(error, code);
    }
    const uint64_t wanted = std::max(length, kWindowSize);
    const uint32_t span = static_cast<uint32_t>(std::min<uint64_t>(wanted, fileSize - position));
    uint32_t start = 0;
    uint32_t rangeLength = 0;
    if (!m_Strategy->GetRange(file, position, span, &start, &rangeLength, error)) {
        return false;
    }
    const uint32_t block = m_Strategy->GetCipher()->GetBlockSize();
    const uint32_t alignedStart = position / block * block;
    const uint32_t feedbackLength = alignedStart - start;
    const bool final = m_Strategy->IsFinal(file, start, rangeLength);
    // Update keeps the last block of its input back for Final; a range that does not end
    // the data takes one block more so that all of its own blocks come out.
    const uint32_t readLength = rangeLength + (final ? 0 : block);
    Reserve(&m_Buffer, readLength);
    if (!ReadCiphertext(file, start, m_Buffer.data(), readLength, error)) {
        return false;
    }
    const uint8_t* feedback = feedbackLength != 0 ? m_Buffer.data() : nullptr;
    if (!m_Strategy->Prepare(DirectionDecrypt, feedback, error)) {
        return false;
    }
    // Deciphered in place: the message starts on a block boundary.
    uint8_t* text = m_Buffer.data() + feedbackLength;
    const uint32_t capacity = readLength - feedbackLength;
    SymmetricCipherBase* cipher = m_Strategy->GetCipher();
    uint32_t produced = capacity;
    if (!cipher->Update(text, capacity, text, &produced, error)) {
        return false;
    }
    if (final) {
        uint32_t last = capacity - produced;
        if (!cipher->Final(text + produced, &last, error)) {
            return false;
        }
        produced += last;
    }
    m_WindowOffset = feedbackLength;
    m_WindowStart = alignedStart;
    m_WindowLength = produced;
    return true;
}

bool SymmetricCipherBuffer::DecryptedSize(Storage::FileBase& file, uint32_t* size,
                                          uint32_t* error) {
    m_WindowLength = 0;  // the file may have changed under the window
    uint64_t fileSize = 0;
    uint32_t code = ERROR_INVALID_HANDLE;
    if (!file.GetSize(&fileSize, &code)) {
        return Fail(error, code);
    }
    const uint32_t block = m_Strategy->GetCipher()->GetBlockSize();
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
        memcpy(out, m_Buffer.data() + m_WindowOffset + offset, count);
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
    const uint32_t block = m_Strategy->GetCipher()->GetBlockSize();
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
