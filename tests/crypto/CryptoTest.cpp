#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "Scratch.h"
#include "ZorvComn_AesBlock.h"
#include "ZorvComn_CryptDocument.h"

namespace {

using ZorvCommon::Cryptograph::DirectionDecrypt;
using ZorvCommon::Cryptograph::DirectionEncrypt;
using ZorvCommon::Cryptograph::ModeCBC;
using ZorvCommon::Cryptograph::ModeCFB;
using ZorvCommon::Cryptograph::ModeECB;
using ZorvCommon::Cryptograph::Rijndael;
using ZorvCommon::Storage::CryptDocument;
using ZorvCommon::Storage::FileBase;
namespace Aes = ZorvCommon::Cryptograph::Aes;

using ByteVector = std::vector<uint8_t>;

constexpr const char* kKey = Ostrel::Vocabulary::kStorageKey;

// Repeatable pseudo-random bytes: a failure can be replayed.
ByteVector Bytes(size_t size, uint32_t seed) {
    std::mt19937 random(seed);
    ByteVector bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
    return bytes;
}

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

// The engines the processor has, the portable one first.
std::vector<const Aes::Engine*> Engines() {
    std::vector<const Aes::Engine*> engines = {&Aes::PortableEngine()};
    for (const Aes::Engine* engine : {Aes::HardwareEngine(), Aes::WideHardwareEngine()}) {
        if (engine != nullptr) {
            engines.push_back(engine);
        }
    }
    return engines;
}

// NIST SP 800-38A appendix F: F.1 (ECB, all three key sizes), F.2.1 (CBC), F.3.1 (CFB1, two
// bytes); the padding follows the vector's bytes, and the whole deciphers back.
TEST(Cipher, KnownAnswersOnEveryEngine) {
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
    for (const Aes::Engine* engine : Engines()) {
        SCOPED_TRACE(engine->name);
        Aes::ForceEngine(engine);
        for (const auto& v : vectors) {
            const ByteVector key = FromHex(v.key);
            const ByteVector plaintext = FromHex(v.plaintext);
            const ByteVector expected = FromHex(v.ciphertext);
            const ByteVector encrypted = Cipher(DirectionEncrypt, v.mode, key, iv, plaintext);
            EXPECT_EQ(expected, Prefix(encrypted, expected.size())) << v.key;
            EXPECT_EQ(plaintext, Cipher(DirectionDecrypt, v.mode, key, iv, encrypted)) << v.key;
        }
    }
    Aes::ForceEngine(nullptr);
}

// The pipelined paths (eight or sixteen blocks at a time, then the rest) around the group
// sizes give the portable engine's ciphertext (a round trip cannot see an engine that
// enciphers and deciphers the same wrong way), fed whole or in awkward pieces, and back.
TEST(Cipher, EveryEngineAgreesWithThePortableOneAtEveryLengthAroundTheBlockGroups) {
    for (uint32_t keyLength : {16u, 24u, 32u}) {
        const ByteVector key = Bytes(keyLength, keyLength);
        const ByteVector iv = Bytes(16, 99);
        for (size_t size : {0, 1, 15, 16, 17, 127, 128, 129, 143, 144, 255, 256, 257, 271, 272, 399,
                            400, 1000, 4096}) {
            const ByteVector plaintext = Bytes(size, static_cast<uint32_t>(size));
            const size_t piece = size % 17 + 1;
            for (uint32_t mode : {ModeECB, ModeCBC}) {
                SCOPED_TRACE("mode " + std::to_string(mode) + " size " + std::to_string(size));
                Aes::ForceEngine(&Aes::PortableEngine());
                const ByteVector ciphertext = Cipher(DirectionEncrypt, mode, key, iv, plaintext);
                EXPECT_EQ((size / 16 + 1) * 16, ciphertext.size());
                for (const Aes::Engine* engine : Engines()) {
                    SCOPED_TRACE(engine->name);
                    Aes::ForceEngine(engine);
                    EXPECT_EQ(ciphertext, Cipher(DirectionEncrypt, mode, key, iv, plaintext));
                    EXPECT_EQ(ciphertext,
                              Cipher(DirectionEncrypt, mode, key, iv, plaintext, piece));
                    EXPECT_EQ(plaintext, Cipher(DirectionDecrypt, mode, key, iv, ciphertext));
                    EXPECT_EQ(plaintext,
                              Cipher(DirectionDecrypt, mode, key, iv, ciphertext, piece));
                }
            }
        }
    }
    Aes::ForceEngine(nullptr);
}

// Blocks enciphered without padding whose tails are or are not valid padding.
TEST(Rijndael, PaddingIsRemovedOnlyWhenItLooksRight) {
    const ByteVector key = Bytes(16, 3);
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

class FileCryptTest : public ::testing::Test {
protected:
    // Writes the document encrypted and returns its path.
    std::wstring Document(const std::wstring& name, const ByteVector& plaintext) {
        ByteVector ciphertext;
        EXPECT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(kKey, plaintext, &ciphertext));
        TestSupport::WriteFileBytes(m_Folder.File(name), ciphertext);
        return m_Folder.File(name);
    }

    // Reads from the current position to the end in chunks of the given size: a read cut
    // short by the end fails with 13, one at the end with 38.
    static ByteVector ReadInChunks(FileBase& file, uint32_t chunk) {
        ByteVector all;
        ByteVector buffer(chunk);
        for (;;) {
            uint32_t count = 0;
            uint32_t error = 0;
            const bool full = file.Read(buffer.data(), chunk, &count, &error);
            all.insert(all.end(), buffer.begin(), buffer.begin() + count);
            if (!full) {
                EXPECT_EQ(count == 0 ? 38u : 13u, error) << "count " << count;
                return all;
            }
            EXPECT_EQ(chunk, count) << "only a read that fills the buffer succeeds";
        }
    }

    TestSupport::ScratchFolder m_Folder{L"FileCrypt"};
};

TEST_F(FileCryptTest, ReadsAtAnyPositionMatchTheWholeRead) {
    // In chunks from the start: 600000 bytes cross the read-ahead window more than once;
    // 4096 ends on a block, so its file ends with a whole padding block.
    for (size_t size : {1, 15, 16, 100, 4096, 600000}) {
        const ByteVector plaintext = Bytes(size, static_cast<uint32_t>(size));
        const std::wstring path = Document(L"doc.xen", plaintext);
        for (uint32_t chunk : {1u, 7u, 16u, 17u, 8188u, 70000u}) {
            if (size > 20000 && chunk < 16) {
                continue;  // byte-sized reads of the big document only cost time
            }
            CryptDocument document;
            ASSERT_TRUE(document.Open(path, kKey));
            EXPECT_EQ(plaintext, ReadInChunks(document.File(), chunk))
                << "size " << size << " chunk " << chunk;
        }
    }

    const ByteVector plaintext = Bytes(200, 21);
    CryptDocument document;
    ASSERT_TRUE(document.Open(Document(L"seek.xen", plaintext), kKey));
    FileBase& file = document.File();
    for (uint32_t position : {0u, 1u, 15u, 16u, 17u, 31u, 32u, 33u, 100u, 159u, 160u, 183u}) {
        ASSERT_TRUE(file.SetPointer(static_cast<int32_t>(position), FILE_BEGIN, nullptr));
        ByteVector slice(17, 0xbd);
        ASSERT_TRUE(file.Read(slice.data(), 17, nullptr));
        EXPECT_EQ(Prefix(ByteVector(plaintext.begin() + position, plaintext.end()), 17), slice)
            << "at " << position;
    }
    // Counting from the plaintext end (from elsewhere than the end).
    uint32_t position = 0;
    ASSERT_TRUE(file.SetPointer(5, FILE_BEGIN, nullptr));
    ASSERT_TRUE(file.SetPointer(-3, FILE_END, &position));
    EXPECT_EQ(197u, position);
    EXPECT_EQ(ByteVector(plaintext.begin() + 197, plaintext.end()), ReadInChunks(file, 8));
    // At the end nothing is written, however large the buffer: a reader that keeps asking
    // there must not pay for zeroing it each time.
    ByteVector large(1 << 20, 0xbd);
    uint32_t error = 0;
    EXPECT_FALSE(file.Read(large.data(), 1 << 20, nullptr, &error));
    EXPECT_EQ(38u, error);
    EXPECT_EQ(ByteVector(1 << 20, 0xbd), large);
}

// Keys of other lengths are refused before the file is looked for; an empty file is an
// empty document, one whose length is not whole blocks none; a wrong key decrypts to
// noise, whose last block is almost never valid padding: the whole file comes back.
TEST_F(FileCryptTest, OpenChecksTheKeyAndTheLengthThenReadsWhatDecrypts) {
    const std::string shortKey = std::string(kKey).substr(0, 15);
    const std::string longKey = std::string(kKey) + "y";
    uint32_t error = 0;
    for (const char* key :
         {shortKey.c_str(), longKey.c_str(), "", static_cast<const char*>(nullptr)}) {
        CryptDocument document;
        EXPECT_FALSE(document.Open(m_Folder.File(L"missing.xen"), key, &error));
        EXPECT_EQ(13u, error) << "not 2: the missing file was never looked for";
    }

    TestSupport::WriteFileBytes(m_Folder.File(L"empty.xen"), {});
    CryptDocument empty;
    ASSERT_TRUE(empty.Open(m_Folder.File(L"empty.xen"), kKey, &error));
    EXPECT_EQ(ByteVector(), ReadInChunks(empty.File(), 1));

    TestSupport::WriteFileBytes(m_Folder.File(L"cut.xen"), Bytes(20, 1));
    CryptDocument cut;
    EXPECT_FALSE(cut.Open(m_Folder.File(L"cut.xen"), kKey, &error));
    EXPECT_EQ(13u, error) << "ciphertext ends inside a block";
    EXPECT_FALSE(cut.File().IsOpen());

    const std::wstring path = Document(L"wrong.xen", Bytes(40, 2));
    ByteVector noise;
    ASSERT_TRUE(ZorvCommon::Storage::DecryptDocumentBytes(
        Ostrel::Vocabulary::kServiceKey, TestSupport::ReadFileBytes(path), &noise));
    ASSERT_EQ(48u, noise.size());
    CryptDocument wrong;
    ASSERT_TRUE(wrong.Open(path, Ostrel::Vocabulary::kServiceKey, &error));
    EXPECT_EQ(noise, ReadInChunks(wrong.File(), 10));
}

// Appends and an overwrite inside, read back through the same file, and the file's bytes
// are what one encryption of the result gives.
TEST_F(FileCryptTest, WritesInPiecesProduceTheWholeEncryption) {
    const std::wstring path = m_Folder.File(L"written.xen");
    Rijndael cipher;
    ZorvCommon::Storage::CipherParameters parameters;
    parameters.cipher = &cipher;
    parameters.key = reinterpret_cast<const uint8_t*>(kKey);
    parameters.keyLength = 16;
    FileBase plain(path);
    ZorvCommon::Storage::FileCrypt crypt(&plain);
    crypt.SetCipherParameters(&parameters);
    uint32_t error = 0;
    ASSERT_TRUE(crypt.Open(nullptr, GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, &error));
    ByteVector plaintext = Bytes(100, 6);
    size_t at = 0;
    for (uint32_t piece : {5u, 11u, 16u, 3u, 45u, 20u}) {
        ASSERT_TRUE(crypt.Write(plaintext.data() + at, piece, nullptr, &error)) << error;
        at += piece;
    }
    ASSERT_TRUE(crypt.SetPointer(30, FILE_BEGIN, nullptr));
    const uint8_t patch[4] = {0xde, 0xad, 0xbe, 0xef};
    ASSERT_TRUE(crypt.Write(patch, 4, nullptr, &error));
    std::copy(patch, patch + 4, plaintext.begin() + 30);
    ASSERT_TRUE(crypt.SetPointer(0, FILE_BEGIN, nullptr));
    EXPECT_EQ(plaintext, ReadInChunks(crypt, 33));
    ASSERT_TRUE(crypt.Close(&error));

    ByteVector expected;
    ASSERT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(kKey, plaintext, &expected));
    EXPECT_EQ(expected, TestSupport::ReadFileBytes(path));
}

}  // namespace
