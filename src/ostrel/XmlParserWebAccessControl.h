#pragma once
// Reads the web access control document: sites and applications are collected by label,
// then the controls that name them, and the whole is joined into the host's list. One
// parser serves one request; it holds only a reference to the utility object's reader.

#include <windows.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "SrvFrwk_Interface.h"
#include "XmlParserTextTable.h"
#include "ZorvComn_DebugLog.h"

namespace ZorvCommon::Storage {
class XmlParser;
}  // namespace ZorvCommon::Storage

class CXmlParserWebAccessControl {
public:
    explicit CXmlParserWebAccessControl(ZorvCommon::Storage::XmlParser& rXmlParser);
    CXmlParserWebAccessControl(const CXmlParserWebAccessControl&) = delete;
    CXmlParserWebAccessControl& operator=(const CXmlParserWebAccessControl&) = delete;

    // The five lists are emptied first. Elements that fail, are not targeted or name what
    // does not exist are logged and left out; the result is then 0. Failures of the
    // document itself: 0x80040206 (key), 0x8007xxxx (open), the reader's code or
    // 0x80040201 (start, missing root), the platform query's code.
    [[nodiscard]] HRESULT QueryValue(
        SrvFrwk::Interface::WebAccessControlList* pWebAccessControlList);

private:
    struct WebSiteData {
        std::wstring Label;
        std::wstring Identifier;
        std::wstring Url;
    };
    struct UrlFilterData {
        std::wstring Label;
        uint32_t FilterType = 0;
        std::wstring Process;  // labels of the application and the site
        std::wstring Address;
    };
    // A web activity log or a privacy-data protection.
    struct ControlData {
        std::wstring Label;
        uint32_t Enable = 0;  // 1: enabled
        std::wstring Address;
    };
    using ParseStep = HRESULT (CXmlParserWebAccessControl::*)();

    // The children of the root, then the join; the join's result.
    [[nodiscard]] HRESULT ParseWebAccess(SrvFrwk::Interface::WebAccessControlList& list);
    [[nodiscard]] HRESULT QueryParameter();
    // Calls step on each child element named name (any name when empty); a failure is
    // logged with failureFormat (given the code) and the walk goes on. The last failure.
    [[nodiscard]] HRESULT ParseChildren(const wchar_t* name, ParseStep step,
                                        const wchar_t* failureFormat);

    [[nodiscard]] HRESULT ParseWebSites();
    [[nodiscard]] HRESULT ParseWebApplications();
    [[nodiscard]] HRESULT ParseTarget(std::wstring& platform);
    // 0 when the platform matches, 0x00040202 when it does not, 0x80040206 for an empty
    // or unknown platform text.
    [[nodiscard]] HRESULT CheckParameter(const std::wstring& platform) const;
    [[nodiscard]] HRESULT ParseWebApplicationProcess(
        SrvFrwk::Interface::WebApplication& application);
    [[nodiscard]] HRESULT ParseWebApplicationFileName(
        SrvFrwk::Interface::WebApplication& application);
    [[nodiscard]] HRESULT ParseWebAccessControls();
    [[nodiscard]] HRESULT ParseWebAccessControlUrlFilters();
    [[nodiscard]] HRESULT ParseWebAccessControlWebActivities();
    [[nodiscard]] HRESULT ParseWebAccessControlProtections();
    [[nodiscard]] HRESULT ParseWebAccessControl(const wchar_t* method,
                                                std::vector<ControlData>& controls);
    [[nodiscard]] HRESULT CreateWebAccessControlList(
        SrvFrwk::Interface::WebAccessControlList& list);

    // The attribute of the current element; a missing one is logged at level.
    bool ReadAttribute(const wchar_t* method, const wchar_t* name, std::wstring& value,
                       uint32_t level = ZorvCommon::LogLevelError) const;
    // "label" and a further attribute whose text is a word of table, converted by getter
    // ("Class::Get..."): 0, 0x8004020B when either is missing, 0x80040206 when the second
    // is empty or unknown.
    template <size_t N>
    [[nodiscard]] HRESULT ReadLabelAndWord(const wchar_t* method, const wchar_t* name,
                                           const wchar_t* getter,
                                           const Ostrel::TextValue (&table)[N], std::wstring& label,
                                           uint32_t& value) const;

    ZorvCommon::Storage::XmlParser& m_rXmlParser;
    bool m_bIsWindows64bit = false;
    std::map<std::wstring, WebSiteData> m_MapOfWebSiteData;
    std::map<std::wstring, SrvFrwk::Interface::WebApplication> m_MapOfWebApplicationData;
    std::vector<UrlFilterData> m_UrlFilters;
    std::vector<ControlData> m_WebActivities;
    std::vector<ControlData> m_Protections;
};
