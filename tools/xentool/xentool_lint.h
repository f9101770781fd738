#pragma once
// lint: checks a policy document of any kind before it ships and reports each finding
// with its line and column. The document kinds' rules live in xentool_lint_*.cpp.

#include <string>
#include <vector>

#include "xentool_common.h"
#include "xentool_xmltree.h"

namespace Xentool {

std::vector<Command> LintCommands();

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
    bool HasErrors() const;
    // In document order.
    std::vector<Finding> Sorted() const;

private:
    std::vector<Finding> m_Findings;
};

// Which reader a document is meant for; a .xen file's key tells it, a plain one's root
// (and for the policy documents the elements below it).
enum class DocumentKind { Unknown, Storage, Service, Provider, WebAccess };

// The checks of each kind: structure first, then what the texts mean to the module.
void LintStorage(const XmlElement& root, Findings& findings);
void LintPolicy(const XmlElement& root, DocumentKind kind, Findings& findings);
void LintWebAccess(const XmlElement& root, Findings& findings);

}  // namespace Xentool
