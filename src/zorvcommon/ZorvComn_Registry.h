#pragma once
// The registry backend of Storage::Base, and the stored form of its values.

#include <memory>

#include "ZorvComn_Handle.h"
#include "ZorvComn_Storage.h"

namespace ZorvCommon {
namespace Storage {

enum RegistryView : uint32_t {
    RegistryViewDefault = 0,
    RegistryView32 = 1,  // KEY_WOW64_32KEY on every open, create and delete
    RegistryView64 = 2,  // KEY_WOW64_64KEY
};

// A value as the registry keeps it: its type and its bytes.
struct RegistryValue {
    DWORD Type = REG_NONE;
    std::vector<uint8_t> Bytes;
};

// The typed values of a registry store in their stored form, and back: one encoding for
// the registry and for every store that keeps registry values elsewhere. A read of
// another type or size throws 13.
RegistryValue StringValue(const std::wstring& text);  // REG_SZ with its terminating NUL
// REG_SZ or REG_EXPAND_SZ (unexpanded). The stored text need not be terminated and its
// byte count may be odd: the count is rounded up and the text ends at the first NUL.
std::wstring ReadString(const RegistryValue& value);
uint32_t ReadUint32(const RegistryValue& value);
uint64_t ReadUint64(const RegistryValue& value);

// A registry store: the typed reads and writes are its stored values decoded and
// encoded here, over the two operations on stored values each store provides. The
// non-throwing queries set *error (when given) to 0, or to the code of the storage
// exception they caught.
class RegistryBase : public Base {
public:
    [[nodiscard]] bool QueryBinary(const std::wstring& name, ByteArray& value,
                                   uint32_t* error) final;
    [[nodiscard]] bool QueryBinary(const std::wstring& name, ByteArray& value) final;
    std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue,
                             uint32_t* error) final;
    std::wstring QueryString(const std::wstring& name, const std::wstring& defaultValue) final;
    uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue, uint32_t* error) final;
    uint32_t QueryUint32(const std::wstring& name, uint32_t defaultValue) final;
    // A REG_QWORD value (else throws 13).
    uint64_t QueryUint64(const std::wstring& name);
    [[nodiscard]] bool SetBinary(const std::wstring& name, const uint8_t* bytes,
                                 uint32_t length) final;
    [[nodiscard]] bool SetString(const std::wstring& name, const std::wstring& text) final;
    [[nodiscard]] bool SetUint64(const std::wstring& name, uint64_t value) final;
    [[nodiscard]] bool SetUint32(const std::wstring& name, uint32_t value) final;

    // The value as it is stored (throws 2 when there is none), resp. stored as given.
    virtual RegistryValue QueryStored(const std::wstring& name) = 0;
    [[nodiscard]] virtual bool SetStored(const std::wstring& name, const RegistryValue& value) = 0;
    // For a delete of a whole tree: a new store of this one's kind and view holding
    // root\subkey\name, resp. the sub-key name of the key open here, opened as it is named
    // (a link itself, never its target) for enumeration and deletion. Throws what the
    // open gives.
    virtual std::unique_ptr<RegistryBase> OpenNode(const Key& key, const std::wstring& name) = 0;
    virtual std::unique_ptr<RegistryBase> OpenSubNode(const std::wstring& name) = 0;
    // Deletes the key open here and closes it: a link opened as a node goes and its
    // target stays. A key that still has sub-keys is refused.
    [[nodiscard]] virtual bool DeleteOpenKey() = 0;
};

// A failed open or create leaves an already open key as it was.
class Registry : public RegistryBase {
public:
    explicit Registry(uint32_t view = RegistryViewDefault) : m_View(view) {}

    using RegistryBase::DeleteValue;
    [[nodiscard]] bool Open(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool Create(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool OpenForDelete(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool OpenForEnum(const Key& key, const std::wstring& name) override;
    [[nodiscard]] bool Close() override;
    [[nodiscard]] bool Flush() override;
    [[nodiscard]] bool DeleteKey(const std::wstring& name) override;
    [[nodiscard]] bool DeleteValue(const std::wstring& name) override;
    [[nodiscard]] bool EnumKeys(std::vector<std::wstring>& names) override;
    [[nodiscard]] bool EnumValues(std::vector<std::wstring>& names) override;
    RegistryValue QueryStored(const std::wstring& name) override;
    [[nodiscard]] bool SetStored(const std::wstring& name, const RegistryValue& value) override;
    std::unique_ptr<RegistryBase> OpenNode(const Key& key, const std::wstring& name) override;
    std::unique_ptr<RegistryBase> OpenSubNode(const std::wstring& name) override;
    // NtDeleteKey acts on the object behind the handle; deleting by path would look the
    // name up again, and through a link.
    [[nodiscard]] bool DeleteOpenKey() override;

    // Creates (or opens) root\subkey\name with KEY_ALL_ACCESS.
    [[nodiscard]] bool CreateAllAccess(const Key& key, const std::wstring& name);
    // A key opened as it is named (REG_OPTION_OPEN_LINK: a link is opened itself, never
    // its target), for enumeration and deletion: by path below the key, or relative to
    // the key open in parent (so that nothing on the way is looked up again by path).
    [[nodiscard]] bool OpenNodeForDelete(const Key& key, const std::wstring& name);
    [[nodiscard]] bool OpenNodeForDelete(const Registry& parent, const std::wstring& name);
    // The same, for reading the key's sub-keys only.
    [[nodiscard]] bool OpenNodeForEnum(const Key& key, const std::wstring& name);

    const std::wstring& GetPath() const { return m_Path; }

private:
    [[nodiscard]] bool OpenWith(const Key& key, const std::wstring& name, DWORD options,
                                REGSAM access);
    [[nodiscard]] bool CreateWith(const Key& key, const std::wstring& name, REGSAM access);
    [[nodiscard]] bool OpenRelative(HKEY parent, const std::wstring& name, DWORD options,
                                    REGSAM access, const std::wstring& path);
    // Takes over a key just opened or created, or throws the status of the attempt.
    [[nodiscard]] bool Adopt(LSTATUS status, UniqueRegKey& opened, const std::wstring& path);
    REGSAM ViewFlag() const;
    // The open key; throws 6 when none is open.
    HKEY OpenKey() const;

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
