#pragma once
// PKCS#7 padding of the last 16-byte block, removed leniently: a block whose tail does
// not look like padding is delivered whole.

#include <cstdint>
#include <cstring>

namespace ZorvCommon {
namespace Cryptograph {
namespace Padding {

constexpr uint32_t kBlockSize = 16;

// Fills block[count..16) with the number of bytes added (16 for an empty block).
inline void Pad(uint8_t* block, uint32_t count) {
    const uint32_t added = kBlockSize - count;
    memset(block + count, static_cast<int>(added), added);
}

// p when the last byte p is 1..16 and the last p bytes all equal p, otherwise 0.
inline uint32_t PadLength(const uint8_t* block) {
    const uint8_t p = block[kBlockSize - 1];
    if (p < 1 || p > kBlockSize) {
        return 0;
    }
    for (uint32_t i = kBlockSize - p; i < kBlockSize; ++i) {
        if (block[i] != p) {
            return 0;
        }
    }
    return p;
}

}  // namespace Padding
}  // namespace Cryptograph
}  // namespace ZorvCommon
