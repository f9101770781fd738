#include "ZorvComn_IniFile.h"

namespace ZorvCommon {
namespace Storage {
namespace {

constexpr DWORD kInitialChars = 256;

// GetPrivateProfileStringW with a buffer that grows until the text fits. With a null
// name the text is the section's key names, each ending in NUL.
std::wstring ReadProfile(const std::wstring& section, const wchar_t* name,
                         const wchar_t* defaultValue, const std::wstring& filePath) {
    std::wstring buffer;
    for (DWORD cchBuffer = kInitialChars;; cchBuffer *= 2) {
        buffer.assign(cchBuffer, L'\0');
        const DWORD cchRead = GetPrivateProfileStringW(section.c_str(), name, defaultValue,
                                                       &buffer[0], cchBuffer, filePath.c_str());
        // A cut-off text fills the buffer up to its last one or two characters.
        if (cchRead + 2 < cchBuffer) {
            buffer.resize(cchRead);
            return buffer;
        }
    }
}

}  // namespace

void IniFile::RequireOpen() const {
    if (!m_Open) {
        ZORV_THROW_STORAGE(ERROR_INVALID_HANDLE);
    }
}

// Nothing is touched before the first read or write: every open only selects the section.
bool IniFile::Open(const Key& key, const std::wstring& name) {
    m_FilePath = key.m_FilePath;
    m_Section = name.empty() ? key.m_SubKey : name;
    m_Open = true;
    return true;
}

bool IniFile::Create(const Key& key, const std::wstring& name) {
    return Open(key, name);
}

bool IniFile::OpenForDelete(const Key& key, const std::wstring& name) {
    return Open(key, name);
}

bool IniFile::Close() {
    RequireOpen();
    m_Section.clear();
    m_Open = false;
    return true;
}

// Writing nothing but the file name flushes the profile cache; the call then answers
// FALSE by design, so its result says nothing.
bool IniFile::Flush() {
    RequireOpen();
    WritePrivateProfileStringW(nullptr, nullptr, nullptr, m_FilePath.c_str());
    return true;
}

// Absence shows as the default coming back; two different defaults tell it apart from a
// stored text that happens to equal one of them.
std::wstring IniFile::QueryString(const std::wstring& name, const std::wstring&) {
    RequireOpen();
    static constexpr const wchar_t* kAbsent[] = {L"\x1", L"\x2"};
    std::wstring text = ReadProfile(m_Section, name.c_str(), kAbsent[0], m_FilePath);
    if (text == kAbsent[0] &&
        ReadProfile(m_Section, name.c_str(), kAbsent[1], m_FilePath) == kAbsent[1]) {
        ZORV_THROW_STORAGE(ERROR_FILE_NOT_FOUND);
    }
    return text;
}

uint32_t IniFile::QueryUint32(const std::wstring& name, uint32_t defaultValue) {
    QueryString(name, std::wstring());  // throws when the value is missing
    return GetPrivateProfileIntW(m_Section.c_str(), name.c_str(), static_cast<INT>(defaultValue),
                                 m_FilePath.c_str());
}

bool IniFile::Write(const wchar_t* name, const wchar_t* text, uint32_t line) {
    RequireOpen();
    if (!WritePrivateProfileStringW(m_Section.c_str(), name, text, m_FilePath.c_str())) {
        throw new Exception(GetLastError(), line, __FILE__);
    }
    return true;
}

bool IniFile::SetString(const std::wstring& name, const std::wstring& text) {
    return Write(name.c_str(), text.c_str(), __LINE__);
}

bool IniFile::SetUint32(const std::wstring& name, uint32_t value) {
    return SetString(name, std::to_wstring(value));
}

// The section is the INI form's key: the whole open section goes.
bool IniFile::DeleteKey(const std::wstring&) {
    return Write(nullptr, nullptr, __LINE__);
}

bool IniFile::DeleteValue(const std::wstring& name) {
    return Write(name.c_str(), nullptr, __LINE__);
}

bool IniFile::EnumValues(std::vector<std::wstring>& names) {
    RequireOpen();
    const std::wstring list = ReadProfile(m_Section, nullptr, L"", m_FilePath);
    for (const wchar_t* name = list.c_str(); *name != L'\0'; name += wcslen(name) + 1) {
        names.emplace_back(name);
    }
    return true;
}

}  // namespace Storage
}  // namespace ZorvCommon
