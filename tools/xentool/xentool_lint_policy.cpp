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
        const TextRule any;
        const TextRule guid(&IsGuid,
                            L"a braced GUID such as {6513270E-269E-0D37-F2A7-4DE452E6B438}");
        const TextRule fileName(&IsNotEmpty, L"a file name");
        const TextRule order(&IsDecimal, L"a decimal number");
        Grammar rows = {
            {PolicyElement::kBaseFramework, nullptr, Occurs::Optional, any},
            {PolicyElement::kFrameworkService, PolicyElement::kBaseFramework, Occurs::Repeated,
             any},
            {PolicyElement::kFrameworkProvider, PolicyElement::kBaseFramework, Occurs::Repeated,
             any},
            {L"SharedType", PolicyElement::kShared, Occurs::RequiredAttribute, OneOf(kSharedTypes)},
            {L"SharedGuid", PolicyElement::kShared, Occurs::RequiredAttribute, guid},
            {PolicyElement::kPermission, PolicyElement::kPermissions, Occurs::Repeated,
             OneOf(kPermissionTypes)},
            {L"type", PolicyElement::kPermission, Occurs::RequiredAttribute,
             OneOf(kPermissionIndexes)},
            {PolicyElement::kDependedService, PolicyElement::kDependedServices, Occurs::Repeated,
             guid},
            {PolicyElement::kDependedProvider, PolicyElement::kDependedProviders, Occurs::Repeated,
             guid},
        };
        // A service and a provider: the children they share, then their own.
        for (const bool service : {true, false}) {
            const wchar_t* row =
                service ? PolicyElement::kFrameworkService : PolicyElement::kFrameworkProvider;
            const std::vector<std::pair<const wchar_t*, TextRule>> children = {
                {service ? PolicyElement::kServiceGuid : PolicyElement::kProviderGuid, guid},
                {PolicyElement::kModule, OneOf(kModuleTypes)},
                {PolicyElement::kModuleName, fileName},
                {PolicyElement::kStartUp, OneOf(kStartupTypes)},
                {PolicyElement::kLoad, OneOf(kLoadOptions)},
                {PolicyElement::kUnload, OneOf(kUnloadOptions)},
                {PolicyElement::kOrderOfLoading, order},
                {PolicyElement::kOrderOfUnloading, order},
                {PolicyElement::kShared, any},
                {PolicyElement::kPermissions, any},
                {PolicyElement::kDataConversion, OneOf(kDataConversions)},
                {PolicyElement::kConvModuleName, fileName},
                {service ? PolicyElement::kDependedServices : PolicyElement::kDependedProviders,
                 any}};
            rows.push_back({L"version", row, Occurs::RequiredAttribute, any});
            for (const auto& child : children) {
                rows.push_back({child.first, row, Occurs::Optional, child.second});
            }
            if (service) {
                rows.push_back(
                    {PolicyElement::kInterface, row, Occurs::Optional, OneOf(kInterfaceTypes)});
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
