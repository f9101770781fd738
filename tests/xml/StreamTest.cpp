#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <tuple>
#include <vector>

#include "Scratch.h"
#include "ZorvComn_Exception.h"
#include "ZorvComn_File.h"
#include "ZorvComn_Handle.h"
#include "ZorvComn_Stream.h"

namespace {

using TestSupport::ScratchFolder;
using ZorvCommon::Storage::FileBase;
using ZorvCommon::Storage::StreamComFileBase;

// A scratch file of known bytes, open through a FileBase, and a stream over it.
class StreamOverFile : public ::testing::Test {
protected:
    void SetUp() override {
        for (int i = 0; i < 40; ++i) {
            m_Bytes.push_back(static_cast<uint8_t>('A' + i % 26));
        }
        TestSupport::WriteFileBytes(m_Folder.File(L"stream.bin"), m_Bytes);
        Reopen(GENERIC_READ);
    }
    void Reopen(DWORD access) {
        m_Stream.reset();
        if (m_File.IsOpen()) {
            ASSERT_TRUE(m_File.Close());
        }
        ASSERT_TRUE(m_File.Open(nullptr, access, FILE_SHARE_READ, OPEN_EXISTING, 0));
        m_Stream.reset(new StreamComFileBase(&m_File));
    }
    StreamComFileBase* Stream() { return m_Stream.get(); }

    ScratchFolder m_Folder{L"XmlStream"};
    std::vector<uint8_t> m_Bytes;
    FileBase m_File{m_Folder.File(L"stream.bin")};
    ZorvCommon::UniqueCom<StreamComFileBase> m_Stream;
};

// The XML reader can learn that its input ended only from a read that delivers less than
// it asked for (at last nothing) or fails: the stream says when it has answered one. A full
// read answers S_FALSE, the end of the file is no error.
TEST_F(StreamOverFile, ReadAnswersSFalseForAFullReadAndSaysWhenTheInputEnded) {
    uint8_t buffer[64];
    ULONG cbRead = 0xdeadbeef;
    ASSERT_EQ(S_FALSE, Stream()->Read(buffer, 40, &cbRead));
    EXPECT_EQ(40u, cbRead);
    EXPECT_EQ(0, memcmp(m_Bytes.data(), buffer, 40));
    EXPECT_FALSE(Stream()->HasEnded()) << "a full read up to the last byte";
    ASSERT_EQ(S_OK, Stream()->Read(buffer, 64, &cbRead));
    EXPECT_EQ(0u, cbRead);
    EXPECT_TRUE(Stream()->HasEnded()) << "a read that delivers nothing";
    EXPECT_EQ(S_OK, Stream()->Read(buffer, 8, nullptr)) << "the count is optional";

    Reopen(GENERIC_READ);
    ASSERT_EQ(S_OK, Stream()->Read(buffer, 64, &cbRead)) << "a short read at the end";
    EXPECT_EQ(40u, cbRead);
    EXPECT_TRUE(Stream()->HasEnded()) << "a short read";

    Reopen(GENERIC_WRITE);
    EXPECT_EQ(STG_E_ACCESSDENIED, Stream()->Read(buffer, 8, &cbRead));
    EXPECT_EQ(0u, cbRead);
    EXPECT_TRUE(Stream()->HasEnded()) << "a failed read";
}

TEST_F(StreamOverFile, SeekMovesButAlwaysReportsZero) {
    ULARGE_INTEGER position;
    LARGE_INTEGER move;
    uint8_t byte = 0;
    for (const auto& [distance, origin, at] :
         {std::make_tuple(30, STREAM_SEEK_SET, 30), std::make_tuple(-2, STREAM_SEEK_END, 38)}) {
        position.QuadPart = 0xbdbdbdbdbdbdbdbdull;
        move.QuadPart = distance;
        ASSERT_EQ(S_OK, Stream()->Seek(move, origin, &position));
        EXPECT_EQ(0u, position.QuadPart);
        ASSERT_EQ(S_FALSE, Stream()->Read(&byte, 1, nullptr));
        EXPECT_EQ(m_Bytes[at], byte) << "the file did move";
    }
    EXPECT_EQ(STG_E_INVALIDFUNCTION, Stream()->Seek(move, 3, &position));
    move.QuadPart = 0x100000000ll;
    EXPECT_EQ(E_NOTIMPL, Stream()->Seek(move, STREAM_SEEK_SET, nullptr));
}

// A file whose reads throw what the layers under a stream may throw.
class ThrowingFile : public FileBase {
public:
    explicit ThrowingFile(void (*thrower)()) : m_Throw(thrower) {}
    using FileBase::Read;
    bool Read(void*, uint32_t, uint32_t*, uint32_t*) override {
        m_Throw();
        return false;
    }

private:
    void (*m_Throw)();
};

// The XML reader calls the stream from its own frames, which no exception may unwind.
TEST(StreamOverThrowingFile, AnExceptionOfTheFileBecomesTheReadResult) {
    const struct {
        void (*thrower)();
        HRESULT expected;
    } cases[] = {{[] { throw std::bad_alloc(); }, E_OUTOFMEMORY},
                 {[] { throw new ZorvCommon::Exception::Base(); }, E_FAIL},
                 {[] { throw 1; }, E_UNEXPECTED}};
    for (const auto& [thrower, expected] : cases) {
        ThrowingFile file(thrower);
        auto* pStream = new StreamComFileBase(&file);
        uint8_t buffer[16];
        ULONG cbRead = 0xdeadbeef;
        HRESULT result = S_OK;
        EXPECT_NO_THROW(result = pStream->Read(buffer, sizeof(buffer), &cbRead));
        EXPECT_EQ(expected, result);
        EXPECT_EQ(0u, cbRead);
        EXPECT_TRUE(pStream->HasEnded()) << "a read that throws ends the input";
        EXPECT_EQ(0u, pStream->Release());
    }
}

}  // namespace
