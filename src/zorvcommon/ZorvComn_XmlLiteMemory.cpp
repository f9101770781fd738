#include "ZorvComn_XmlLiteMemory.h"

#include <cstdint>
#include <cstring>

namespace ZorvCommon {
namespace Storage {

namespace {

// Every block starts with its usable size; 16 bytes keep the caller's part aligned as the
// heap aligns its blocks.
constexpr size_t kHeaderBytes = 16;

size_t& UsableSize(void* block) {
    return *reinterpret_cast<size_t*>(static_cast<uint8_t*>(block) - kHeaderBytes);
}

void* HeaderOf(void* block) {
    return static_cast<uint8_t*>(block) - kHeaderBytes;
}

}  // namespace

XmlLiteMemory::~XmlLiteMemory() {
    if (m_Heap != nullptr) {
        HeapDestroy(m_Heap);
    }
}

void XmlLiteMemory::Trim() {
    for (FreeBlock*& pList : m_Free) {
        while (pList != nullptr) {
            FreeBlock* const pBlock = pList;
            pList = pBlock->pNext;
            HeapFree(m_Heap, 0, HeaderOf(pBlock));
        }
    }
}

HRESULT XmlLiteMemory::QueryInterface(REFIID riid, void** ppv) {
    const bool known = riid == IID_IUnknown || riid == IID_IMalloc;
    *ppv = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
}

void* XmlLiteMemory::Alloc(SIZE_T size) {
    if (size <= kKeptBytes) {
        const size_t list = size == 0 ? 0 : (size - 1) / kGranule;
        if (FreeBlock* const pBlock = m_Free[list]) {
            m_Free[list] = pBlock->pNext;
            return pBlock;
        }
        size = (list + 1) * kGranule;
    } else if (size > SIZE_MAX - kHeaderBytes) {
        return nullptr;
    }
    uint8_t* const pHeader = static_cast<uint8_t*>(HeapAlloc(m_Heap, 0, kHeaderBytes + size));
    if (pHeader == nullptr) {
        return nullptr;
    }
    *reinterpret_cast<size_t*>(pHeader) = size;
    return pHeader + kHeaderBytes;
}

void XmlLiteMemory::Free(void* block) {
    if (block == nullptr) {
        return;
    }
    const size_t size = UsableSize(block);
    if (size > kKeptBytes) {
        HeapFree(m_Heap, 0, HeaderOf(block));
        return;
    }
    FreeBlock* const pBlock = static_cast<FreeBlock*>(block);
    pBlock->pNext = m_Free[size / kGranule - 1];
    m_Free[size / kGranule - 1] = pBlock;
}

// As the system allocator's: a null block is allocated, a size of 0 frees.
void* XmlLiteMemory::Realloc(void* block, SIZE_T size) {
    if (block == nullptr) {
        return Alloc(size);
    }
    if (size == 0) {
        Free(block);
        return nullptr;
    }
    const size_t usable = UsableSize(block);
    if (size <= usable) {
        return block;
    }
    if (usable > kKeptBytes && size <= SIZE_MAX - kHeaderBytes) {
        uint8_t* const pHeader =
            static_cast<uint8_t*>(HeapReAlloc(m_Heap, 0, HeaderOf(block), kHeaderBytes + size));
        if (pHeader == nullptr) {
            return nullptr;
        }
        *reinterpret_cast<size_t*>(pHeader) = size;
        return pHeader + kHeaderBytes;
    }
    void* const pMoved = Alloc(size);
    if (pMoved != nullptr) {
        memcpy(pMoved, block, usable);
        Free(block);
    }
    return pMoved;
}

SIZE_T XmlLiteMemory::GetSize(void* block) {
    return block == nullptr ? static_cast<SIZE_T>(-1) : UsableSize(block);
}

}  // namespace Storage
}  // namespace ZorvCommon
