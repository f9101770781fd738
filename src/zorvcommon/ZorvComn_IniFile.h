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

    [[nodiscard]] bool Open(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool Create(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool OpenForDelete(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool OpenForEnum(const Key& key,
                                   const std::wstring& name) override;  // not supported
    [[nodiscard]] bool Close() override;
    [[nodiscard]] bool Flush() override;
    [[nodiscard]] bool QueryBinary(const std::wstring& name, ByteArray& value,
                                   uint32_t* error) override;  // not supported
    [[nodiscard]] bool QueryBinary(const std::wstring& name,
                                   ByteArray& value) override;  // not supported
    // Returns the default as it stands, without reading the file (kept so on purpose).
    std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue,
                             uint32_t* error) override;
    std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue) override;
    // Returns the default as it stands, without reading the file (kept so on purpose).
    uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue, uint32_t* error) override;
    uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue) override;
    [[nodiscard]] bool SetBinary(const std::wstring& name, const uint8_t* bytes,
                                 uint32_t length) override;  // not supported
    [[nodiscard]] bool SetString(const std::wstring& name, const std::wstring& text) override;
    [[nodiscard]] bool SetUint64(const std::wstring& name,
                                 uint64_t value) override;  // not supported
    [[nodiscard]] bool SetUint32(const std::wstring& name, uint32_t value) override;
    [[nodiscard]] bool DeleteKey(const std::wstring& name) override;  // removes the whole section
    [[nodiscard]] bool DeleteValue(const wchar_t* name) override;
    [[nodiscard]] bool DeleteValue(const std::wstring& name) override;
    [[nodiscard]] bool EnumKeys(std::vector<std::wstring>& names) override;  // not supported
    [[nodiscard]] bool EnumValues(std::vector<std::wstring>& names) override;

    // The section open now.
    const std::wstring& GetSection() const { return m_Section; }

private:
    [[nodiscard]] bool Select(const Key& key, const std::wstring& name);
    void RequireOpen() const;

    std::wstring m_FilePath;
    std::wstring m_Section;
    bool m_Open = false;
    uint32_t m_View;  // kept for symmetry with the registry; unused
};

}  // namespace Storage
}  // namespace ZorvCommon
