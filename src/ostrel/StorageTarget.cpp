#include "StorageTarget.h"

#include <iterator>

namespace Ostrel {
namespace Storage {

namespace {

// A language matches when the identifier, masked, equals the row's: the full identifier
// for one country, only the primary language where every country shares the code.
struct LanguageRow {
    LANGID Identifier;
    LANGID Mask;
    uint32_t Code;
};

constexpr LANGID kWholeIdentifier = 0xFFFF;
constexpr LANGID kPrimaryLanguage = 0x03FF;

constexpr LanguageRow kLanguages[] = {
    {0x0409, kWholeIdentifier, 0x1},       // English (United States)
    {0x0404, kWholeIdentifier, 0x2},       // Chinese (Taiwan)
    {0x0411, kWholeIdentifier, 0x4},       // Japanese
    {0x0804, kWholeIdentifier, 0x8},       // Chinese (PRC)
    {0x0407, kWholeIdentifier, 0x20},      // German
    {0x040C, kWholeIdentifier, 0x40},      // French (France)
    {0x000A, kPrimaryLanguage, 0x80},      // Spanish, every country
    {0x0410, kWholeIdentifier, 0x200},     // Italian
    {0x0419, kWholeIdentifier, 0x2000},    // Russian
    {0x0413, kWholeIdentifier, 0x4000},    // Dutch
    {0x0809, kWholeIdentifier, 0x10000},   // English (United Kingdom)
    {0x041D, kWholeIdentifier, 0x20000},   // Swedish
    {0x0414, kWholeIdentifier, 0x40000},   // Norwegian (Bokmal)
    {0x0814, kWholeIdentifier, 0x40000},   // Norwegian (Nynorsk)
    {0x0406, kWholeIdentifier, 0x80000},   // Danish
    {0x0C0C, kWholeIdentifier, 0x100000},  // French (Canada)
};

}  // namespace

const wchar_t* VerdictName(TargetVerdict verdict) {
    static const wchar_t* const kNames[] = {L"kept", L"assign", L"platform", L"version",
                                            L"language"};
    const auto index = static_cast<size_t>(verdict);
    return index < std::size(kNames) ? kNames[index] : L"unknown";
}

uint32_t LanguageCodeOf(LANGID languageId) {
    for (const LanguageRow& row : kLanguages) {
        if ((languageId & row.Mask) == row.Identifier) {
            return row.Code;
        }
    }
    return 0;
}

void DescribeLiveSystem(TargetSystem& system) {
    system.PlatformError = 0;
    if (!ZorvCommon::Platform::GetVersionRecord(system.Version)) {
        system.PlatformError = ZorvCommon::Platform::GetVersionError();
    }
    uint32_t error = 0;
    if (!ZorvCommon::Platform::IsWindows64bit(system.Is64bit, &error) &&
        system.PlatformError == 0) {
        system.PlatformError = error;
    }
    system.LanguageCode = LanguageCodeOf(GetUserDefaultUILanguage());
}

}  // namespace Storage
}  // namespace Ostrel
