#pragma once
// Modes of operation over whole 16-byte blocks: ECB, CBC and CFB with one-bit segments
// (NIST SP 800-38A). The feedback register carries the chain from call to call.

#include <cstddef>
#include <cstdint>

#include "ZorvComn_AesBlock.h"

namespace ZorvCommon {
namespace Cryptograph {
namespace Modes {

struct Keys {
    const Aes::Engine* engine;
    const Aes::KeySchedule* encryption;
    const Aes::KeySchedule* decryption;  // used by ECB and CBC decryption only
};

// direction is DirectionEncrypt or DirectionDecrypt, mode ModeECB, ModeCBC or ModeCFB;
// in and out may be the same buffer.
void TransformBlocks(uint32_t direction, uint32_t mode, const Keys& keys, uint8_t* feedback,
                     const uint8_t* in, uint8_t* out, size_t blocks);

}  // namespace Modes
}  // namespace Cryptograph
}  // namespace ZorvCommon
