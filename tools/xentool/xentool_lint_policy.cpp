// The service and provider policy documents: one grammar for both, the element of the
// other kind refused.

#include "xentool_lint.h"
#include "xentool_lint_grammar.h"

namespace Xentool {

namespace {

const wchar_t* const kModuleTypes[] = {L"eExectable", L"eDynamicLinkLibrary", L"eInlineCode",
                                       nullptr};
const wchar_t* const kStartupTypes[] = {L"eDisable", L"eAutomatic", L"eDemand", L"ePreStart",
                                        nullptr};
const wchar_t* const kLoadOptions[] = {L"eSequentialLoad", L"eParallelLoad", nullptr};
const wchar_t* const kUnloadOptions[] = {L"eSequentialUnload", L"eParallelUnload", nullptr};
const wchar_t* const kSharedTypes[] = {L"eIndependent", L"eSharedService", L"eSharedProvider",
                                       nullptr};
const wchar_t* const kInterfaceTypes[] = {L"eIFrwkService", L"eIFrwkServiceEx", nullptr};
const wchar_t* const kPermissionIndexes[] = {L"eSetup", L"eNormal", L"eMaintain", nullptr};
const wchar_t* const kPermissionTypes[] = {L"eAllow", L"eDeny", nullptr};
const wchar_t* const kDataConversions[] = {L"eNoneConversion", L"eDefaultConversion",
                                           L"eSpecificConversion", nullptr};

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
                                       {L"Module", false, false},
                                       {L"ModuleName", false, false},
                                       {L"StartUp", false, false},
                                       {L"Load", false, false},
                                       {L"Unload", false, false},
                                       {L"OrderOfLoading", false, false},
                                       {L"OrderOfUnloading", false, false},
                                       {L"Shared", false, false},
                                       {L"Permissions", false, false},
                                       {L"DataConversion", false, false},
                                       {L"ConvModuleName", false, false},
                                       {depended, false, false}};
    if (service) {
        children.push_back({L"Interface", false, false});
    }
    return children;
}

const Grammar& PolicyGrammar() {
    static const Grammar grammar({
        {L"BaseFramework",
         {},
         {{L"FrameworkService", false, true}, {L"FrameworkProvider", false, true}}},
        {L"FrameworkService",
         {{L"version", true, kAnyText}},
         RowChildren(L"ServiceGuid", L"DependedServices", true)},
        {L"FrameworkProvider",
         {{L"version", true, kAnyText}},
         RowChildren(L"ProviderGuid", L"DependedProviders", false)},
        Leaf(L"ServiceGuid", kGuid),
        Leaf(L"ProviderGuid", kGuid),
        Leaf(L"Module", OneOf(kModuleTypes)),
        Leaf(L"ModuleName", kName),
        Leaf(L"StartUp", OneOf(kStartupTypes)),
        Leaf(L"Load", OneOf(kLoadOptions)),
        Leaf(L"Unload", OneOf(kUnloadOptions)),
        Leaf(L"OrderOfLoading", kOrder),
        Leaf(L"OrderOfUnloading", kOrder),
        {L"Shared", {{L"SharedType", true, OneOf(kSharedTypes)}, {L"SharedGuid", true, kGuid}}, {}},
        Leaf(L"Interface", OneOf(kInterfaceTypes)),
        {L"Permissions", {}, {{L"Permission", false, true}}},
        {L"Permission",
         {{L"type", true, OneOf(kPermissionIndexes)}},
         {},
         true,
         OneOf(kPermissionTypes)},
        Leaf(L"DataConversion", OneOf(kDataConversions)),
        Leaf(L"ConvModuleName", kName),
        {L"DependedServices", {}, {{L"DependedService", false, true}}},
        {L"DependedProviders", {}, {{L"DependedProvider", false, true}}},
        Leaf(L"DependedService", kGuid),
        Leaf(L"DependedProvider", kGuid),
    });
    return grammar;
}

}  // namespace

void LintPolicy(const XmlElement& root, DocumentKind kind, Findings& findings) {
    CheckStructure(PolicyGrammar(), root, findings);
    for (const auto& pChild : root.Children) {
        const XmlElement& row = *pChild;
        const bool isService = row.IsNamed(L"FrameworkService");
        if (!isService && !row.IsNamed(L"FrameworkProvider")) {
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
