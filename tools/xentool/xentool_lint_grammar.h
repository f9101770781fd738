#pragma once
// The structure of a document kind as one table: each element below its parent and each
// attribute of an element (names of elements compared without regard to case, as the
// module compares them), how often it may stand and what its text may be.

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
    std::wstring Expected;  // for the message, e.g. L"a decimal number"
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

enum class Occurs { Optional, Required, Repeated, OptionalAttribute, RequiredAttribute };

// An element below its parent (the root's parent is null), or an attribute of its parent.
struct GrammarRow {
    const wchar_t* Name;
    const wchar_t* Parent;
    Occurs Occurrence;
    TextRule Text;  // the element's text, or the attribute's value
};

using Grammar = std::vector<GrammarRow>;

// The grammars of the document kinds; the first row is the root's.
const Grammar& StorageGrammar();
const Grammar& PolicyGrammar();
const Grammar& WebAccessGrammar();

// Checks root and everything below it against the grammar: unknown or misplaced
// elements, missing and repeated children, missing and unknown attributes, texts
// outside their tables.
void CheckStructure(const Grammar& grammar, const XmlElement& root, Findings& findings);

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
bool IsNotEmpty(const std::wstring& text);
bool IsGuid(const std::wstring& text);
bool IsDecimal(const std::wstring& text);
// True when text is one of words, compared exactly.
bool IsOneOf(const std::wstring& text, const TextRule::Words& words);

}  // namespace Xentool
