#include <gtest/gtest.h>

#include <vector>

#include "ZorvComn_ByteArray.h"

namespace {

using ZorvCommon::ByteArray;

// AddData grows an array, or fills a created one, and refuses what would fit into its
// capacity (the old block is kept as it was given).
TEST(ByteArray, AddDataRefusesWhatWouldFitAndGrowsOtherwise) {
    const uint8_t bytes[] = {0xAA, 0xBB};
    uint32_t error = 0;
    for (uint32_t capacity : {1u, 2u, 8u}) {
        ByteArray array;
        ASSERT_TRUE(array.Create(capacity));
        EXPECT_EQ(capacity < 2, array.AddData(bytes, 2, &error)) << capacity;
        EXPECT_EQ(capacity < 2 ? 0u : 160u, error) << capacity;
    }
    ByteArray grown;
    EXPECT_FALSE(grown.AddData(bytes, 0, &error));
    ASSERT_TRUE(grown.AddData(bytes, 2));
    ASSERT_TRUE(grown.AddData(bytes, 1));
    EXPECT_EQ((std::vector<uint8_t>{0xAA, 0xBB, 0xAA}),
              std::vector<uint8_t>(grown.Data(), grown.Data() + grown.Length()));
}

}  // namespace
