#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "CryptoTestData.h"
#include "ZorvComn_AesBlock.h"
#include "ZorvComn_Rijndael.h"

namespace {

using CryptoTest::Bytes;
using ZorvCommon::Cryptograph::DirectionDecrypt;
using ZorvCommon::Cryptograph::DirectionEncrypt;
using ZorvCommon::Cryptograph::ModeCBC;
using ZorvCommon::Cryptograph::ModeCFB;
using ZorvCommon::Cryptograph::ModeECB;
using ZorvCommon::Cryptograph::Rijndael;
namespace Aes = ZorvCommon::Cryptograph::Aes;

using ByteVector = std::vector<uint8_t>;

ByteVector FromHex(const std::string& hex) {
    ByteVector bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

ByteVector Prefix(const ByteVector& bytes, size_t size) {
    return ByteVector(bytes.begin(), bytes.begin() + std::min(size, bytes.size()));
}

// Update over the input in pieces (all at once unless told), then Final unless told not
// to: Update alone adds no padding, and while decrypting it keeps the last block back.
ByteVector Cipher(uint32_t direction, uint32_t mode, const ByteVector& key, const ByteVector& iv,
                  const ByteVector& input, size_t piece = SIZE_MAX, bool final = true) {
    Rijndael cipher;
    uint32_t error = 0;
    EXPECT_TRUE(cipher.Initialize(direction, key.data(), static_cast<uint32_t>(key.size()), mode,
                                  iv.data(), static_cast<uint32_t>(iv.size()), &error))
        << error;
    ByteVector output(input.size() + 16);
    uint32_t total = 0;
    static const uint8_t kNothing = 0;
    const uint8_t* data = input.empty() ? &kNothing : input.data();
    for (size_t at = 0; at == 0 || at < input.size(); at += piece) {
        uint32_t produced = static_cast<uint32_t>(output.size()) - total;
        const uint32_t length = static_cast<uint32_t>(std::min(piece, input.size() - at));
        EXPECT_TRUE(cipher.Update(data + at, length, output.data() + total, &produced));
        total += produced;
    }
    uint32_t last = static_cast<uint32_t>(output.size()) - total;
    EXPECT_TRUE(!final || cipher.Final(output.data() + total, &last));
    return Prefix(output, total + (final ? last : 0));
}

// The engines by name; null where the processor lacks it.
const Aes::Engine* EngineNamed(const std::string& name) {
    if (name == "vaes") {
        return Aes::WideHardwareEngine();
    }
    return name == "aes-ni" ? Aes::HardwareEngine() : &Aes::PortableEngine();
}

const char* const kEngines[] = {"portable", "aes-ni", "vaes"};

// Every cipher test runs once on each engine.
class CipherOnEngine : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        const Aes::Engine* engine = EngineNamed(GetParam());
        if (engine == nullptr) {
            GTEST_SKIP() << "no " << GetParam() << " instructions on this processor";
        }
        Aes::ForceEngine(engine);
        ASSERT_STREQ(GetParam(), Aes::ActiveEngine().name);
    }
    void TearDown() override { Aes::ForceEngine(nullptr); }
};

// NIST SP 800-38A appendix F: F.1 (ECB) for all three key sizes, F.2.1 (CBC) and F.3.1
// (CFB1, two bytes). The output carries the padding behind the vector's bytes and deciphers
// back to the plaintext.
TEST_P(CipherOnEngine, KnownAnswers) {
    const char* const kNist =
        "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";
    const char* const kKey128 = "2b7e151628aed2a6abf7158809cf4f3c";
    const struct {
        const char* key;
        uint32_t mode;
        const char* plaintext;
        const char* ciphertext;
    } vectors[] = {
        {kKey128, ModeECB, kNist,
         "3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf"
         "43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4"},
        {"8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b", ModeECB, kNist,
         "bd334f1d6e45f25ff712a214571fa5cc974104846d0ad3ad7734ecb3ecee4eef"
         "ef7afd2270e2e60adce0ba2face6444e9a4b41ba738d6c72fb16691603c18e0e"},
        {"603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4", ModeECB, kNist,
         "f3eed1bdb5d2a03c064b5a7e3db181f8591ccb10d410ed26dc5ba74a31362870"
         "b6ed21b99ca6f4f9f153e7b1beafed1d23304b7a39f9f3ff067d8d8f9e24ecc7"},
        {kKey128, ModeCBC, kNist,
         "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
         "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
        {kKey128, ModeCFB, "6bc1", "68b3"},
    };
    const ByteVector iv = FromHex("000102030405060708090a0b0c0d0e0f");
    for (const auto& v : vectors) {
        const ByteVector key = FromHex(v.key);
        const ByteVector plaintext = FromHex(v.plaintext);
        const ByteVector expected = FromHex(v.ciphertext);
        const ByteVector encrypted = Cipher(DirectionEncrypt, v.mode, key, iv, plaintext);
        EXPECT_EQ(expected, Prefix(encrypted, expected.size())) << v.key << " mode " << v.mode;
        EXPECT_EQ(plaintext, Cipher(DirectionDecrypt, v.mode, key, iv, encrypted)) << v.key;
    }
}

// The pipelined paths (eight or sixteen blocks at a time, then the rest) on lengths around
// the group sizes: the same ciphertext as the portable engine (a round trip cannot see an
// engine that enciphers and deciphers the same wrong way), fed whole or in awkward pieces,
// deciphered into another buffer and in place.
TEST_P(CipherOnEngine, RoundTripsAtEveryLengthAroundTheBlockGroups) {
    for (uint32_t keyLength : {16u, 24u, 32u}) {
        const ByteVector key = Bytes(keyLength, keyLength);
        const ByteVector iv = Bytes(16, 99);
        for (size_t size : {0, 1, 15, 16, 17, 127, 128, 129, 143, 144, 255, 256, 257, 271, 272, 399,
                            400, 1000, 4096}) {
            const ByteVector plaintext = Bytes(size, static_cast<uint32_t>(size));
            for (uint32_t mode : {ModeECB, ModeCBC}) {
                const ByteVector ciphertext = Cipher(DirectionEncrypt, mode, key, iv, plaintext);
                EXPECT_EQ((size / 16 + 1) * 16, ciphertext.size());
                EXPECT_EQ(plaintext, Cipher(DirectionDecrypt, mode, key, iv, ciphertext))
                    << "mode " << mode << " size " << size;
                const size_t piece = size % 17 + 1;
                EXPECT_EQ(ciphertext, Cipher(DirectionEncrypt, mode, key, iv, plaintext, piece))
                    << "in pieces of " << piece;
                EXPECT_EQ(plaintext, Cipher(DirectionDecrypt, mode, key, iv, ciphertext, piece))
                    << "in pieces of " << piece;
                Aes::ForceEngine(&Aes::PortableEngine());
                EXPECT_EQ(Cipher(DirectionEncrypt, mode, key, iv, plaintext), ciphertext)
                    << "mode " << mode << " size " << size << " on the portable engine";
                Aes::ForceEngine(EngineNamed(GetParam()));

                Rijndael cipher;
                ASSERT_TRUE(cipher.Initialize(DirectionDecrypt, key.data(), keyLength, mode,
                                              iv.data(), 16));
                ByteVector inPlace = ciphertext;
                uint32_t produced = static_cast<uint32_t>(inPlace.size());
                ASSERT_TRUE(cipher.Update(inPlace.data(), static_cast<uint32_t>(inPlace.size()),
                                          inPlace.data(), &produced));
                EXPECT_EQ(Prefix(plaintext, produced), Prefix(inPlace, produced))
                    << "in place, mode " << mode << " size " << size;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Engines, CipherOnEngine, ::testing::ValuesIn(kEngines),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             return std::string(info.param == std::string("aes-ni") ? "aesni"
                                                                                    : info.param);
                         });

TEST(Rijndael, PaddingIsAddedAlwaysAndRemovedOnlyWhenItLooksRight) {
    const ByteVector key = Bytes(16, 3);
    const ByteVector sixteen = Bytes(16, 4);

    // Update alone delivers all but the last block of its input: with one block more
    // behind it, the padding block comes out as it was enciphered.
    ByteVector longer = Cipher(DirectionEncrypt, ModeCBC, key, {}, sixteen);
    ASSERT_EQ(32u, longer.size());
    longer.resize(48, 0x5a);
    ByteVector expected = sixteen;
    expected.resize(32, 16);
    EXPECT_EQ(expected, Cipher(DirectionDecrypt, ModeCBC, key, {}, longer, SIZE_MAX, false));

    // Blocks enciphered without padding whose tails are or are not valid padding.
    const struct {
        ByteVector tail;
        size_t removed;
    } cases[] = {
        {{0x02, 0x02}, 2}, {{0x03, 0x03, 0x02}, 0},  {{0x02, 0x03}, 0}, {{0x00}, 0},
        {{0x11}, 0},       {ByteVector(16, 16), 16},
    };
    for (const auto& c : cases) {
        ByteVector plaintext = Bytes(32 - c.tail.size(), 5);
        plaintext.insert(plaintext.end(), c.tail.begin(), c.tail.end());
        const ByteVector unpadded =
            Cipher(DirectionEncrypt, ModeCBC, key, {}, plaintext, SIZE_MAX, false);
        ASSERT_EQ(32u, unpadded.size());
        EXPECT_EQ(Prefix(plaintext, 32 - c.removed),
                  Cipher(DirectionDecrypt, ModeCBC, key, {}, unpadded));
    }
}

}  // namespace
