#include "XmlParserFrameworkPolicy.h"

#include <iterator>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Frwk_Utility.h"
#include "OstrelResult.h"
#include "XmlParserDocument.h"
#include "XmlParserTextTable.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_String.h"
#include "ZorvComn_XmlParser.h"

using SrvFrwk::Interface::RowProvider;
using SrvFrwk::Interface::RowService;

template <class Row>
struct CXmlParserFrameworkPolicy::PolicyForm {
    const wchar_t* Method;  // "Class::Method" of the public query, for the log lines
    const wchar_t* FileName;
    const wchar_t* Element;
    std::wstring_view GuidElement;  // views: element names are compared child by child
    const wchar_t* GuidLabel;
    std::wstring_view DependedElement;
    const wchar_t* DependedChild;
    const wchar_t* DependedLabel;  // the longest label: the dump pads every label to it
    GUID Row::*Guid;
    std::vector<GUID> Row::*Depended;
    uint32_t Row::*InterfaceType;  // null: the document has no interface type
};

namespace {

using namespace std::string_view_literals;  // L"..."sv: names counted by the compiler

// A vocabulary name as a view that the compiler counts: handed over as characters, it would
// be counted with wcslen at every comparison, and readers compare names at every element.
template <const wchar_t* Name>
constexpr std::wstring_view kName = Name;

using Ostrel::TextValue;
using namespace Ostrel::Vocabulary;

constexpr size_t kPermissionSlots = std::extent_v<decltype(RowService::Permission)>;

constexpr bool IndexesFitSlots() {
    for (const TextValue& entry : kPermissionIndexes) {
        if (entry.Value >= kPermissionSlots) {
            return false;
        }
    }
    return true;
}
static_assert(IndexesFitSlots(), "every permission index names a slot of the row");

// Module names are taken as they stand but may not be empty.
bool TakeName(const std::wstring& text, std::wstring& name) {
    name = text;
    return !name.empty();
}

// An enumerated text; an unknown one is logged as the failure of getter ("Class::Method")
// and leaves value untouched.
template <size_t N>
bool LookUp(const wchar_t* getter, const TextValue (&table)[N], const std::wstring& text,
            uint32_t& value) {
    return Ostrel::LookUpTextValue(OSTREL_SOURCE_PLACE, getter, table, text, value);
}

std::wstring GuidText(const GUID& guid) {
    wchar_t text[39] = {};  // braced form and terminator
    return StringFromGUID2(guid, text, static_cast<int>(std::size(text))) != 0 ? text : L"";
}

}  // namespace

CXmlParserFrameworkPolicy::CXmlParserFrameworkPolicy(ZorvCommon::Storage::XmlParser& rXmlParser)
    : m_rXmlParser(rXmlParser) {}

HRESULT CXmlParserFrameworkPolicy::QueryValueForServicePolicy(
    SrvFrwk::Interface::ArrayOfRowService* pArrayOfRowService) {
    static const PolicyForm<RowService> kForm = {
        L"CXmlParserFrameworkPolicy::QueryValueForServicePolicy",
        L"QjBsSvPl.xen",
        PolicyElement::kFrameworkService,
        PolicyElement::kServiceGuid,
        L"[Service Guid]",
        PolicyElement::kDependedServices,
        PolicyElement::kDependedService,
        L"[DependedServices]",
        &RowService::ServiceGuid,
        &RowService::DependedServices,
        &RowService::InterfaceType};
    return QueryValueForPolicy(kForm, kServiceKey, pArrayOfRowService);
}

HRESULT CXmlParserFrameworkPolicy::QueryValueForProviderPolicy(
    SrvFrwk::Interface::ArrayOfRowProvider* pArrayOfRowProvider) {
    static const PolicyForm<RowProvider> kForm = {
        L"CXmlParserFrameworkPolicy::QueryValueForProviderPolicy",
        L"QjEnPvPl.xen",
        PolicyElement::kFrameworkProvider,
        PolicyElement::kProviderGuid,
        L"[Provider Guid]",
        PolicyElement::kDependedProviders,
        PolicyElement::kDependedProvider,
        L"[DependedProviders]",
        &RowProvider::ProviderGuid,
        &RowProvider::DependedProviders,
        nullptr};
    return QueryValueForPolicy(kForm, kProviderKey, pArrayOfRowProvider);
}

template <class Row>
HRESULT CXmlParserFrameworkPolicy::QueryValueForPolicy(const PolicyForm<Row>& form,
                                                       const char* szKey, std::vector<Row>* pRows) {
    ZORV_TRACE(L"[Enter] %s()...", form.Method);
    if (pRows == nullptr) {
        ZORV_ERROR(L"*** %s() - the row list was invalid.", form.Method);
        return Ostrel::kInvalidArgument;
    }
    pRows->clear();

    CXmlParserDocument document(m_rXmlParser, form.Method);
    HRESULT hr =
        document.Read(OSTREL_SOURCE_PLACE, form.FileName, szKey, PolicyElement::kBaseFramework,
                      [&] { return ParsePolicyElements(form, *pRows); });
    if (document.GetReadError() < 0) {
        hr = document.GetReadError();
    }
    ZORV_TRACE(L"[Leave] %s()...", form.Method);
    return hr;
}

template <class Row>
HRESULT CXmlParserFrameworkPolicy::ParsePolicyElements(const PolicyForm<Row>& form,
                                                       std::vector<Row>& rows) {
    // Counted once: the sibling walk compares it with every row's element.
    const std::wstring_view element = form.Element;
    uint32_t depth = 0;
    if (!m_rXmlParser.MoveToFirstChildElement(depth, element)) {
        ZORV_ERROR(L"*** %s() - this->m_rXmlParser.MoveToFirstChildElement() failed. [%s]",
                   form.Method, form.Element);
        return Ostrel::kWrongState;
    }
    HRESULT hr = S_OK;
    std::wstring text;
    do {
        Row row;
        if (!m_rXmlParser.GetAttribute(L"version"sv, row.Version)) {
            ZORV_ERROR(L"*** %s() - this->m_rXmlParser.GetAttribute() failed.", form.Method);
            return Ostrel::kNotFound;  // the rest of the document is not read
        }
        hr = ParsePolicyChildren(form, row, text);
        DumpRow(form, row);
        if (FAILED(hr)) {
            ZORV_ERROR(L"*** %s() - this->m_rXmlParser failed to parse element. [%s]", form.Method,
                       m_rXmlParser.GetElementName().c_str());
        } else {
            rows.push_back(std::move(row));
        }
    } while (m_rXmlParser.MoveToNextSiblingElement(depth, element));
    return hr;
}

template <class Row>
HRESULT CXmlParserFrameworkPolicy::ParsePolicyChildren(const PolicyForm<Row>& form, Row& row,
                                                       std::wstring& text) {
    uint32_t depth = 0;
    for (bool found = m_rXmlParser.MoveToFirstChildElement(depth); found;
         found = m_rXmlParser.MoveToNextSiblingElement(depth)) {
        const wchar_t* reader = nullptr;
        HRESULT hr = S_OK;
        if (m_rXmlParser.IsElementName(kName<PolicyElement::kShared>)) {
            reader = L"ParsePolicyShared";
            hr = ParsePolicyShared(row.SharedType, row.SharedGuid, text);
        } else if (m_rXmlParser.IsElementName(kName<PolicyElement::kPermissions>)) {
            reader = L"ParsePolicyPermissions";
            hr = ParsePolicyPermissions(row.Permission, text);
        } else if (m_rXmlParser.IsElementName(form.DependedElement)) {
            reader = L"ParsePolicyDepended";
            hr = ParsePolicyDepended(form.DependedChild, row.*form.Depended, text);
        } else {
            hr = ParsePolicyText(form, row, text);
        }
        if (FAILED(hr)) {
            // These lines name the provider query whichever document is read.
            if (reader != nullptr) {
                ZORV_ERROR(
                    L"*** CXmlParserFrameworkPolicy::QueryValueForProviderPolicy() - this->%s() "
                    L"failed.",
                    reader);
            }
            return hr;
        }
    }
    // The walk also ends when the reader fails: the row is then cut short.
    return m_rXmlParser.GetLastResult() < 0 ? m_rXmlParser.GetLastResult() : S_OK;
}

template <class Row>
HRESULT CXmlParserFrameworkPolicy::ParsePolicyText(const PolicyForm<Row>& form, Row& row,
                                                   std::wstring& text) {
    const auto is = [this](std::wstring_view name) { return m_rXmlParser.IsElementName(name); };
    const auto read = [&] { return m_rXmlParser.GetText(text); };
    bool parsed = false;
    if (is(form.GuidElement)) {
        parsed = read() && Frwk::Utility::T2Guid(text, row.*form.Guid);
    } else if (is(kName<PolicyElement::kModule>)) {
        parsed = read() && LookUp(L"CXmlParserFrameworkPolicy::GetModuleType", kModuleTypes, text,
                                  row.ModuleType);
    } else if (is(kName<PolicyElement::kModuleName>)) {
        parsed = read() && TakeName(text, row.ModuleName);
    } else if (is(kName<PolicyElement::kStartUp>)) {
        parsed = read() && LookUp(L"CXmlParserFrameworkPolicy::GetStartupType", kStartupTypes, text,
                                  row.StartupType);
    } else if (is(kName<PolicyElement::kLoad>)) {
        parsed = read() && LookUp(L"CXmlParserFrameworkPolicy::GetLoadOption", kLoadOptions, text,
                                  row.LoadOption);
    } else if (is(kName<PolicyElement::kUnload>)) {
        parsed = read() && LookUp(L"CXmlParserFrameworkPolicy::GetUnloadOption", kUnloadOptions,
                                  text, row.UnloadOption);
    } else if (is(kName<PolicyElement::kOrderOfLoading>)) {
        parsed = read() && ZorvCommon::String::StrToUlDecimal(text, row.OrderOfLoading);
    } else if (is(kName<PolicyElement::kOrderOfUnloading>)) {
        parsed = read() && ZorvCommon::String::StrToUlDecimal(text, row.OrderOfUnloading);
    } else if (form.InterfaceType != nullptr && is(kName<PolicyElement::kInterface>)) {
        parsed = read() && LookUp(L"CXmlParserFrameworkPolicy::GetInterfaceType", kInterfaceTypes,
                                  text, row.*form.InterfaceType);
    } else if (is(kName<PolicyElement::kDataConversion>)) {
        parsed = read() && LookUp(L"CXmlParserFrameworkPolicy::GetDataConversion", kDataConversions,
                                  text, row.DataConversion);
    } else if (is(kName<PolicyElement::kConvModuleName>)) {
        parsed = read() && TakeName(text, row.ConvModuleName);
    } else {
        return Ostrel::kElementSkipped;
    }
    if (!parsed) {
        ZORV_ERROR(L"*** %s() - this->m_rXmlParser failed to parse text. [%s]", form.Method,
                   text.c_str());
        return Ostrel::kInvalidData;
    }
    return S_OK;
}

template <class Row>
void CXmlParserFrameworkPolicy::DumpRow(const PolicyForm<Row>& form, const Row& row) const {
    if (!ZorvCommon::g_DebugLog.IsPassing(ZorvCommon::LogLevelInfo)) {
        return;  // spare the GUID texts
    }
    const int width = static_cast<int>(wcslen(form.DependedLabel));
    const auto text = [width](const wchar_t* label, const std::wstring& value) {
        ZORV_INFO(L"    %-*s:%s.", width, label, value.c_str());
    };
    const auto number = [width](const wchar_t* label, uint32_t value) {
        ZORV_INFO(L"    %-*s:%d.", width, label, value);
    };
    ZORV_INFO(L"*** [%s]", form.Element);
    text(L"[Version]", row.Version);
    text(form.GuidLabel, GuidText(row.*form.Guid));
    number(L"[Module Type]", row.ModuleType);
    text(L"[Module Name]", row.ModuleName);
    number(L"[Startup Type]", row.StartupType);
    number(L"[Load Option]", row.LoadOption);
    number(L"[Unload Option]", row.UnloadOption);
    number(L"[OrderOfLoading]", row.OrderOfLoading);
    number(L"[OrderOfUnloading]", row.OrderOfUnloading);
    number(L"[Shared Type]", row.SharedType);
    text(L"[Shared Guid]", GuidText(row.SharedGuid));
    if (form.InterfaceType != nullptr) {
        number(L"[InterfaceType]", row.*form.InterfaceType);
    }
    // "[Permission][n]" is 15 characters wide; the blanks after it pad it as the others.
    const int permissionPad = width - 15;
    for (uint32_t index = 0; index < kPermissionSlots; ++index) {
        ZORV_INFO(L"    [Permission][%lu]%-*s:%d.", index, permissionPad, L"",
                  row.Permission[index]);
    }
    number(L"[Data Conversion]", row.DataConversion);
    text(L"[ConvModuleName]", row.ConvModuleName);
    for (const GUID& guid : row.*form.Depended) {
        text(form.DependedLabel, GuidText(guid));
    }
}

HRESULT CXmlParserFrameworkPolicy::ParsePolicyShared(uint32_t& sharedType, GUID& sharedGuid,
                                                     std::wstring& text) {
    ZORV_TRACE(L"[Enter] CXmlParserFrameworkPolicy::ParsePolicyShared()...");
    HRESULT hr = S_OK;
    if (!m_rXmlParser.GetAttribute(L"SharedType"sv, text)) {
        ZORV_ERROR(
            L"*** CXmlParserFrameworkPolicy::ParsePolicyShared() - this->m_rXmlParser."
            L"GetAttribute() failed.");
        hr = Ostrel::kNotFound;
    } else if (!LookUp(L"CXmlParserFrameworkPolicy::GetSharedType", kSharedTypes, text,
                       sharedType)) {
        ZORV_ERROR(
            L"*** CXmlParserFrameworkPolicy::ParsePolicyShared() - this->GetSharedType() "
            L"failed.");
        hr = Ostrel::kInvalidData;
    } else {
        text.clear();  // a missing "SharedGuid" stays empty, which T2Guid refuses
        if (!m_rXmlParser.GetAttribute(L"SharedGuid"sv, text) ||
            !Frwk::Utility::T2Guid(text, sharedGuid)) {
            ZORV_ERROR(
                L"*** CXmlParserFrameworkPolicy::ParsePolicyShared() - Frwk::Utility::T2Guid() "
                L"failed. [%s]",
                text.c_str());
            hr = Ostrel::kInvalidData;
        }
    }
    ZORV_TRACE(L"[Leave] CXmlParserFrameworkPolicy::ParsePolicyShared()...");
    return hr;
}

HRESULT CXmlParserFrameworkPolicy::ParsePolicyPermissions(uint32_t (&permissions)[4],
                                                          std::wstring& text) {
    ZORV_TRACE(L"[Enter] CXmlParserFrameworkPolicy::ParsePolicyPermissions()...");
    HRESULT hr = S_OK;
    uint32_t depth = 0;
    for (bool found =
             m_rXmlParser.MoveToFirstChildElement(depth, kName<PolicyElement::kPermission>);
         found && SUCCEEDED(hr);
         found = m_rXmlParser.MoveToNextSiblingElement(depth, kName<PolicyElement::kPermission>)) {
        uint32_t index = 0;
        if (!m_rXmlParser.GetAttribute(L"type"sv, text)) {
            ZORV_ERROR(
                L"*** CXmlParserFrameworkPolicy::ParsePolicyPermissions() - this->m_rXmlParser."
                L"GetAttribute() failed.");
            hr = Ostrel::kNotFound;
        } else if (!LookUp(L"CXmlParserFrameworkPolicy::GetPermissionIndex", kPermissionIndexes,
                           text, index)) {
            ZORV_ERROR(
                L"*** CXmlParserFrameworkPolicy::ParsePolicyPermissions() - this->"
                L"GetPermissionIndex() failed.");
            hr = Ostrel::kWrongState;
        } else {
            // A later "Permission" of the same index overwrites the earlier one; an unknown
            // text leaves the slot 0.
            permissions[index] = 0;
            if (!m_rXmlParser.GetText(text) ||
                !LookUp(L"CXmlParserFrameworkPolicy::GetPermissionType", kPermissionTypes, text,
                        permissions[index])) {
                ZORV_ERROR(
                    L"*** CXmlParserFrameworkPolicy::ParsePolicyPermissions() - this->"
                    L"GetPermissionType() failed.");
                hr = Ostrel::kInvalidData;
            }
        }
    }
    ZORV_TRACE(L"[Leave] CXmlParserFrameworkPolicy::ParsePolicyPermissions()...");
    return hr;
}

HRESULT CXmlParserFrameworkPolicy::ParsePolicyDepended(const wchar_t* childName,
                                                       std::vector<GUID>& guids,
                                                       std::wstring& text) {
    ZORV_TRACE(L"[Enter] CXmlParserFrameworkPolicy::ParsePolicyDepended()...");
    HRESULT hr = S_OK;
    const std::wstring_view child = childName;
    uint32_t depth = 0;
    for (bool found = m_rXmlParser.MoveToFirstChildElement(depth, child); found && SUCCEEDED(hr);
         found = m_rXmlParser.MoveToNextSiblingElement(depth, child)) {
        GUID guid{};
        if (m_rXmlParser.GetText(text) && Frwk::Utility::T2Guid(text, guid)) {
            guids.push_back(guid);
        } else {
            ZORV_ERROR(
                L"*** CXmlParserFrameworkPolicy::ParsePolicyDepended() - Frwk::Utility::T2Guid() "
                L"failed.");
            hr = Ostrel::kInvalidData;
        }
    }
    ZORV_TRACE(L"[Leave] CXmlParserFrameworkPolicy::ParsePolicyDepended()...");
    return hr;
}
