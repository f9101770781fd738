#pragma once
// Joins a file of ciphertext to a mode strategy: plaintext reads and writes at any
// offset become block-aligned ciphertext reads and writes. Reads are served from a
// window of ciphertext read ahead, deciphered straight into the reader's buffer, so that
// a reader walking forward in small chunks costs one pass over the file, one ReadFile
// per window and no copy of the plaintext, with the key schedule kept.

#include <cstdint>
#include <memory>

#include "ZorvComn_CipherStrategy.h"

namespace ZorvCommon {
namespace Storage {
class FileBase;
}

namespace Cryptograph {

class SymmetricCipherBuffer {
public:
    SymmetricCipherBuffer();
    virtual ~SymmetricCipherBuffer();
    SymmetricCipherBuffer(const SymmetricCipherBuffer&) = delete;
    SymmetricCipherBuffer& operator=(const SymmetricCipherBuffer&) = delete;

    // Creates the strategy for *mode over the cipher and the caller's key and IV (which
    // must outlive it). 160 when the cipher, the mode or the key is missing, 1 when a
    // strategy is present already, 87 for an unknown mode.
    bool Initialize(SymmetricCipherBase* cipher, const uint32_t* mode, const uint8_t* key,
                    uint32_t keyLength, const uint8_t* iv, uint32_t ivLength,
                    uint32_t* error = nullptr);
    bool HasStrategy() const { return m_Strategy != nullptr; }

protected:
    void DestroyStrategy();
    // The plaintext length of the ciphertext in file (its last block decrypted): 0 for
    // an empty file, 13 for one that does not end on a block boundary.
    bool DecryptedSize(Storage::FileBase& file, uint32_t* size, uint32_t* error);
    // Plaintext [position, position + length), which must lie within the data.
    bool ReadDecrypted(Storage::FileBase& file, uint32_t position, uint32_t length, uint8_t* out,
                       uint32_t* error);
    // Writes data at position (at most plainSize) and re-enciphers the rest of the data
    // behind it, padding included; newSize receives the new plaintext length.
    bool WriteEncrypted(Storage::FileBase& file, uint32_t plainSize, uint32_t position,
                        const uint8_t* data, uint32_t length, uint32_t* newSize, uint32_t* error);

private:
    bool FillWindow(Storage::FileBase& file, uint32_t position, uint32_t length, uint32_t* error);
    // Room for length bytes of ciphertext read from file offset start.
    uint8_t* Place(uint32_t start, uint32_t length);
    bool ReadCiphertext(Storage::FileBase& file, uint32_t start, uint8_t* out, uint32_t length,
                        uint32_t* error);
    // The window's plaintext [offset, offset + length) into out.
    bool Decipher(uint32_t offset, uint32_t length, uint8_t* out, uint32_t* error);
    // The window's blocks [first, first + count) into out, which takes count whole blocks.
    bool DecipherBlocks(uint32_t first, uint32_t count, uint8_t* out, uint32_t* error);
    bool WindowHolds(uint32_t position) const {
        return position >= m_WindowStart && position - m_WindowStart < m_WindowLength;
    }

    std::unique_ptr<SymmetricCipherStrategy> m_Strategy;
    // Ciphertext as read: from m_WindowOffset on, the blocks of the plaintext
    // [m_WindowStart, m_WindowStart + m_WindowLength); before them the block that feeds
    // the first one back (unless they start the data); after them one block more (unless
    // they end the data), which the cipher holds back while the others come out.
    std::unique_ptr<uint8_t[]> m_Buffer;
    size_t m_BufferSize = 0;
    uint8_t* m_Ciphertext = nullptr;  // in m_Buffer
    uint32_t m_WindowOffset = 0;
    uint32_t m_WindowStart = 0;
    uint32_t m_WindowLength = 0;
    // The blocks DecipherBlocks serves: all of the window's, or all but the last of the
    // data, whose plaintext (its padding removed) is deciphered once into m_LastBlock.
    uint32_t m_WindowBlocks = 0;
    uint8_t m_LastBlock[16] = {};
};

}  // namespace Cryptograph
}  // namespace ZorvCommon
