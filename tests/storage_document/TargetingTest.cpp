// The targeting decision over described systems, as an authoring tool asks it.

#include <gtest/gtest.h>

#include "XmlParserStorageControl.h"

namespace {

using namespace Ostrel::Storage;

TargetSystem System(uint32_t major, uint32_t minor, bool is64bit, uint32_t languageCode,
                    uint32_t platformError = 0) {
    // A workstation of the NT platform with product 2.0.0.
    return {{2, major, minor, 0, 1, 0}, is64bit, platformError, languageCode, L"2.0.0"};
}

Target Everywhere() {
    // MaxVersion (the described product is 2.0.0), MinVersion, Product, Language, Platform,
    // Assign.
    return {L"9.0.0", L"", L"all", L"all", L"all", L"t"};
}

// The verdict's name for a checked document assigned "t", or the failure in hex.
std::wstring Outcome(const TargetSystem& system, const Target& target) {
    const DocumentParameter parameter{true, false, L"t", system};  // checked, assigned "t"
    TargetVerdict verdict = TargetVerdict::Targeted;
    const HRESULT hr = CXmlParserStorageControl::CheckParameter(verdict, parameter, target);
    if (FAILED(hr)) {
        wchar_t text[11];
        swprintf(text, 11, L"0x%08x", static_cast<unsigned>(hr));
        return text;
    }
    return VerdictName(verdict);
}

TEST(Targeting, EachAttributeAgainstTheDescribedSystem) {
    const TargetSystem xp32 = System(5, 1, false, 0x1);
    const TargetSystem seven64 = System(6, 1, true, 0x1);
    const TargetSystem danish = System(6, 1, true, 0x80000);
    const TargetSystem french = System(6, 1, true, 0x100000);
    const struct {
        TargetSystem system;
        std::wstring Target::*field;
        const wchar_t* text;
        const wchar_t* outcome;
    } cases[] = {
        {xp32, &Target::Platform, L"xp32", L"kept"},
        {xp32, &Target::Platform, L"all64", L"platform"},
        {xp32, &Target::Platform, L"vistaorlater", L"platform"},
        {seven64, &Target::Platform, L"seven64", L"kept"},
        {seven64, &Target::Platform, L"ALL", L"kept"},
        {seven64, &Target::Platform, L"Seven64", L"0x80040206"},  // only all ignores case
        {seven64, &Target::Platform, L"win95", L"0x80040206"},
        {System(6, 1, true, 0x1, ERROR_ACCESS_DENIED), &Target::Platform, L"seven64",
         L"0x80070005"},
        {System(6, 1, true, 0x1, ERROR_ACCESS_DENIED), &Target::Platform, L"all", L"kept"},
        {danish, &Target::Language, L"da", L"kept"},
        {danish, &Target::Language, L"en_us", L"language"},
        {seven64, &Target::Language, L"da", L"language"},  // its second row, 0x1, never answers
        {seven64, &Target::Language, L"en_us", L"kept"},
        {seven64, &Target::Language, L"en_gb", L"language"},
        {seven64, &Target::Language, L"EN_US", L"0x80040206"},
        {french, &Target::Language, L"fr_ca", L"kept"},
        {System(6, 1, true, 0x4), &Target::Language, L"ja", L"kept"},
        {seven64, &Target::MaxVersion, L"", L"version"},    // missing: 0.0.0.0
        {seven64, &Target::MaxVersion, L"2.0.0", L"kept"},  // bounds are inclusive
        {seven64, &Target::MaxVersion, L"1.9.0", L"version"},
        {seven64, &Target::MinVersion, L"1.0.0", L"kept"},
        {seven64, &Target::MinVersion, L"2.0.1", L"version"},
        {seven64, &Target::Product, L"another product", L"kept"},  // required, any text
        {seven64, &Target::Product, L"", L"0x80040206"},
        {seven64, &Target::Assign, L"T", L"kept"},
        {seven64, &Target::Assign, L"tt", L"assign"},
    };
    for (const auto& c : cases) {
        Target target = Everywhere();
        target.*c.field = c.text;
        EXPECT_EQ(c.outcome, Outcome(c.system, target)) << c.text;
    }

    // Platform and version are decided before the language is read.
    Target target{L"9.0.0", L"", L"all", L"unknown", L"xp64", L"t"};
    EXPECT_EQ(L"platform", Outcome(seven64, target));
    target.Platform = L"all";
    target.MaxVersion = L"1.0.0";
    EXPECT_EQ(L"version", Outcome(seven64, target));
}

}  // namespace
