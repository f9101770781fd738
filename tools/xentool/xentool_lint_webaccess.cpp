// The web access control document: sites, applications and the controls that name them
// by label.

#include <map>

#include "xentool_lint.h"
#include "xentool_lint_grammar.h"

namespace Xentool {

namespace {

using namespace Ostrel::Vocabulary;

// The platform words: the version classes and the two bitness words ("all" is not one).
TextRule PlatformWords() {
    TextRule rule = OneOf(kWebPlatforms);
    for (const std::wstring_view word : WordsOf(kWebBitness)) {
        rule.Accepted.push_back(word);
    }
    rule.Expected = ListWords(rule.Accepted);
    return rule;
}

const TextRule kAnyText = {};

// A control that names a site by "address": Log and Protection.
ElementRule SiteControl(const wchar_t* name) {
    return {name,
            {{L"label", true, kAnyText},
             {L"enable", true, OneOf(kBooleans)},
             {L"address", true, kAnyText}},
            {}};
}

const Grammar& WebAccessGrammar() {
    static const Grammar grammar({
        {WebElement::kWebAccess,
         {},
         {{WebElement::kSites, false, true},
          {WebElement::kApplications, false, true},
          {WebElement::kControls, false, true}}},
        {WebElement::kSites, {}, {{WebElement::kAddress, false, true}}},
        {WebElement::kAddress, {{L"label", true, kAnyText}, {L"id", true, kAnyText}}, {}},
        {WebElement::kApplications, {}, {{WebElement::kProcess, false, true}}},
        {WebElement::kProcess,
         {{L"platform", true, PlatformWords()},
          {L"label", true, kAnyText},
          {L"native", true, OneOf(kNativeBitness)},
          {L"vender", false, kAnyText},
          {L"family", false, kAnyText},
          {L"code", false, kAnyText}},
         {{WebElement::kFileName, true, false}}},
        {WebElement::kFileName, {}, {}, true, kAnyText},
        {WebElement::kControls,
         {},
         {{WebElement::kFilters, false, true},
          {WebElement::kLogs, false, true},
          {WebElement::kProtections, false, true}}},
        {WebElement::kFilters, {}, {{WebElement::kFilter, false, true}}},
        {WebElement::kFilter,
         {{L"label", true, kAnyText},
          {L"type", true, OneOf(kFilterTypes)},
          {L"process", true, kAnyText},
          {L"address", true, kAnyText}},
         {}},
        {WebElement::kLogs, {}, {{WebElement::kLog, false, true}}},
        {WebElement::kProtections, {}, {{WebElement::kProtection, false, true}}},
        SiteControl(WebElement::kLog),
        SiteControl(WebElement::kProtection),
    });
    return grammar;
}

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

void LintWebAccess(const XmlElement& root, Findings& findings) {
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
