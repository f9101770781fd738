// The web access control document: sites, applications and the controls that name them
// by label.

#include <map>

#include "xentool_lint.h"

namespace Xentool {

namespace {

using namespace Ostrel::Vocabulary;

using Labels = std::map<std::wstring, Position>;

// The labels of the elements named child below each container named parent; a label
// used twice is refused by the reader's map, which keeps the first.
Labels CollectLabels(const XmlElement& root, const wchar_t* parent, const wchar_t* child,
                     Findings& findings) {
    Labels labels;
    for (const auto& pContainer : root.Children) {
        if (!pContainer->IsNamed(parent)) {
            continue;
        }
        for (const auto& pElement : pContainer->Children) {
            const XmlAttribute* pLabel = pElement->FindAttribute(L"label");
            if (!pElement->IsNamed(child) || pLabel == nullptr) {
                continue;
            }
            const auto inserted = labels.emplace(pLabel->Value, pLabel->At);
            if (!inserted.second) {
                findings.Warning(pLabel->At, L"label " + Quote(pLabel->Value) +
                                                 L" is already used at line " +
                                                 std::to_wstring(inserted.first->second.Line) +
                                                 L"; the reader keeps the first");
            }
        }
    }
    return labels;
}

void CheckReference(const XmlElement& control, const wchar_t* attribute, const Labels& labels,
                    const wchar_t* what, Findings& findings) {
    const XmlAttribute* pReference = control.FindAttribute(attribute);
    if (pReference != nullptr && labels.count(pReference->Value) == 0) {
        findings.Warning(pReference->At, Quote(pReference->Value) + L" names no " + what +
                                             L"; the reader leaves the <" + control.Name +
                                             L"> out");
    }
}

}  // namespace

const Grammar& WebAccessGrammar() {
    static const Grammar grammar = [] {
        const TextRule any;
        Grammar rows = {
            {WebElement::kWebAccess, nullptr, Occurs::Optional, any},
            {WebElement::kSites, WebElement::kWebAccess, Occurs::Repeated, any},
            {WebElement::kApplications, WebElement::kWebAccess, Occurs::Repeated, any},
            {WebElement::kControls, WebElement::kWebAccess, Occurs::Repeated, any},
            {WebElement::kAddress, WebElement::kSites, Occurs::Repeated, any},
            {L"label", WebElement::kAddress, Occurs::RequiredAttribute, any},
            {L"id", WebElement::kAddress, Occurs::RequiredAttribute, any},
            {WebElement::kProcess, WebElement::kApplications, Occurs::Repeated, any},
            {L"platform", WebElement::kProcess, Occurs::RequiredAttribute,
             OneOf(kWebPlatforms, kWebBitness)},
            {L"label", WebElement::kProcess, Occurs::RequiredAttribute, any},
            {L"native", WebElement::kProcess, Occurs::RequiredAttribute, OneOf(kNativeBitness)},
            {L"vender", WebElement::kProcess, Occurs::OptionalAttribute, any},
            {L"family", WebElement::kProcess, Occurs::OptionalAttribute, any},
            {L"code", WebElement::kProcess, Occurs::OptionalAttribute, any},
            {WebElement::kFileName, WebElement::kProcess, Occurs::Required, any},
            {WebElement::kFilters, WebElement::kControls, Occurs::Repeated, any},
            {WebElement::kLogs, WebElement::kControls, Occurs::Repeated, any},
            {WebElement::kProtections, WebElement::kControls, Occurs::Repeated, any},
            {WebElement::kFilter, WebElement::kFilters, Occurs::Repeated, any},
            {L"label", WebElement::kFilter, Occurs::RequiredAttribute, any},
            {L"type", WebElement::kFilter, Occurs::RequiredAttribute, OneOf(kFilterTypes)},
            {L"process", WebElement::kFilter, Occurs::RequiredAttribute, any},
            {L"address", WebElement::kFilter, Occurs::RequiredAttribute, any},
            {WebElement::kLog, WebElement::kLogs, Occurs::Repeated, any},
            {WebElement::kProtection, WebElement::kProtections, Occurs::Repeated, any},
        };
        // The controls that name a site by "address".
        for (const wchar_t* control : {WebElement::kLog, WebElement::kProtection}) {
            rows.push_back({L"label", control, Occurs::RequiredAttribute, any});
            rows.push_back({L"enable", control, Occurs::RequiredAttribute, OneOf(kBooleans)});
            rows.push_back({L"address", control, Occurs::RequiredAttribute, any});
        }
        return rows;
    }();
    return grammar;
}

void LintWebAccess(const XmlElement& root, DocumentKind, Findings& findings) {
    CheckStructure(WebAccessGrammar(), root, findings);
    const Labels sites = CollectLabels(root, WebElement::kSites, WebElement::kAddress, findings);
    const Labels applications =
        CollectLabels(root, WebElement::kApplications, WebElement::kProcess, findings);
    for (const auto& pControls : root.Children) {
        if (!pControls->IsNamed(WebElement::kControls)) {
            continue;
        }
        for (const auto& pGroup : pControls->Children) {
            for (const auto& pControl : pGroup->Children) {
                CheckReference(*pControl, L"address", sites, L"<Address>", findings);
                if (pControl->IsNamed(WebElement::kFilter)) {
                    CheckReference(*pControl, L"process", applications, L"<Process>", findings);
                }
            }
        }
    }
}

}  // namespace Xentool
