#include "xentool_lint.h"

#include <windows.h>

#include <cstdio>

#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_XmlParser.h"
#include "xentool_common.h"

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
};

const RootKind kRoots[] = {
    {StorageElement::kStorage, {DocumentKind::Storage, DocumentKind::Storage}},
    {PolicyElement::kBaseFramework, {DocumentKind::Service, DocumentKind::Provider}},
    {WebElement::kWebAccess, {DocumentKind::WebAccess, DocumentKind::WebAccess}},
};

// XML text starts with a byte-order mark or, after white space, with "<".
bool LooksLikeXml(const std::vector<uint8_t>& bytes) {
    if (bytes.size() >= 2 &&
        ((bytes[0] == 0xFF && bytes[1] == 0xFE) || (bytes[0] == 0xFE && bytes[1] == 0xFF))) {
        return true;
    }
    size_t at =
        bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF ? 3 : 0;
    while (at < bytes.size() &&
           (bytes[at] == ' ' || bytes[at] == '\t' || bytes[at] == '\r' || bytes[at] == '\n')) {
        ++at;
    }
    return at < bytes.size() && bytes[at] == '<';
}

// Tries the four document keys; the one whose plaintext is XML tells the kind.
bool Decrypt(const std::vector<uint8_t>& ciphertext, std::vector<uint8_t>& plaintext,
             DocumentKind& kind) {
    for (size_t index = 0; index < std::size(kDocumentKeys); ++index) {
        if (ZorvCommon::Storage::DecryptDocumentBytes(kDocumentKeys[index].Key, ciphertext,
                                                      &plaintext) &&
            LooksLikeXml(plaintext)) {
            kind = static_cast<DocumentKind>(index + 1);  // the kinds follow the keys' order
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
                               L"> is the root of another "
                               L"kind of document");
        }
        switch (known.Kinds[0]) {
            case DocumentKind::Storage:
                LintStorage(root, findings);
                break;
            case DocumentKind::WebAccess:
                LintWebAccess(root, findings);
                break;
            default:
                LintPolicy(root, keyKind, findings);
                break;
        }
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
        Fail(kLintUnreadable, L"cannot read '" + path + L"': " + DescribeError(error));
        return kLintUnreadable;
    }
    DocumentKind keyKind = DocumentKind::Unknown;
    std::vector<uint8_t> plaintext;
    if (!LooksLikeXml(bytes)) {
        if (!Decrypt(bytes, plaintext, keyKind)) {
            Fail(
                kLintUnreadable,
                L"'" + path + L"' is neither XML nor encrypted with one of the four document keys");
            return kLintUnreadable;
        }
        bytes.swap(plaintext);
    }

    Findings findings;
    std::unique_ptr<XmlElement> root;
    XmlReadFailure failure;
    if (ReadXmlTree(bytes, root, failure)) {
        LintDocument(*root, keyKind, findings);
    } else if (failure.LibraryMissing) {
        Fail(kLintUnreadable,
             L"cannot load xmllite.dll: " + DescribeError(static_cast<uint32_t>(failure.Result)));
        return kLintUnreadable;
    } else {
        const bool endsEarly =
            failure.Result == ZorvCommon::Storage::XmlParser::kResultUnexpectedEnd;
        findings.Error(failure.At, L"not well-formed XML (XmlLite " +
                                       Hex32(static_cast<uint32_t>(failure.Result)) +
                                       (endsEarly ? L"): the document ends early" : L")"));
    }
    for (const Finding& finding : findings.Sorted()) {
        fwprintf(stdout, L"%ls:%lu:%lu: %ls: %ls\n", path.c_str(),
                 static_cast<unsigned long>(finding.At.Line),
                 static_cast<unsigned long>(finding.At.Column),
                 finding.Level == Severity::Error ? L"error" : L"warning", finding.Text.c_str());
    }
    return findings.HasErrors() ? kLintErrors : kLintClean;
}

}  // namespace

std::vector<Command> LintCommands() {
    return {
        {L"lint", L"DOC.xml|DOC.xen", Lint},
    };
}

}  // namespace Xentool
