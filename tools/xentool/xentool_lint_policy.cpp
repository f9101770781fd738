// The service and provider policy documents: one grammar for both, the element of the
// other kind refused.

#include "Frwk_Utility.h"
#include "ZorvComn_String.h"
#include "xentool_lint.h"

namespace Xentool {

namespace {

using namespace Ostrel::Vocabulary;

bool IsNotEmpty(const std::wstring& text) {
    return !text.empty();
}

bool IsGuid(const std::wstring& text) {
    GUID guid = {};
    return Frwk::Utility::T2Guid(text, guid);
}

bool IsDecimal(const std::wstring& text) {
    uint32_t value = 0;
    return ZorvCommon::String::StrToUlDecimal(text, value);
}

}  // namespace

const Grammar& PolicyGrammar() {
    static const Grammar grammar = [] {
        using namespace PolicyElement;
        const TextRule any;
        const TextRule guid(&IsGuid,
                            L"a braced GUID such as {6513270E-269E-0D37-F2A7-4DE452E6B438}");
        const TextRule fileName(&IsNotEmpty, L"a file name");
        const TextRule order(&IsDecimal, L"a decimal number");
        Grammar rows = {
            {kBaseFramework, nullptr, Occurs::Optional, any},
            {kFrameworkService, kBaseFramework, Occurs::Repeated, any},
            {kFrameworkProvider, kBaseFramework, Occurs::Repeated, any},
            {L"SharedType", kShared, Occurs::RequiredAttribute, OneOf(kSharedTypes)},
            {L"SharedGuid", kShared, Occurs::RequiredAttribute, guid},
            {kPermission, kPermissions, Occurs::Repeated, OneOf(kPermissionTypes)},
            {L"type", kPermission, Occurs::RequiredAttribute, OneOf(kPermissionIndexes)},
            {kDependedService, kDependedServices, Occurs::Repeated, guid},
            {kDependedProvider, kDependedProviders, Occurs::Repeated, guid},
        };
        // A service and a provider: the children they share, then their own.
        for (const bool service : {true, false}) {
            const wchar_t* row = service ? kFrameworkService : kFrameworkProvider;
            const std::vector<std::pair<const wchar_t*, TextRule>> children = {
                {service ? kServiceGuid : kProviderGuid, guid},
                {kModule, OneOf(kModuleTypes)},
                {kModuleName, fileName},
                {kStartUp, OneOf(kStartupTypes)},
                {kLoad, OneOf(kLoadOptions)},
                {kUnload, OneOf(kUnloadOptions)},
                {kOrderOfLoading, order},
                {kOrderOfUnloading, order},
                {kShared, any},
                {kPermissions, any},
                {kDataConversion, OneOf(kDataConversions)},
                {kConvModuleName, fileName},
                {service ? kDependedServices : kDependedProviders, any}};
            rows.push_back({L"version", row, Occurs::RequiredAttribute, any});
            for (const auto& child : children) {
                rows.push_back({child.first, row, Occurs::Optional, child.second});
            }
            if (service) {
                rows.push_back({kInterface, row, Occurs::Optional, OneOf(kInterfaceTypes)});
            }
        }
        return rows;
    }();
    return grammar;
}

void LintPolicy(const XmlElement& root, DocumentKind kind, Findings& findings) {
    CheckStructure(PolicyGrammar(), root, findings);
    for (const auto& pChild : root.Children) {
        const XmlElement& row = *pChild;
        const bool isService = row.IsNamed(PolicyElement::kFrameworkService);
        if (!isService && !row.IsNamed(PolicyElement::kFrameworkProvider)) {
            continue;
        }
        // A plain document is of the kind of its first row.
        if (kind == DocumentKind::Unknown) {
            kind = isService ? DocumentKind::Service : DocumentKind::Provider;
        }
        if (isService != (kind == DocumentKind::Service)) {
            findings.Error(row.At, std::wstring(L"<") + row.Name + L"> in a " +
                                       (isService ? L"provider" : L"service") +
                                       L" document; its reader never reads it");
        }
    }
}

}  // namespace Xentool
