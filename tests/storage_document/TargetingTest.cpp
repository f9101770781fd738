// The targeting decision over described systems, as an authoring tool asks it.

#include <gtest/gtest.h>

#include "XmlParserStorageControl.h"

namespace {

using Ostrel::Storage::DocumentParameter;
using Ostrel::Storage::Target;
using Ostrel::Storage::TargetSystem;
using Ostrel::Storage::TargetVerdict;

constexpr HRESULT kInvalidData = static_cast<HRESULT>(0x80040206);

TargetSystem System(uint32_t major, uint32_t minor, bool is64bit, uint32_t languageCode) {
    TargetSystem system;
    system.Version.PlatformId = 2;
    system.Version.Major = major;
    system.Version.Minor = minor;
    system.Version.ProductType = 1;
    system.Is64bit = is64bit;
    system.LanguageCode = languageCode;
    system.ProductVersion = L"2.0.0";
    return system;
}

Target Everywhere() {
    Target target;
    target.Platform = L"all";
    target.Language = L"all";
    target.Product = L"all";
    target.Assign = L"t";
    target.MaxVersion = L"9.0.0";  // the described product is 2.0.0
    return target;
}

class Targeting : public ::testing::Test {
protected:
    Targeting() {
        m_Parameter.Check = true;
        m_Parameter.Assign = L"t";
        m_Parameter.System = System(6, 1, true, 0x1);
    }

    // The verdict, or a marker verdict with the failure in m_Result.
    TargetVerdict Decide(const Target& target) {
        TargetVerdict verdict = TargetVerdict::Targeted;
        m_Result = CXmlParserStorageControl::CheckParameter(verdict, m_Parameter, target);
        return verdict;
    }
    TargetVerdict Decide(std::wstring Target::*field, const wchar_t* text) {
        Target target = Everywhere();
        target.*field = text;
        return Decide(target);
    }

    DocumentParameter m_Parameter;
    HRESULT m_Result = S_OK;
};

TEST_F(Targeting, PlatformWordsMatchByVersionClassOrBitness) {
    m_Parameter.System = System(5, 1, false, 0x1);  // XP, 32-bit
    EXPECT_EQ(TargetVerdict::Targeted, Decide(&Target::Platform, L"xp32"));
    EXPECT_EQ(TargetVerdict::Targeted, Decide(&Target::Platform, L"xporlater"));
    EXPECT_EQ(TargetVerdict::Targeted, Decide(&Target::Platform, L"all32"));
    EXPECT_EQ(TargetVerdict::OtherPlatform, Decide(&Target::Platform, L"all64"));
    EXPECT_EQ(TargetVerdict::OtherPlatform, Decide(&Target::Platform, L"vistaorlater"));

    m_Parameter.System = System(6, 1, true, 0x1);  // 7, 64-bit
    EXPECT_EQ(TargetVerdict::OtherPlatform, Decide(&Target::Platform, L"xp32"));
    EXPECT_EQ(TargetVerdict::OtherPlatform, Decide(&Target::Platform, L"seven32"));
    EXPECT_EQ(TargetVerdict::Targeted, Decide(&Target::Platform, L"seven64"));
    EXPECT_EQ(TargetVerdict::Targeted, Decide(&Target::Platform, L"ALL"));
    EXPECT_EQ(S_OK, m_Result);
    Decide(&Target::Platform, L"Seven64");
    EXPECT_EQ(kInvalidData, m_Result) << "platform words other than all keep their case";

    m_Parameter.System.PlatformError = ERROR_ACCESS_DENIED;
    Decide(&Target::Platform, L"seven64");
    EXPECT_EQ(static_cast<HRESULT>(0x80070005), m_Result);
    EXPECT_EQ(TargetVerdict::Targeted, Decide(&Target::Platform, L"all"))
        << "all asks nothing of the system";
}

TEST_F(Targeting, LanguageWordsAreCodesOfTheSystemLanguage) {
    m_Parameter.System.LanguageCode = 0x80000;
    EXPECT_EQ(TargetVerdict::Targeted, Decide(&Target::Language, L"da"));
    m_Parameter.System.LanguageCode = 0x1;
    EXPECT_EQ(TargetVerdict::OtherLanguage, Decide(&Target::Language, L"da"))
        << "the second da row, worth 0x1, never answers";
    EXPECT_EQ(TargetVerdict::Targeted, Decide(&Target::Language, L"en_us"));
    EXPECT_EQ(TargetVerdict::OtherLanguage, Decide(&Target::Language, L"en_gb"));
    m_Parameter.System.LanguageCode = 0x100000;
    EXPECT_EQ(TargetVerdict::Targeted, Decide(&Target::Language, L"fr_ca"));
    EXPECT_EQ(TargetVerdict::OtherLanguage, Decide(&Target::Language, L"fr"));

    using Ostrel::Storage::LanguageCodeOf;
    EXPECT_EQ(0x1u, LanguageCodeOf(0x0409));
    EXPECT_EQ(0x10000u, LanguageCodeOf(0x0809));
    EXPECT_EQ(0x80u, LanguageCodeOf(0x0C0A));
    EXPECT_EQ(0x80u, LanguageCodeOf(0x2C0A)) << "every Spanish country";
    EXPECT_EQ(0x40000u, LanguageCodeOf(0x0814));
    EXPECT_EQ(0x100000u, LanguageCodeOf(0x0C0C));
    EXPECT_EQ(0u, LanguageCodeOf(0x080C)) << "French (Belgium) has no code";
    EXPECT_EQ(0u, LanguageCodeOf(0x0416));
}

TEST_F(Targeting, StepsRunInOrderAndUncheckedDocumentsOnlyMatchAssignment) {
    Target target;  // nothing but the assignment
    target.Assign = L"T";
    m_Parameter.Check = false;
    EXPECT_EQ(TargetVerdict::Targeted, Decide(target)) << "assignment ignores case";
    target.Assign = L"tt";
    EXPECT_EQ(TargetVerdict::OtherAssignment, Decide(target));
    target.Assign.clear();
    Decide(target);
    EXPECT_EQ(kInvalidData, m_Result);

    m_Parameter.Check = true;
    target = Everywhere();
    target.Platform = L"xp64";
    target.Language = L"unknown";
    EXPECT_EQ(TargetVerdict::OtherPlatform, Decide(target)) << "platform before language";
    target.Platform = L"all";
    target.MaxVersion = L"1.0.0";
    EXPECT_EQ(TargetVerdict::OutOfVersion, Decide(target)) << "version before language";
    target.MaxVersion = L"9.0.0";
    Decide(target);
    EXPECT_EQ(kInvalidData, m_Result);
    target.Language = L"all";
    target.Product.clear();
    Decide(target);
    EXPECT_EQ(kInvalidData, m_Result) << "product is required, though any text matches";
    target.Product = L"another product";
    EXPECT_EQ(TargetVerdict::Targeted, Decide(target));
}

}  // namespace
