#pragma once
// The AES block cipher on its own: key schedules and whole-block transforms in ECB and
// CBC order, with interchangeable engines (AES instructions, one or two blocks at a time,
// or lookup tables on processors without them). Modes that need more than this (CFB1) build on the
// single-block encryption; padding lives elsewhere.

#include <cstddef>
#include <cstdint>

namespace ZorvCommon {
namespace Cryptograph {
namespace Aes {

constexpr uint32_t kBlockSize = 16;
constexpr uint32_t kMaxRounds = 14;

// Round keys in FIPS-197 byte order. A decryption schedule holds the round keys of the
// equivalent inverse cipher: reversed, the inner ones passed through InvMixColumns.
struct KeySchedule {
    alignas(16) uint8_t roundKeys[kMaxRounds + 1][kBlockSize];
    uint32_t rounds;
};

// Fails (false) for a key length other than 16, 24 or 32 bytes.
bool ExpandKey(const uint8_t* key, uint32_t keyLength, KeySchedule* encryption);
void DeriveDecryptionSchedule(const KeySchedule& encryption, KeySchedule* decryption);

// in and out may be the same buffer. The CBC functions read the feedback register from
// iv and leave the last ciphertext block in it.
struct Engine {
    const char* name;
    void (*encryptEcb)(const KeySchedule&, const uint8_t* in, uint8_t* out, size_t blocks);
    void (*decryptEcb)(const KeySchedule&, const uint8_t* in, uint8_t* out, size_t blocks);
    void (*encryptCbc)(const KeySchedule&, uint8_t* iv, const uint8_t* in, uint8_t* out,
                       size_t blocks);
    void (*decryptCbc)(const KeySchedule&, uint8_t* iv, const uint8_t* in, uint8_t* out,
                       size_t blocks);
};

const Engine& PortableEngine();
// The engines on the processor's AES instructions: one block per instruction
// ("aes-ni"), or two with the vector instructions on 256-bit registers ("vaes"). Null
// when the processor or the system lacks them (asked once).
const Engine* HardwareEngine();
const Engine* WideHardwareEngine();

// The engine that ciphers pick up when they are initialised: the forced one, else the
// widest present (tests and benchmarks compare them all).
const Engine& ActiveEngine();
// Null returns to the widest present.
void ForceEngine(const Engine* engine);

}  // namespace Aes
}  // namespace Cryptograph
}  // namespace ZorvCommon
