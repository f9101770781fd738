#pragma once
// The structure of a document kind as tables: for each element (by name, case ignored
// as the module compares them) its attributes, its children and what its text may be.

#include <string>
#include <utility>
#include <vector>

#include "xentool_lint.h"

namespace Xentool {

// What a text may be: one of a list of words (compared exactly), or what a check
// accepts; neither takes any text.
struct TextRule {
    using CheckFunction = bool (*)(const std::wstring& text);

    TextRule() = default;
    TextRule(CheckFunction check, const wchar_t* expected, const wchar_t* const* words = nullptr)
        : Check(check), Expected(expected), Words(words) {}

    CheckFunction Check = nullptr;
    const wchar_t* Expected = nullptr;      // for the message, e.g. L"yes or no"
    const wchar_t* const* Words = nullptr;  // null-terminated
};

// A rule over a null-terminated list of words; the message lists them.
inline TextRule OneOf(const wchar_t* const* words) {
    return {nullptr, nullptr, words};
}

struct AttributeRule {
    const wchar_t* Name;
    bool Required;
    TextRule Text;
};

struct ChildRule {
    const wchar_t* Name;
    bool Required;
    bool Repeatable;
};

struct ElementRule {
    ElementRule(const wchar_t* name, std::vector<AttributeRule> attributes,
                std::vector<ChildRule> children, bool hasText = false, TextRule text = TextRule())
        : Name(name),
          Attributes(std::move(attributes)),
          Children(std::move(children)),
          HasText(hasText),
          Text(text) {}

    const wchar_t* Name;
    std::vector<AttributeRule> Attributes;
    std::vector<ChildRule> Children;
    bool HasText;  // a leaf whose text the reader takes
    TextRule Text;
};

class Grammar {
public:
    explicit Grammar(std::vector<ElementRule> elements) : m_Elements(std::move(elements)) {}
    const ElementRule* Find(const std::wstring& name) const;

private:
    std::vector<ElementRule> m_Elements;
};

// Checks element and everything below it against the rules of their names: unknown or
// misplaced elements, missing and repeated children, missing and unknown attributes,
// texts outside their tables.
void CheckStructure(const Grammar& grammar, const XmlElement& element, Findings& findings);

// The readers take element names in any letter case, the schemas only as spelled: a
// warning when element is not written as spelling.
void CheckSpelling(const XmlElement& element, const wchar_t* spelling, Findings& findings);

// The last child of that name (the one the readers keep), or null.
const XmlElement* LastChild(const XmlElement& element, const wchar_t* name);
// The attribute's value, empty when absent.
std::wstring AttributeText(const XmlElement& element, const wchar_t* name);
// L"\"text\"".
std::wstring Quote(const std::wstring& text);

// Whole-text checks shared by the kinds.
bool IsYesNo(const std::wstring& text);
bool IsNotEmpty(const std::wstring& text);
bool IsGuid(const std::wstring& text);
bool IsDecimal(const std::wstring& text);
// True when text is one of words (a null-terminated list), compared exactly.
bool IsOneOf(const std::wstring& text, const wchar_t* const* words);

}  // namespace Xentool
