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

void ThrowLastErrorIfFailed(BOOL succeeded, uint32_t line) {
    if (!succeeded) {
        throw new Exception(GetLastError(), line, __FILE__);
    }
}

}  // namespace

IniFile::IniFile(uint32_t view) : m_View(view) {}

void IniFile::RequireOpen() const {
    if (!m_Open) {
        ZORV_THROW_STORAGE(ERROR_INVALID_HANDLE);
    }
}

bool IniFile::Select(const Key& key, const std::wstring& name) {
    m_FilePath = key.m_FilePath;
    m_Section = name.empty() ? key.m_SubKey : name;
    m_Open = true;
    return true;
}

bool IniFile::Open(const Key& key, const std::wstring& name) {
    return Select(key, name);
}

bool IniFile::Create(const Key& key, const std::wstring& name) {
    return Select(key, name);
}

bool IniFile::OpenForDelete(const Key& key, const std::wstring& name) {
    return Select(key, name);
}

bool IniFile::OpenForEnum(const Key&, const std::wstring&) {
    return false;
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

bool IniFile::QueryBinary(const std::wstring&, ByteArray&, uint32_t*) {
    return false;
}

bool IniFile::QueryBinary(const std::wstring&, ByteArray&) {
    return false;
}

std::wstring IniFile::QueryString(const std::wstring&, const std::wstring& defaultValue,
                                  uint32_t*) {
    return defaultValue;
}

// A missing value (or file) throws 2, as the registry does. Absence shows as the
// default coming back; two different defaults tell it apart from a stored text that
// happens to equal one of them.
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

uint32_t IniFile::QueryUint32(const std::wstring&, uint32_t defaultValue, uint32_t*) {
    return defaultValue;
}

uint32_t IniFile::QueryUint32(const std::wstring& name, uint32_t defaultValue) {
    QueryString(name, std::wstring());  // throws when the value is missing
    return GetPrivateProfileIntW(m_Section.c_str(), name.c_str(), static_cast<INT>(defaultValue),
                                 m_FilePath.c_str());
}

bool IniFile::SetBinary(const std::wstring&, const uint8_t*, uint32_t) {
    return false;
}

bool IniFile::SetString(const std::wstring& name, const std::wstring& text) {
    RequireOpen();
    ThrowLastErrorIfFailed(WritePrivateProfileStringW(m_Section.c_str(), name.c_str(), text.c_str(),
                                                      m_FilePath.c_str()),
                           __LINE__);
    return true;
}

bool IniFile::SetUint64(const std::wstring&, uint64_t) {
    return false;
}

bool IniFile::SetUint32(const std::wstring& name, uint32_t value) {
    return SetString(name, std::to_wstring(value));
}

// The section is the INI form's key: the whole open section goes.
bool IniFile::DeleteKey(const std::wstring&) {
    RequireOpen();
    ThrowLastErrorIfFailed(
        WritePrivateProfileStringW(m_Section.c_str(), nullptr, nullptr, m_FilePath.c_str()),
        __LINE__);
    return true;
}

bool IniFile::DeleteValue(const wchar_t* name) {
    return DeleteValue(std::wstring(name != nullptr ? name : L""));
}

bool IniFile::DeleteValue(const std::wstring& name) {
    RequireOpen();
    ThrowLastErrorIfFailed(
        WritePrivateProfileStringW(m_Section.c_str(), name.c_str(), nullptr, m_FilePath.c_str()),
        __LINE__);
    return true;
}

bool IniFile::EnumKeys(std::vector<std::wstring>&) {
    return false;
}

bool IniFile::EnumValues(std::vector<std::wstring>& names) {
    RequireOpen();
    const std::wstring list = ReadProfile(m_Section, nullptr, L"", m_FilePath);
    for (size_t start = 0; start < list.size();) {
        const size_t end = list.find(L'\0', start);
        const size_t stop = end == std::wstring::npos ? list.size() : end;
        names.push_back(list.substr(start, stop - start));
        start = stop + 1;
    }
    return true;
}

}  // namespace Storage
}  // namespace ZorvCommon
