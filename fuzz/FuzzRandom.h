#pragma once
// A small seeded generator (splitmix64) whose sequence is the same on every build, so
// that a seed names one run for good.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace OstrelFuzz {

class Random {
public:
    explicit Random(uint64_t seed) : m_State(seed) {}

    uint64_t Next() {
        uint64_t z = (m_State += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // 0 <= value < bound (0 for a bound of 0).
    size_t Below(size_t bound) { return bound == 0 ? 0 : static_cast<size_t>(Next() % bound); }
    // low <= value <= high.
    size_t Between(size_t low, size_t high) { return low + Below(high - low + 1); }
    bool Percent(unsigned percent) { return Below(100) < percent; }
    template <typename T>
    const T& Pick(const std::vector<T>& items) {
        return items[Below(items.size())];
    }

private:
    uint64_t m_State;
};

}  // namespace OstrelFuzz
