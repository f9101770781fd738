#pragma once
// The structure of a document kind as tables: for each element (by name, case ignored
// as the module compares them) its attributes, its children and what its text may be.

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "DocumentVocabulary.h"
#include "xentool_lint.h"

namespace Xentool {

// What a text may be: one of the words of a reader's table (compared exactly), or what
// a check accepts; neither takes any text.
struct TextRule {
    using CheckFunction = bool (*)(const std::wstring& text);
    using Words = std::vector<std::wstring_view>;

    TextRule() = default;
    TextRule(CheckFunction check, std::wstring expected)
        : Check(check), Expected(std::move(expected)) {}

    CheckFunction Check = nullptr;
    std::wstring Expected;  // for the message, e.g. L"yes or no"
    Words Accepted;         // when not empty: the words, and nothing else
};

// The words of a table, once each, in the table's order.
template <typename Row, size_t N>
TextRule::Words WordsOf(const Row (&table)[N]) {
    TextRule::Words words;
    for (const Row& row : table) {
        if (std::find(words.begin(), words.end(), row.Text) == words.end()) {
            words.push_back(row.Text);
        }
    }
    return words;
}

// "a, b or c".
std::wstring ListWords(const TextRule::Words& words);

// A rule over the words of a table; the message lists them.
template <typename Row, size_t N>
TextRule OneOf(const Row (&table)[N]) {
    TextRule rule;
    rule.Accepted = WordsOf(table);
    rule.Expected = ListWords(rule.Accepted);
    return rule;
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
// True when text is one of words, compared exactly.
bool IsOneOf(const std::wstring& text, const TextRule::Words& words);

}  // namespace Xentool
