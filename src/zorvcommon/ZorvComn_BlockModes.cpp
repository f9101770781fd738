#include "ZorvComn_BlockModes.h"

#include <cstring>

#include "ZorvComn_Cipher.h"

namespace ZorvCommon {
namespace Cryptograph {
namespace Modes {

namespace {

using Aes::kBlockSize;

// CFB1: each bit is XORed with the first bit of the enciphered register, then the
// register shifts left by one bit and takes in the ciphertext bit.
void Cfb1Blocks(bool encrypt, const Keys& keys, uint8_t* feedback, const uint8_t* in, uint8_t* out,
                size_t blocks) {
    for (size_t b = 0; b < blocks; ++b) {
        uint8_t input[kBlockSize];
        memcpy(input, in + b * kBlockSize, kBlockSize);
        uint8_t* output = out + b * kBlockSize;
        memset(output, 0, kBlockSize);
        for (uint32_t bit = 0; bit < 8 * kBlockSize; ++bit) {
            uint8_t keystream[kBlockSize];
            keys.engine->encryptEcb(*keys.encryption, feedback, keystream, 1);
            const int shift = 7 - static_cast<int>(bit % 8);
            const uint8_t inBit = (input[bit / 8] >> shift) & 1;
            const uint8_t outBit = inBit ^ (keystream[0] >> 7);
            output[bit / 8] |= static_cast<uint8_t>(outBit << shift);
            const uint8_t cipherBit = encrypt ? outBit : inBit;
            for (uint32_t i = 0; i + 1 < kBlockSize; ++i) {
                feedback[i] = static_cast<uint8_t>((feedback[i] << 1) | (feedback[i + 1] >> 7));
            }
            feedback[kBlockSize - 1] =
                static_cast<uint8_t>((feedback[kBlockSize - 1] << 1) | cipherBit);
        }
    }
}

}  // namespace

void TransformBlocks(uint32_t direction, uint32_t mode, const Keys& keys, uint8_t* feedback,
                     const uint8_t* in, uint8_t* out, size_t blocks) {
    const bool decrypt = direction == DirectionDecrypt;
    const Aes::Engine& engine = *keys.engine;
    switch (mode) {
        case ModeECB:
            (decrypt ? engine.decryptEcb : engine.encryptEcb)(
                decrypt ? *keys.decryption : *keys.encryption, in, out, blocks);
            break;
        case ModeCBC:
            (decrypt ? engine.decryptCbc : engine.encryptCbc)(
                decrypt ? *keys.decryption : *keys.encryption, feedback, in, out, blocks);
            break;
        default:
            Cfb1Blocks(!decrypt, keys, feedback, in, out, blocks);
            break;
    }
}

}  // namespace Modes
}  // namespace Cryptograph
}  // namespace ZorvCommon
