#pragma once
// The block-cipher interface under the encrypted files. Every operation that can fail
// returns bool and writes a Win32 error code through its optional last argument (left
// alone on success); nothing throws.

#include <cstdint>

namespace ZorvCommon {
namespace Cryptograph {

enum CipherDirection : uint32_t {
    DirectionEncrypt = 0,
    DirectionDecrypt = 1,
};

enum CipherMode : uint32_t {
    ModeECB = 0,
    ModeCBC = 1,
    ModeCFB = 2,  // one-bit segments
};

class SymmetricCipherBase {
public:
    virtual ~SymmetricCipherBase() = default;

    virtual bool Initialize(uint32_t direction, const uint8_t* key, uint32_t keyLength,
                            uint32_t mode, const uint8_t* iv, uint32_t ivLength,
                            uint32_t* error = nullptr) = 0;
    // Update over the whole input, then Final into the rest of the output; outputLength
    // receives the total.
    virtual bool Transform(const uint8_t* input, uint32_t inputLength, uint8_t* output,
                           uint32_t outputCapacity, uint32_t* outputLength,
                           uint32_t* error = nullptr) = 0;
    virtual bool Uninitialize(uint32_t* error = nullptr) = 0;
    // outputLength: the capacity in, the bytes written out. The output may be the input
    // itself while no partial block is pending (as at the start of a message).
    virtual bool Update(const uint8_t* input, uint32_t inputLength, uint8_t* output,
                        uint32_t* outputLength, uint32_t* error = nullptr) = 0;
    virtual bool Final(uint8_t* output, uint32_t* outputLength, uint32_t* error = nullptr) = 0;
    virtual uint32_t GetBlockSize() const = 0;
    virtual uint32_t GetKeyLength() const = 0;
    // Starts a new message on an initialised cipher with a new feedback register,
    // keeping the key schedule: readers that jump around a file use it instead of a
    // fresh Initialize per read.
    virtual bool Restart(const uint8_t* iv, uint32_t ivLength, uint32_t* error = nullptr) = 0;
};

}  // namespace Cryptograph
}  // namespace ZorvCommon
