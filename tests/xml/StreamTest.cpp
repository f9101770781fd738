#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "Scratch.h"
#include "ZorvComn_Exception.h"
#include "ZorvComn_File.h"
#include "ZorvComn_Stream.h"
#include "ZorvComn_XmlLite.h"

namespace {

using TestSupport::ScratchFolder;
using ZorvCommon::Storage::FileBase;
using ZorvCommon::Storage::StreamComFileBase;
using ZorvCommon::Storage::StreamFileEx;

// A scratch file of known bytes, open through a FileBase, and a stream over it.
class StreamOverFile : public ::testing::Test {
protected:
    void SetUp() override {
        for (int i = 0; i < 40; ++i) {
            m_Bytes.push_back(static_cast<uint8_t>('A' + i % 26));
        }
        TestSupport::WriteFileBytes(m_Path, m_Bytes);
        OpenFile(GENERIC_READ | GENERIC_WRITE);
    }
    void TearDown() override {
        if (m_pStream != nullptr) {
            EXPECT_EQ(0u, m_pStream->Release());
        }
    }

    void OpenFile(DWORD access) {
        if (m_File.IsOpen()) {
            ASSERT_TRUE(m_File.Close());
        }
        uint32_t error = 0;
        ASSERT_TRUE(m_File.Open(nullptr, access, FILE_SHARE_READ, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, &error))
            << error;
    }

    ScratchFolder m_Folder{L"XmlStream"};
    std::wstring m_Path = m_Folder.File(L"stream.bin");
    std::vector<uint8_t> m_Bytes;
    FileBase m_File{m_Path};
    IStream* m_pStream = new StreamComFileBase(&m_File);
};

TEST_F(StreamOverFile, ReadAnswersSFalseForAFullReadAndTreatsTheEndAsSuccess) {
    uint8_t buffer[64];
    ULONG cbRead = 0xdeadbeef;
    ASSERT_EQ(S_FALSE, m_pStream->Read(buffer, 16, &cbRead)) << "a full read";
    EXPECT_EQ(16u, cbRead);
    EXPECT_EQ(0, memcmp(m_Bytes.data(), buffer, 16));

    ASSERT_EQ(S_OK, m_pStream->Read(buffer, 64, &cbRead)) << "a short read at the end";
    EXPECT_EQ(24u, cbRead);
    EXPECT_EQ(0, memcmp(m_Bytes.data() + 16, buffer, 24));

    cbRead = 0xdeadbeef;
    EXPECT_EQ(S_OK, m_pStream->Read(buffer, 64, &cbRead)) << "end of file is no error";
    EXPECT_EQ(0u, cbRead);
    EXPECT_EQ(S_OK, m_pStream->Read(buffer, 8, nullptr)) << "the count is optional";
}

TEST_F(StreamOverFile, ReadMapsFileErrors) {
    OpenFile(GENERIC_WRITE);
    uint8_t buffer[8];
    ULONG cbRead = 0xdeadbeef;
    EXPECT_EQ(STG_E_ACCESSDENIED, m_pStream->Read(buffer, sizeof(buffer), &cbRead));
    EXPECT_EQ(0u, cbRead);

    IStream* pNoFile = new StreamComFileBase(nullptr);
    cbRead = 0xdeadbeef;
    EXPECT_EQ(STG_E_INVALIDPOINTER, pNoFile->Read(buffer, sizeof(buffer), &cbRead));
    EXPECT_EQ(0u, cbRead);
    EXPECT_EQ(0u, pNoFile->Release());
}

// The XML reader can learn that its input ended only from a read that delivers less than
// it asked for (at last nothing) or fails: the stream says when it has answered one.
TEST_F(StreamOverFile, TheStreamSaysOnceAReadHasEndedTheInput) {
    uint8_t buffer[64];
    ULONG cbRead = 0;
    LARGE_INTEGER start{};
    StreamFileEx owner(m_File);
    EXPECT_FALSE(owner.HasEnded()) << "no stream yet";
    ASSERT_EQ(S_OK, owner.Open());
    IStream* pStream = owner.GetStream();
    ASSERT_EQ(S_FALSE, pStream->Read(buffer, 40, &cbRead));
    EXPECT_FALSE(owner.HasEnded()) << "a full read up to the last byte";
    ASSERT_EQ(S_FALSE, pStream->Read(buffer, 0, &cbRead));
    EXPECT_TRUE(owner.HasEnded()) << "a read that delivers nothing";

    owner.Close();
    ASSERT_EQ(S_OK, owner.Open());
    pStream = owner.GetStream();
    ASSERT_EQ(S_OK, pStream->Seek(start, STREAM_SEEK_SET, nullptr));
    ASSERT_EQ(S_OK, pStream->Read(buffer, 64, &cbRead));
    EXPECT_TRUE(owner.HasEnded()) << "a short read";
    ASSERT_EQ(S_OK, pStream->Seek(start, STREAM_SEEK_SET, nullptr));
    ASSERT_EQ(S_FALSE, pStream->Read(buffer, 8, &cbRead));
    EXPECT_TRUE(owner.HasEnded()) << "for good";

    owner.Close();
    OpenFile(GENERIC_WRITE);
    ASSERT_EQ(S_OK, owner.Open());
    EXPECT_EQ(STG_E_ACCESSDENIED, owner.GetStream()->Read(buffer, 8, &cbRead));
    EXPECT_TRUE(owner.HasEnded()) << "a failed read";
}

TEST_F(StreamOverFile, SeekMovesButAlwaysReportsZero) {
    ULARGE_INTEGER position;
    position.QuadPart = 0xbdbdbdbdbdbdbdbdull;
    LARGE_INTEGER move;
    move.QuadPart = 30;
    ASSERT_EQ(S_OK, m_pStream->Seek(move, STREAM_SEEK_SET, &position));
    EXPECT_EQ(0u, position.QuadPart);
    uint8_t byte = 0;
    ULONG cbRead = 0;
    ASSERT_EQ(S_FALSE, m_pStream->Read(&byte, 1, &cbRead));
    EXPECT_EQ(m_Bytes[30], byte) << "the file did move";

    move.QuadPart = -2;
    ASSERT_EQ(S_OK, m_pStream->Seek(move, STREAM_SEEK_END, &position));
    EXPECT_EQ(0u, position.QuadPart);
    ASSERT_EQ(S_FALSE, m_pStream->Read(&byte, 1, &cbRead));
    EXPECT_EQ(m_Bytes[38], byte);

    EXPECT_EQ(STG_E_INVALIDFUNCTION, m_pStream->Seek(move, 3, &position));
    move.QuadPart = 0x100000000ll;
    EXPECT_EQ(E_NOTIMPL, m_pStream->Seek(move, STREAM_SEEK_SET, nullptr));
    move.QuadPart = -1;
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_NEGATIVE_SEEK),
              m_pStream->Seek(move, STREAM_SEEK_SET, nullptr));
}

// A file whose reads throw what the layers under a stream may throw.
class ThrowingFile : public FileBase {
public:
    enum class Throws { OutOfMemory, LibraryException, Other };
    explicit ThrowingFile(Throws what) : m_What(what) {}
    using FileBase::Read;
    bool Read(void*, uint32_t, uint32_t*, uint32_t*) override {
        switch (m_What) {
            case Throws::OutOfMemory:
                throw std::bad_alloc();
            case Throws::LibraryException:
                throw new ZorvCommon::Exception::Base();
            default:
                throw 1;
        }
    }

private:
    Throws m_What;
};

// The XML reader calls the stream from its own frames, which no exception may unwind.
TEST(StreamOverThrowingFile, AnExceptionOfTheFileBecomesTheReadResult) {
    for (const auto& [what, expected] :
         {std::make_pair(ThrowingFile::Throws::OutOfMemory, E_OUTOFMEMORY),
          std::make_pair(ThrowingFile::Throws::LibraryException, E_FAIL),
          std::make_pair(ThrowingFile::Throws::Other, E_UNEXPECTED)}) {
        ThrowingFile file(what);
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

TEST_F(StreamOverFile, StreamFileExOwnsOneStream) {
    {
        StreamFileEx owner(m_File);
        EXPECT_EQ(nullptr, owner.GetStream());
        ASSERT_EQ(S_OK, owner.Open());
        IStream* pStream = owner.GetStream();
        ASSERT_NE(nullptr, pStream);
        EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_OBJECT_ALREADY_EXISTS), owner.Open());
        EXPECT_EQ(pStream, owner.GetStream());

        // A reference of our own survives the owner's.
        pStream->AddRef();
        owner.Close();
        EXPECT_EQ(nullptr, owner.GetStream());
        EXPECT_EQ(0u, pStream->Release());
        ASSERT_EQ(S_OK, owner.Open()) << "opens again after Close";
    }  // the destructor releases the second stream
}

TEST(XmlLiteLibrary, LoadsFromADirectoryOnce) {
    ZorvCommon::Library::XmlLite library;
    uint32_t error = 0;
    EXPECT_FALSE(library.Load(L"", &error));
    EXPECT_EQ(160u, error);
    EXPECT_FALSE(library.IsLoaded());

    wchar_t directory[MAX_PATH];
    const UINT cchDirectory = GetSystemDirectoryW(directory, MAX_PATH);
    ASSERT_GT(cchDirectory, 0u);
    ASSERT_TRUE(library.Load(std::wstring(directory, cchDirectory), &error)) << error;
    EXPECT_NE(nullptr, library.m_pfnCreateXmlReader);
    EXPECT_NE(nullptr, library.m_pfnCreateXmlReaderInputWithEncodingName);
    EXPECT_NE(nullptr, library.m_pfnCreateXmlWriter);

    EXPECT_FALSE(library.LoadFromSystemDirectory(&error));
    EXPECT_EQ(5010u, error);

    ASSERT_TRUE(library.Free(&error));
    EXPECT_EQ(nullptr, library.m_pfnCreateXmlReader);
    EXPECT_TRUE(library.LoadFromSystemDirectory(&error)) << "with a trailing backslash added";
}

}  // namespace
