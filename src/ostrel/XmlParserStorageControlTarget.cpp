// The targeting decision of the storage-control reader: whether an element applies to
// a described system, and the platform and language words of the documents.

#include "XmlParserStorageControl.h"

#include "Frwk_StringUtility.h"
#include "OstrelResult.h"
#include "SrvFrwk_UnitVersion.h"
#include "XmlParserLog.h"
#include "XmlParserTextTable.h"
#include "ZorvComn_Exception.h"

using Ostrel::Storage::DocumentParameter;
using Ostrel::Storage::Target;
using Ostrel::Storage::TargetSystem;
using Ostrel::Storage::TargetVerdict;

namespace {

using namespace Ostrel::Vocabulary;

bool IsAll(const std::wstring& text) {
    return Frwk::StringUtility::EqualsNoCase(text, std::wstring(kAllWord));
}

using WordTest = HRESULT (*)(bool& matched, const TargetSystem& system, const std::wstring& word);

// A platform or language word: a missing one is an error logged with missingLine, "all"
// (case ignored) matches every system, any other word is given to test.
HRESULT CheckWord(bool& matched, const TargetSystem& system, const std::wstring& word,
                  const wchar_t* missingLine, WordTest test) {
    matched = false;
    if (word.empty()) {
        STORAGE_CONTROL_ERROR(missingLine);
        return Ostrel::kInvalidData;
    }
    if (IsAll(word)) {
        matched = true;
        return S_OK;
    }
    return test(matched, system, word);
}

// The tests of a platform or language word other than "all".
HRESULT CheckPlatform(bool& matched, const TargetSystem& system, const std::wstring& platform) {
    uint32_t bitness = 0;
    uint32_t versionClass = 0;
    if (!CXmlParserStorageControl::GetPlatformType(platform, bitness, versionClass)) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::CheckParameter() - this->GetPlatformType() "
            L"failed. [%s]",
            platform.c_str());
        return Ostrel::kInvalidData;
    }
    if (system.PlatformError != 0) {
        const HRESULT hr = ZorvCommon::Exception::ResultFromWin32(system.PlatformError);
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::CheckParameter() - this->GetPlatformType() "
            L"failed. [0x%08x]",
            hr);
        return hr;
    }
    switch (bitness) {
        case BitnessByVersionClass:
            matched = ZorvCommon::Platform::IsVersionClassOf(system.Version, system.Is64bit,
                                                             versionClass);
            break;
        case Bitness32:
            matched = !system.Is64bit;
            break;
        case Bitness64:
            matched = system.Is64bit;
            break;
        case BitnessAny:
            matched = true;
            break;
        default:
            STORAGE_CONTROL_ERROR(
                L"*** CXmlParserStorageControl::CheckParameter() - Specified Platform Type "
                L"was not supported. [%d][%d]",
                bitness, versionClass);
            break;
    }
    if (!matched) {
        STORAGE_CONTROL_INFO(
            L"*** CXmlParserStorageControl::CheckParameter() - Specified Platform was not matched "
            L"so that it will be skipped. [%d][%d][%d][%d][%s]",
            system.Version.Major, system.Version.Minor, system.Version.Build,
            system.Version.PlatformId, platform.c_str());
    }
    return S_OK;
}

HRESULT CheckLanguage(bool& matched, const TargetSystem& system, const std::wstring& language) {
    uint32_t code = 0;
    if (!CXmlParserStorageControl::GetLanguageCode(language, code)) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::CheckParameter() - this->GetLanguageType() "
            L"failed. [%s]",
            language.c_str());
        return Ostrel::kInvalidData;
    }
    matched = code == system.LanguageCode;
    if (!matched) {
        STORAGE_CONTROL_INFO(
            L"*** CXmlParserStorageControl::CheckParameter() - Specified Language was not matched "
            L"so that it will be skipped. [%d][%d]",
            code, system.LanguageCode);
    }
    return S_OK;
}

}  // namespace

HRESULT CXmlParserStorageControl::CheckParameter(TargetVerdict& verdict,
                                                 const DocumentParameter& parameter,
                                                 const Target& target) {
    STORAGE_CONTROL_TRACE(L"[Enter] CXmlParserStorageControl::CheckParameter()...");
    verdict = TargetVerdict::OtherAssignment;
    if (target.Assign.empty()) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::CheckParameter() - _tszProduct was empty.");
        return Ostrel::kInvalidData;
    }
    if (!Frwk::StringUtility::EqualsNoCase(target.Assign, parameter.Assign)) {
        STORAGE_CONTROL_INFO(
            L"*** CXmlParserStorageControl::CheckParameter() - Specified Assigned was not matched "
            L"so that it will be skipped. [%s][%s]",
            target.Assign.c_str(), parameter.Assign.c_str());
        return S_OK;
    }
    if (!parameter.Check) {
        STORAGE_CONTROL_INFO(
            L"*** CXmlParserStorageControl::CheckParameter() - Specified Xml File was not checked "
            L"for any parameters.");
        verdict = TargetVerdict::Targeted;
        return S_OK;
    }

    bool matched = false;
    HRESULT hr = CheckWord(
        matched, parameter.System, target.Platform,
        L"*** CXmlParserStorageControl::CheckParameter() - _Target.tszPlatform was empty.",
        &CheckPlatform);
    if (FAILED(hr) || !matched) {
        verdict = TargetVerdict::OtherPlatform;
        return hr;
    }

    const std::wstring& version = parameter.System.ProductVersion;
    if (SrvFrwk::CompareVersion(target.MinVersion, version) == -1 ||
        SrvFrwk::CompareVersion(version, target.MaxVersion) == -1) {
        STORAGE_CONTROL_INFO(
            L"*** CXmlParserStorageControl::CheckParameter() - Specified Version was beyond so "
            L"that it will be skipped. [%s][%s][%s]",
            target.MinVersion.c_str(), version.c_str(), target.MaxVersion.c_str());
        verdict = TargetVerdict::OutOfVersion;
        return S_OK;
    }

    hr = CheckWord(
        matched, parameter.System, target.Language,
        L"*** CXmlParserStorageControl::CheckParameter() - _Target.tszLanguage was empty.",
        &CheckLanguage);
    if (FAILED(hr) || !matched) {
        verdict = TargetVerdict::OtherLanguage;
        return hr;
    }

    if (target.Product.empty()) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::CheckParameter() - _Target.tszProduct was empty.");
        return Ostrel::kInvalidData;
    }
    // Every product matches: documents name their product for the reader's sake, and the
    // comparison with "all" is made and its outcome discarded, as documents expect.
    (void)IsAll(target.Product);
    verdict = TargetVerdict::Targeted;
    STORAGE_CONTROL_TRACE(L"[Leave] CXmlParserStorageControl::CheckParameter()...");
    return S_OK;
}

bool CXmlParserStorageControl::GetPlatformType(const std::wstring& text, uint32_t& bitness,
                                               uint32_t& versionClass) {
    for (const PlatformWord& word : kPlatforms) {
        if (text == word.Text) {
            bitness = word.Bitness;
            versionClass = word.VersionClass;
            return true;
        }
    }
    STORAGE_CONTROL_ERROR(
        L"*** CXmlParserStorageControl::GetPlatformType() - Specified text was not supported. [%s]",
        text.c_str());
    return false;
}

bool CXmlParserStorageControl::GetLanguageCode(const std::wstring& text, uint32_t& language) {
    if (text == kEnglishUs.Text) {
        language = kEnglishUs.Value;
        return true;
    }
    return GetLanguageType(text, language);
}

bool CXmlParserStorageControl::GetLanguageType(const std::wstring& text, uint32_t& language) {
    return Ostrel::LookUpTextValue(STORAGE_CONTROL_PLACE,
                                   L"CXmlParserStorageControl::GetLanguageType", kLanguages, text,
                                   language);
}
