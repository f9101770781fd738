#pragma once
// The guarded front of one storage backend (registry or INI file): one section open at
// a time under an explicit open type, typed reads and writes, deletes and enumeration.
// Every exception the backend throws is turned into a result code here; none leaves.

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "OstrelResult.h"
#include "ZorvComn_ByteArray.h"
#include "ZorvComn_Registry.h"
#include "ZorvComn_Storage.h"

namespace Ostrel {
namespace Storage {

enum OpenType : uint32_t {
    OpenTypeNone = 0,
    OpenTypeQuery = 1,
    OpenTypeStore = 2,
    OpenTypeDelete = 3,
    OpenTypeEnum = 4,
};

// Registry view of a control; AccessModeCheck is accepted and acts as the default.
enum AccessMode : uint32_t {
    AccessModeDefault = 0,
    AccessMode32 = 1,
    AccessMode64 = 2,
    AccessModeCheck = 3,
};

// The predefined root that a document's number names (0x80000000..0x80000003, also
// when it arrives zero-extended to 64 bits) as the sign-extended handle; any other
// value is taken as a handle as it stands.
HKEY ToRegistryRoot(uint64_t value);

// Where a control gets its backend: the real registry and INI files, unless a dry run
// hands the commands a picture of them. A factory may serve several controls at once.
class StoreFactory {
public:
    virtual ~StoreFactory() = default;
    // A new store, or null when there is no memory.
    virtual std::unique_ptr<ZorvCommon::Storage::RegistryBase> NewRegistry(uint32_t view) const;
    virtual std::unique_ptr<ZorvCommon::Storage::Base> NewIniFile() const;
};

// The real registry and INI files.
const StoreFactory& RealStores();

class Control {
public:
    Control() = default;
    ~Control();
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    // Access types 0 and 4 build a registry backend, 1 an INI-file backend, each from
    // stores. accessMode (registry only) may be null, meaning the default view.
    [[nodiscard]] HRESULT Initialize(const ZorvCommon::Storage::Key& key,
                                     const uint32_t* accessMode,
                                     const StoreFactory& stores = RealStores());
    // Closes an open section (without commit) and releases the backend.
    [[nodiscard]] HRESULT Uninitialize();
    bool IsInitialized() const { return m_pBase != nullptr && m_pKey != nullptr; }

    // defaultAccess false is allowed only for a store on a registry key: the key is then
    // created with the registry-key security attributes.
    [[nodiscard]] HRESULT OpenEx(const uint32_t& openType, const std::wstring& sectionName,
                                 bool defaultAccess);
    [[nodiscard]] HRESULT Open(const uint32_t& openType, const std::wstring& sectionName) {
        return OpenEx(openType, sectionName, true);
    }
    [[nodiscard]] HRESULT Close(const bool& commit);

    // A failed query leaves value untouched.
    [[nodiscard]] HRESULT QueryValue(const std::wstring& name, std::wstring& value);
    [[nodiscard]] HRESULT QueryValue(const std::wstring& name, ZorvCommon::ByteArray& value);
    [[nodiscard]] HRESULT QueryValue(const std::wstring& name, uint32_t& value);
    [[nodiscard]] HRESULT QueryValue(const std::wstring& name, uint64_t& value);  // registry only
    [[nodiscard]] HRESULT StoreValue(const std::wstring& name, const std::wstring& value);
    [[nodiscard]] HRESULT StoreValue(const std::wstring& name, const ZorvCommon::ByteArray& value);
    [[nodiscard]] HRESULT StoreValue(const std::wstring& name, const uint32_t& value);
    [[nodiscard]] HRESULT StoreValue(const std::wstring& name,
                                     const uint64_t& value);  // registry only

    // Deletes the section open for deletion; a registry key loses its sub-keys first,
    // deepest first, and a registry link is deleted itself, never followed.
    [[nodiscard]] HRESULT DeteleSection();
    [[nodiscard]] HRESULT DeteleEntry(const std::wstring& name);
    // The names of the sub-sections of the section open for enumeration.
    [[nodiscard]] HRESULT EnumSection(std::vector<std::wstring>& names);

private:
    // What an operation needs besides its open type: the backend, also the key, or a
    // registry key (the 64-bit values).
    enum class Needs { Base, Key, Registry };
    [[nodiscard]] HRESULT CheckOpen(const wchar_t* method, uint32_t openType, Needs needs) const;
    bool IsRegistry() const;
    // The backend as a registry; only when IsRegistry.
    ZorvCommon::Storage::RegistryBase& Registry() const {
        return static_cast<ZorvCommon::Storage::RegistryBase&>(*m_pBase);
    }
    [[nodiscard]] HRESULT DeleteRegistrySection();
    [[nodiscard]] HRESULT DeleteSubSections(ZorvCommon::Storage::RegistryBase& parent,
                                            const std::wstring& sectionName);

    std::unique_ptr<ZorvCommon::Storage::Base> m_pBase;
    std::unique_ptr<ZorvCommon::Storage::Key> m_pKey;
    uint32_t m_AccessMode = AccessModeDefault;
    uint32_t m_eOpenType = OpenTypeNone;
    std::wstring m_SectionName;
};

}  // namespace Storage
}  // namespace Ostrel
