// Milliseconds to walk a generated 10 MB policy-like document: through XmlParser over
// the encrypted file (decrypting file + stream), and through XmlLite alone over the
// plaintext in memory (SHCreateMemStream). Medians of several interleaved runs of
// thread CPU time (10 ms resolution under Wine), and their ratio.
// Usage: bench_xml [megabytes] (default 10).

#include <windows.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "BenchClock.h"
#include "BenchXmlWalk.h"
#include "PolicyText.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_Handle.h"
#include "ZorvComn_XmlParser.h"

namespace {

constexpr int kRuns = 11;
constexpr const char* kKey = Ostrel::Vocabulary::kServiceKey;

using ZorvCommon::Storage::XmlParser;

// The policy reader's walk; returns the number of texts read (-1 on failure).
long WalkWithParser(const std::wstring& path) {
    ZorvCommon::Storage::CryptDocument document;
    XmlParser parser;
    if (!document.Open(path, kKey) || !parser.Start(document.File()) ||
        !parser.MoveToElement(L"BaseFramework")) {
        return -1;
    }
    long texts = 0;
    std::wstring value;
    uint32_t serviceDepth = 0;
    for (bool service = parser.MoveToFirstChildElement(serviceDepth, L"FrameworkService"); service;
         service = parser.MoveToNextSiblingElement(serviceDepth, L"FrameworkService")) {
        texts += parser.GetAttribute(L"version", value);
        uint32_t fieldDepth = 0;
        for (bool field = parser.MoveToFirstChildElement(fieldDepth); field;
             field = parser.MoveToNextSiblingElement(fieldDepth)) {
            if (parser.IsElementName(L"Shared")) {
                texts += parser.GetAttribute(L"SharedType", value);
                texts += parser.GetAttribute(L"SharedGuid", value);
            } else if (parser.IsElementName(L"Permissions")) {
                uint32_t permissionDepth = 0;
                for (bool permission = parser.MoveToFirstChildElement(permissionDepth); permission;
                     permission = parser.MoveToNextSiblingElement(permissionDepth)) {
                    texts += parser.GetAttribute(L"type", value);
                    texts += parser.GetText(value);
                }
            } else {
                texts += parser.GetText(value);
            }
        }
    }
    const bool failed = parser.GetLastResult() < 0;
    parser.Stop();
    document.Close();
    return failed ? -1 : texts;
}

template <typename Walk>
double Milliseconds(Walk walk, long& texts) {
    const double start = Bench::ThreadCpuSeconds();
    texts = walk();
    return (Bench::ThreadCpuSeconds() - start) * 1e3;
}

// XmlLite alone over the plaintext in memory.
long WalkWithXmlLite(Bench::XmlLiteWalk& walk, const std::string& plaintext) {
    const Bench::ComPtr<IStream> stream(SHCreateMemStream(
        reinterpret_cast<const BYTE*>(plaintext.data()), static_cast<UINT>(plaintext.size())));
    return stream ? walk.Walk(stream.get()) : -1;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const size_t megabytes = argc > 1 ? wcstoul(argv[1], nullptr, 10) : 10;
    const std::string plaintext = XmlTests::GeneratePolicy(megabytes * 1024 * 1024);
    std::vector<uint8_t> ciphertext;
    if (!ZorvCommon::Storage::EncryptDocumentBytes(
            kKey, std::vector<uint8_t>(plaintext.begin(), plaintext.end()), &ciphertext)) {
        fwprintf(stderr, L"encryption failed\n");
        return 1;
    }
    wchar_t folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    const std::wstring path =
        std::wstring(folder) + L"bench_xml_" + std::to_wstring(GetCurrentProcessId()) + L".xen";
    ZorvCommon::UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                            FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    const bool stored = file.is_valid() &&
                        WriteFile(file.get(), ciphertext.data(),
                                  static_cast<DWORD>(ciphertext.size()), &written, nullptr) &&
                        written == ciphertext.size();
    file.reset();
    Bench::XmlLiteWalk walk;
    if (!stored || !walk.Load()) {
        fwprintf(stderr, L"setup failed\n");
        DeleteFileW(path.c_str());
        return 1;
    }

    std::vector<double> parser, xmlLite;
    long parserTexts = 0, xmlLiteTexts = 0;
    for (int run = 0; run < kRuns; ++run) {
        parser.push_back(Milliseconds([&] { return WalkWithParser(path); }, parserTexts));
        xmlLite.push_back(
            Milliseconds([&] { return WalkWithXmlLite(walk, plaintext); }, xmlLiteTexts));
    }
    DeleteFileW(path.c_str());

    const double parserMs = Median(parser);
    const double xmlLiteMs = Median(xmlLite);
    wprintf(L"| walk of %.1f MB | median ms | texts |\n|---|---|---|\n",
            plaintext.size() / 1048576.0);
    wprintf(L"| XmlParser over the encrypted file | %.1f | %ld |\n", parserMs, parserTexts);
    wprintf(L"| XmlLite alone over memory | %.1f | %ld |\n", xmlLiteMs, xmlLiteTexts);
    wprintf(L"\nratio %.3f (target <= 1.15)\n", parserMs / xmlLiteMs);
    return parserTexts == xmlLiteTexts ? 0 : 2;
}
