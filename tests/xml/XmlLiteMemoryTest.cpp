// The reader's allocator: freed small blocks come back from lists by size, so a block
// must always hold what was asked for and keep its bytes through every kind of growth.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "ZorvComn_XmlLiteMemory.h"

using ZorvCommon::Storage::XmlLiteMemory;

TEST(XmlLiteMemoryTest, EveryBlockHoldsItsSizeAndKeepsItsBytesWhenItGrows) {
    XmlLiteMemory memory;
    IMalloc* const pMalloc = memory.Get();
    ASSERT_NE(pMalloc, nullptr);
    // Each size once freshly taken and once from a list (the block freed before it).
    for (SIZE_T size = 1; size <= 300; ++size) {
        void* const pBlock = pMalloc->Alloc(size);
        ASSERT_NE(pBlock, nullptr);
        ASSERT_GE(pMalloc->GetSize(pBlock), size) << size;
        memset(pBlock, 0x5A, size);
        pMalloc->Free(pBlock);
    }
    // Within a kept size, small to small, small to large, large to large.
    for (const auto& [from, to] : {std::pair<SIZE_T, SIZE_T>{16, 17},
                                   {200, 256},
                                   {256, 257},
                                   {100, 5000},
                                   {5000, 70000},
                                   {70000, 10}}) {
        auto* pBlock = static_cast<uint8_t*>(pMalloc->Alloc(from));
        ASSERT_NE(pBlock, nullptr);
        memset(pBlock, 0xA5, from);
        pBlock = static_cast<uint8_t*>(pMalloc->Realloc(pBlock, to));
        ASSERT_NE(pBlock, nullptr);
        EXPECT_GE(pMalloc->GetSize(pBlock), to) << from << " to " << to;
        const SIZE_T kept = std::min(from, to);
        EXPECT_EQ(std::count(pBlock, pBlock + kept, 0xA5), static_cast<ptrdiff_t>(kept));
        memset(pBlock, 0x5A, to);
        EXPECT_EQ(pMalloc->Realloc(pBlock, 0), nullptr);  // a size of 0 frees
    }
    memory.Trim();
    EXPECT_EQ(pMalloc->Alloc(SIZE_MAX - 8), nullptr);  // no size wraps around
}
