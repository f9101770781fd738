#pragma once
// Growable byte buffer: an owned block (data, capacity) and the bytes in use (length).
// Failures are reported as Win32 error numbers through the optional out-parameter.

#include <cstdint>

namespace ZorvCommon {

class ByteArray {
public:
    ByteArray() = default;
    virtual ~ByteArray();
    ByteArray(const ByteArray&) = delete;
    ByteArray& operator=(const ByteArray&) = delete;

    // A zero-filled block of size bytes, length 0. Needs an empty array (5010);
    // size 0 gives 160, an allocation failure 6.
    bool Create(uint64_t size, uint32_t* error = nullptr);
    // Frees the current block, then copies the source's bytes into a block of exactly
    // their length. A source without data gives 6.
    bool Copy(const ByteArray& source, uint32_t* error = nullptr);
    // Appends count bytes. Null bytes or a zero count give 6. Data that would fit into
    // the current capacity is refused with 160 (the acceptance test is kept as
    // designed); otherwise the block is enlarged to length + count before the copy.
    bool AddData(const uint8_t* bytes, uint64_t count, uint32_t* error = nullptr);
    // Frees the block and zeroes all three fields.
    void Free();

    uint8_t* Data() { return m_pData; }
    const uint8_t* Data() const { return m_pData; }
    uint64_t Capacity() const { return m_Capacity; }
    uint64_t Length() const { return m_Length; }
    // Sets the bytes in use; never beyond the capacity.
    void SetLength(uint64_t length) { m_Length = length <= m_Capacity ? length : m_Capacity; }
    bool IsEmpty() const { return m_pData == nullptr && m_Capacity == 0; }

private:
    uint8_t* m_pData = nullptr;
    uint64_t m_Capacity = 0;
    uint64_t m_Length = 0;
};

}  // namespace ZorvCommon
