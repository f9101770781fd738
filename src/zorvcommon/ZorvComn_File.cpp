#include "ZorvComn_File.h"

#include <cstring>

#include "ZorvComn_SecurityAttributes.h"
#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Storage {

using Win32Error::Fail;
using Win32Error::Succeed;

namespace {

bool ReportLastError(uint32_t* error) {
    return Fail(error, GetLastError());
}

bool ReportResult(BOOL succeeded, uint32_t* error) {
    return succeeded ? Succeed(error) : ReportLastError(error);
}

bool QueryIdentity(HANDLE file, FileIdentity& identity, uint32_t* error) {
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!GetFileInformationByHandle(file, &information)) {
        return ReportLastError(error);
    }
    identity.VolumeSerial = information.dwVolumeSerialNumber;
    identity.FileIndex =
        (static_cast<uint64_t>(information.nFileIndexHigh) << 32) | information.nFileIndexLow;
    return Succeed(error);
}

}  // namespace

bool FileBase::Open(AccessControl::SecurityAttributes* securityAttributes, DWORD desiredAccess,
                    DWORD shareMode, DWORD creationDisposition, DWORD flagsAndAttributes,
                    uint32_t* error) {
    if (IsOpen()) {
        return Fail(error, ERROR_OBJECT_ALREADY_EXISTS);
    }
    if (m_Path.empty()) {
        return Fail(error, ERROR_BAD_ARGUMENTS);
    }
    SECURITY_ATTRIBUTES* attributes =
        securityAttributes != nullptr ? securityAttributes->GetSecurityAttributes() : nullptr;
    m_File.reset(CreateFileW(m_Path.c_str(), desiredAccess, shareMode, attributes,
                             creationDisposition, flagsAndAttributes, nullptr));
    return m_File.is_valid() ? Succeed(error) : ReportLastError(error);
}

bool FileBase::Close(uint32_t* error) {
    if (!IsOpen()) {
        return Fail(error, ERROR_INVALID_HANDLE);
    }
    m_File.reset();
    return Succeed(error);
}

bool FileBase::SetPointer(int32_t distance, DWORD moveMethod, uint32_t* newPosition,
                          uint32_t* error) {
    if (!IsOpen()) {
        return false;
    }
    SetLastError(ERROR_SUCCESS);
    const DWORD position = SetFilePointer(m_File.get(), distance, nullptr, moveMethod);
    if (position == INVALID_SET_FILE_POINTER && GetLastError() != ERROR_SUCCESS) {
        return ReportLastError(error);
    }
    if (newPosition != nullptr) {
        *newPosition = position;
    }
    return Succeed(error);
}

bool FileBase::Read(void* buffer, uint32_t size, uint32_t* bytesRead, uint32_t* error) {
    if (!IsOpen()) {
        return false;
    }
    DWORD count = 0;
    const BOOL succeeded = ReadFile(m_File.get(), buffer, size, &count, nullptr);
    // The buffer comes back zero-filled behind what was read: only that part is zeroed,
    // not the whole buffer first and again by the read.
    memset(static_cast<uint8_t*>(buffer) + count, 0, size - count);
    if (bytesRead != nullptr) {
        *bytesRead = count;
    }
    if (!succeeded) {
        return ReportLastError(error);
    }
    if (count == 0) {
        return Fail(error, ERROR_HANDLE_EOF);
    }
    return count < size ? Fail(error, ERROR_INVALID_DATA) : Succeed(error);
}

bool FileBase::Write(const void* buffer, uint32_t size, uint32_t* bytesWritten, uint32_t* error) {
    if (!IsOpen()) {
        return false;
    }
    DWORD count = 0;
    const BOOL succeeded = WriteFile(m_File.get(), buffer, size, &count, nullptr);
    if (bytesWritten != nullptr) {
        *bytesWritten = count;
    }
    return ReportResult(succeeded, error);
}

bool FileBase::GetSize(uint64_t* size, uint32_t* error) {
    if (!IsOpen()) {
        return false;
    }
    LARGE_INTEGER bytes = {};
    if (!GetFileSizeEx(m_File.get(), &bytes)) {
        return ReportLastError(error);
    }
    if (size != nullptr) {
        *size = static_cast<uint64_t>(bytes.QuadPart);
    }
    return Succeed(error);
}

bool FileBase::Lock(uint32_t offset, uint32_t length, uint32_t* error) {
    return IsOpen() && ReportResult(LockFile(m_File.get(), offset, 0, length, 0), error);
}

bool FileBase::Unlock(uint32_t offset, uint32_t length, uint32_t* error) {
    return IsOpen() && ReportResult(UnlockFile(m_File.get(), offset, 0, length, 0), error);
}

bool FileBase::SetEnd(uint32_t* error) {
    return IsOpen() && ReportResult(SetEndOfFile(m_File.get()), error);
}

bool FileBase::GetIdentity(FileIdentity& identity, uint32_t* error) const {
    return IsOpen() && QueryIdentity(m_File.get(), identity, error);
}

bool DeleteSameFile(const std::wstring& path, const FileIdentity& identity, uint32_t* error) {
    if (path.empty()) {
        return Fail(error, ERROR_BAD_ARGUMENTS);
    }
    // Shared with every other opener, as a delete by path would be.
    const UniqueFile file(CreateFileW(path.c_str(), DELETE | FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT,
                                      nullptr));
    if (!file) {
        return ReportLastError(error);
    }
    FileIdentity found;
    if (!QueryIdentity(file.get(), found, error)) {
        return false;
    }
    if (found != identity) {
        return Fail(error, ERROR_FILE_NOT_FOUND);
    }
    FILE_DISPOSITION_INFO disposition = {};
    disposition.DeleteFile = TRUE;
    return ReportResult(SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition,
                                                   sizeof(disposition)),
                        error);
}

}  // namespace Storage
}  // namespace ZorvCommon
