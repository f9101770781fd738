#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "CryptoTestData.h"
#include "ZorvComn_AesBlock.h"
#include "ZorvComn_Rijndael.h"

namespace {

using CryptoTest::Bytes;
using CryptoTest::FromHex;
using ZorvCommon::Cryptograph::DirectionDecrypt;
using ZorvCommon::Cryptograph::DirectionEncrypt;
using ZorvCommon::Cryptograph::ModeCBC;
using ZorvCommon::Cryptograph::ModeCFB;
using ZorvCommon::Cryptograph::ModeECB;
using ZorvCommon::Cryptograph::Rijndael;
namespace Aes = ZorvCommon::Cryptograph::Aes;

using ByteVector = std::vector<uint8_t>;

// Initialize + Transform; the output is cut to what was produced.
ByteVector Cipher(uint32_t direction, uint32_t mode, const ByteVector& key, const ByteVector& iv,
                  const ByteVector& input) {
    Rijndael cipher;
    uint32_t error = 0;
    EXPECT_TRUE(cipher.Initialize(direction, key.data(), static_cast<uint32_t>(key.size()), mode,
                                  iv.data(), static_cast<uint32_t>(iv.size()), &error))
        << error;
    ByteVector output(input.size() + 16);
    uint32_t produced = 0;
    static const uint8_t kNothing = 0;
    EXPECT_TRUE(cipher.Transform(input.empty() ? &kNothing : input.data(),
                                 static_cast<uint32_t>(input.size()), output.data(),
                                 static_cast<uint32_t>(output.size()), &produced, &error))
        << error;
    output.resize(produced);
    return output;
}

// Update alone, without Final: no padding added, and while decrypting the last block
// of the input is kept back.
ByteVector UpdateOnly(uint32_t direction, const ByteVector& key, const ByteVector& input) {
    Rijndael cipher;
    EXPECT_TRUE(cipher.Initialize(direction, key.data(), static_cast<uint32_t>(key.size()), ModeCBC,
                                  nullptr, 0));
    ByteVector output(input.size());
    uint32_t produced = static_cast<uint32_t>(output.size());
    EXPECT_TRUE(
        cipher.Update(input.data(), static_cast<uint32_t>(input.size()), output.data(), &produced));
    output.resize(produced);
    return output;
}

ByteVector Prefix(const ByteVector& bytes, size_t size) {
    return ByteVector(bytes.begin(), bytes.begin() + std::min(size, bytes.size()));
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

// FIPS-197 appendix C: one block under 128-, 192- and 256-bit keys.
TEST_P(CipherOnEngine, Fips197AppendixC) {
    const ByteVector plaintext = FromHex("00112233445566778899aabbccddeeff");
    const struct {
        const char* key;
        const char* ciphertext;
    } vectors[] = {
        {"000102030405060708090a0b0c0d0e0f", "69c4e0d86a7b0430d8cdb78070b4c55a"},
        {"000102030405060708090a0b0c0d0e0f1011121314151617", "dda97ca4864cdfe06eaf70a0ec0d7191"},
        {"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
         "8ea2b7ca516745bfeafc49904b496089"},
    };
    for (const auto& v : vectors) {
        const ByteVector key = FromHex(v.key);
        const ByteVector encrypted = Cipher(DirectionEncrypt, ModeECB, key, {}, plaintext);
        ASSERT_EQ(32u, encrypted.size()) << "a whole block gains a padding block";
        EXPECT_EQ(FromHex(v.ciphertext), Prefix(encrypted, 16)) << v.key;
        EXPECT_EQ(plaintext, Cipher(DirectionDecrypt, ModeECB, key, {}, FromHex(v.ciphertext)));
    }
}

// NIST SP 800-38A appendix F: F.1 (ECB), F.2 (CBC) and F.3.1-F.3.6 (CFB1, whose vectors
// are two bytes long) for all three key sizes.
TEST_P(CipherOnEngine, Sp80038aVectors) {
    const ByteVector plaintext = FromHex(
        "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
    const ByteVector iv = FromHex("000102030405060708090a0b0c0d0e0f");
    const struct {
        const char* key;
        const char* ecb;
        const char* cbc;
        const char* cfb1;
    } vectors[] = {
        {"2b7e151628aed2a6abf7158809cf4f3c",
         "3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf"
         "43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4",
         "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
         "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7",
         "68b3"},
        {"8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
         "bd334f1d6e45f25ff712a214571fa5cc974104846d0ad3ad7734ecb3ecee4eef"
         "ef7afd2270e2e60adce0ba2face6444e9a4b41ba738d6c72fb16691603c18e0e",
         "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a"
         "571b242012fb7ae07fa9baac3df102e008b0e27988598881d920a9e64f5615cd",
         "9359"},
        {"603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
         "f3eed1bdb5d2a03c064b5a7e3db181f8591ccb10d410ed26dc5ba74a31362870"
         "b6ed21b99ca6f4f9f153e7b1beafed1d23304b7a39f9f3ff067d8d8f9e24ecc7",
         "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
         "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b",
         "9029"},
    };
    for (const auto& v : vectors) {
        const ByteVector key = FromHex(v.key);
        EXPECT_EQ(FromHex(v.ecb),
                  Prefix(Cipher(DirectionEncrypt, ModeECB, key, {}, plaintext), 64));
        EXPECT_EQ(FromHex(v.cbc),
                  Prefix(Cipher(DirectionEncrypt, ModeCBC, key, iv, plaintext), 64));
        EXPECT_EQ(plaintext, Cipher(DirectionDecrypt, ModeECB, key, {}, FromHex(v.ecb)));
        EXPECT_EQ(plaintext, Cipher(DirectionDecrypt, ModeCBC, key, iv, FromHex(v.cbc)));

        // CFB is a stream mode: the first bits of the padded message are the vector's.
        const ByteVector cfbPlain = Prefix(plaintext, 2);
        const ByteVector cfb = Cipher(DirectionEncrypt, ModeCFB, key, iv, cfbPlain);
        EXPECT_EQ(FromHex(v.cfb1), Prefix(cfb, 2)) << v.key;
        EXPECT_EQ(cfbPlain, Cipher(DirectionDecrypt, ModeCFB, key, iv, cfb));
    }
}

// The pipelined paths (eight or sixteen blocks at a time, then the rest) against plain
// loops, on lengths around the group sizes, deciphered into another buffer and in place;
// with the portable engine this is a round trip check.
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

                Rijndael cipher;
                ASSERT_TRUE(cipher.Initialize(DirectionDecrypt, key.data(), keyLength, mode,
                                              iv.data(), 16));
                ByteVector inPlace = ciphertext;
                uint32_t produced = static_cast<uint32_t>(inPlace.size());
                ASSERT_TRUE(cipher.Update(inPlace.data(), static_cast<uint32_t>(inPlace.size()),
                                          inPlace.data(), &produced));
                EXPECT_TRUE(
                    std::equal(inPlace.begin(), inPlace.begin() + produced, plaintext.begin()))
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

TEST(Rijndael, EnginesAgreeOnManyBlocks) {
    const ByteVector key = Bytes(16, 7);
    const ByteVector iv = Bytes(16, 8);
    const ByteVector plaintext = Bytes(16 * 67, 9);
    const auto all = [&](const Aes::Engine* engine) {
        Aes::ForceEngine(engine);
        std::vector<ByteVector> results;
        for (uint32_t mode : {ModeECB, ModeCBC}) {
            results.push_back(Cipher(DirectionEncrypt, mode, key, iv, plaintext));
            results.push_back(Cipher(DirectionDecrypt, mode, key, iv, plaintext));
        }
        Aes::ForceEngine(nullptr);
        return results;
    };
    const std::vector<ByteVector> portable = all(&Aes::PortableEngine());
    for (const char* name : kEngines) {
        if (EngineNamed(name) != nullptr) {
            EXPECT_EQ(portable, all(EngineNamed(name))) << name;
        }
    }
}

// Update in pieces of every awkward size yields what one Transform yields.
TEST(Rijndael, SplitInputEqualsWholeInput) {
    const ByteVector key = Bytes(16, 1);
    const ByteVector plaintext = Bytes(1000, 2);
    for (uint32_t direction : {DirectionEncrypt, DirectionDecrypt}) {
        const ByteVector input = direction == DirectionEncrypt
                                     ? plaintext
                                     : Cipher(DirectionEncrypt, ModeCBC, key, {}, plaintext);
        const ByteVector whole = Cipher(direction, ModeCBC, key, {}, input);
        for (uint32_t piece : {1u, 5u, 15u, 16u, 17u, 48u, 333u}) {
            Rijndael cipher;
            ASSERT_TRUE(cipher.Initialize(direction, key.data(), 16, ModeCBC, nullptr, 0));
            ByteVector output(input.size() + 16);
            uint32_t total = 0;
            for (size_t at = 0; at < input.size(); at += piece) {
                uint32_t produced = static_cast<uint32_t>(output.size()) - total;
                const uint32_t length =
                    static_cast<uint32_t>(std::min<size_t>(piece, input.size() - at));
                ASSERT_TRUE(
                    cipher.Update(input.data() + at, length, output.data() + total, &produced));
                total += produced;
            }
            uint32_t last = static_cast<uint32_t>(output.size()) - total;
            ASSERT_TRUE(cipher.Final(output.data() + total, &last));
            output.resize(total + last);
            EXPECT_EQ(whole, output) << "direction " << direction << " piece " << piece;
        }
    }
}

TEST(Rijndael, PaddingIsAddedAlwaysAndRemovedOnlyWhenItLooksRight) {
    const ByteVector key = Bytes(16, 3);
    const ByteVector sixteen = Bytes(16, 4);
    const ByteVector ciphertext = Cipher(DirectionEncrypt, ModeCBC, key, {}, sixteen);
    ASSERT_EQ(32u, ciphertext.size());

    // Update alone delivers all but the last block of its input: with one block more
    // behind it, the padding block comes out as it was enciphered.
    ByteVector longer = ciphertext;
    longer.resize(48, 0x5a);
    const ByteVector output = UpdateOnly(DirectionDecrypt, key, longer);
    ASSERT_EQ(32u, output.size());
    EXPECT_EQ(sixteen, Prefix(output, 16));
    EXPECT_EQ(ByteVector(16, 16), ByteVector(output.begin() + 16, output.end()));

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
        const ByteVector unpadded = UpdateOnly(DirectionEncrypt, key, plaintext);
        ASSERT_EQ(32u, unpadded.size());
        EXPECT_EQ(Prefix(plaintext, 32 - c.removed),
                  Cipher(DirectionDecrypt, ModeCBC, key, {}, unpadded));
    }
}

TEST(Rijndael, LifecycleAndArgumentErrors) {
    const ByteVector key = Bytes(32, 6);
    uint8_t in[32] = {};
    uint8_t out[48] = {};
    uint32_t length = sizeof(out);
    uint32_t error = 0;
    Rijndael cipher;
    EXPECT_EQ(16u, cipher.GetBlockSize());
    EXPECT_EQ(16u, cipher.GetKeyLength());
    EXPECT_FALSE(cipher.Update(in, 16, out, &length, &error));
    EXPECT_EQ(1u, error) << "not initialized";
    EXPECT_FALSE(cipher.Initialize(DirectionEncrypt, key.data(), 15, ModeCBC, nullptr, 0, &error));
    EXPECT_EQ(13u, error);

    ASSERT_TRUE(cipher.Initialize(DirectionEncrypt, key.data(), 32, ModeCBC, nullptr, 0, &error));
    EXPECT_EQ(32u, cipher.GetKeyLength());
    length = 31;
    EXPECT_FALSE(cipher.Update(in, 32, out, &length, &error)) << "two blocks need 32 bytes";
    EXPECT_EQ(8u, error);
    EXPECT_EQ(Rijndael::StateInitialized, cipher.GetState()) << "a refused Update changes nothing";

    length = sizeof(out);
    ASSERT_TRUE(cipher.Update(in, 20, out, &length, &error));
    EXPECT_EQ(16u, length);
    EXPECT_FALSE(cipher.Initialize(DirectionEncrypt, key.data(), 32, ModeCBC, nullptr, 0, &error));
    EXPECT_EQ(1u, error) << "no Initialize while processing";
    length = 15;
    EXPECT_FALSE(cipher.Final(out, &length, &error));
    EXPECT_EQ(8u, error);
    length = 16;
    ASSERT_TRUE(cipher.Final(out, &length, &error));
    EXPECT_FALSE(cipher.Final(out, &length, &error));
    EXPECT_EQ(1u, error);
    EXPECT_FALSE(cipher.Initialize(DirectionEncrypt, key.data(), 32, ModeCBC, nullptr, 0, &error));
    EXPECT_EQ(1u, error) << "no Initialize when finished";

    ASSERT_TRUE(cipher.Uninitialize(&error));
    EXPECT_EQ(Rijndael::StateNotInitialized, cipher.GetState());
    ASSERT_TRUE(cipher.Initialize(DirectionDecrypt, key.data(), 32, ModeCBC, nullptr, 0, &error));
    length = sizeof(out);
    ASSERT_TRUE(cipher.Update(in, 20, out, &length, &error));
    EXPECT_FALSE(cipher.Final(out, &length, &error)) << "ciphertext that ends inside a block";
    EXPECT_EQ(13u, error);
}

// Restart begins a new message on the kept key schedule.
TEST(Rijndael, RestartRepeatsTheMessageFromANewRegister) {
    const ByteVector key = Bytes(16, 10);
    const ByteVector iv = Bytes(16, 11);
    const ByteVector plaintext = Bytes(40, 12);
    const ByteVector expected = Cipher(DirectionEncrypt, ModeCBC, key, iv, plaintext);

    Rijndael cipher;
    ASSERT_TRUE(cipher.Initialize(DirectionEncrypt, key.data(), 16, ModeCBC, nullptr, 0));
    ByteVector output(64);
    uint32_t produced = 0;
    ASSERT_TRUE(cipher.Transform(plaintext.data(), 40, output.data(), 64, &produced));
    EXPECT_NE(expected, Prefix(output, produced));
    ASSERT_TRUE(cipher.Restart(iv.data(), 16));
    ASSERT_TRUE(cipher.Transform(plaintext.data(), 40, output.data(), 64, &produced));
    EXPECT_EQ(expected, Prefix(output, produced));
}

}  // namespace
