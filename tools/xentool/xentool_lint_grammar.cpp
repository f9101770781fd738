#include "xentool_lint.h"

#include <algorithm>

#include "Frwk_StringUtility.h"

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

bool IsAttribute(const GrammarRow& row) {
    return row.Occurrence == Occurs::OptionalAttribute ||
           row.Occurrence == Occurs::RequiredAttribute;
}

bool IsBelow(const GrammarRow& row, const GrammarRow& parent) {
    return row.Parent != nullptr && std::wstring_view(row.Parent) == parent.Name;
}

// The row of an element or attribute of parent that the test picks; null for none.
template <typename Test>
const GrammarRow* FindRow(const Grammar& grammar, const GrammarRow* pParent, Test test) {
    const auto found = std::find_if(grammar.begin(), grammar.end(), [&](const GrammarRow& row) {
        return (pParent == nullptr || IsBelow(row, *pParent)) && test(row);
    });
    return found != grammar.end() ? &*found : nullptr;
}

void CheckAttributes(const Grammar& grammar, const GrammarRow& rule, const XmlElement& element,
                     Findings& findings) {
    const std::wstring tag = L"<" + element.Name + L">";
    for (const XmlAttribute& attribute : element.Attributes) {
        const GrammarRow* pKnown = FindRow(grammar, &rule, [&](const GrammarRow& row) {
            return IsAttribute(row) && attribute.Name == row.Name;
        });
        if (pKnown == nullptr) {
            if (!IsSchemaHint(attribute.Name)) {
                findings.Warning(attribute.At, Quote(attribute.Name) + L" is not an attribute of " +
                                                   tag + L"; the reader ignores it");
            }
            continue;
        }
        CheckText(pKnown->Text, attribute.Value, attribute.At, Quote(attribute.Name), findings);
    }
    for (const GrammarRow& row : grammar) {
        if (IsBelow(row, rule) && row.Occurrence == Occurs::RequiredAttribute &&
            element.FindAttribute(row.Name) == nullptr) {
            findings.Error(element.At, tag + L" has no " + Quote(row.Name) + L" attribute");
        }
    }
}

void CheckElement(const Grammar& grammar, const GrammarRow& rule, const XmlElement& element,
                  Findings& findings) {
    CheckAttributes(grammar, rule, element, findings);
    const std::wstring tag = L"<" + element.Name + L">";
    std::vector<size_t> counts(grammar.size(), 0);
    for (const auto& pChild : element.Children) {
        const XmlElement& child = *pChild;
        const auto isChild = [&](const GrammarRow& row) {
            return !IsAttribute(row) && child.IsNamed(row.Name);
        };
        const GrammarRow* pKnown = FindRow(grammar, &rule, isChild);
        if (pKnown == nullptr) {
            findings.Error(child.At, L"<" + child.Name + L">" +
                                         (FindRow(grammar, nullptr, isChild) != nullptr
                                              ? L" does not belong in " + tag
                                              : L" is not an element of " + tag) +
                                         L"; the reader ignores it");
            continue;
        }
        CheckSpelling(child, pKnown->Name, findings);
        if (++counts[pKnown - grammar.data()] == 2 && pKnown->Occurrence != Occurs::Repeated) {
            findings.Warning(child.At, L"<" + child.Name + L"> appears again in " + tag +
                                           L"; the last one counts");
        }
        CheckElement(grammar, *pKnown, child, findings);
    }
    for (const GrammarRow& row : grammar) {
        if (IsBelow(row, rule) && row.Occurrence == Occurs::Required &&
            LastChild(element, row.Name) == nullptr) {
            findings.Error(element.At, tag + L" has no <" + std::wstring(row.Name) + L">");
        }
    }
    CheckText(rule.Text, element.Text, element.TextAt, tag, findings);
}

}  // namespace

void Findings::Error(const Position& at, const std::wstring& text) {
    m_Findings.push_back({at, Severity::Error, text});
}

void Findings::Warning(const Position& at, const std::wstring& text) {
    m_Findings.push_back({at, Severity::Warning, text});
}

std::vector<Finding> Findings::Sorted() const {
    std::vector<Finding> sorted = m_Findings;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Finding& a, const Finding& b) {
        return a.At.Line != b.At.Line ? a.At.Line < b.At.Line : a.At.Column < b.At.Column;
    });
    return sorted;
}

void CheckStructure(const Grammar& grammar, const XmlElement& root, Findings& findings) {
    CheckElement(grammar, grammar.front(), root, findings);
}

void CheckSpelling(const XmlElement& element, const wchar_t* spelling, Findings& findings) {
    if (element.Name != spelling) {
        findings.Warning(element.At, L"<" + element.Name + L"> is read as <" + spelling +
                                         L">, but the schemas accept only that spelling");
    }
}

const XmlElement* LastChild(const XmlElement& element, const wchar_t* name) {
    const auto found = std::find_if(element.Children.rbegin(), element.Children.rend(),
                                    [&](const auto& pChild) { return pChild->IsNamed(name); });
    return found != element.Children.rend() ? found->get() : nullptr;
}

std::wstring AttributeText(const XmlElement& element, const wchar_t* name) {
    const XmlAttribute* pAttribute = element.FindAttribute(name);
    return pAttribute != nullptr ? pAttribute->Value : std::wstring();
}

std::wstring Quote(const std::wstring& text) {
    return L"\"" + text + L"\"";
}

bool IsOneOf(std::wstring_view text, const TextRule::Words& words) {
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
