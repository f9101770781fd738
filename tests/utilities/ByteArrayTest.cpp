#include <gtest/gtest.h>

#include "ZorvComn_ByteArray.h"

namespace {

using ZorvCommon::ByteArray;

TEST(ByteArray, CreateNeedsAnEmptyArrayAndASize) {
    ByteArray array;
    uint32_t error = 0xdeadbeef;
    EXPECT_FALSE(array.Create(0, &error));
    EXPECT_EQ(160u, error);

    ASSERT_TRUE(array.Create(4, &error));
    EXPECT_EQ(0u, error);
    EXPECT_EQ(4u, array.Capacity());
    EXPECT_EQ(0u, array.Length());
    const uint8_t* block = array.Data();
    EXPECT_EQ(0, block[0] | block[1] | block[2] | block[3]);

    EXPECT_FALSE(array.Create(8, &error));
    EXPECT_EQ(5010u, error);
    EXPECT_EQ(block, array.Data()) << "a refused Create leaves the block alone";
}

TEST(ByteArray, CopyTakesExactlyTheSourceLength) {
    ByteArray source;
    const uint8_t bytes[] = {1, 2, 3};
    ASSERT_TRUE(source.AddData(bytes, 3));

    ByteArray copy;
    uint32_t error = 0;
    ASSERT_TRUE(copy.Copy(source, &error));
    EXPECT_EQ(3u, copy.Length());
    EXPECT_EQ(3u, copy.Capacity());
    EXPECT_EQ(0, memcmp(bytes, copy.Data(), 3));

    ByteArray empty;
    EXPECT_FALSE(copy.Copy(empty, &error));
    EXPECT_EQ(6u, error);
    EXPECT_TRUE(copy.IsEmpty()) << "Copy frees the old block first";
}

TEST(ByteArray, AddDataRefusesWhatWouldFitAndGrowsOtherwise) {
    ByteArray array;
    uint32_t error = 0;
    const uint8_t bytes[] = {0xAA, 0xBB};
    EXPECT_FALSE(array.AddData(nullptr, 2, &error));
    EXPECT_EQ(6u, error);
    EXPECT_FALSE(array.AddData(bytes, 0, &error));
    EXPECT_EQ(6u, error);

    ASSERT_TRUE(array.Create(8));
    EXPECT_FALSE(array.AddData(bytes, 2, &error)) << "fits into the capacity: refused";
    EXPECT_EQ(160u, error);

    ByteArray grown;
    ASSERT_TRUE(grown.AddData(bytes, 2, &error));
    ASSERT_TRUE(grown.AddData(bytes, 1, &error));
    ASSERT_EQ(3u, grown.Length());
    EXPECT_EQ(0xAA, grown.Data()[0]);
    EXPECT_EQ(0xBB, grown.Data()[1]);
    EXPECT_EQ(0xAA, grown.Data()[2]);
}

}  // namespace
