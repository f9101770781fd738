#include "ZorvComn_AesBlock.h"

#include <atomic>
#include <cstring>

namespace ZorvCommon {
namespace Cryptograph {
namespace Aes {

namespace {

// GF(2^8) arithmetic modulo x^8 + x^4 + x^3 + x + 1.
constexpr uint8_t Times2(uint8_t x) {
    return static_cast<uint8_t>((x << 1) ^ ((x & 0x80) != 0 ? 0x1b : 0));
}

constexpr uint8_t Multiply(uint8_t a, uint8_t b) {
    uint8_t product = 0;
    while (b != 0) {
        if ((b & 1) != 0) {
            product ^= a;
        }
        a = Times2(a);
        b >>= 1;
    }
    return product;
}

constexpr uint8_t RotateLeft8(uint8_t x, int shift) {
    return static_cast<uint8_t>((x << shift) | (x >> (8 - shift)));
}

constexpr uint32_t RotateRight32(uint32_t x, int shift) {
    return shift == 0 ? x : (x >> shift) | (x << (32 - shift));
}

constexpr uint32_t Column(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3) {
    return (uint32_t{b0} << 24) | (uint32_t{b1} << 16) | (uint32_t{b2} << 8) | b3;
}

struct Tables {
    uint8_t sbox[256];
    uint8_t inverseSbox[256];
    uint32_t encrypt[4][256];  // SubBytes, ShiftRows and MixColumns of one byte, rotated
    uint32_t decrypt[4][256];  // the inverse steps
};

constexpr Tables MakeTables() {
    Tables tables{};
    // Walks the multiplicative group with generator 3 and its inverse together, so that
    // q = 1 / p at every step; the affine map of the inverse gives the S-box entry.
    uint8_t p = 1;
    uint8_t q = 1;
    do {
        p = static_cast<uint8_t>(p ^ Times2(p));
        q = static_cast<uint8_t>(q ^ (q << 1));
        q = static_cast<uint8_t>(q ^ (q << 2));
        q = static_cast<uint8_t>(q ^ (q << 4));
        if ((q & 0x80) != 0) {
            q ^= 0x09;
        }
        const uint8_t affine = static_cast<uint8_t>(q ^ RotateLeft8(q, 1) ^ RotateLeft8(q, 2) ^
                                                    RotateLeft8(q, 3) ^ RotateLeft8(q, 4));
        tables.sbox[p] = static_cast<uint8_t>(affine ^ 0x63);
    } while (p != 1);
    tables.sbox[0] = 0x63;

    for (int x = 0; x < 256; ++x) {
        const uint8_t s = tables.sbox[x];
        tables.inverseSbox[s] = static_cast<uint8_t>(x);
    }
    for (int x = 0; x < 256; ++x) {
        const uint8_t s = tables.sbox[x];
        const uint8_t i = tables.inverseSbox[x];
        const uint32_t e = Column(Times2(s), s, s, Multiply(s, 3));
        const uint32_t d =
            Column(Multiply(i, 14), Multiply(i, 9), Multiply(i, 13), Multiply(i, 11));
        for (int k = 0; k < 4; ++k) {
            tables.encrypt[k][x] = RotateRight32(e, 8 * k);
            tables.decrypt[k][x] = RotateRight32(d, 8 * k);
        }
    }
    return tables;
}

constexpr Tables kTables = MakeTables();

inline uint32_t Load32(const uint8_t* p) {
    return Column(p[0], p[1], p[2], p[3]);
}

inline void Store32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v >> 24);
    p[1] = static_cast<uint8_t>(v >> 16);
    p[2] = static_cast<uint8_t>(v >> 8);
    p[3] = static_cast<uint8_t>(v);
}

inline uint32_t Byte(uint32_t word, int index) {
    return (word >> (24 - 8 * index)) & 0xff;
}

// One round of either direction. The decryption tables take the state bytes in the
// inverse ShiftRows order: the row offsets run backwards (step 3 instead of 1).
template <int Step>
inline void Round(const uint32_t (&table)[4][256], const uint32_t* s, const uint8_t* roundKey,
                  uint32_t* t) {
#pragma GCC unroll 4
    for (int c = 0; c < 4; ++c) {
        t[c] = table[0][Byte(s[c], 0)] ^ table[1][Byte(s[(c + Step) % 4], 1)] ^
               table[2][Byte(s[(c + 2 * Step) % 4], 2)] ^ table[3][Byte(s[(c + 3 * Step) % 4], 3)] ^
               Load32(roundKey + 4 * c);
    }
}

template <int Step>
inline void LastRound(const uint8_t (&sbox)[256], const uint32_t* s, const uint8_t* roundKey,
                      uint8_t* out) {
#pragma GCC unroll 4
    for (int c = 0; c < 4; ++c) {
        const uint32_t column =
            Column(sbox[Byte(s[c], 0)], sbox[Byte(s[(c + Step) % 4], 1)],
                   sbox[Byte(s[(c + 2 * Step) % 4], 2)], sbox[Byte(s[(c + 3 * Step) % 4], 3)]);
        Store32(out + 4 * c, column ^ Load32(roundKey + 4 * c));
    }
}

template <int Step>
void TransformBlock(const KeySchedule& schedule, const uint32_t (&table)[4][256],
                    const uint8_t (&sbox)[256], const uint8_t* in, uint8_t* out) {
    uint32_t s[4];
    uint32_t t[4];
#pragma GCC unroll 4
    for (int c = 0; c < 4; ++c) {
        s[c] = Load32(in + 4 * c) ^ Load32(schedule.roundKeys[0] + 4 * c);
    }
    for (uint32_t r = 1; r < schedule.rounds; ++r) {
        Round<Step>(table, s, schedule.roundKeys[r], t);
        memcpy(s, t, sizeof(s));
    }
    LastRound<Step>(sbox, s, schedule.roundKeys[schedule.rounds], out);
}

void EncryptBlock(const KeySchedule& schedule, const uint8_t* in, uint8_t* out) {
    TransformBlock<1>(schedule, kTables.encrypt, kTables.sbox, in, out);
}

void DecryptBlock(const KeySchedule& schedule, const uint8_t* in, uint8_t* out) {
    TransformBlock<3>(schedule, kTables.decrypt, kTables.inverseSbox, in, out);
}

inline void Xor16(uint8_t* target, const uint8_t* source) {
    for (uint32_t i = 0; i < kBlockSize; ++i) {
        target[i] ^= source[i];
    }
}

template <void (*TransformOne)(const KeySchedule&, const uint8_t*, uint8_t*)>
void EcbPortable(const KeySchedule& schedule, const uint8_t* in, uint8_t* out, size_t blocks) {
    for (size_t b = 0; b < blocks; ++b) {
        TransformOne(schedule, in + b * kBlockSize, out + b * kBlockSize);
    }
}

void EncryptCbcPortable(const KeySchedule& schedule, uint8_t* iv, const uint8_t* in, uint8_t* out,
                        size_t blocks) {
    for (size_t b = 0; b < blocks; ++b) {
        Xor16(iv, in + b * kBlockSize);
        EncryptBlock(schedule, iv, iv);
        memcpy(out + b * kBlockSize, iv, kBlockSize);
    }
}

void DecryptCbcPortable(const KeySchedule& schedule, uint8_t* iv, const uint8_t* in, uint8_t* out,
                        size_t blocks) {
    uint8_t ciphertext[kBlockSize];
    for (size_t b = 0; b < blocks; ++b) {
        memcpy(ciphertext, in + b * kBlockSize, kBlockSize);
        DecryptBlock(schedule, ciphertext, out + b * kBlockSize);
        Xor16(out + b * kBlockSize, iv);
        memcpy(iv, ciphertext, kBlockSize);
    }
}

constexpr Engine kPortable = {"portable", EcbPortable<EncryptBlock>, EcbPortable<DecryptBlock>,
                              EncryptCbcPortable, DecryptCbcPortable};

std::atomic<const Engine*> g_Forced{nullptr};

void SubWord(uint8_t* word) {
    for (int k = 0; k < 4; ++k) {
        word[k] = kTables.sbox[word[k]];
    }
}

// InvMixColumns of one round key, column by column.
void InverseMixColumns(const uint8_t* in, uint8_t* out) {
    for (int c = 0; c < 4; ++c) {
        const uint8_t* b = in + 4 * c;
        for (int row = 0; row < 4; ++row) {
            out[4 * c + row] = Multiply(b[row], 14) ^ Multiply(b[(row + 1) % 4], 11) ^
                               Multiply(b[(row + 2) % 4], 13) ^ Multiply(b[(row + 3) % 4], 9);
        }
    }
}

}  // namespace

bool ExpandKey(const uint8_t* key, uint32_t keyLength, KeySchedule* encryption) {
    if (key == nullptr || (keyLength != 16 && keyLength != 24 && keyLength != 32)) {
        return false;
    }
    const uint32_t wordsInKey = keyLength / 4;
    encryption->rounds = wordsInKey + 6;
    const uint32_t words = 4 * (encryption->rounds + 1);
    uint8_t* w = &encryption->roundKeys[0][0];
    memcpy(w, key, keyLength);
    uint8_t roundConstant = 1;
    for (uint32_t i = wordsInKey; i < words; ++i) {
        uint8_t t[4];
        memcpy(t, w + 4 * (i - 1), 4);
        if (i % wordsInKey == 0) {
            const uint8_t first = t[0];
            memmove(t, t + 1, 3);
            t[3] = first;
            SubWord(t);
            t[0] ^= roundConstant;
            roundConstant = Times2(roundConstant);
        } else if (wordsInKey > 6 && i % wordsInKey == 4) {
            SubWord(t);
        }
        for (int k = 0; k < 4; ++k) {
            w[4 * i + k] = w[4 * (i - wordsInKey) + k] ^ t[k];
        }
    }
    return true;
}

void DeriveDecryptionSchedule(const KeySchedule& encryption, KeySchedule* decryption) {
    const uint32_t rounds = encryption.rounds;
    decryption->rounds = rounds;
    memcpy(decryption->roundKeys[0], encryption.roundKeys[rounds], kBlockSize);
    memcpy(decryption->roundKeys[rounds], encryption.roundKeys[0], kBlockSize);
    for (uint32_t r = 1; r < rounds; ++r) {
        InverseMixColumns(encryption.roundKeys[rounds - r], decryption->roundKeys[r]);
    }
}

const Engine& PortableEngine() {
    return kPortable;
}

const Engine& ActiveEngine() {
    const Engine* engine = g_Forced.load(std::memory_order_relaxed);
    if (engine == nullptr) {
        engine = WideHardwareEngine();
    }
    if (engine == nullptr) {
        engine = HardwareEngine();
    }
    return engine != nullptr ? *engine : kPortable;
}

void ForceEngine(const Engine* engine) {
    g_Forced.store(engine, std::memory_order_relaxed);
}

}  // namespace Aes
}  // namespace Cryptograph
}  // namespace ZorvCommon
