#pragma once
// The memory an XmlLite reader allocates from: a heap of its own without a lock, since a
// reader serves one caller at a time (a utility object's lock is held for the whole
// request), and lists of freed small blocks in front of it. The reader takes and frees
// small blocks (names, values, attributes) node after node; the process heap takes its
// lock for each, and even an unlocked heap searches its free blocks, where a list pops one.

#include <windows.h>
#include <objidl.h>

#include <cstddef>

namespace ZorvCommon {
namespace Storage {

class XmlLiteMemory final : public IMalloc {
public:
    XmlLiteMemory() : m_Heap(HeapCreate(HEAP_NO_SERIALIZE, 0, 0)) {}
    ~XmlLiteMemory();
    XmlLiteMemory(const XmlLiteMemory&) = delete;
    XmlLiteMemory& operator=(const XmlLiteMemory&) = delete;

    // For CreateXmlReader: null (the default allocator) when there is no heap.
    IMalloc* Get() { return m_Heap != nullptr ? this : nullptr; }
    // Gives the kept blocks back to the heap once a reader is gone, so that one document
    // does not leave its peak behind for the next.
    void Trim();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }  // owned by the reader object
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    void* STDMETHODCALLTYPE Alloc(SIZE_T size) override;
    void* STDMETHODCALLTYPE Realloc(void* block, SIZE_T size) override;
    void STDMETHODCALLTYPE Free(void* block) override;
    SIZE_T STDMETHODCALLTYPE GetSize(void* block) override;
    int STDMETHODCALLTYPE DidAlloc(void*) override { return -1; }
    void STDMETHODCALLTYPE HeapMinimize() override { Trim(); }

private:
    // Blocks of up to kKeptBytes are rounded up to a multiple of kGranule and kept, once
    // freed, in the list of their size.
    static constexpr size_t kGranule = 16;
    static constexpr size_t kLists = 16;
    static constexpr size_t kKeptBytes = kGranule * kLists;
    struct FreeBlock {
        FreeBlock* pNext;
    };

    HANDLE m_Heap;
    FreeBlock* m_Free[kLists] = {};
};

}  // namespace Storage
}  // namespace ZorvCommon
