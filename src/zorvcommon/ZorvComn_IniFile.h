#pragma once
// The INI-file backend of Storage::Base, over the profile functions. The key's file
// path names the file; the name given to Open (or, when empty, the key's section)
// names the section.

#include "ZorvComn_Storage.h"

namespace ZorvCommon {
namespace Storage {

class IniFile : public Base {
public:
    explicit IniFile(uint32_t view = 0) : m_View(view) {}

    using Base::DeleteValue;
    [[nodiscard]] bool Open(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool Create(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool OpenForDelete(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool Close() override;
    [[nodiscard]] bool Flush() override;
    // A missing value (or file) throws 2, as the registry does.
    std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue) override;
    uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue) override;
    [[nodiscard]] bool SetString(const std::wstring& name, const std::wstring& text) override;
    [[nodiscard]] bool SetUint32(const std::wstring& name, uint32_t value) override;
    [[nodiscard]] bool DeleteKey(const std::wstring& name) override;  // removes the whole section
    [[nodiscard]] bool DeleteValue(const std::wstring& name) override;
    [[nodiscard]] bool EnumValues(std::vector<std::wstring>& names) override;

    // The non-throwing queries return the default as it stands, without reading the file
    // (kept so on purpose).
    std::wstring QueryString(const std::wstring&, const std::wstring& defaultValue,
                             uint32_t*) override {
        return defaultValue;
    }
    uint32_t QueryUint32(const std::wstring&, uint32_t defaultValue, uint32_t*) override {
        return defaultValue;
    }

    // Not supported by the INI form.
    [[nodiscard]] bool OpenForEnum(const Key&, const std::wstring&) override { return false; }
    [[nodiscard]] bool QueryBinary(const std::wstring&, ByteArray&, uint32_t*) override {
        return false;
    }
    [[nodiscard]] bool QueryBinary(const std::wstring&, ByteArray&) override { return false; }
    [[nodiscard]] bool SetBinary(const std::wstring&, const uint8_t*, uint32_t) override {
        return false;
    }
    [[nodiscard]] bool SetUint64(const std::wstring&, uint64_t) override { return false; }
    [[nodiscard]] bool EnumKeys(std::vector<std::wstring>&) override { return false; }

    // The section open now.
    const std::wstring& GetSection() const { return m_Section; }

private:
    void RequireOpen() const;
    // WritePrivateProfileStringW into the open section; its failure is thrown as at line.
    [[nodiscard]] bool Write(const wchar_t* name, const wchar_t* text, uint32_t line);

    std::wstring m_FilePath;
    std::wstring m_Section;
    bool m_Open = false;
    uint32_t m_View;  // kept for symmetry with the registry; unused
};

}  // namespace Storage
}  // namespace ZorvCommon
