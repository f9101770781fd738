#pragma once
// Shared helpers of the cipher suites: hex text to bytes, and repeatable pseudo-random
// data (the same bytes on every run, so that a failure can be replayed).

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace CryptoTest {

inline std::vector<uint8_t> FromHex(const std::string& hex) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::strtoul(hex.substr(i, 2).c_str(), nullptr, 16)));
    }
    return bytes;
}

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
