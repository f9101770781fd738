#pragma once
// AES (Rijndael with a 16-byte block) with its mode and PKCS#7 padding. Lifecycle:
// not initialised -> Initialize -> initialised -> Update -> processing -> Final ->
// finished; Uninitialize (or Restart) starts over. While decrypting, Update keeps the
// last full block of its input back for Final, which removes the padding.
//
// Error codes: 1 wrong lifecycle state or block, 8 output too small, 13 bad key length
// or missing data, 50 unsupported mode, 87 bad mode value.

#include "ZorvComn_AesBlock.h"
#include "ZorvComn_Cipher.h"

namespace ZorvCommon {
namespace Cryptograph {

class Rijndael : public SymmetricCipherBase {
public:
    enum State : uint32_t {
        StateNotInitialized = 0,
        StateInitialized = 1,
        StateProcessing = 2,
        StateFinished = 3,
    };

    Rijndael() = default;
    ~Rijndael() override;
    Rijndael(const Rijndael&) = delete;
    Rijndael& operator=(const Rijndael&) = delete;

    // direction 1 decrypts, anything else encrypts. The IV fills the feedback register
    // (at most 16 bytes; the rest stays zero). Takes the engine active at that moment.
    bool Initialize(uint32_t direction, const uint8_t* key, uint32_t keyLength, uint32_t mode,
                    const uint8_t* iv, uint32_t ivLength, uint32_t* error = nullptr) override;
    bool Transform(const uint8_t* input, uint32_t inputLength, uint8_t* output,
                   uint32_t outputCapacity, uint32_t* outputLength,
                   uint32_t* error = nullptr) override;
    bool Uninitialize(uint32_t* error = nullptr) override;
    // On failure nothing is written and the state is unchanged.
    bool Update(const uint8_t* input, uint32_t inputLength, uint8_t* output, uint32_t* outputLength,
                uint32_t* error = nullptr) override;
    bool Final(uint8_t* output, uint32_t* outputLength, uint32_t* error = nullptr) override;
    uint32_t GetBlockSize() const override { return Aes::kBlockSize; }
    uint32_t GetKeyLength() const override { return m_KeyLength; }
    bool Restart(const uint8_t* iv, uint32_t ivLength, uint32_t* error = nullptr) override;

    State GetState() const { return m_State; }

private:
    // Zeroes the key schedules, the register and the pending block.
    void Wipe();
    void ResetMessage(const uint8_t* iv, uint32_t ivLength);
    void ProcessBlocks(const uint8_t* in, uint8_t* out, size_t blocks);
    bool IsDecrypting() const { return m_Direction == DirectionDecrypt; }

    uint32_t m_Direction = DirectionEncrypt;
    uint32_t m_Mode = ModeCBC;
    uint32_t m_KeyLength = 16;
    Aes::KeySchedule m_Encryption{};
    Aes::KeySchedule m_Decryption{};  // derived when decrypting
    const Aes::Engine* m_Engine = nullptr;
    alignas(16) uint8_t m_Pending[Aes::kBlockSize] = {};
    uint32_t m_PendingCount = 0;
    alignas(16) uint8_t m_Register[Aes::kBlockSize] = {};
    State m_State = StateNotInitialized;
};

}  // namespace Cryptograph
}  // namespace ZorvCommon
