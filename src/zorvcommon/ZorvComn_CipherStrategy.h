#pragma once
// Modes of operation as seen by a file: which ciphertext range a plaintext range needs,
// and how the cipher is readied for a message that starts at a block boundary. A
// strategy initialises the cipher on first use and uninitialises it when destroyed.

#include <cstdint>
#include <memory>

#include "ZorvComn_Cipher.h"

namespace ZorvCommon {
namespace Storage {
class FileBase;
}

namespace Cryptograph {

class SymmetricCipherStrategy {
public:
    // The key and IV are the caller's and must outlive the strategy.
    SymmetricCipherStrategy(SymmetricCipherBase* cipher, uint32_t mode, const uint8_t* key,
                            uint32_t keyLength, const uint8_t* iv, uint32_t ivLength)
        : m_Cipher(cipher),
          m_Mode(mode),
          m_Key(key),
          m_KeyLength(keyLength),
          m_Iv(iv),
          m_IvLength(ivLength),
          m_BlockSize(cipher->GetBlockSize()) {}
    virtual ~SymmetricCipherStrategy();
    SymmetricCipherStrategy(const SymmetricCipherStrategy&) = delete;
    SymmetricCipherStrategy& operator=(const SymmetricCipherStrategy&) = delete;

    // Readies the cipher in the direction for a message whose first block follows the
    // ciphertext block `feedback` (null at the start of the data, where the IV serves).
    // Initialises on first use or when the direction changes, restarts otherwise.
    virtual bool Prepare(uint32_t direction, const uint8_t* feedback, uint32_t* error) = 0;
    // The block-aligned ciphertext range [start, start + rangeLength) that yields the
    // plaintext [position, position + length). 87 when it runs past the end of the file.
    virtual bool GetRange(Storage::FileBase& file, uint32_t position, uint32_t length,
                          uint32_t* start, uint32_t* rangeLength, uint32_t* error);
    // The same within a file of fileSize bytes, for a caller that has asked the size
    // already: each question is a system call.
    bool GetRangeWithin(uint64_t fileSize, uint32_t position, uint32_t length, uint32_t* start,
                        uint32_t* rangeLength, uint32_t* error) const;
    // Whether the range ends at the end of the data, so that Final (padding) applies.
    virtual bool IsFinal(uint64_t fileSize, uint32_t start, uint32_t rangeLength) const;

    SymmetricCipherBase* GetCipher() const { return m_Cipher; }
    // The cipher's, asked once: a reader's every small read needs it.
    uint32_t GetBlockSize() const { return m_BlockSize; }

protected:
    bool Begin(uint32_t direction, const uint8_t* iv, uint32_t ivLength, uint32_t* error);
    // Whether a block's plaintext needs the ciphertext block before it, so that a range
    // not at the start of the data starts one block early.
    virtual bool FeedsBack() const = 0;

    SymmetricCipherBase* m_Cipher;
    uint32_t m_Mode;
    const uint8_t* m_Key;
    uint32_t m_KeyLength;
    const uint8_t* m_Iv;
    uint32_t m_IvLength;
    uint32_t m_BlockSize;
    bool m_Initialized = false;
    uint32_t m_Direction = DirectionEncrypt;
};

// Blocks stand alone: the aligned range is enough and there is no register.
class SymmetricCipherStrategyECB : public SymmetricCipherStrategy {
public:
    using SymmetricCipherStrategy::SymmetricCipherStrategy;
    bool Prepare(uint32_t direction, const uint8_t* feedback, uint32_t* error) override;

protected:
    bool FeedsBack() const override { return false; }
};

// The register before a block is the previous ciphertext block (or the IV).
class SymmetricCipherStrategyCBC : public SymmetricCipherStrategy {
public:
    using SymmetricCipherStrategy::SymmetricCipherStrategy;
    bool Prepare(uint32_t direction, const uint8_t* feedback, uint32_t* error) override;

protected:
    bool FeedsBack() const override { return true; }
};

// With one-bit segments the register at a block boundary is again the previous 128
// ciphertext bits, so ranges and feedback follow CBC's rules.
class SymmetricCipherStrategyCFB1 : public SymmetricCipherStrategyCBC {
public:
    using SymmetricCipherStrategyCBC::SymmetricCipherStrategyCBC;
};

// The file's size, with 6 for a file that cannot tell (not open).
bool FileSize(Storage::FileBase& file, uint64_t* size, uint32_t* error);

// Mode 0 ECB, 1 CBC, 2 CFB1; null for any other mode.
std::unique_ptr<SymmetricCipherStrategy> CreateStrategy(SymmetricCipherBase* cipher, uint32_t mode,
                                                        const uint8_t* key, uint32_t keyLength,
                                                        const uint8_t* iv, uint32_t ivLength);

}  // namespace Cryptograph
}  // namespace ZorvCommon
