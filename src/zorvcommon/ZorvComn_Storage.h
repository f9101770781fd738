#pragma once
// The store interface shared by the registry and INI-file backends, the key that names
// a place to open, and the exception every throwing operation raises (by pointer:
// throw new Exception(...); the catcher takes it into a std::unique_ptr).

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ZorvComn_ByteArray.h"
#include "ZorvComn_Exception.h"

namespace ZorvCommon {
namespace Storage {

enum StorageType : uint32_t {
    StorageTypeRegistry = 0,
    StorageTypeIniFile = 1,
    StorageTypeRegistryAlt = 4,  // also a registry key
};

// Which store, its root and its path. Registry: root handle + sub-key path.
// INI file: file path + section name.
class Key {
public:
    Key(uint32_t type, HKEY root, std::wstring subKey)
        : m_Type(type), m_Root(root), m_SubKey(std::move(subKey)) {}
    Key(uint32_t type, std::wstring filePath, std::wstring section)
        : m_Type(type), m_FilePath(std::move(filePath)), m_SubKey(std::move(section)) {}
    virtual ~Key() = default;

    uint32_t m_Type;
    HKEY m_Root = nullptr;    // registry root, e.g. HKEY_LOCAL_MACHINE
    std::wstring m_FilePath;  // INI file path
    std::wstring m_SubKey;    // registry sub-key path, or the INI section name
};

class Exception : public ZorvCommon::Exception::Located {
public:
    using Located::Located;
};

// The 22 operations, in slot order. Every throwing query first fails with 6 when no
// key or section is open.
class Base {
public:
    virtual ~Base() = default;                                                               // 1
    [[nodiscard]] virtual bool Open(const Key& key, const std::wstring& name) = 0;           // 2
    [[nodiscard]] virtual bool Create(const Key& key, const std::wstring& name) = 0;         // 3
    [[nodiscard]] virtual bool OpenForDelete(const Key& key, const std::wstring& name) = 0;  // 4
    [[nodiscard]] virtual bool OpenForEnum(const Key& key, const std::wstring& name) = 0;    // 5
    [[nodiscard]] virtual bool Close() = 0;                                                  // 6
    [[nodiscard]] virtual bool Flush() = 0;                                                  // 7
    [[nodiscard]] virtual bool QueryBinary(const std::wstring& name, ByteArray& value,
                                           uint32_t* error) = 0;                             // 8
    [[nodiscard]] virtual bool QueryBinary(const std::wstring& name, ByteArray& value) = 0;  // 9
    virtual std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue,
                                     uint32_t* error) = 0;  // 10
    virtual std::wstring QueryString(const std::wstring& name,
                                     const std::wstring& defaultValue) = 0;  // 11
    virtual uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue,
                                 uint32_t* error) = 0;                                  // 12
    virtual uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue) = 0;  // 13
    [[nodiscard]] virtual bool SetBinary(const std::wstring& name, const uint8_t* bytes,
                                         uint32_t length) = 0;  // 14
    [[nodiscard]] virtual bool SetString(const std::wstring& name,
                                         const std::wstring& text) = 0;                  // 15
    [[nodiscard]] virtual bool SetUint64(const std::wstring& name, uint64_t value) = 0;  // 16
    [[nodiscard]] virtual bool SetUint32(const std::wstring& name, uint32_t value) = 0;  // 17
    [[nodiscard]] virtual bool DeleteKey(const std::wstring& name) = 0;                  // 18
    // A null name is the empty one, the default value.
    [[nodiscard]] virtual bool DeleteValue(const wchar_t* name) {  // 19
        return DeleteValue(std::wstring(name != nullptr ? name : L""));
    }
    [[nodiscard]] virtual bool DeleteValue(const std::wstring& name) = 0;         // 20
    [[nodiscard]] virtual bool EnumKeys(std::vector<std::wstring>& names) = 0;    // 21
    [[nodiscard]] virtual bool EnumValues(std::vector<std::wstring>& names) = 0;  // 22
};

}  // namespace Storage
}  // namespace ZorvCommon

// Raises a Storage::Exception for a Win32 error at the current source line.
#define ZORV_THROW_STORAGE(error) \
    throw new ::ZorvCommon::Storage::Exception(static_cast<uint32_t>(error), __LINE__, __FILE__)
