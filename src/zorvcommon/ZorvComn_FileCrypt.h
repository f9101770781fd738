#pragma once
// An encrypted file read and written as plaintext. All input and output goes through
// an inner plain file that the caller owns; the cipher and its parameters are the
// caller's too. Positions and sizes are in plaintext bytes.
//
// Error codes: 5010 already open, 160 missing argument, 38 end of file, 13 short read
// or bad data, 6 no inner file or not open, 87 bad range, 1 closed twice.

#include <cstdint>
#include <string>

#include "ZorvComn_CipherBuffer.h"
#include "ZorvComn_File.h"

namespace ZorvCommon {
namespace Storage {

// What FileCrypt::Open hands to the cipher buffer. The key and IV bytes must outlive
// the open file.
struct CipherParameters {
    Cryptograph::SymmetricCipherBase* cipher = nullptr;
    uint32_t mode = Cryptograph::ModeCBC;
    const uint8_t* key = nullptr;
    uint32_t keyLength = 0;
    const uint8_t* iv = nullptr;
    uint32_t ivLength = 0;
};

class FileCrypt : public FileBase, public Cryptograph::SymmetricCipherBuffer {
public:
    explicit FileCrypt(FileBase* file = nullptr) : m_Inner(file) {}
    ~FileCrypt() override = default;  // the strategy goes; the inner file stays as it is

    void SetCipherParameters(const CipherParameters* parameters) { m_Parameters = parameters; }

    void SetFileName(const std::wstring& path) override;
    std::wstring GetFileName() const override;
    // Opens the inner file, creates the strategy and learns the plaintext size (which
    // needs read access to a non-empty file); undoes the open when a later step fails.
    bool Open(AccessControl::SecurityAttributes* securityAttributes, DWORD desiredAccess,
              DWORD shareMode, DWORD creationDisposition, DWORD flagsAndAttributes,
              uint32_t* error = nullptr) override;
    // Closes the inner file and drops the strategy; 1 when there was no strategy.
    bool Close(uint32_t* error = nullptr) override;
    // Sets the plaintext position (FILE_END counts from the plaintext end).
    bool SetPointer(int32_t distance, DWORD moveMethod, uint32_t* newPosition,
                    uint32_t* error = nullptr) override;
    using FileBase::Read;
    // Like FileBase::Read over the plaintext: 38 at the end, 13 (with the count) when
    // fewer bytes remain than asked for.
    bool Read(void* buffer, uint32_t size, uint32_t* bytesRead, uint32_t* error) override;
    // Overwrites or extends the plaintext at the position; the data behind it is
    // enciphered anew and the file ends with its padding block.
    bool Write(const void* buffer, uint32_t size, uint32_t* bytesWritten,
               uint32_t* error = nullptr) override;
    // The size of the inner (encrypted) file.
    bool GetSize(uint64_t* size, uint32_t* error = nullptr) override;
    bool Lock(uint32_t offset, uint32_t length, uint32_t* error = nullptr) override;
    bool Unlock(uint32_t offset, uint32_t length, uint32_t* error = nullptr) override;
    bool SetEnd(uint32_t* error = nullptr) override;
    bool IsOpen() const override;

    uint32_t GetPlainSize() const { return m_Size; }

private:
    bool IsReady(uint32_t* error) const;

    FileBase* m_Inner;
    const CipherParameters* m_Parameters = nullptr;
    uint32_t m_Size = 0;
    uint32_t m_Position = 0;
};

}  // namespace Storage
}  // namespace ZorvCommon
