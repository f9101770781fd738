#include "xentool_lint.h"

#include <windows.h>

#include <cstdio>
#include <string_view>

#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_XmlParser.h"

namespace Xentool {

namespace {

// Exit codes of lint, fixed for build pipelines.
constexpr int kLintClean = 0;
constexpr int kLintErrors = 1;
constexpr int kLintUnreadable = 2;

using namespace Ostrel::Vocabulary;

struct RootKind {
    const wchar_t* Root;
    DocumentKind Kinds[2];  // the kinds whose reader looks for this root
    void (*Lint)(const XmlElement& root, DocumentKind keyKind, Findings& findings);
};

const RootKind kRoots[] = {
    {StorageElement::kStorage, {DocumentKind::Storage, DocumentKind::Storage}, LintStorage},
    {PolicyElement::kBaseFramework, {DocumentKind::Service, DocumentKind::Provider}, LintPolicy},
    {WebElement::kWebAccess, {DocumentKind::WebAccess, DocumentKind::WebAccess}, LintWebAccess},
};

// XML text starts with a byte-order mark or, after white space, with "<".
bool LooksLikeXml(const std::vector<uint8_t>& bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (text.substr(0, 2) == "\xFF\xFE" || text.substr(0, 2) == "\xFE\xFF") {
        return true;
    }
    const size_t at =
        text.find_first_not_of(" \t\r\n", text.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0);
    return at != std::string_view::npos && text[at] == '<';
}

// Tries the four document keys on bytes; the one whose plaintext is XML tells the kind,
// and the plaintext replaces bytes.
bool Decrypt(std::vector<uint8_t>& bytes, DocumentKind& kind) {
    std::vector<uint8_t> plaintext;
    for (size_t index = 0; index < std::size(kDocumentKeys); ++index) {
        if (ZorvCommon::Storage::DecryptDocumentBytes(kDocumentKeys[index].Key, bytes,
                                                      &plaintext) &&
            LooksLikeXml(plaintext)) {
            kind = static_cast<DocumentKind>(index + 1);  // the kinds follow the keys' order
            bytes.swap(plaintext);
            return true;
        }
    }
    return false;
}

// The root decides which rules apply; an encrypted document's key must agree with it.
void LintDocument(const XmlElement& root, DocumentKind keyKind, Findings& findings) {
    for (const RootKind& known : kRoots) {
        if (!root.IsNamed(known.Root)) {
            continue;
        }
        CheckSpelling(root, known.Root, findings);
        if (keyKind != DocumentKind::Unknown && keyKind != known.Kinds[0] &&
            keyKind != known.Kinds[1]) {
            findings.Error(root.At,
                           L"encrypted with the " +
                               std::wstring(kDocumentKeys[static_cast<size_t>(keyKind) - 1].Kind) +
                               L" key, but <" + root.Name +
                               L"> is the root of another kind of document");
        }
        known.Lint(root, keyKind, findings);
        return;
    }
    findings.Error(root.At, L"<" + root.Name +
                                L"> is not the root of a document (Storage, BaseFramework or "
                                L"WebAccess)");
}

int Lint(const Arguments& arguments) {
    int exitCode = kLintClean;
    if (!NoOtherOptions(arguments, &exitCode)) {
        return exitCode;
    }
    if (arguments.size() != 1) {
        return UsageError(L"expected one document");
    }
    const std::wstring& path = arguments[0];
    std::vector<uint8_t> bytes;
    uint32_t error = 0;
    if (!ReadWholeFile(path, &bytes, &error)) {
        return Fail(kLintUnreadable, L"cannot read '" + path + L"': " + DescribeError(error));
    }
    DocumentKind keyKind = DocumentKind::Unknown;
    if (!LooksLikeXml(bytes) && !Decrypt(bytes, keyKind)) {
        return Fail(
            kLintUnreadable,
            L"'" + path + L"' is neither XML nor encrypted with one of the four document keys");
    }

    Findings findings;
    XmlReadFailure failure;
    const std::unique_ptr<XmlElement> root = ReadXmlTree(bytes, failure);
    if (root != nullptr) {
        LintDocument(*root, keyKind, findings);
    } else if (failure.LibraryMissing) {
        return Fail(kLintUnreadable, L"cannot load xmllite.dll: " +
                                         DescribeError(static_cast<uint32_t>(failure.Result)));
    } else {
        const bool endsEarly =
            failure.Result == ZorvCommon::Storage::XmlParser::kResultUnexpectedEnd;
        findings.Error(failure.At, L"not well-formed XML (XmlLite " +
                                       Hex32(static_cast<uint32_t>(failure.Result)) +
                                       (endsEarly ? L"): the document ends early" : L")"));
    }
    for (const Finding& finding : findings.Sorted()) {
        const bool error = finding.Level == Severity::Error;
        fwprintf(stdout, L"%ls:%lu:%lu: %ls: %ls\n", path.c_str(),
                 static_cast<unsigned long>(finding.At.Line),
                 static_cast<unsigned long>(finding.At.Column), error ? L"error" : L"warning",
                 finding.Text.c_str());
        exitCode = error ? kLintErrors : exitCode;
    }
    return exitCode;
}

}  // namespace

std::vector<Command> LintCommands() {
    return {
        {L"lint", L"DOC.xml|DOC.xen", Lint},
    };
}

}  // namespace Xentool
