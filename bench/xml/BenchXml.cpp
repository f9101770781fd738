// Milliseconds to walk a generated 10 MB policy-like document: through XmlParser over
// the encrypted file (decrypting file + stream), and through XmlLite alone over the
// plaintext in memory (SHCreateMemStream). Medians of several interleaved runs of
// thread CPU time (10 ms resolution under Wine), and their ratio.
// Usage: bench_xml [megabytes] (default 10).

#include <windows.h>
#include <shlwapi.h>
#include <xmllite.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "PolicyText.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_Handle.h"
#include "ZorvComn_XmlLite.h"
#include "ZorvComn_XmlParser.h"

namespace {

constexpr int kRuns = 11;
constexpr const char* kKey = "m3^Tb8&Yc1*Nh6%e";

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

// XmlLite alone: every node read, element names and attribute and text values taken.
long WalkWithXmlLite(ZorvCommon::Library::XmlLite& library, const std::string& plaintext) {
    IStream* pStream = SHCreateMemStream(reinterpret_cast<const BYTE*>(plaintext.data()),
                                         static_cast<UINT>(plaintext.size()));
    IXmlReader* pReader = nullptr;
    if (pStream == nullptr ||
        FAILED(library.m_pfnCreateXmlReader(IID_IXmlReader, reinterpret_cast<void**>(&pReader),
                                            nullptr)) ||
        FAILED(pReader->SetInput(pStream))) {
        return -1;
    }
    long texts = 0;
    std::wstring value;
    XmlNodeType nodeType;
    const wchar_t* pText = nullptr;
    UINT cchText = 0;
    while (pReader->Read(&nodeType) == S_OK) {
        if (nodeType == XmlNodeType_Element) {
            pReader->GetLocalName(&pText, &cchText);
            for (HRESULT hr = pReader->MoveToFirstAttribute(); hr == S_OK;
                 hr = pReader->MoveToNextAttribute()) {
                pReader->GetValue(&pText, &cchText);
                value.assign(pText, cchText);
                ++texts;
            }
        } else if (nodeType == XmlNodeType_Text) {
            pReader->GetValue(&pText, &cchText);
            value.assign(pText, cchText);
            ++texts;
        }
    }
    pReader->Release();
    pStream->Release();
    return texts;
}

uint64_t ThreadTime() {
    FILETIME creation, exit, kernel, user;
    GetThreadTimes(GetCurrentThread(), &creation, &exit, &kernel, &user);
    const auto ticks = [](const FILETIME& time) {
        return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    };
    return ticks(kernel) + ticks(user);
}

// CPU time of this thread, not wall time: the build machines are shared, and waiting
// for a core says nothing about the walk.
template <typename Walk>
double Milliseconds(Walk walk, long& texts) {
    const uint64_t start = ThreadTime();
    texts = walk();
    return static_cast<double>(ThreadTime() - start) / 1e4;  // 100 ns ticks
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
    ZorvCommon::Library::XmlLite library;
    if (!stored || !library.LoadFromSystemDirectory()) {
        fwprintf(stderr, L"setup failed\n");
        DeleteFileW(path.c_str());
        return 1;
    }

    std::vector<double> parser, xmlLite;
    long parserTexts = 0, xmlLiteTexts = 0;
    for (int run = 0; run < kRuns; ++run) {
        parser.push_back(Milliseconds([&] { return WalkWithParser(path); }, parserTexts));
        xmlLite.push_back(
            Milliseconds([&] { return WalkWithXmlLite(library, plaintext); }, xmlLiteTexts));
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
