#pragma once
// Documents as the module reads them: the XML text encrypted under its kind's key into a
// file, and builders for the storage-control elements the suites send.

#include <cstdint>
#include <string>
#include <vector>

#include "DocumentVocabulary.h"

namespace TestSupport {

using Ostrel::Vocabulary::kProviderKey;
using Ostrel::Vocabulary::kServiceKey;
using Ostrel::Vocabulary::kStorageKey;
using Ostrel::Vocabulary::kWebAccessKey;

// The policy documents in the installed folder.
constexpr const wchar_t* kServiceFile = L"QjBsSvPl.xen";
constexpr const wchar_t* kProviderFile = L"QjEnPvPl.xen";
constexpr const wchar_t* kWebAccessFile = L"QjEnPvWc.xen";

inline std::vector<uint8_t> Bytes(const std::string& text) {
    return std::vector<uint8_t>(text.begin(), text.end());
}
// ASCII both ways: paths and names of the tests' own making.
inline std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());
}
inline std::wstring Widen(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

// The plaintext encrypted under key, as xentool does it.
std::vector<uint8_t> Encrypted(const char* key, const std::vector<uint8_t>& plaintext);
void WriteDocument(const std::wstring& path, const char* key, const std::string& text);

// Storage-control elements. Targeting that matches any system and the assignment "t";
// checked elements need an upper version bound, a missing one counts as 0.0.0.0.
inline const std::string kAnywhere =
    R"(platform="all" language="all" product="all" maxversion="99.0.0" assign="t")";
inline std::string Element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
}
// A Control element; empty parts are left out.
std::string Control(const std::string& action, const std::string& name,
                    const std::string& type = "", const std::string& value = "",
                    const std::string& overwrite = "", const std::string& targeting = kAnywhere);
// A store that overwrites.
inline std::string Store(const std::string& name, const std::string& type, const std::string& value,
                         const std::string& targeting = kAnywhere) {
    return Control("store", name, type, value, "yes", targeting);
}
inline std::string Registry(const std::string& subKey, const std::string& controls,
                            const std::string& targeting = kAnywhere,
                            const std::string& root = "HKCU",
                            const std::string& accessMode = "default") {
    return "<Registry " + targeting + ">" + Element("Root", root) + Element("Path", subKey) +
           Element("AccessMode", accessMode) + Element("AccessRight", "default") + controls +
           "</Registry>";
}
inline std::string IniFile(const std::string& path, const std::string& controls,
                           const std::string& targeting = kAnywhere,
                           const std::string& section = "S") {
    return "<IniFile " + targeting + ">" + Element("Path", path) + Element("Section", section) +
           controls + "</IniFile>";
}
inline std::string Storage(const std::string& body, const std::string& attributes = "") {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<Storage version=\"1.0.0\"" + attributes +
           ">\r\n" + body + "\r\n</Storage>\r\n";
}

}  // namespace TestSupport
