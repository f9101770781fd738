#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "CryptoTestData.h"
#include "Scratch.h"
#include "ZorvComn_CryptDocument.h"

namespace {

using CryptoTest::Bytes;
using TestSupport::ScratchFolder;
using ZorvCommon::Cryptograph::DirectionEncrypt;
using ZorvCommon::Cryptograph::ModeCFB;
using ZorvCommon::Cryptograph::ModeECB;
using ZorvCommon::Cryptograph::Rijndael;
using ZorvCommon::Cryptograph::SymmetricCipherStrategy;
using ZorvCommon::Storage::CipherParameters;
using ZorvCommon::Storage::CryptDocument;
using ZorvCommon::Storage::DecryptDocumentBytes;
using ZorvCommon::Storage::EncryptDocumentBytes;
using ZorvCommon::Storage::FileBase;
using ZorvCommon::Storage::FileCrypt;

using ByteVector = std::vector<uint8_t>;

constexpr const char* kKey = Ostrel::Vocabulary::kStorageKey;

// A cipher and the document parameters over it, for FileCrypt used directly.
struct DocumentCipher {
    DocumentCipher() {
        parameters.cipher = &cipher;
        parameters.key = reinterpret_cast<const uint8_t*>(kKey);
        parameters.keyLength = 16;
    }
    Rijndael cipher;
    CipherParameters parameters;
};

class FileCryptTest : public ::testing::Test {
protected:
    // Writes the document encrypted and returns its path.
    std::wstring Document(const std::wstring& name, const ByteVector& plaintext) {
        ByteVector ciphertext;
        EXPECT_TRUE(EncryptDocumentBytes(kKey, plaintext, &ciphertext));
        TestSupport::WriteFileBytes(m_Folder.File(name), ciphertext);
        return m_Folder.File(name);
    }

    // Reads from the current position to the end in chunks of the given size.
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
        }
    }

    ScratchFolder m_Folder{L"FileCrypt"};
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
            uint32_t error = 0;
            ASSERT_TRUE(document.Open(path, kKey, &error)) << error;
            EXPECT_EQ(plaintext, ReadInChunks(document.File(), chunk))
                << "size " << size << " chunk " << chunk;
            ASSERT_TRUE(document.Close(&error));
        }
    }
}

// Reads decipher straight into the reader's buffer; ECB and CFB1 take the same road as
// CBC, with their own feedback rules, across the read-ahead window.
TEST_F(FileCryptTest, EcbAndCfb1FilesReadBackInChunks) {
    for (uint32_t mode : {ModeECB, ModeCFB}) {
        const ByteVector plaintext = Bytes(300000, mode);
        DocumentCipher document;
        document.parameters.mode = mode;
        Rijndael encryption;
        ASSERT_TRUE(
            encryption.Initialize(DirectionEncrypt, document.parameters.key, 16, mode, nullptr, 0));
        ByteVector ciphertext(plaintext.size() + 16);
        uint32_t produced = 0;
        ASSERT_TRUE(encryption.Transform(plaintext.data(), static_cast<uint32_t>(plaintext.size()),
                                         ciphertext.data(),
                                         static_cast<uint32_t>(ciphertext.size()), &produced));
        ciphertext.resize(produced);
        TestSupport::WriteFileBytes(m_Folder.File(L"mode.bin"), ciphertext);
        for (uint32_t chunk : {7u, 8188u}) {
            FileBase plain(m_Folder.File(L"mode.bin"));
            FileCrypt crypt(&plain);
            crypt.SetCipherParameters(&document.parameters);
            ASSERT_TRUE(crypt.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0));
            EXPECT_EQ(plaintext, ReadInChunks(crypt, chunk))
                << "mode " << mode << " chunk " << chunk;
            ASSERT_TRUE(crypt.Close());
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
    // Going backwards after the end has been read, and counting from the plaintext end.
    uint32_t position = 0;
    ASSERT_TRUE(file.SetPointer(-3, FILE_END, &position));
    EXPECT_EQ(197u, position);
    uint8_t tail[8] = {};
    uint32_t count = 0;
    uint32_t error = 0;
    EXPECT_FALSE(file.Read(tail, 8, &count, &error));
    EXPECT_EQ(13u, error);
    ASSERT_EQ(3u, count);
    EXPECT_EQ(0, memcmp(tail, plaintext.data() + 197, 3));
    // At the end nothing is written, however large the buffer (a reader that keeps asking
    // there must not pay for zeroing it each time).
    ByteVector large(1 << 20, 0xbd);
    EXPECT_FALSE(file.Read(large.data(), static_cast<uint32_t>(large.size()), &count, &error));
    EXPECT_EQ(38u, error);
    EXPECT_EQ(0u, count);
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
    uint8_t byte = 0;
    EXPECT_FALSE(empty.File().Read(&byte, 1, &error));
    EXPECT_EQ(38u, error);

    TestSupport::WriteFileBytes(m_Folder.File(L"cut.xen"), Bytes(20, 1));
    CryptDocument cut;
    EXPECT_FALSE(cut.Open(m_Folder.File(L"cut.xen"), kKey, &error));
    EXPECT_EQ(13u, error) << "ciphertext ends inside a block";
    EXPECT_FALSE(cut.File().IsOpen());

    // A wrong key decrypts to noise, whose last block is almost never valid padding:
    // the whole file comes back.
    ByteVector ciphertext;
    ASSERT_TRUE(EncryptDocumentBytes(kKey, Bytes(40, 2), &ciphertext));
    TestSupport::WriteFileBytes(m_Folder.File(L"wrong.xen"), ciphertext);
    ByteVector noise;
    ASSERT_TRUE(DecryptDocumentBytes(Ostrel::Vocabulary::kServiceKey, ciphertext, &noise));
    ASSERT_EQ(48u, noise.size());
    CryptDocument wrong;
    ASSERT_TRUE(wrong.Open(m_Folder.File(L"wrong.xen"), Ostrel::Vocabulary::kServiceKey, &error));
    EXPECT_EQ(noise, ReadInChunks(wrong.File(), 10));
}

TEST_F(FileCryptTest, KeysOfOtherLengthsAreRefusedBeforeTheFileIsOpened) {
    const std::wstring missing = m_Folder.File(L"missing.xen");
    uint32_t error = 0;
    const std::string shortKey = std::string(kKey).substr(0, 15);
    const std::string longKey = std::string(kKey) + "y";
    const char* const refused[] = {shortKey.c_str(), longKey.c_str(), "", nullptr};
    for (const char* key : refused) {
        CryptDocument document;
        EXPECT_FALSE(document.Open(missing, key, &error));
        EXPECT_EQ(13u, error) << "not 2: the missing file was never looked for";
    }
    CryptDocument document;
    EXPECT_FALSE(document.Open(missing, kKey, &error));
    EXPECT_EQ(static_cast<uint32_t>(ERROR_FILE_NOT_FOUND), error);

    ByteVector out;
    EXPECT_FALSE(EncryptDocumentBytes("0123456789abcdef0", {1}, &out, &error));
    EXPECT_EQ(13u, error);
    EXPECT_FALSE(DecryptDocumentBytes(kKey, {}, &out, &error));
    EXPECT_EQ(38u, error);
    EXPECT_FALSE(DecryptDocumentBytes(kKey, Bytes(20, 3), &out, &error));
    EXPECT_EQ(13u, error);
}

TEST_F(FileCryptTest, OpenCloseAndArgumentErrors) {
    const std::wstring path = Document(L"state.xen", Bytes(30, 4));
    DocumentCipher document;
    Rijndael& cipher = document.cipher;
    CipherParameters& parameters = document.parameters;
    const uint8_t* key = parameters.key;
    uint32_t error = 0;
    uint8_t buffer[4] = {};

    FileCrypt orphan;
    EXPECT_FALSE(orphan.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0, &error));
    EXPECT_EQ(6u, error);
    EXPECT_FALSE(orphan.GetSize(nullptr, &error));
    EXPECT_EQ(6u, error);

    FileBase plain(path);
    FileCrypt crypt(&plain);
    EXPECT_EQ(path, crypt.GetFileName());
    EXPECT_FALSE(crypt.Read(buffer, 4, &error));
    EXPECT_EQ(6u, error) << "not open";
    EXPECT_FALSE(crypt.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0, &error));
    EXPECT_EQ(160u, error) << "no cipher parameters";
    EXPECT_FALSE(plain.IsOpen()) << "the inner file is closed again";

    CipherParameters badMode = parameters;
    badMode.mode = 3;
    crypt.SetCipherParameters(&badMode);
    EXPECT_FALSE(crypt.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0, &error));
    EXPECT_EQ(87u, error);
    EXPECT_FALSE(plain.IsOpen());

    crypt.SetCipherParameters(&parameters);
    ASSERT_TRUE(crypt.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0, &error));
    EXPECT_EQ(30u, crypt.GetPlainSize());
    uint64_t size = 0;
    ASSERT_TRUE(crypt.GetSize(&size, &error));
    EXPECT_EQ(32u, size) << "the size of the encrypted file";
    EXPECT_FALSE(crypt.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0, &error));
    EXPECT_EQ(5010u, error);
    EXPECT_FALSE(crypt.Initialize(&cipher, &parameters.mode, key, 16, nullptr, 0, &error));
    EXPECT_EQ(1u, error) << "a strategy is present";
    ASSERT_TRUE(crypt.Close(&error));
    EXPECT_EQ(Rijndael::StateNotInitialized, cipher.GetState()) << "the strategy let go";
    EXPECT_FALSE(crypt.Close(&error));
    EXPECT_EQ(1u, error);

    EXPECT_FALSE(crypt.Initialize(nullptr, &parameters.mode, key, 16, nullptr, 0, &error));
    EXPECT_EQ(160u, error);
    EXPECT_FALSE(crypt.Initialize(&cipher, nullptr, key, 16, nullptr, 0, &error));
    EXPECT_EQ(160u, error);
    EXPECT_FALSE(crypt.Initialize(&cipher, &parameters.mode, nullptr, 16, nullptr, 0, &error));
    EXPECT_EQ(160u, error);
}

TEST_F(FileCryptTest, RangesStartOneBlockEarlyForTheFeedbackValue) {
    TestSupport::WriteFileBytes(m_Folder.File(L"range.bin"), Bytes(64, 5));
    FileBase file(m_Folder.File(L"range.bin"));
    ASSERT_TRUE(file.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0));
    Rijndael cipher;
    const uint8_t key[16] = {};
    auto cbc = ZorvCommon::Cryptograph::CreateStrategy(&cipher, 1, key, 16, nullptr, 0);
    auto ecb = ZorvCommon::Cryptograph::CreateStrategy(&cipher, 0, key, 16, nullptr, 0);
    ASSERT_TRUE(cbc && ecb);
    EXPECT_EQ(nullptr, ZorvCommon::Cryptograph::CreateStrategy(&cipher, 3, key, 16, nullptr, 0));

    const struct {
        SymmetricCipherStrategy* strategy;
        uint32_t position, length, start, rangeLength;
    } cases[] = {
        {cbc.get(), 0, 0, 0, 16},    {cbc.get(), 0, 1, 0, 16},   {cbc.get(), 0, 17, 0, 32},
        {cbc.get(), 20, 5, 0, 32},   {cbc.get(), 16, 16, 0, 32}, {cbc.get(), 47, 2, 16, 48},
        {cbc.get(), 48, 16, 32, 32}, {ecb.get(), 20, 5, 16, 16}, {ecb.get(), 47, 2, 32, 32},
    };
    for (const auto& c : cases) {
        uint32_t start = 0xbd;
        uint32_t rangeLength = 0xbd;
        ASSERT_TRUE(c.strategy->GetRange(file, c.position, c.length, &start, &rangeLength, nullptr))
            << c.position << "+" << c.length;
        EXPECT_EQ(c.start, start) << c.position << "+" << c.length;
        EXPECT_EQ(c.rangeLength, rangeLength) << c.position << "+" << c.length;
    }
    EXPECT_TRUE(cbc->IsFinal(file, 32, 32));
    EXPECT_FALSE(cbc->IsFinal(file, 0, 32));
    uint32_t start = 0;
    uint32_t rangeLength = 0;
    uint32_t error = 0;
    EXPECT_FALSE(cbc->GetRange(file, 50, 20, &start, &rangeLength, &error));
    EXPECT_EQ(87u, error);
}

TEST_F(FileCryptTest, WritesInPiecesProduceTheWholeEncryption) {
    const std::wstring path = m_Folder.File(L"written.xen");
    DocumentCipher document;
    FileBase plain(path);
    FileCrypt crypt(&plain);
    crypt.SetCipherParameters(&document.parameters);
    uint32_t error = 0;
    ASSERT_TRUE(crypt.Open(nullptr, GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, &error));

    ByteVector plaintext = Bytes(100, 6);
    size_t at = 0;
    for (uint32_t piece : {5u, 11u, 16u, 3u, 45u, 20u}) {
        uint32_t written = 0;
        ASSERT_TRUE(crypt.Write(plaintext.data() + at, piece, &written, &error)) << error;
        EXPECT_EQ(piece, written);
        at += piece;
    }
    // Overwrite inside, then read back through the same file.
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
