#include "xentool_picture.h"

#include <algorithm>
#include <cstring>
#include <cwctype>

#include "ZorvComn_Handle.h"

namespace Xentool {

namespace {

// The longest value name the registry allows, plus the terminator.
constexpr DWORD kMaxNameChars = 16384;
constexpr DWORD kIniChunkChars = 4096;

std::wstring Lower(std::wstring text) {
    for (wchar_t& c : text) {
        c = static_cast<wchar_t>(std::towlower(c));
    }
    return text;
}

std::wstring IdentityOf(const Place& place) {
    if (place.IsIniFile) {
        return L"ini|" + Lower(place.Path) + L"|" + Lower(place.Section);
    }
    return L"reg|" + std::to_wstring(reinterpret_cast<uintptr_t>(place.Root)) + L"|" +
           std::to_wstring(place.View) + L"|" + Lower(place.Path);
}

bool IsBelow(const std::wstring& path, const std::wstring& parent) {
    return path.size() > parent.size() + 1 && path[parent.size()] == L'\\' &&
           Lower(path.substr(0, parent.size())) == Lower(parent);
}

// GetPrivateProfileStringW into a buffer that grows until the text fits.
std::wstring ReadProfileText(const Place& place, const wchar_t* name, const wchar_t* fallback) {
    std::wstring buffer;
    for (DWORD cchBuffer = kIniChunkChars;; cchBuffer *= 2) {
        buffer.assign(cchBuffer, L'\0');
        const DWORD cchRead = GetPrivateProfileStringW(place.Section.c_str(), name, fallback,
                                                       &buffer[0], cchBuffer, place.Path.c_str());
        if (cchRead + 2 < cchBuffer) {
            buffer.resize(cchRead);
            return buffer;
        }
    }
}

bool ReadRegistryValue(HKEY key, const wchar_t* name, StoredValue& value) {
    DWORD cbData = 0;
    LSTATUS status = RegQueryValueExW(key, name, nullptr, &value.Type, nullptr, &cbData);
    while (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) {
        value.Bytes.resize(cbData);
        status = RegQueryValueExW(key, name, nullptr, &value.Type, value.Bytes.data(), &cbData);
        if (status == ERROR_SUCCESS) {
            value.Bytes.resize(cbData);
            return true;
        }
    }
    return false;
}

}  // namespace

// ---- Values ------------------------------------------------------------------------

StoredValue StoredValue::Text(const std::wstring& text) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.c_str());
    StoredValue value = Binary(bytes, (text.size() + 1) * sizeof(wchar_t));
    value.Type = REG_SZ;
    return value;
}

StoredValue StoredValue::Number32(uint32_t number) {
    StoredValue value = Binary(reinterpret_cast<const uint8_t*>(&number), sizeof(number));
    value.Type = REG_DWORD;
    return value;
}

StoredValue StoredValue::Number64(uint64_t number) {
    StoredValue value = Binary(reinterpret_cast<const uint8_t*>(&number), sizeof(number));
    value.Type = REG_QWORD;
    return value;
}

StoredValue StoredValue::Binary(const uint8_t* data, size_t cbData) {
    StoredValue value;
    value.Type = REG_BINARY;
    value.Bytes.assign(data, data + cbData);
    return value;
}

// A text need not be terminated and its byte count may be odd.
bool StoredValue::AsText(std::wstring& text) const {
    if (Type != REG_SZ && Type != REG_EXPAND_SZ) {
        return false;
    }
    text.assign((Bytes.size() + 1) / sizeof(wchar_t), L'\0');
    if (!Bytes.empty()) {
        std::memcpy(&text[0], Bytes.data(), Bytes.size());
    }
    text.resize(wcsnlen(text.c_str(), text.size()));
    return true;
}

bool StoredValue::AsNumber32(uint32_t& number) const {
    if (Type != REG_DWORD || Bytes.size() != sizeof(number)) {
        return false;
    }
    std::memcpy(&number, Bytes.data(), sizeof(number));
    return true;
}

bool StoredValue::AsNumber64(uint64_t& number) const {
    if (Type != REG_QWORD || Bytes.size() != sizeof(number)) {
        return false;
    }
    std::memcpy(&number, Bytes.data(), sizeof(number));
    return true;
}

std::wstring StoredValue::Describe() const {
    std::wstring text;
    uint32_t number32 = 0;
    uint64_t number64 = 0;
    if (AsText(text)) {
        return L"\"" + text + L"\"";
    }
    if (AsNumber32(number32)) {
        return std::to_wstring(number32);
    }
    if (AsNumber64(number64)) {
        return std::to_wstring(number64);
    }
    if (IsBinary()) {
        text = L"hex ";
        for (uint8_t byte : Bytes) {
            text += L"0123456789ABCDEF"[byte >> 4];
            text += L"0123456789ABCDEF"[byte & 0xF];
        }
        return text;
    }
    return L"(type " + std::to_wstring(Type) + L", " + std::to_wstring(Bytes.size()) + L" bytes)";
}

Place Place::WithPath(const std::wstring& path) const {
    Place other = *this;
    other.Path = path;
    return other;
}

// ---- The picture -------------------------------------------------------------------

StorePicture::PlaceState& StorePicture::Load(const Place& place) {
    const std::wstring identity = IdentityOf(place);
    auto found = m_Places.find(identity);
    if (found != m_Places.end()) {
        return found->second;
    }
    PlaceState& state = m_Places[identity];
    state.Path = place.Path;
    if (place.IsIniFile) {
        state.Exists = true;
    }
    if (m_ReadCurrent) {
        state.Known = true;
        if (place.IsIniFile) {
            ReadIniSection(place, state);
        } else {
            ReadRegistryKey(place, state);
        }
    }
    return state;
}

void StorePicture::ReadRegistryKey(const Place& place, PlaceState& state) const {
    ZorvCommon::UniqueRegKey key;
    if (RegOpenKeyExW(place.Root, place.Path.c_str(), 0, KEY_QUERY_VALUE | place.View, key.put()) !=
        ERROR_SUCCESS) {
        return;
    }
    state.Exists = true;
    std::vector<wchar_t> name(kMaxNameChars);
    for (DWORD index = 0;; ++index) {
        DWORD cchName = kMaxNameChars;
        if (RegEnumValueW(key.get(), index, name.data(), &cchName, nullptr, nullptr, nullptr,
                          nullptr) != ERROR_SUCCESS) {
            return;
        }
        StoredValue value;
        if (ReadRegistryValue(key.get(), name.data(), value)) {
            state.Values[Lower(std::wstring(name.data(), cchName))] = value;
        }
    }
}

// The key names come as a list of texts each ending in NUL.
void StorePicture::ReadIniSection(const Place& place, PlaceState& state) const {
    const std::wstring names = ReadProfileText(place, nullptr, L"");
    for (size_t start = 0; start < names.size();) {
        const size_t end = std::min(names.find(L'\0', start), names.size());
        const std::wstring name = names.substr(start, end - start);
        start = end + 1;
        state.Values[Lower(name)] = StoredValue::Text(ReadProfileText(place, name.c_str(), L""));
    }
}

bool StorePicture::IsKnown(const Place& place) {
    return Load(place).Known;
}

bool StorePicture::Exists(const Place& place) {
    return place.Path.empty() || Load(place).Exists;
}

void StorePicture::CreateKey(const Place& place) {
    for (size_t at = place.Path.find(L'\\'); at != std::wstring::npos;
         at = place.Path.find(L'\\', at + 1)) {
        PlaceState& parent = Load(place.WithPath(place.Path.substr(0, at)));
        parent.Exists = true;
        parent.Known = true;
    }
    PlaceState& state = Load(place);
    state.Exists = true;
    state.Known = true;
}

std::vector<std::wstring> StorePicture::RemoveTree(const Place& place) {
    std::vector<std::wstring> removed;
    if (!place.IsIniFile) {
        removed = KeysBelow(place);
        for (const std::wstring& path : removed) {
            PlaceState& state = Load(place.WithPath(path));
            state.Values.clear();
            state.Exists = false;
            state.Known = true;
        }
    }
    PlaceState& state = Load(place);
    state.Values.clear();
    state.Exists = place.IsIniFile;
    state.Known = true;
    return removed;
}

std::vector<std::wstring> StorePicture::KeysBelow(const Place& place) {
    std::vector<std::wstring> paths;
    if (m_ReadCurrent) {
        ReadSubKeys(place, paths);
    }
    const std::wstring root = IdentityOf(place.WithPath(std::wstring()));
    for (const auto& known : m_Places) {
        const PlaceState& state = known.second;
        if (state.Exists && known.first.compare(0, root.size(), root) == 0 &&
            IsBelow(state.Path, place.Path)) {
            paths.push_back(state.Path);
        }
    }
    std::sort(paths.begin(), paths.end(),
              [](const std::wstring& a, const std::wstring& b) { return Lower(a) < Lower(b); });
    paths.erase(std::unique(paths.begin(), paths.end(),
                            [](const std::wstring& a, const std::wstring& b) {
                                return Lower(a) == Lower(b);
                            }),
                paths.end());
    // A key the plan already removed is not removed again.
    paths.erase(
        std::remove_if(paths.begin(), paths.end(),
                       [&](const std::wstring& path) { return !Exists(place.WithPath(path)); }),
        paths.end());
    return paths;
}

void StorePicture::ReadSubKeys(const Place& place, std::vector<std::wstring>& paths) const {
    ZorvCommon::UniqueRegKey key;
    if (RegOpenKeyExW(place.Root, place.Path.c_str(), 0, KEY_ENUMERATE_SUB_KEYS | place.View,
                      key.put()) != ERROR_SUCCESS) {
        return;
    }
    std::vector<wchar_t> name(kMaxNameChars);
    for (DWORD index = 0;; ++index) {
        DWORD cchName = kMaxNameChars;
        if (RegEnumKeyExW(key.get(), index, name.data(), &cchName, nullptr, nullptr, nullptr,
                          nullptr) != ERROR_SUCCESS) {
            return;
        }
        const std::wstring path = place.Path + L"\\" + std::wstring(name.data(), cchName);
        paths.push_back(path);
        ReadSubKeys(place.WithPath(path), paths);
    }
}

const StoredValue* StorePicture::FindValue(const Place& place, const std::wstring& name) {
    PlaceState& state = Load(place);
    const auto found = state.Values.find(Lower(name));
    return state.Exists && found != state.Values.end() ? &found->second : nullptr;
}

void StorePicture::SetValue(const Place& place, const std::wstring& name,
                            const StoredValue& value) {
    PlaceState& state = Load(place);
    state.Values[Lower(name)] = value;
    state.Known = true;
}

bool StorePicture::RemoveValue(const Place& place, const std::wstring& name) {
    return Load(place).Values.erase(Lower(name)) > 0;
}

}  // namespace Xentool
