// The AES engines on the processor's AES instructions: one block per instruction, and
// two per instruction with the vector AES instructions on 256-bit registers. Only these
// functions are compiled for them; the dispatcher asks cpuid once before handing an
// engine out.

#include <cpuid.h>
#include <immintrin.h>

#include "ZorvComn_AesBlock.h"

#define ZORV_AES_TARGET __attribute__((target("aes,sse2")))
#define ZORV_VAES_TARGET __attribute__((target("vaes,avx2,aes")))

namespace ZorvCommon {
namespace Cryptograph {
namespace Aes {

namespace {

// Independent blocks in flight: enough to hide the latency of the round instruction.
// The loops over them are unrolled so that every block stays in a register.
constexpr size_t kLanes = 8;

ZORV_AES_TARGET inline __m128i LoadBlock(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

ZORV_AES_TARGET inline void StoreBlock(uint8_t* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

ZORV_AES_TARGET inline __m128i RoundKey(const KeySchedule& schedule, uint32_t round) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(schedule.roundKeys[round]));
}

// The round instructions of one direction, on one block and on two.
struct Encryption {
    ZORV_AES_TARGET static __m128i Round(__m128i x, __m128i key) {
        return _mm_aesenc_si128(x, key);
    }
    ZORV_AES_TARGET static __m128i LastRound(__m128i x, __m128i key) {
        return _mm_aesenclast_si128(x, key);
    }
    ZORV_VAES_TARGET static __m256i Round(__m256i x, __m256i key) {
        return _mm256_aesenc_epi128(x, key);
    }
    ZORV_VAES_TARGET static __m256i LastRound(__m256i x, __m256i key) {
        return _mm256_aesenclast_epi128(x, key);
    }
};

struct Decryption {
    ZORV_AES_TARGET static __m128i Round(__m128i x, __m128i key) {
        return _mm_aesdec_si128(x, key);
    }
    ZORV_AES_TARGET static __m128i LastRound(__m128i x, __m128i key) {
        return _mm_aesdeclast_si128(x, key);
    }
    ZORV_VAES_TARGET static __m256i Round(__m256i x, __m256i key) {
        return _mm256_aesdec_epi128(x, key);
    }
    ZORV_VAES_TARGET static __m256i LastRound(__m256i x, __m256i key) {
        return _mm256_aesdeclast_epi128(x, key);
    }
};

// All rounds over Lanes independent blocks, round by round.
template <typename Direction, size_t Lanes>
ZORV_AES_TARGET inline void TransformLanes(const KeySchedule& schedule, __m128i* x) {
#pragma GCC unroll 8
    for (size_t j = 0; j < Lanes; ++j) {
        x[j] = _mm_xor_si128(x[j], RoundKey(schedule, 0));
    }
    for (uint32_t r = 1; r < schedule.rounds; ++r) {
        const __m128i key = RoundKey(schedule, r);
#pragma GCC unroll 8
        for (size_t j = 0; j < Lanes; ++j) {
            x[j] = Direction::Round(x[j], key);
        }
    }
    const __m128i last = RoundKey(schedule, schedule.rounds);
#pragma GCC unroll 8
    for (size_t j = 0; j < Lanes; ++j) {
        x[j] = Direction::LastRound(x[j], last);
    }
}

// ECB in groups of kLanes blocks, then one block at a time.
template <typename Direction>
ZORV_AES_TARGET void EcbHardware(const KeySchedule& schedule, const uint8_t* in, uint8_t* out,
                                 size_t blocks) {
    size_t b = 0;
    for (; b + kLanes <= blocks; b += kLanes) {
        __m128i x[kLanes];
#pragma GCC unroll 8
        for (size_t j = 0; j < kLanes; ++j) {
            x[j] = LoadBlock(in + (b + j) * kBlockSize);
        }
        TransformLanes<Direction, kLanes>(schedule, x);
#pragma GCC unroll 8
        for (size_t j = 0; j < kLanes; ++j) {
            StoreBlock(out + (b + j) * kBlockSize, x[j]);
        }
    }
    for (; b < blocks; ++b) {
        __m128i x = LoadBlock(in + b * kBlockSize);
        TransformLanes<Direction, 1>(schedule, &x);
        StoreBlock(out + b * kBlockSize, x);
    }
}

// Each block depends on the one before: no parallelism to win.
ZORV_AES_TARGET void EncryptCbcHardware(const KeySchedule& schedule, uint8_t* iv, const uint8_t* in,
                                        uint8_t* out, size_t blocks) {
    __m128i feedback = LoadBlock(iv);
    for (size_t b = 0; b < blocks; ++b) {
        feedback = _mm_xor_si128(feedback, LoadBlock(in + b * kBlockSize));
        TransformLanes<Encryption, 1>(schedule, &feedback);
        StoreBlock(out + b * kBlockSize, feedback);
    }
    StoreBlock(iv, feedback);
}

// Deciphering needs only ciphertext, so kLanes blocks run side by side; every block is
// loaded before any is stored, which keeps in-place calls correct.
ZORV_AES_TARGET void DecryptCbcHardware(const KeySchedule& schedule, uint8_t* iv, const uint8_t* in,
                                        uint8_t* out, size_t blocks) {
    __m128i feedback = LoadBlock(iv);
    size_t b = 0;
    for (; b + kLanes <= blocks; b += kLanes) {
        __m128i ciphertext[kLanes];
        __m128i x[kLanes];
#pragma GCC unroll 8
        for (size_t j = 0; j < kLanes; ++j) {
            ciphertext[j] = LoadBlock(in + (b + j) * kBlockSize);
            x[j] = ciphertext[j];
        }
        TransformLanes<Decryption, kLanes>(schedule, x);
        StoreBlock(out + b * kBlockSize, _mm_xor_si128(x[0], feedback));
#pragma GCC unroll 8
        for (size_t j = 1; j < kLanes; ++j) {
            StoreBlock(out + (b + j) * kBlockSize, _mm_xor_si128(x[j], ciphertext[j - 1]));
        }
        feedback = ciphertext[kLanes - 1];
    }
    for (; b < blocks; ++b) {
        const __m128i ciphertext = LoadBlock(in + b * kBlockSize);
        __m128i x = ciphertext;
        TransformLanes<Decryption, 1>(schedule, &x);
        StoreBlock(out + b * kBlockSize, _mm_xor_si128(x, feedback));
        feedback = ciphertext;
    }
    StoreBlock(iv, feedback);
}

// ---- Two blocks per register ------------------------------------------------------
// kLanes registers in flight, so 2 * kLanes blocks at a time; what is left over goes to
// the one-block code. Before that code, and before returning, the upper halves of the
// registers are cleared: code without the wide instructions would otherwise pay for
// their state on every instruction.

constexpr size_t kWideBlocks = 2 * kLanes;

ZORV_VAES_TARGET inline __m256i LoadPair(const uint8_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

ZORV_VAES_TARGET inline void StorePair(uint8_t* p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

ZORV_VAES_TARGET inline __m256i WideRoundKey(const KeySchedule& schedule, uint32_t round) {
    return _mm256_broadcastsi128_si256(RoundKey(schedule, round));
}

template <typename Direction>
ZORV_VAES_TARGET inline void TransformWideLanes(const KeySchedule& schedule, __m256i* x) {
    const __m256i first = WideRoundKey(schedule, 0);
#pragma GCC unroll 8
    for (size_t j = 0; j < kLanes; ++j) {
        x[j] = _mm256_xor_si256(x[j], first);
    }
    for (uint32_t r = 1; r < schedule.rounds; ++r) {
        const __m256i key = WideRoundKey(schedule, r);
#pragma GCC unroll 8
        for (size_t j = 0; j < kLanes; ++j) {
            x[j] = Direction::Round(x[j], key);
        }
    }
    const __m256i last = WideRoundKey(schedule, schedule.rounds);
#pragma GCC unroll 8
    for (size_t j = 0; j < kLanes; ++j) {
        x[j] = Direction::LastRound(x[j], last);
    }
}

template <typename Direction>
ZORV_VAES_TARGET void EcbWide(const KeySchedule& schedule, const uint8_t* in, uint8_t* out,
                              size_t blocks) {
    size_t b = 0;
    for (; b + kWideBlocks <= blocks; b += kWideBlocks) {
        __m256i x[kLanes];
#pragma GCC unroll 8
        for (size_t j = 0; j < kLanes; ++j) {
            x[j] = LoadPair(in + (b + 2 * j) * kBlockSize);
        }
        TransformWideLanes<Direction>(schedule, x);
#pragma GCC unroll 8
        for (size_t j = 0; j < kLanes; ++j) {
            StorePair(out + (b + 2 * j) * kBlockSize, x[j]);
        }
    }
    _mm256_zeroupper();
    EcbHardware<Direction>(schedule, in + b * kBlockSize, out + b * kBlockSize, blocks - b);
}

// As DecryptCbcHardware: each pair is XORed with the pair one block before it (the first
// with the register and the group's first block), all loaded before any is stored.
ZORV_VAES_TARGET void DecryptCbcWide(const KeySchedule& schedule, uint8_t* iv, const uint8_t* in,
                                     uint8_t* out, size_t blocks) {
    size_t b = 0;
    for (; b + kWideBlocks <= blocks; b += kWideBlocks) {
        const uint8_t* group = in + b * kBlockSize;
        __m256i x[kLanes];
        __m256i previous[kLanes];
        previous[0] =
            _mm256_inserti128_si256(_mm256_castsi128_si256(LoadBlock(iv)), LoadBlock(group), 1);
#pragma GCC unroll 8
        for (size_t j = 0; j < kLanes; ++j) {
            x[j] = LoadPair(group + 2 * j * kBlockSize);
        }
#pragma GCC unroll 8
        for (size_t j = 1; j < kLanes; ++j) {
            previous[j] = LoadPair(group + (2 * j - 1) * kBlockSize);
        }
        StoreBlock(iv, LoadBlock(group + (kWideBlocks - 1) * kBlockSize));
        TransformWideLanes<Decryption>(schedule, x);
#pragma GCC unroll 8
        for (size_t j = 0; j < kLanes; ++j) {
            StorePair(out + (b + 2 * j) * kBlockSize, _mm256_xor_si256(x[j], previous[j]));
        }
    }
    _mm256_zeroupper();
    if (b < blocks) {  // a 4 KiB read is whole groups: nothing left over, no call
        DecryptCbcHardware(schedule, iv, in + b * kBlockSize, out + b * kBlockSize, blocks - b);
    }
}

constexpr Engine kHardware = {"aes-ni", EcbHardware<Encryption>, EcbHardware<Decryption>,
                              EncryptCbcHardware, DecryptCbcHardware};
// CBC encryption chains every block to the one before: nothing to gain from width.
constexpr Engine kWideHardware = {"vaes", EcbWide<Encryption>, EcbWide<Decryption>,
                                  EncryptCbcHardware, DecryptCbcWide};

bool ProcessorHasAes() {
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int ecx = 0;
    unsigned int edx = 0;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_AES) != 0;
}

// The vector AES instructions and AVX2, with the system saving the 256-bit registers
// (OSXSAVE, and the SSE and AVX state enabled in XCR0).
bool ProcessorHasWideAes() {
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int ecx = 0;
    unsigned int edx = 0;
    if (!ProcessorHasAes() || __get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 ||
        (ecx & bit_OSXSAVE) == 0 || (ecx & bit_AVX) == 0) {
        return false;
    }
    unsigned int xcr0 = 0;
    unsigned int xcr0High = 0;
    __asm__("xgetbv" : "=a"(xcr0), "=d"(xcr0High) : "c"(0));
    constexpr unsigned int kSseAndAvxState = 6;
    return (xcr0 & kSseAndAvxState) == kSseAndAvxState &&
           __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx & bit_AVX2) != 0 &&
           (ecx & bit_VAES) != 0;
}

}  // namespace

const Engine* HardwareEngine() {
    static const Engine* const engine = ProcessorHasAes() ? &kHardware : nullptr;
    return engine;
}

const Engine* WideHardwareEngine() {
    static const Engine* const engine = ProcessorHasWideAes() ? &kWideHardware : nullptr;
    return engine;
}

}  // namespace Aes
}  // namespace Cryptograph
}  // namespace ZorvCommon
