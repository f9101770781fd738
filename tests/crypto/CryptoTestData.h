#pragma once
// Repeatable pseudo-random data for the cipher suites: the same bytes on every run, so
// that a failure can be replayed.

#include <cstdint>
#include <vector>

namespace CryptoTest {

inline std::vector<uint8_t> Bytes(size_t size, uint32_t seed) {
    std::vector<uint8_t> bytes(size);
    uint32_t state = seed * 2654435761u + 1;
    for (auto& byte : bytes) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        byte = static_cast<uint8_t>(state);
    }
    return bytes;
}

}  // namespace CryptoTest
