#include "xentool_lint_grammar.h"

#include <algorithm>

#include "Frwk_StringUtility.h"
#include "Frwk_Utility.h"
#include "ZorvComn_String.h"

namespace Xentool {

namespace {

// Schema hints for editors: the readers never look at them.
bool IsSchemaHint(const std::wstring& name) {
    return name == L"xsi" || name == L"xmlns" || name == L"noNamespaceSchemaLocation" ||
           name == L"schemaLocation";
}

void CheckText(const TextRule& rule, const std::wstring& text, const Position& at,
               const std::wstring& what, Findings& findings) {
    if (rule.Accepted.empty() ? rule.Check == nullptr || rule.Check(text)
                              : IsOneOf(text, rule.Accepted)) {
        return;
    }
    findings.Error(at,
                   (text.empty() ? what + L" is empty" : Quote(text) + L" is not a valid " + what) +
                       L" (" + rule.Expected + L")");
}

void CheckAttributes(const ElementRule& rule, const XmlElement& element, Findings& findings) {
    const std::wstring tag = L"<" + element.Name + L">";
    for (const XmlAttribute& attribute : element.Attributes) {
        const auto known = std::find_if(
            rule.Attributes.begin(), rule.Attributes.end(),
            [&](const AttributeRule& candidate) { return attribute.Name == candidate.Name; });
        if (known == rule.Attributes.end()) {
            if (!IsSchemaHint(attribute.Name)) {
                findings.Warning(attribute.At, Quote(attribute.Name) + L" is not an attribute of " +
                                                   tag + L"; the reader ignores it");
            }
            continue;
        }
        CheckText(known->Text, attribute.Value, attribute.At, Quote(attribute.Name), findings);
    }
    for (const AttributeRule& required : rule.Attributes) {
        if (required.Required && element.FindAttribute(required.Name) == nullptr) {
            findings.Error(element.At, tag + L" has no " + Quote(required.Name) + L" attribute");
        }
    }
}

void CheckChildren(const Grammar& grammar, const ElementRule& rule, const XmlElement& element,
                   Findings& findings) {
    const std::wstring tag = L"<" + element.Name + L">";
    std::vector<size_t> counts(rule.Children.size(), 0);
    for (const auto& pChild : element.Children) {
        const XmlElement& child = *pChild;
        const auto known =
            std::find_if(rule.Children.begin(), rule.Children.end(),
                         [&](const ChildRule& candidate) { return child.IsNamed(candidate.Name); });
        if (known == rule.Children.end()) {
            findings.Error(child.At, L"<" + child.Name + L">" +
                                         (grammar.Find(child.Name) != nullptr
                                              ? L" does not belong in " + tag
                                              : L" is not an element of " + tag) +
                                         L"; the reader ignores it");
            continue;
        }
        CheckSpelling(child, known->Name, findings);
        if (++counts[known - rule.Children.begin()] == 2 && !known->Repeatable) {
            findings.Warning(child.At, L"<" + child.Name + L"> appears again in " + tag +
                                           L"; the last one counts");
        }
        CheckStructure(grammar, child, findings);
    }
    for (size_t index = 0; index < rule.Children.size(); ++index) {
        if (rule.Children[index].Required && counts[index] == 0) {
            findings.Error(element.At,
                           tag + L" has no <" + std::wstring(rule.Children[index].Name) + L">");
        }
    }
}

}  // namespace

void Findings::Error(const Position& at, const std::wstring& text) {
    m_Findings.push_back({at, Severity::Error, text});
}

void Findings::Warning(const Position& at, const std::wstring& text) {
    m_Findings.push_back({at, Severity::Warning, text});
}

bool Findings::HasErrors() const {
    return std::any_of(m_Findings.begin(), m_Findings.end(),
                       [](const Finding& finding) { return finding.Level == Severity::Error; });
}

std::vector<Finding> Findings::Sorted() const {
    std::vector<Finding> sorted = m_Findings;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Finding& a, const Finding& b) {
        return a.At.Line != b.At.Line ? a.At.Line < b.At.Line : a.At.Column < b.At.Column;
    });
    return sorted;
}

const ElementRule* Grammar::Find(const std::wstring& name) const {
    for (const ElementRule& rule : m_Elements) {
        if (Frwk::StringUtility::EqualsNoCase(name, rule.Name)) {
            return &rule;
        }
    }
    return nullptr;
}

void CheckStructure(const Grammar& grammar, const XmlElement& element, Findings& findings) {
    const ElementRule* pRule = grammar.Find(element.Name);
    if (pRule == nullptr) {
        return;  // reported by the parent
    }
    CheckAttributes(*pRule, element, findings);
    CheckChildren(grammar, *pRule, element, findings);
    if (pRule->HasText) {
        CheckText(pRule->Text, element.Text, element.TextAt, L"<" + element.Name + L">", findings);
    }
}

void CheckSpelling(const XmlElement& element, const wchar_t* spelling, Findings& findings) {
    if (element.Name != spelling) {
        findings.Warning(element.At, L"<" + element.Name + L"> is read as <" + spelling +
                                         L">, but the schemas accept only that spelling");
    }
}

const XmlElement* LastChild(const XmlElement& element, const wchar_t* name) {
    const XmlElement* pFound = nullptr;
    for (const auto& pChild : element.Children) {
        if (pChild->IsNamed(name)) {
            pFound = pChild.get();
        }
    }
    return pFound;
}

std::wstring AttributeText(const XmlElement& element, const wchar_t* name) {
    const XmlAttribute* pAttribute = element.FindAttribute(name);
    return pAttribute != nullptr ? pAttribute->Value : std::wstring();
}

std::wstring Quote(const std::wstring& text) {
    return L"\"" + text + L"\"";
}

bool IsYesNo(const std::wstring& text) {
    return text == L"yes" || text == L"no";
}

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

bool IsOneOf(const std::wstring& text, const TextRule::Words& words) {
    return std::find(words.begin(), words.end(), text) != words.end();
}

std::wstring ListWords(const TextRule::Words& words) {
    std::wstring text;
    for (size_t index = 0; index < words.size(); ++index) {
        text += index == 0 ? L"" : index + 1 == words.size() ? L" or " : L", ";
        text += words[index];
    }
    return text;
}

}  // namespace Xentool
