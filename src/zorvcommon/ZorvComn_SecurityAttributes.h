#pragma once
// Security attributes for the objects the module creates: a DACL that grants a fixed
// access mask to each of seven well-known trustees, wrapped in a self-contained
// security descriptor. Construction failures are thrown (by pointer) as
// AccessControl::Exception.

#include <windows.h>

#include <cstdint>
#include <vector>

#include "ZorvComn_Exception.h"

namespace ZorvCommon {
namespace AccessControl {

enum ObjectKind : uint32_t {
    ObjectKindFile = 0,
    ObjectKindRegistryKey = 4,
};

class Exception : public ZorvCommon::Exception::Located {
public:
    Exception(uint32_t error, uint32_t line, const char* sourcePath)
        : Located(error, line, sourcePath),
          m_Result(ZorvCommon::Exception::ResultFromWin32(error)) {}

    HRESULT m_Result;  // of m_Error
};

class SecurityAttributes {
public:
    // Builds the descriptor for the kind at once. Kinds 3, 7, 8 and above 12 are
    // refused with error 50 (ERROR_NOT_SUPPORTED).
    explicit SecurityAttributes(uint32_t kind);
    virtual ~SecurityAttributes() = default;
    SecurityAttributes(const SecurityAttributes&) = delete;
    SecurityAttributes& operator=(const SecurityAttributes&) = delete;

    // The record for RegCreateKeyExW / CreateFileW, whose descriptor is self-relative
    // (owner and group unset, DACL present); null when no descriptor is held.
    SECURITY_ATTRIBUTES* GetSecurityAttributes();
    uint32_t GetKind() const { return m_Kind; }

private:
    uint32_t m_Kind;
    std::vector<uint8_t> m_Descriptor;  // self-relative security descriptor
    SECURITY_ATTRIBUTES m_Attributes{};
};

}  // namespace AccessControl
}  // namespace ZorvCommon
