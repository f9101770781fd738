#include "xentool_profile.h"

#include <windows.h>

#include "StorageProduct.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_String.h"
#include "xentool_common.h"

namespace Xentool {

namespace {

constexpr wchar_t kSection[] = L"System";
// What GetPrivateProfileStringW gives for a missing key: no profile text holds it.
constexpr wchar_t kAbsent[] = L"\x1";

class ProfileReader {
public:
    ProfileReader(const std::wstring& path, std::wstring& problem)
        : m_Path(path), m_Problem(problem) {}

    // False (nothing said) when the key is missing.
    bool Text(const wchar_t* name, std::wstring& text) const {
        wchar_t buffer[256] = {};
        GetPrivateProfileStringW(kSection, name, kAbsent, buffer, ARRAYSIZE(buffer),
                                 m_Path.c_str());
        if (wcscmp(buffer, kAbsent) == 0) {
            return false;
        }
        text = buffer;
        return true;
    }

    // A number (decimal, or hexadecimal after 0x) no larger than maximum; a missing key
    // keeps the default unless the key is required.
    bool Number(const wchar_t* name, uint32_t maximum, bool required, uint32_t& value) const {
        std::wstring text;
        if (!Text(name, text)) {
            return !required || Fail(std::wstring(name) + L" is missing");
        }
        uint32_t number = 0;
        if (!ZorvCommon::String::StrToUl(text, number) || number > maximum) {
            return Fail(std::wstring(name) + L" must be a number up to " +
                        std::to_wstring(maximum) + L", not '" + text + L"'");
        }
        value = number;
        return true;
    }

    bool Fail(const std::wstring& what) const {
        m_Problem = L"'" + m_Path + L"': " + what;
        return false;
    }

private:
    const std::wstring& m_Path;
    std::wstring& m_Problem;
};

bool ReadLanguage(const ProfileReader& reader, uint32_t& languageCode) {
    std::wstring word;
    uint32_t languageId = 0;
    const bool hasWord = reader.Text(L"Language", word);
    if (!reader.Number(L"LanguageId", 0xFFFF, false, languageId)) {
        return false;
    }
    if (hasWord && languageId != 0) {
        return reader.Fail(L"give Language or LanguageId, not both");
    }
    if (hasWord) {
        return CXmlParserStorageControl::GetLanguageCode(word, languageCode) ||
               reader.Fail(L"Language '" + word + L"' is not a language of the documents");
    }
    languageCode = Ostrel::Storage::LanguageCodeOf(static_cast<LANGID>(languageId));
    return true;
}

}  // namespace

void DescribeThisMachine(Ostrel::Storage::TargetSystem& system) {
    Ostrel::Storage::DescribeLiveSystem(system);
    // Not installed (or unreadable) leaves the version empty, as the reader expects.
    (void)Ostrel::Storage::QueryVersion(system.ProductVersion);
}

bool LoadProfile(const std::wstring& path, Ostrel::Storage::TargetSystem& system,
                 std::wstring& problem) {
    const std::wstring profile = FullPath(path);
    ProfileReader reader(profile, problem);
    if (GetFileAttributesW(profile.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return reader.Fail(L"cannot be read");
    }
    Ostrel::Storage::TargetSystem described;
    ZorvCommon::Platform::VersionRecord& version = described.Version;
    version.PlatformId = ZorvCommon::Platform::PlatformNt;
    uint32_t productType = ZorvCommon::Platform::ProductWorkstation;
    uint32_t servicePack = 0;
    uint32_t bitness = 0;
    if (!reader.Number(L"Platform", 2, false, version.PlatformId) ||
        !reader.Number(L"Major", UINT32_MAX, true, version.Major) ||
        !reader.Number(L"Minor", UINT32_MAX, true, version.Minor) ||
        !reader.Number(L"Build", UINT32_MAX, false, version.Build) ||
        !reader.Number(L"ProductType", 3, false, productType) ||
        !reader.Number(L"ServicePack", 0xFFFF, false, servicePack) ||
        !reader.Number(L"Bitness", 64, true, bitness) ||
        !ReadLanguage(reader, described.LanguageCode)) {
        return false;
    }
    if (bitness != 32 && bitness != 64) {
        return reader.Fail(L"Bitness must be 32 or 64");
    }
    version.ProductType = static_cast<uint8_t>(productType);
    version.ServicePackMajor = static_cast<uint16_t>(servicePack);
    described.Is64bit = bitness == 64;
    reader.Text(L"ProductVersion", described.ProductVersion);
    system = described;
    return true;
}

}  // namespace Xentool
