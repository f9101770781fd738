#include "XmlParserWebAccessControl.h"

#include <new>
#include <utility>

#include "OstrelResult.h"
#include "XmlParserDocument.h"
#include "ZorvComn_Exception.h"
#include "ZorvComn_Platform.h"
#include "ZorvComn_XmlParser.h"

using SrvFrwk::Interface::WebAccessControlList;
using SrvFrwk::Interface::WebApplication;

namespace {

using Ostrel::TextValue;

using namespace Ostrel::Vocabulary;

constexpr uint32_t kUnknownVersionClass = 0xFFFFFFFF;
constexpr wchar_t kNoSite[] =
    L"*** CXmlParserWebAccessControl::CreateWebAccessControlList() - Specified Address was not "
    L"found. [%s]";

// Labels are padded to the widest, "[Identifier]".
void LogField(const wchar_t* method, const wchar_t* label, const std::wstring& value) {
    ZORV_INFO(L"*** CXmlParserWebAccessControl::%s() - %-12s:%s.", method, label, value.c_str());
}

// A label already in the map is refused and logged with failureFormat (given the label).
template <class Data>
HRESULT InsertByLabel(std::map<std::wstring, Data>& map, const Data& data,
                      const wchar_t* failureFormat) {
    if (!map.emplace(data.Label, data).second) {
        ZORV_ERROR(failureFormat, data.Label.c_str());
        return Ostrel::kInvalidData;
    }
    return S_OK;
}

// The data of a label; a label that is not there is logged with missFormat.
template <class Data>
const Data* FindByLabel(const std::map<std::wstring, Data>& map, const std::wstring& label,
                        const wchar_t* missFormat) {
    const auto found = map.find(label);
    if (found == map.end()) {
        ZORV_ERROR(missFormat, label.c_str());
        return nullptr;
    }
    return &found->second;
}

// Hands each entry to add whose required field is filled; the others are logged.
template <class Data, class Add>
void AddListed(const std::map<std::wstring, Data>& map, const std::wstring Data::*pRequired,
               Add add) {
    for (const auto& entry : map) {
        if ((entry.second.*pRequired).empty()) {
            ZORV_ERROR(
                L"*** CXmlParserWebAccessControl::CreateWebAccessControlList() - "
                L"Specified Address was invalid so that it will be skipped. [%s]",
                entry.first.c_str());
        } else {
            add(entry.second);
        }
    }
}

}  // namespace

CXmlParserWebAccessControl::CXmlParserWebAccessControl(ZorvCommon::Storage::XmlParser& rXmlParser)
    : m_rXmlParser(rXmlParser) {}

HRESULT CXmlParserWebAccessControl::QueryValue(WebAccessControlList* pWebAccessControlList) {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::QueryValue()...");
    HRESULT hr = S_OK;
    if (pWebAccessControlList == nullptr) {
        ZORV_ERROR(
            L"*** CXmlParserWebAccessControl::QueryValue() - pWebAccessControlList was "
            L"invalid.");
        hr = Ostrel::kInvalidArgument;
    } else {
        *pWebAccessControlList = WebAccessControlList();
        m_MapOfWebSiteData.clear();
        m_MapOfWebApplicationData.clear();
        m_UrlFilters.clear();
        m_WebActivities.clear();
        m_Protections.clear();

        CXmlParserDocument document(m_rXmlParser, L"CXmlParserWebAccessControl::QueryValue");
        hr = document.Read(OSTREL_SOURCE_PLACE, L"QjEnPvWc.xen", kWebAccessKey,
                           WebElement::kWebAccess,
                           [&] { return ParseWebAccess(*pWebAccessControlList); });
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::QueryValue()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseWebAccess(WebAccessControlList& list) {
    HRESULT hr = QueryParameter();
    if (FAILED(hr)) {
        ZORV_ERROR(
            L"*** CXmlParserWebAccessControl::QueryValue() - this->QueryParameter() "
            L"failed. [0x%08x]",
            hr);
        return hr;
    }
    uint32_t depth = 0;
    for (bool found = m_rXmlParser.MoveToFirstChildElement(depth); found;
         found = m_rXmlParser.MoveToNextSiblingElement(depth)) {
        // A part that fails is logged, and the other parts are still read.
        if (m_rXmlParser.IsElementName(WebElement::kSites)) {
            (void)ParseChildren(
                WebElement::kAddress, &CXmlParserWebAccessControl::ParseWebSites,
                L"*** CXmlParserWebAccessControl::QueryValue() - this->ParseWebSites() "
                L"failed.");
        } else if (m_rXmlParser.IsElementName(WebElement::kApplications)) {
            (void)ParseChildren(L"", &CXmlParserWebAccessControl::ParseWebApplications,
                                L"*** CXmlParserWebAccessControl::QueryValue() - "
                                L"this->ParseWebApplications() failed.");
        } else if (m_rXmlParser.IsElementName(WebElement::kControls) &&
                   FAILED(ParseWebAccessControls())) {
            ZORV_ERROR(
                L"*** CXmlParserWebAccessControl::QueryValue() - "
                L"this->ParseWebAccessControls() failed.");
        }
    }
    hr = CreateWebAccessControlList(list);
    if (FAILED(hr)) {
        ZORV_ERROR(
            L"*** CXmlParserWebAccessControl::QueryValue() - "
            L"this->CreateWebAccessControlList() failed. [0x%08x]",
            hr);
    }
    return hr;
}

HRESULT CXmlParserWebAccessControl::QueryParameter() {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::QueryParameter()...");
    HRESULT hr = S_OK;
    uint32_t error = 0;
    if (!ZorvCommon::Platform::IsWindows64bit(m_bIsWindows64bit, &error)) {
        hr = error != 0 ? ZorvCommon::Exception::ResultFromWin32(error)
                        : static_cast<HRESULT>(Ostrel::kWrongState);
        ZORV_ERROR(
            L"*** CXmlParserWebAccessControl::QueryParameter() - "
            L"ZorvCommon::Platform::IsWindows64bit() failed. [0x%08x]",
            hr);
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::QueryParameter()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseChildren(const wchar_t* name, ParseStep step,
                                                  const wchar_t* failureFormat) {
    HRESULT hr = S_OK;
    uint32_t depth = 0;
    for (bool found = m_rXmlParser.MoveToFirstChildElement(depth, name); found;
         found = m_rXmlParser.MoveToNextSiblingElement(depth, name)) {
        const HRESULT hrChild = (this->*step)();
        if (FAILED(hrChild)) {
            ZORV_ERROR(failureFormat, hrChild);
            hr = hrChild;
        }
    }
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseWebSites() {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::ParseWebSites()...");
    HRESULT hr = S_OK;
    WebSiteData site;
    if (!ReadAttribute(L"ParseWebSites", L"label", site.Label, ZorvCommon::LogLevelInfo) ||
        !ReadAttribute(L"ParseWebSites", L"id", site.Identifier)) {
        hr = Ostrel::kNotFound;
    } else {
        // The site is known by its address: the identifier is the URL.
        site.Url = site.Identifier;
        LogField(L"ParseWebSites", L"[Label]", site.Label);
        LogField(L"ParseWebSites", L"[Identifier]", site.Identifier);
        LogField(L"ParseWebSites", L"[Url]", site.Url);
        hr = InsertByLabel(m_MapOfWebSiteData, site,
                           L"*** CXmlParserWebAccessControl::ParseWebSites() - "
                           L"_MapOfWebSiteData.insert() failed. [%s]");
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::ParseWebSites()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseWebApplications() {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::ParseWebApplications()...");
    HRESULT hr = S_OK;
    std::wstring platform;
    WebApplication application;
    if (!m_rXmlParser.IsElementName(WebElement::kProcess)) {
        ZORV_INFO(
            L"*** CXmlParserWebAccessControl::ParseWebApplications() - Specified Element "
            L"was skipped.");
    } else if (FAILED(hr = ParseTarget(platform)) || FAILED(hr = CheckParameter(platform))) {
        // logged by the step
    } else if (hr == Ostrel::kElementSkipped) {
        ZORV_INFO(
            L"*** CXmlParserWebAccessControl::ParseWebApplicationProcess() - Specified "
            L"parameter was not targeted so that it will be skipped.");
    } else if (FAILED(hr = ParseWebApplicationProcess(application))) {
        // logged by the step
    } else if (FAILED(hr = ParseWebApplicationFileName(application))) {
        ZORV_ERROR(
            L"*** CXmlParserWebAccessControl::ParseWebApplications() - "
            L"this->ParseWebApplicationFileName() failed. [0x%08x]",
            hr);
    } else {
        static const wchar_t kMethod[] = L"ParseWebApplications";
        LogField(kMethod, L"[Label]", application.Label);
        LogField(kMethod, L"[Identifier]", application.Identifier);
        LogField(kMethod, L"[Vender]", application.Vendor);
        LogField(kMethod, L"[Family]", application.Family);
        LogField(kMethod, L"[FileName]", application.FileName);
        LogField(kMethod, L"[Data]", application.Data);
        LogField(kMethod, L"[IsWow64]", application.IsWow64 ? L"1" : L"0");
        hr = InsertByLabel(m_MapOfWebApplicationData, application,
                           L"*** CXmlParserWebAccessControl::ParseWebApplications() - "
                           L"_MapOfWebApplicationData.insert() failed. [%s]");
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::ParseWebApplications()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseTarget(std::wstring& platform) {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::ParseTarget()...");
    HRESULT hr = S_OK;
    if (!m_rXmlParser.GetAttribute(L"platform", platform)) {
        ZORV_ERROR(
            L"*** CXmlParserWebAccessControl::ParseTarget() - "
            L"this->m_rXmlParser.GetAttribute(). [0x%08x] [%s] [%lu] [%lu] [%lu]",
            m_rXmlParser.GetLastResult(), m_rXmlParser.GetLastNodeName().c_str(),
            m_rXmlParser.GetLastLine(), m_rXmlParser.GetLastColumn(), m_rXmlParser.GetLastDepth());
        hr = Ostrel::kNotFound;
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::ParseTarget()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::CheckParameter(const std::wstring& platform) const {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::CheckParameter()...");
    HRESULT hr = S_OK;
    const Word* pBitness = Find(kWebBitness, platform);
    uint32_t versionClass = kUnknownVersionClass;
    if (platform.empty()) {
        ZORV_ERROR(
            L"*** CXmlParserWebAccessControl::CheckParameter() - _Target.tszPlatform was "
            L"empty.");
        hr = Ostrel::kInvalidData;
    } else if (pBitness == nullptr &&
               !Ostrel::LookUpTextValue(OSTREL_SOURCE_PLACE,
                                        L"CXmlParserWebAccessControl::GetPlatformType",
                                        kWebPlatforms, platform, versionClass)) {
        ZORV_ERROR(
            L"*** CXmlParserWebAccessControl::CheckParameter() - Specified Platform "
            L"Type was not supported. [%d]",
            versionClass);
        hr = Ostrel::kInvalidData;
    } else if (pBitness != nullptr ? (pBitness->Value != 0) != m_bIsWindows64bit
                                   : !ZorvCommon::Platform::IsVersionClass(versionClass)) {
        ZorvCommon::Platform::VersionRecord version;
        (void)ZorvCommon::Platform::GetVersionRecord(version);  // zeros when unread
        ZORV_INFO(
            L"*** CXmlParserWebAccessControl::CheckParameter() - Specified Platform was not "
            L"matched so that it will be skipped. [%d][%d][%d][%d][%s]",
            version.Major, version.Minor, version.Build, m_bIsWindows64bit ? 64 : 32,
            platform.c_str());
        hr = Ostrel::kElementSkipped;
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::CheckParameter()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseWebApplicationProcess(WebApplication& application) {
    static const wchar_t kMethod[] = L"ParseWebApplicationProcess";
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::ParseWebApplicationProcess()...");
    HRESULT hr = S_OK;
    uint32_t is32bit = 0;
    if (!ReadAttribute(kMethod, L"label", application.Label) ||
        !ReadAttribute(kMethod, L"native", application.Data)) {
        hr = Ostrel::kNotFound;
    } else if (!Ostrel::LookUpTextValue(OSTREL_SOURCE_PLACE,
                                        L"CXmlParserWebAccessControl::GetNative32bit",
                                        kNativeBitness, application.Data, is32bit)) {
        hr = Ostrel::kInvalidData;
    } else {
        if (is32bit && m_bIsWindows64bit) {
            ZORV_INFO(
                L"*** CXmlParserWebAccessControl::ParseWebApplicationProcess() - Specified "
                L"process was recognized as Wow64 process.");
            application.IsWow64 = true;
        }
        // Optional: a missing one is noted and stays empty.
        ReadAttribute(kMethod, L"vender", application.Vendor, ZorvCommon::LogLevelInfo);
        ReadAttribute(kMethod, L"family", application.Family, ZorvCommon::LogLevelInfo);
        ReadAttribute(kMethod, L"code", application.Identifier, ZorvCommon::LogLevelInfo);
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::ParseWebApplicationProcess()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseWebApplicationFileName(WebApplication& application) {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::ParseWebApplicationFileName()...");
    // Without a "FileName" the application is kept, and left out of the list at the join.
    HRESULT hr = S_OK;
    uint32_t depth = 0;
    if (!m_rXmlParser.MoveToFirstChildElement(depth, WebElement::kFileName) ||
        !m_rXmlParser.GetText(application.FileName)) {
        hr = m_rXmlParser.GetLastResult() < 0 ? m_rXmlParser.GetLastResult() : S_OK;
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::ParseWebApplicationFileName()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseWebAccessControls() {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::ParseWebAccessControls()...");
    struct ControlList {
        const wchar_t* List;
        const wchar_t* Item;
        ParseStep Step;
        const wchar_t* FailureFormat;
    };
    static const ControlList kControlLists[] = {
        {WebElement::kFilters, WebElement::kFilter,
         &CXmlParserWebAccessControl::ParseWebAccessControlUrlFilters,
         L"*** CXmlParserWebAccessControl::ParseWebAccessControls() - "
         L"this->ParseWebAccessControlUrlFilters() failed. [0x%08x]"},
        {WebElement::kLogs, WebElement::kLog,
         &CXmlParserWebAccessControl::ParseWebAccessControlWebActivities,
         L"*** CXmlParserWebAccessControl::ParseWebAccessControls() - "
         L"this->ParseWebAccessControlWebActivities() failed. [0x%08x]"},
        {WebElement::kProtections, WebElement::kProtection,
         &CXmlParserWebAccessControl::ParseWebAccessControlProtections,
         L"*** CXmlParserWebAccessControl::ParseWebAccessControls() - "
         L"this->ParseWebAccessControlPrivacyDataProtections() failed. [0x%08x]"},
    };
    HRESULT hr = S_OK;
    uint32_t depth = 0;
    for (bool found = m_rXmlParser.MoveToFirstChildElement(depth); found;
         found = m_rXmlParser.MoveToNextSiblingElement(depth)) {
        for (const ControlList& list : kControlLists) {
            if (m_rXmlParser.IsElementName(list.List)) {
                const HRESULT hrList = ParseChildren(list.Item, list.Step, list.FailureFormat);
                hr = FAILED(hrList) ? hrList : hr;
                break;
            }
        }
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::ParseWebAccessControls()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseWebAccessControlUrlFilters() {
    static const wchar_t kMethod[] = L"ParseWebAccessControlUrlFilters";
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::ParseWebAccessControlUrlFilters()...");
    UrlFilterData filter;
    HRESULT hr =
        ReadLabelAndWord(kMethod, L"type", L"CXmlParserWebAccessControl::GetWebAccessFilterType",
                         kFilterTypes, filter.Label, filter.FilterType);
    if (FAILED(hr)) {
        // logged by the step
    } else if (!ReadAttribute(kMethod, L"process", filter.Process) ||
               !ReadAttribute(kMethod, L"address", filter.Address)) {
        hr = Ostrel::kNotFound;
    } else {
        LogField(kMethod, L"[Label]", filter.Label);
        // The format reads two values: the type fills both.
        ZORV_INFO(
            L"*** CXmlParserWebAccessControl::ParseWebAccessControlUrlFilters() - "
            L"[Type]      :%0x%08x.",
            filter.FilterType, filter.FilterType);
        LogField(kMethod, L"[Process]", filter.Process);
        LogField(kMethod, L"[Address]", filter.Address);
        m_UrlFilters.push_back(filter);
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::ParseWebAccessControlUrlFilters()...");
    return hr;
}

HRESULT CXmlParserWebAccessControl::ParseWebAccessControlWebActivities() {
    return ParseWebAccessControl(L"ParseWebAccessControlWebActivities", m_WebActivities);
}

HRESULT CXmlParserWebAccessControl::ParseWebAccessControlProtections() {
    return ParseWebAccessControl(L"ParseWebAccessControlProtections", m_Protections);
}

HRESULT CXmlParserWebAccessControl::ParseWebAccessControl(const wchar_t* method,
                                                          std::vector<ControlData>& controls) {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::%s()...", method);
    ControlData control;
    HRESULT hr = ReadLabelAndWord(method, L"enable", L"CXmlParserWebAccessControl::GetBoolian",
                                  kBooleans, control.Label, control.Enable);
    if (SUCCEEDED(hr)) {
        if (control.Enable) {
            ZORV_INFO(L"*** CXmlParserWebAccessControl::%s() - Specified Control was enabled.",
                      method);
        }
        if (!ReadAttribute(method, L"address", control.Address)) {
            hr = Ostrel::kNotFound;
        } else {
            LogField(method, L"[Label]", control.Label);
            LogField(method, L"[Address]", control.Address);
            controls.push_back(control);
        }
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::%s()...", method);
    return hr;
}

HRESULT CXmlParserWebAccessControl::CreateWebAccessControlList(WebAccessControlList& list) {
    ZORV_TRACE(L"[Enter] CXmlParserWebAccessControl::CreateWebAccessControlList()...");
    HRESULT hr = S_OK;
    try {
        AddListed(m_MapOfWebSiteData, &WebSiteData::Url,
                  [&](const WebSiteData& site) { list.Sites.push_back(site.Url); });
        AddListed(
            m_MapOfWebApplicationData, &WebApplication::FileName,
            [&](const WebApplication& application) { list.Applications.push_back(application); });
        for (const UrlFilterData& filter : m_UrlFilters) {
            const WebSiteData* pSite = FindByLabel(m_MapOfWebSiteData, filter.Address, kNoSite);
            const WebApplication* pApplication =
                FindByLabel(m_MapOfWebApplicationData, filter.Process,
                            L"*** CXmlParserWebAccessControl::CreateWebAccessControlList() - "
                            L"Specified Process was not found. [%s]");
            if (pSite != nullptr && pApplication != nullptr) {
                list.Filters.push_back(
                    {filter.Label, filter.FilterType, pSite->Url, *pApplication});
            }
        }
        // The URLs of the enabled controls whose site exists.
        for (const auto& [pControls, pUrls] : {std::pair{&m_WebActivities, &list.WebActivities},
                                               std::pair{&m_Protections, &list.Protections}}) {
            for (const ControlData& control : *pControls) {
                const WebSiteData* pSite =
                    FindByLabel(m_MapOfWebSiteData, control.Address, kNoSite);
                if (pSite != nullptr && control.Enable) {
                    pUrls->push_back(pSite->Url);
                }
            }
        }
    } catch (const std::bad_alloc&) {
        hr = E_OUTOFMEMORY;
    }
    ZORV_TRACE(L"[Leave] CXmlParserWebAccessControl::CreateWebAccessControlList()...");
    return hr;
}

bool CXmlParserWebAccessControl::ReadAttribute(const wchar_t* method, const wchar_t* name,
                                               std::wstring& value, uint32_t level) const {
    if (m_rXmlParser.GetAttribute(name, value)) {
        return true;
    }
    ZORV_LOG(level,
             L"*** CXmlParserWebAccessControl::%s() - this->m_rXmlParser.GetAttribute() failed.",
             method);
    return false;
}

template <size_t N>
HRESULT CXmlParserWebAccessControl::ReadLabelAndWord(const wchar_t* method, const wchar_t* name,
                                                     const wchar_t* getter,
                                                     const Ostrel::TextValue (&table)[N],
                                                     std::wstring& label, uint32_t& value) const {
    std::wstring text;
    if (!ReadAttribute(method, L"label", label) || !ReadAttribute(method, name, text)) {
        return Ostrel::kNotFound;
    }
    if (text.empty()) {
        ZORV_ERROR(L"*** CXmlParserWebAccessControl::%s() - tszAttribute was empty.", method);
        return Ostrel::kInvalidData;
    }
    if (!Ostrel::LookUpTextValue(OSTREL_SOURCE_PLACE, getter, table, text, value)) {
        // The converter's own name, without its class.
        ZORV_ERROR(L"*** CXmlParserWebAccessControl::%s() - this->%s() failed.", method,
                   wcsrchr(getter, L':') + 1);
        return Ostrel::kInvalidData;
    }
    return S_OK;
}
