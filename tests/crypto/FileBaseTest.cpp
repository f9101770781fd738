#include <gtest/gtest.h>

#include <vector>

#include "Scratch.h"
#include "ZorvComn_File.h"

namespace {

using TestSupport::ScratchFolder;
using ZorvCommon::Storage::FileBase;

constexpr uint32_t kUntouched = 0xdeadbeef;

bool OpenForReading(FileBase& file, uint32_t* error) {
    return file.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                     error);
}

TEST(FileBase, OpenChecksPathAndStateBeforeTheSystem) {
    ScratchFolder folder(L"FileBase");
    uint32_t error = kUntouched;

    FileBase unnamed;
    EXPECT_FALSE(OpenForReading(unnamed, &error));
    EXPECT_EQ(160u, error);

    FileBase missing(folder.File(L"missing.bin"));
    EXPECT_FALSE(OpenForReading(missing, &error));
    EXPECT_EQ(static_cast<uint32_t>(ERROR_FILE_NOT_FOUND), error);
    EXPECT_FALSE(missing.IsOpen());

    TestSupport::WriteFileBytes(folder.File(L"a.bin"), {1, 2, 3});
    FileBase file(folder.File(L"a.bin"));
    ASSERT_TRUE(OpenForReading(file, &error));
    EXPECT_EQ(0u, error);
    EXPECT_FALSE(OpenForReading(file, &error));
    EXPECT_EQ(5010u, error);
    EXPECT_TRUE(file.IsOpen()) << "a refused Open leaves the first handle";

    ASSERT_TRUE(file.Close(&error));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(file.Close(&error));
    EXPECT_EQ(static_cast<uint32_t>(ERROR_INVALID_HANDLE), error);
}

TEST(FileBase, ReadZeroFillsAndReportsShortReadsAndTheEnd) {
    ScratchFolder folder(L"FileBase");
    TestSupport::WriteFileBytes(folder.File(L"r.bin"), {1, 2, 3, 4, 5});
    FileBase file(folder.File(L"r.bin"));
    ASSERT_TRUE(OpenForReading(file, nullptr));

    std::vector<uint8_t> buffer(8, 0xbd);
    uint32_t count = kUntouched;
    uint32_t error = kUntouched;
    ASSERT_TRUE(file.Read(buffer.data(), 2, &count, &error));
    EXPECT_EQ(2u, count);
    EXPECT_EQ(0u, error);

    EXPECT_FALSE(file.Read(buffer.data(), 8, &count, &error));
    EXPECT_EQ(13u, error);
    EXPECT_EQ(3u, count) << "a short read still reports its count";
    EXPECT_EQ((std::vector<uint8_t>{3, 4, 5, 0, 0, 0, 0, 0}), buffer);

    std::fill(buffer.begin(), buffer.end(), 0xbd);
    EXPECT_FALSE(file.Read(buffer.data(), 4, &count, &error));
    EXPECT_EQ(38u, error);
    EXPECT_EQ(0u, count);
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0, 0, 0xbd, 0xbd, 0xbd, 0xbd}), buffer)
        << "only the requested size is zero-filled";
}

TEST(FileBase, WriteSeekSizeLockAndTruncate) {
    ScratchFolder folder(L"FileBase");
    FileBase file(folder.File(L"w.bin"));
    uint32_t error = kUntouched;
    ASSERT_TRUE(file.Open(nullptr, GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS,
                          FILE_ATTRIBUTE_NORMAL, &error));
    const uint8_t bytes[] = {9, 8, 7, 6, 5, 4};
    uint32_t written = 0;
    ASSERT_TRUE(file.Write(bytes, sizeof(bytes), &written, &error));
    EXPECT_EQ(6u, written);

    uint64_t size = 0;
    ASSERT_TRUE(file.GetSize(&size, &error));
    EXPECT_EQ(6u, size);

    uint32_t position = kUntouched;
    ASSERT_TRUE(file.SetPointer(-2, FILE_END, &position, &error));
    EXPECT_EQ(4u, position);
    EXPECT_FALSE(file.SetPointer(-10, FILE_BEGIN, &position, &error));
    EXPECT_EQ(static_cast<uint32_t>(ERROR_NEGATIVE_SEEK), error);
    EXPECT_EQ(4u, position) << "a failed seek leaves the position output alone";

    ASSERT_TRUE(file.SetEnd(&error));
    ASSERT_TRUE(file.GetSize(&size, &error));
    EXPECT_EQ(4u, size);

    ASSERT_TRUE(file.Lock(0, 4, &error));
    EXPECT_FALSE(file.Lock(2, 1, &error)) << "the range is locked already";
    EXPECT_EQ(static_cast<uint32_t>(ERROR_LOCK_VIOLATION), error);
    ASSERT_TRUE(file.Unlock(0, 4, &error));
    EXPECT_FALSE(file.Unlock(0, 4, &error));
    EXPECT_NE(0u, error) << "the system's code (Windows 158, Wine 33) is handed back";
    ASSERT_TRUE(file.Close(&error));
    EXPECT_EQ((std::vector<uint8_t>{9, 8, 7, 6}),
              TestSupport::ReadFileBytes(folder.File(L"w.bin")));
}

}  // namespace
