#pragma once
// lint: checks a policy document of any kind before it ships and reports each finding
// with its line and column. The structure of each kind is one table (its grammar): each
// element below its parent and each attribute of an element (names of elements compared
// without regard to case, as the module compares them), how often it may stand and what
// its text may be; the kinds' rules live in xentool_lint_*.cpp.

#include <string>
#include <utility>
#include <vector>

#include "DocumentVocabulary.h"
#include "xentool_common.h"
#include "xentool_xmltree.h"

namespace Xentool {

enum class Severity { Error, Warning };

struct Finding {
    Position At;
    Severity Level = Severity::Error;
    std::wstring Text;
};

class Findings {
public:
    void Error(const Position& at, const std::wstring& text);
    void Warning(const Position& at, const std::wstring& text);
    // In document order.
    std::vector<Finding> Sorted() const;

private:
    std::vector<Finding> m_Findings;
};

// Which reader a document is meant for; a .xen file's key tells it, a plain one's root
// (and for the policy documents the elements below it).
enum class DocumentKind { Unknown, Storage, Service, Provider, WebAccess };

// The checks of each kind: structure first, then what the texts mean to the module. kind
// is the one an encrypted document's key tells, else Unknown.
void LintStorage(const XmlElement& root, DocumentKind kind, Findings& findings);
void LintPolicy(const XmlElement& root, DocumentKind kind, Findings& findings);
void LintWebAccess(const XmlElement& root, DocumentKind kind, Findings& findings);

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

// True when text is one of words, compared exactly.
bool IsOneOf(std::wstring_view text, const TextRule::Words& words);

// Adds the words of a table that words does not hold yet, in the table's order.
template <typename Row, size_t N>
void AddWords(TextRule::Words& words, const Row (&table)[N]) {
    for (const Row& row : table) {
        if (!IsOneOf(row.Text, words)) {
            words.push_back(row.Text);
        }
    }
}

// "a, b or c".
std::wstring ListWords(const TextRule::Words& words);

// A rule over the words of the tables; the message lists them.
template <typename... Tables>
TextRule OneOf(const Tables&... tables) {
    TextRule rule;
    (AddWords(rule.Accepted, tables), ...);
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

}  // namespace Xentool
