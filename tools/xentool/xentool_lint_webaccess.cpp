// The web access control document: sites, applications and the controls that name them
// by label.

#include <map>

#include "xentool_lint.h"
#include "xentool_lint_grammar.h"

namespace Xentool {

namespace {

// The web access reader's platform words: the version classes and the two bitness
// words; "all" is not one of them.
const wchar_t* const kPlatforms[] = {
    L"xp32",         L"xp64",         L"xp32or64", L"vista32",     L"vista64",
    L"vista32or64",  L"seven32",      L"seven64",  L"seven32or64", L"xporlater",
    L"vistaorlater", L"sevenorlater", L"all32",    L"all64",       nullptr};
const wchar_t* const kNatives[] = {L"32bit", L"64bit", nullptr};
const wchar_t* const kFilterTypes[] = {L"approved", L"blocked", L"blocked_unchanged_request",
                                       nullptr};
const wchar_t* const kBooleans[] = {L"yes", L"no", nullptr};

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
        {L"WebAccess",
         {},
         {{L"Sites", false, true}, {L"Applications", false, true}, {L"Controls", false, true}}},
        {L"Sites", {}, {{L"Address", false, true}}},
        {L"Address", {{L"label", true, kAnyText}, {L"id", true, kAnyText}}, {}},
        {L"Applications", {}, {{L"Process", false, true}}},
        {L"Process",
         {{L"platform", true, OneOf(kPlatforms)},
          {L"label", true, kAnyText},
          {L"native", true, OneOf(kNatives)},
          {L"vender", false, kAnyText},
          {L"family", false, kAnyText},
          {L"code", false, kAnyText}},
         {{L"FileName", true, false}}},
        {L"FileName", {}, {}, true, kAnyText},
        {L"Controls",
         {},
         {{L"Filters", false, true}, {L"Logs", false, true}, {L"Protections", false, true}}},
        {L"Filters", {}, {{L"Filter", false, true}}},
        {L"Filter",
         {{L"label", true, kAnyText},
          {L"type", true, OneOf(kFilterTypes)},
          {L"process", true, kAnyText},
          {L"address", true, kAnyText}},
         {}},
        {L"Logs", {}, {{L"Log", false, true}}},
        {L"Protections", {}, {{L"Protection", false, true}}},
        SiteControl(L"Log"),
        SiteControl(L"Protection"),
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
    const Labels sites = CollectLabels(root, L"Sites", L"Address", findings);
    const Labels applications = CollectLabels(root, L"Applications", L"Process", findings);
    for (const auto& pControls : root.Children) {
        if (!pControls->IsNamed(L"Controls")) {
            continue;
        }
        for (const auto& pGroup : pControls->Children) {
            for (const auto& pControl : pGroup->Children) {
                CheckReference(*pControl, L"address", sites, L"<Address>", findings);
                if (pControl->IsNamed(L"Filter")) {
                    CheckReference(*pControl, L"process", applications, L"<Process>", findings);
                }
            }
        }
    }
}

}  // namespace Xentool
