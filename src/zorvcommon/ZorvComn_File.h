#pragma once
// A plain file. Every operation that can fail returns bool and writes a Win32 error
// code (0 on success) through its optional last argument; nothing throws.

#include <windows.h>

#include <cstdint>
#include <string>

#include "ZorvComn_Handle.h"

namespace ZorvCommon {
namespace AccessControl {
class SecurityAttributes;
}

namespace Storage {

// Which file a handle reaches: the serial number of its volume and its index there. Two
// handles with the same identity reach the same file, whatever paths they were opened by.
struct FileIdentity {
    uint32_t VolumeSerial = 0;
    uint64_t FileIndex = 0;

    bool operator==(const FileIdentity& other) const {
        return VolumeSerial == other.VolumeSerial && FileIndex == other.FileIndex;
    }
    bool operator!=(const FileIdentity& other) const { return !(*this == other); }
};

class FileBase {
public:
    FileBase() = default;
    explicit FileBase(std::wstring path) : m_Path(std::move(path)) {}
    virtual ~FileBase() = default;  // closes the handle if open
    FileBase(const FileBase&) = delete;
    FileBase& operator=(const FileBase&) = delete;

    virtual void SetFileName(const std::wstring& path) { m_Path = path; }
    virtual std::wstring GetFileName() const { return m_Path; }
    // 5010 when already open, 160 when the path is empty; else CreateFileW's error.
    // securityAttributes may be null, or hold no descriptor: default security then.
    virtual bool Open(AccessControl::SecurityAttributes* securityAttributes, DWORD desiredAccess,
                      DWORD shareMode, DWORD creationDisposition, DWORD flagsAndAttributes,
                      uint32_t* error = nullptr);
    // 6 when not open.
    virtual bool Close(uint32_t* error = nullptr);
    // The operations below fail without an error code when the file is not open.
    virtual bool SetPointer(int32_t distance, DWORD moveMethod, uint32_t* newPosition,
                            uint32_t* error = nullptr);
    // The buffer is zero-filled first; one ReadFile of size bytes. 0 bytes read fails
    // with 38 (end of file), a short read with 13 (the count is still reported).
    virtual bool Read(void* buffer, uint32_t size, uint32_t* bytesRead, uint32_t* error);
    virtual bool Read(void* buffer, uint32_t size, uint32_t* error = nullptr) {
        return Read(buffer, size, nullptr, error);
    }
    virtual bool Write(const void* buffer, uint32_t size, uint32_t* bytesWritten,
                       uint32_t* error = nullptr);
    virtual bool GetSize(uint64_t* size, uint32_t* error = nullptr);
    virtual bool Lock(uint32_t offset, uint32_t length, uint32_t* error = nullptr);
    virtual bool Unlock(uint32_t offset, uint32_t length, uint32_t* error = nullptr);
    virtual bool SetEnd(uint32_t* error = nullptr);

    // Virtual so that a file that forwards to another (FileCrypt) answers for it.
    virtual bool IsOpen() const { return m_File.is_valid(); }

    // The identity of the open file; fails without an error code when it is not open.
    bool GetIdentity(FileIdentity& identity, uint32_t* error = nullptr) const;

protected:
    UniqueFile m_File;
    std::wstring m_Path;
};

// Deletes the file at path only while it is the file identity names: the path is opened
// for deletion without following a reparse point (link or junction) at its end, the file
// reached is compared with identity, and it is deleted through that handle. So a file put
// at the path after the one named was read or closed, renamed away or replaced, is left
// alone: 2 (not found) then. Otherwise the error of the open or of the delete.
bool DeleteSameFile(const std::wstring& path, const FileIdentity& identity,
                    uint32_t* error = nullptr);

}  // namespace Storage
}  // namespace ZorvCommon
