#pragma once
// Root of the exceptions of the common library. They are thrown by pointer
// (throw new ...) and the catcher takes them into a std::unique_ptr; nothing is ever
// thrown across an exported function.

#include <windows.h>

#include <cstdint>
#include <string>

namespace ZorvCommon {
namespace Exception {

class Base {
public:
    virtual ~Base() = default;
};

// The source file name as exceptions record it: from the last path separator on,
// inclusive, written with a backslash ("\ZorvComn_Registry.cpp").
std::wstring SourceFileName(const char* sourcePath);

// An exception that records a Win32 error and where it was thrown.
class Located : public Base {
public:
    Located(uint32_t error, uint32_t line, const char* sourcePath)
        : m_Error(error), m_Line(line), m_File(SourceFileName(sourcePath)) {}

    uint32_t m_Error;     // Win32 error code
    uint32_t m_Line;      // source line of the throw
    std::wstring m_File;  // source file name from the last backslash on
};

// HRESULT of a Win32 error: 0x80070000 | low 16 bits for a positive error, the value
// itself otherwise.
constexpr HRESULT ResultFromWin32(uint32_t error) {
    return static_cast<int32_t>(error) > 0 ? static_cast<HRESULT>(0x80070000u | (error & 0xFFFFu))
                                           : static_cast<HRESULT>(error);
}

}  // namespace Exception
}  // namespace ZorvCommon
