#pragma once
// The registry backend of Storage::Base.

#include "ZorvComn_Handle.h"
#include "ZorvComn_Storage.h"

namespace ZorvCommon {
namespace Storage {

enum RegistryView : uint32_t {
    RegistryViewDefault = 0,
    RegistryView32 = 1,  // KEY_WOW64_32KEY on every open, create and delete
    RegistryView64 = 2,  // KEY_WOW64_64KEY
};

// The non-throwing queries set *error (when given) to 0, or to the code of the storage
// exception they caught. A failed open or create leaves an already open key as it was.
class Registry : public Base {
public:
    explicit Registry(uint32_t view = RegistryViewDefault);
    ~Registry() override;

    bool Open(const Key& key, const std::wstring& name) override;
    bool Create(const Key& key, const std::wstring& name) override;
    bool OpenForDelete(const Key& key, const std::wstring& name) override;
    bool OpenForEnum(const Key& key, const std::wstring& name) override;
    bool Close() override;
    bool Flush() override;
    bool QueryBinary(const std::wstring& name, ByteArray& value, uint32_t* error) override;
    bool QueryBinary(const std::wstring& name, ByteArray& value) override;
    std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue,
                             uint32_t* error) override;
    std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue) override;
    uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue, uint32_t* error) override;
    uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue) override;
    bool SetBinary(const std::wstring& name, const uint8_t* bytes, uint32_t length) override;
    bool SetString(const std::wstring& name, const std::wstring& text) override;
    bool SetUint64(const std::wstring& name, uint64_t value) override;
    bool SetUint32(const std::wstring& name, uint32_t value) override;
    bool DeleteKey(const std::wstring& name) override;
    bool DeleteValue(const wchar_t* name) override;
    bool DeleteValue(const std::wstring& name) override;
    bool EnumKeys(std::vector<std::wstring>& names) override;
    bool EnumValues(std::vector<std::wstring>& names) override;

    // Registry only: a REG_QWORD value (else throws 13).
    uint64_t QueryUint64(const std::wstring& name);
    // Creates (or opens) root\subkey\name with KEY_ALL_ACCESS.
    bool CreateAllAccess(const Key& key, const std::wstring& name);

    // For a delete of a whole tree: a key opened as it is named, for enumeration and
    // deletion. A link is opened itself (REG_OPTION_OPEN_LINK), never its target: by
    // path below the key, or relative to the key open in parent (so that nothing on
    // the way is looked up again by path).
    bool OpenNodeForDelete(const Key& key, const std::wstring& name);
    bool OpenNodeForDelete(const Registry& parent, const std::wstring& name);
    // Deletes the key this object has open, through its handle, and closes it: a link
    // opened as a node goes and its target stays (deleting a link by its path would
    // delete the target instead). A key that still has sub-keys is refused.
    bool DeleteOpenKey();

    const std::wstring& GetPath() const { return m_Path; }

private:
    bool OpenWith(const Key& key, const std::wstring& name, REGSAM access);
    bool CreateWith(const Key& key, const std::wstring& name, REGSAM access);
    bool OpenRelative(HKEY parent, const std::wstring& name, DWORD options, REGSAM access,
                      const std::wstring& path);
    // Takes over a key just opened or created, or throws the status of the attempt.
    bool Adopt(LSTATUS status, UniqueRegKey& opened, const std::wstring& path);
    REGSAM ViewFlag() const;
    void RequireOpen() const;

    UniqueRegKey m_Key;
    std::wstring m_Path;
    uint32_t m_View;
};

// Direct reads that open, read and close in one call and report the Win32 error
// instead of throwing.
namespace Reg {
// A REG_SZ / REG_EXPAND_SZ value (returned unexpanded); value = defaultValue on failure.
uint32_t QueryValue(HKEY root, const std::wstring& subKey, const std::wstring& name,
                    const std::wstring& defaultValue, std::wstring& value,
                    uint32_t view = RegistryViewDefault);
}  // namespace Reg

// The path of a key below another: "\" is added only when the base does not end in one.
std::wstring JoinKeyPath(const std::wstring& base, const std::wstring& name);

}  // namespace Storage
}  // namespace ZorvCommon
