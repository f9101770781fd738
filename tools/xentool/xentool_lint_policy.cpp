// The service and provider policy documents: one grammar for both, the element of the
// other kind refused.

#include "xentool_lint.h"
#include "xentool_lint_grammar.h"

namespace Xentool {

namespace {

using namespace Ostrel::Vocabulary;

const TextRule kAnyText = {};
const TextRule kGuid = {&IsGuid, L"a braced GUID such as {6513270E-269E-0D37-F2A7-4DE452E6B438}"};
const TextRule kName = {&IsNotEmpty, L"a file name"};
const TextRule kOrder = {&IsDecimal, L"a decimal number"};

ElementRule Leaf(const wchar_t* name, TextRule text) {
    return {name, {}, {}, true, text};
}

// The children of a service or provider element: the shared ones, then its own.
std::vector<ChildRule> RowChildren(const wchar_t* guid, const wchar_t* depended, bool service) {
    std::vector<ChildRule> children = {{guid, false, false},
                                       {PolicyElement::kModule, false, false},
                                       {PolicyElement::kModuleName, false, false},
                                       {PolicyElement::kStartUp, false, false},
                                       {PolicyElement::kLoad, false, false},
                                       {PolicyElement::kUnload, false, false},
                                       {PolicyElement::kOrderOfLoading, false, false},
                                       {PolicyElement::kOrderOfUnloading, false, false},
                                       {PolicyElement::kShared, false, false},
                                       {PolicyElement::kPermissions, false, false},
                                       {PolicyElement::kDataConversion, false, false},
                                       {PolicyElement::kConvModuleName, false, false},
                                       {depended, false, false}};
    if (service) {
        children.push_back({PolicyElement::kInterface, false, false});
    }
    return children;
}

const Grammar& PolicyGrammar() {
    static const Grammar grammar({
        {PolicyElement::kBaseFramework,
         {},
         {{PolicyElement::kFrameworkService, false, true},
          {PolicyElement::kFrameworkProvider, false, true}}},
        {PolicyElement::kFrameworkService,
         {{L"version", true, kAnyText}},
         RowChildren(PolicyElement::kServiceGuid, PolicyElement::kDependedServices, true)},
        {PolicyElement::kFrameworkProvider,
         {{L"version", true, kAnyText}},
         RowChildren(PolicyElement::kProviderGuid, PolicyElement::kDependedProviders, false)},
        Leaf(PolicyElement::kServiceGuid, kGuid),
        Leaf(PolicyElement::kProviderGuid, kGuid),
        Leaf(PolicyElement::kModule, OneOf(kModuleTypes)),
        Leaf(PolicyElement::kModuleName, kName),
        Leaf(PolicyElement::kStartUp, OneOf(kStartupTypes)),
        Leaf(PolicyElement::kLoad, OneOf(kLoadOptions)),
        Leaf(PolicyElement::kUnload, OneOf(kUnloadOptions)),
        Leaf(PolicyElement::kOrderOfLoading, kOrder),
        Leaf(PolicyElement::kOrderOfUnloading, kOrder),
        {PolicyElement::kShared,
         {{L"SharedType", true, OneOf(kSharedTypes)}, {L"SharedGuid", true, kGuid}},
         {}},
        Leaf(PolicyElement::kInterface, OneOf(kInterfaceTypes)),
        {PolicyElement::kPermissions, {}, {{PolicyElement::kPermission, false, true}}},
        {PolicyElement::kPermission,
         {{L"type", true, OneOf(kPermissionIndexes)}},
         {},
         true,
         OneOf(kPermissionTypes)},
        Leaf(PolicyElement::kDataConversion, OneOf(kDataConversions)),
        Leaf(PolicyElement::kConvModuleName, kName),
        {PolicyElement::kDependedServices, {}, {{PolicyElement::kDependedService, false, true}}},
        {PolicyElement::kDependedProviders, {}, {{PolicyElement::kDependedProvider, false, true}}},
        Leaf(PolicyElement::kDependedService, kGuid),
        Leaf(PolicyElement::kDependedProvider, kGuid),
    });
    return grammar;
}

}  // namespace

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
