#pragma once
// The INI-file backend of Storage::Base, over the profile functions. The key's file
// path names the file; the name given to Open (or, when empty, the key's section)
// names the section.

#include "ZorvComn_Storage.h"

namespace ZorvCommon {
namespace Storage {

class IniFile : public Base {
public:
    explicit IniFile(uint32_t view = 0);
    ~IniFile() override = default;

    bool Open(const Key& key, const std::wstring& name) override;
    bool Create(const Key& key, const std::wstring& name) override;
    bool OpenForDelete(const Key& key, const std::wstring& name) override;
    bool OpenForEnum(const Key& key, const std::wstring& name) override;  // not supported
    bool Close() override;
    bool Flush() override;
    bool QueryBinary(const std::wstring& name, ByteArray& value,
                     uint32_t* error) override;                             // not supported
    bool QueryBinary(const std::wstring& name, ByteArray& value) override;  // not supported
    // Returns the default as it stands, without reading the file (kept so on purpose).
    std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue,
                             uint32_t* error) override;
    std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue) override;
    // Returns the default as it stands, without reading the file (kept so on purpose).
    uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue, uint32_t* error) override;
    uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue) override;
    bool SetBinary(const std::wstring& name, const uint8_t* bytes,
                   uint32_t length) override;  // not supported
    bool SetString(const std::wstring& name, const std::wstring& text) override;
    bool SetUint64(const std::wstring& name, uint64_t value) override;  // not supported
    bool SetUint32(const std::wstring& name, uint32_t value) override;
    bool DeleteKey(const std::wstring& name) override;  // removes the whole section
    bool DeleteValue(const wchar_t* name) override;
    bool DeleteValue(const std::wstring& name) override;
    bool EnumKeys(std::vector<std::wstring>& names) override;  // not supported
    bool EnumValues(std::vector<std::wstring>& names) override;

    // The section open now.
    const std::wstring& GetSection() const { return m_Section; }

private:
    bool Select(const Key& key, const std::wstring& name);
    void RequireOpen() const;

    std::wstring m_FilePath;
    std::wstring m_Section;
    bool m_Open = false;
    uint32_t m_View;  // kept for symmetry with the registry; unused
};

}  // namespace Storage
}  // namespace ZorvCommon
