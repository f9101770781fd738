#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CryptoTestData.h"
#include "DocumentVocabulary.h"
#include "Scratch.h"
#include "ZorvComn_CryptDocument.h"

namespace {

using CryptoTest::Bytes;
using ZorvCommon::Cryptograph::Rijndael;
using ZorvCommon::Storage::CipherParameters;
using ZorvCommon::Storage::CryptDocument;
using ZorvCommon::Storage::DecryptDocumentBytes;
using ZorvCommon::Storage::EncryptDocumentBytes;
using ZorvCommon::Storage::FileBase;
using ZorvCommon::Storage::FileCrypt;

using ByteVector = std::vector<uint8_t>;

constexpr const char* kKey = Ostrel::Vocabulary::kStorageKey;

class FileCryptTest : public ::testing::Test {
protected:
    FileCryptTest() {
        m_Parameters.cipher = &m_Cipher;
        m_Parameters.key = reinterpret_cast<const uint8_t*>(kKey);
        m_Parameters.keyLength = 16;
    }

    // Writes the document encrypted and returns its path.
    std::wstring Document(const std::wstring& name, const ByteVector& plaintext) {
        ByteVector ciphertext;
        EXPECT_TRUE(EncryptDocumentBytes(kKey, plaintext, &ciphertext));
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
    Rijndael m_Cipher;
    CipherParameters m_Parameters;
};

TEST_F(FileCryptTest, ChunkedReadsOfEveryOffsetClassEqualTheDocument) {
    // 600000 bytes cross the read-ahead window more than once; 4096 ends on a block, so
    // its file ends with a whole padding block.
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
}

TEST_F(FileCryptTest, ReadsAtAnyPositionMatchTheWholeRead) {
    const ByteVector plaintext = Bytes(200, 21);
    CryptDocument document;
    ASSERT_TRUE(document.Open(Document(L"seek.xen", plaintext), kKey));
    FileBase& file = document.File();
    for (uint32_t position : {0u, 1u, 15u, 16u, 17u, 31u, 32u, 33u, 100u, 159u, 160u, 183u}) {
        uint32_t newPosition = 0;
        ASSERT_TRUE(file.SetPointer(static_cast<int32_t>(position), FILE_BEGIN, &newPosition));
        EXPECT_EQ(position, newPosition);
        ByteVector slice(17, 0xbd);
        ASSERT_TRUE(file.Read(slice.data(), 17, nullptr));
        EXPECT_EQ(ByteVector(plaintext.begin() + position, plaintext.begin() + position + 17),
                  slice)
            << "at " << position;
    }
    // Counting from the plaintext end (from elsewhere than the end), and going backwards.
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
    ASSERT_TRUE(file.SetPointer(5, FILE_BEGIN, nullptr));
    ASSERT_TRUE(file.SetPointer(-2, FILE_CURRENT, &position));
    EXPECT_EQ(3u, position);
    EXPECT_FALSE(file.SetPointer(-4, FILE_CURRENT, &position, &error));
    EXPECT_EQ(static_cast<uint32_t>(ERROR_NEGATIVE_SEEK), error);
}

TEST_F(FileCryptTest, EmptyShortAndBadlyPaddedFiles) {
    TestSupport::WriteFileBytes(m_Folder.File(L"empty.xen"), {});
    CryptDocument empty;
    uint32_t error = 0;
    ASSERT_TRUE(empty.Open(m_Folder.File(L"empty.xen"), kKey, &error));
    EXPECT_EQ(ByteVector(), ReadInChunks(empty.File(), 1));

    TestSupport::WriteFileBytes(m_Folder.File(L"cut.xen"), Bytes(20, 1));
    CryptDocument cut;
    EXPECT_FALSE(cut.Open(m_Folder.File(L"cut.xen"), kKey, &error));
    EXPECT_EQ(13u, error) << "ciphertext ends inside a block";
    EXPECT_FALSE(cut.File().IsOpen());

    // A wrong key decrypts to noise, whose last block is almost never valid padding:
    // the whole file comes back.
    const std::wstring path = Document(L"wrong.xen", Bytes(40, 2));
    ByteVector noise;
    ASSERT_TRUE(DecryptDocumentBytes(Ostrel::Vocabulary::kServiceKey,
                                     TestSupport::ReadFileBytes(path), &noise));
    ASSERT_EQ(48u, noise.size());
    CryptDocument wrong;
    ASSERT_TRUE(wrong.Open(path, Ostrel::Vocabulary::kServiceKey, &error));
    EXPECT_EQ(noise, ReadInChunks(wrong.File(), 10));
}

TEST_F(FileCryptTest, KeysOfOtherLengthsAreRefusedBeforeTheFileIsOpened) {
    const std::string shortKey = std::string(kKey).substr(0, 15);
    const std::string longKey = std::string(kKey) + "y";
    uint32_t error = 0;
    for (const char* key :
         {shortKey.c_str(), longKey.c_str(), "", static_cast<const char*>(nullptr)}) {
        CryptDocument document;
        EXPECT_FALSE(document.Open(m_Folder.File(L"missing.xen"), key, &error));
        EXPECT_EQ(13u, error) << "not 2: the missing file was never looked for";
    }
}

// Open needs cipher parameters, and opens once; Close lets the cipher go, once.
TEST_F(FileCryptTest, OpenAndCloseInTurn) {
    uint32_t error = 0;
    uint8_t buffer[4] = {};
    FileBase plain(Document(L"state.xen", Bytes(30, 4)));
    FileCrypt crypt(&plain);
    EXPECT_FALSE(crypt.Read(buffer, 4, &error));
    EXPECT_EQ(6u, error) << "not open";
    EXPECT_FALSE(crypt.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0, &error));
    EXPECT_EQ(160u, error) << "no cipher parameters";
    EXPECT_FALSE(plain.IsOpen()) << "the inner file is closed again";

    crypt.SetCipherParameters(&m_Parameters);
    ASSERT_TRUE(crypt.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0, &error));
    EXPECT_EQ(30u, crypt.GetPlainSize());
    EXPECT_FALSE(crypt.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0, &error));
    EXPECT_EQ(5010u, error);
    ASSERT_TRUE(crypt.Close(&error));
    EXPECT_EQ(Rijndael::StateNotInitialized, m_Cipher.GetState()) << "the strategy let go";
    EXPECT_FALSE(crypt.Close(&error));
    EXPECT_EQ(1u, error);
}

// Appends and an overwrite inside, read back through the same file, and the file's bytes
// are what one encryption of the result gives.
TEST_F(FileCryptTest, WritesInPiecesProduceTheWholeEncryption) {
    const std::wstring path = m_Folder.File(L"written.xen");
    FileBase plain(path);
    FileCrypt crypt(&plain);
    crypt.SetCipherParameters(&m_Parameters);
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
    memcpy(plaintext.data() + 30, patch, 4);
    ASSERT_TRUE(crypt.SetPointer(0, FILE_BEGIN, nullptr));
    EXPECT_EQ(plaintext, ReadInChunks(crypt, 33));
    ASSERT_TRUE(crypt.Close(&error));

    ByteVector expected;
    ASSERT_TRUE(EncryptDocumentBytes(kKey, plaintext, &expected));
    EXPECT_EQ(expected, TestSupport::ReadFileBytes(path));
}

}  // namespace
