#pragma once
// A picture of the registry keys and INI sections a plan touches. It starts from this
// machine (read on first use, never written) or from nothing, and takes the changes the
// planned operations would make.

#include <windows.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Xentool {

// A registry value as stored (type and bytes); an INI value is REG_SZ text.
struct StoredValue {
    DWORD Type = REG_NONE;
    std::vector<uint8_t> Bytes;

    static StoredValue Text(const std::wstring& text);
    static StoredValue Number32(uint32_t value);
    static StoredValue Number64(uint64_t value);
    static StoredValue Binary(const uint8_t* data, size_t cbData);

    // As the registry backend reads them: false for another type or size.
    bool AsText(std::wstring& text) const;
    bool AsNumber32(uint32_t& value) const;
    bool AsNumber64(uint64_t& value) const;
    bool IsBinary() const { return Type == REG_BINARY; }
    // "\"text\"", a decimal number, "hex 0A1B" or "(type N, M bytes)".
    std::wstring Describe() const;
};

// A registry key (root, view flag, path) or a section of an INI file.
struct Place {
    bool IsIniFile = false;
    HKEY Root = nullptr;
    REGSAM View = 0;    // KEY_WOW64_32KEY, KEY_WOW64_64KEY or 0
    std::wstring Path;  // the key's path, or the INI file's path
    std::wstring Section;

    // The same place with another key path.
    Place WithPath(const std::wstring& path) const;
};

class StorePicture {
public:
    explicit StorePicture(bool readCurrent) : m_ReadCurrent(readCurrent) {}

    // Whether the place's state is known: read from this machine or set by the plan.
    bool IsKnown(const Place& place);
    // An INI section always counts as present: its file is opened on every access.
    bool Exists(const Place& place);
    // Creates a registry key with its missing parents.
    void CreateKey(const Place& place);
    // Removes a registry key with all keys below it (or an INI section with its values);
    // the full paths of the sub-keys removed, sorted.
    std::vector<std::wstring> RemoveTree(const Place& place);

    // Null when the value (or its key) does not exist.
    const StoredValue* FindValue(const Place& place, const std::wstring& name);
    void SetValue(const Place& place, const std::wstring& name, const StoredValue& value);
    // True when there was one to remove.
    bool RemoveValue(const Place& place, const std::wstring& name);

private:
    struct PlaceState {
        bool Exists = false;
        bool Known = false;
        std::wstring Path;                           // as first named
        std::map<std::wstring, StoredValue> Values;  // by lower-case name
    };

    PlaceState& Load(const Place& place);
    void ReadRegistryKey(const Place& place, PlaceState& state) const;
    void ReadIniSection(const Place& place, PlaceState& state) const;
    // The paths of the existing keys below place, from this machine and from the plan.
    std::vector<std::wstring> KeysBelow(const Place& place);
    void ReadSubKeys(const Place& place, std::vector<std::wstring>& paths) const;

    bool m_ReadCurrent;
    std::map<std::wstring, PlaceState> m_Places;  // by IdentityOf(place)
};

}  // namespace Xentool
