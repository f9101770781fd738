// The AES engine on the processor's AES instructions. Only these functions are compiled
// for them; the dispatcher asks cpuid once before handing the engine out.

#include <cpuid.h>
#include <emmintrin.h>
#include <wmmintrin.h>

#include "ZorvComn_AesBlock.h"

#define ZORV_AES_TARGET __attribute__((target("aes,sse2")))

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

// The round instructions of one direction.
struct Encryption {
    ZORV_AES_TARGET static __m128i Round(__m128i x, __m128i key) {
        return _mm_aesenc_si128(x, key);
    }
    ZORV_AES_TARGET static __m128i LastRound(__m128i x, __m128i key) {
        return _mm_aesenclast_si128(x, key);
    }
};

struct Decryption {
    ZORV_AES_TARGET static __m128i Round(__m128i x, __m128i key) {
        return _mm_aesdec_si128(x, key);
    }
    ZORV_AES_TARGET static __m128i LastRound(__m128i x, __m128i key) {
        return _mm_aesdeclast_si128(x, key);
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

constexpr Engine kHardware = {"aes-ni", EcbHardware<Encryption>, EcbHardware<Decryption>,
                              EncryptCbcHardware, DecryptCbcHardware};

bool ProcessorHasAes() {
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int ecx = 0;
    unsigned int edx = 0;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_AES) != 0;
}

}  // namespace

const Engine* HardwareEngine() {
    static const Engine* const engine = ProcessorHasAes() ? &kHardware : nullptr;
    return engine;
}

}  // namespace Aes
}  // namespace Cryptograph
}  // namespace ZorvCommon
