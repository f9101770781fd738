#include "BenchPolicy.h"

#include <windows.h>
#include <shlwapi.h>

#include <cstdio>
#include <memory>
#include <string>

#include "BenchDocuments.h"
#include "BenchMeasure.h"
#include "BenchModuleHost.h"
#include "BenchScratch.h"
#include "BenchXmlWalk.h"
#include "ZorvComn_Handle.h"
#include "ZorvComn_Rijndael.h"

namespace Bench {

namespace {

constexpr size_t kSmallServices = 50;
constexpr int kRequestsPerRun = 1000;

// A request through the module that must give one row per service.
bool QueryAll(ModuleHost& host, size_t services) {
    SrvFrwk::Interface::ArrayOfRowService rows;
    const HRESULT hr = host.QueryServices(&rows);
    if (hr != S_OK || rows.size() != services) {
        fprintf(stderr, "service policy request: 0x%08lx, %zu rows of %zu\n",
                static_cast<unsigned long>(hr), rows.size(), services);
        return false;
    }
    return true;
}

// The plain steps: open the file, read it whole, decrypt it, walk it with XmlLite.
bool ReadPlainly(XmlLiteWalk& walk, const std::wstring& path) {
    ZorvCommon::UniqueFile file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.get(), &size)) {
        return false;
    }
    std::vector<uint8_t> ciphertext(static_cast<size_t>(size.QuadPart));
    DWORD read = 0;
    if (!ReadFile(file.get(), ciphertext.data(), static_cast<DWORD>(ciphertext.size()), &read,
                  nullptr) ||
        read != ciphertext.size()) {
        return false;
    }
    file.reset();
    ZorvCommon::Cryptograph::Rijndael cipher;
    std::vector<uint8_t> plaintext(ciphertext.size());
    uint32_t produced = 0;
    if (!cipher.Initialize(ZorvCommon::Cryptograph::DirectionDecrypt,
                           reinterpret_cast<const uint8_t*>(kServicePolicyKey), 16,
                           ZorvCommon::Cryptograph::ModeCBC, nullptr, 0) ||
        !cipher.Transform(ciphertext.data(), static_cast<uint32_t>(ciphertext.size()),
                          plaintext.data(), static_cast<uint32_t>(plaintext.size()), &produced)) {
        return false;
    }
    const ComPtr<IStream> stream(SHCreateMemStream(plaintext.data(), produced));
    return stream && walk.Walk(stream.get()) > 0;
}

// XmlLite alone over a plaintext already in memory: the stream is made once and wound
// back for every walk.
bool WalkFromStart(XmlLiteWalk& walk, IStream* pStream) {
    const LARGE_INTEGER start{};
    return SUCCEEDED(pStream->Seek(start, STREAM_SEEK_SET, nullptr)) && walk.Walk(pStream) > 0;
}

// The document at path and, for the baseline, its plaintext in memory.
bool WriteServicePolicy(const std::wstring& path, size_t minimumServices, size_t minimumBytes,
                        std::string* plaintext, size_t* services) {
    *plaintext = ServicePolicy(minimumServices, minimumBytes, services);
    return WriteDocument(path, kServicePolicyKey, *plaintext);
}

// One document size: its file in the installed folder and its plaintext in a memory
// stream for XmlLite alone.
struct SizedDocument {
    size_t megabytes = 0;
    std::wstring path;  // the name it has while another size is read
    std::string plaintext;
    size_t services = 0;
    ComPtr<IStream> stream;
};

}  // namespace

bool BenchPolicySizes(const CostClock& clock, ModuleHost& host, InstalledFolder& installed,
                      const std::vector<size_t>& megabytes) {
    XmlLiteWalk walk;
    const ScratchFolder folder(L"sizes");
    if (!walk.Load() || !installed.Set(folder.Path())) {
        return false;
    }
    // Before each of the module's samples its size's document takes the policy file's
    // name. A rename, not a registry write: the wineserver's CPU time counts, and a
    // changed registry has it save the registry to disk now and then.
    const std::wstring policyPath = folder.Path() + kServicePolicyFile;
    const SizedDocument* active = nullptr;
    const auto activate = [&](const SizedDocument& document) {
        if (active != &document) {
            if (active != nullptr && !MoveFileW(policyPath.c_str(), active->path.c_str())) {
                return false;
            }
            active = &document;
            return MoveFileW(document.path.c_str(), policyPath.c_str()) != FALSE;
        }
        return true;
    };
    std::vector<std::unique_ptr<SizedDocument>> documents;
    std::vector<Contender> contenders;
    for (const size_t size : megabytes) {
        documents.push_back(std::make_unique<SizedDocument>());
        SizedDocument& document = *documents.back();
        document.megabytes = size;
        document.path = folder.Path() + L"policy-" + std::to_wstring(size) + L"mb.xen";
        if (!WriteServicePolicy(document.path, 0, size * 1000000, &document.plaintext,
                                &document.services)) {
            return false;
        }
        document.stream.reset(
            SHCreateMemStream(reinterpret_cast<const BYTE*>(document.plaintext.data()),
                              static_cast<UINT>(document.plaintext.size())));
        if (!document.stream) {
            return false;
        }
        // All sizes take turns in every sample: their cost per MB is compared, and the
        // machine's speed changes over a run.
        contenders.emplace_back([&] { return QueryAll(host, document.services); },
                                [&] { return activate(document); });
        contenders.emplace_back([&] { return WalkFromStart(walk, document.stream.get()); });
    }
    const std::vector<double> costs = MedianCostPerRun(clock, contenders, 7, 0.5);
    if (costs.empty()) {
        return false;
    }
    for (size_t i = 0; i < documents.size(); ++i) {
        const std::string prefix = "policy_" + std::to_string(documents[i]->megabytes) + "mb_";
        Report((prefix + "bytes").c_str(), static_cast<double>(documents[i]->plaintext.size()));
        Report((prefix + "module_ms").c_str(), costs[2 * i] * 1e3);
        Report((prefix + "xmllite_ms").c_str(), costs[2 * i + 1] * 1e3);
    }
    return true;
}

bool BenchPolicyRequests(const CostClock& clock, ModuleHost& host, InstalledFolder& installed) {
    XmlLiteWalk walk;
    const ScratchFolder folder(L"requests");
    std::string plaintext;
    size_t services = 0;
    const std::wstring path = folder.Path() + kServicePolicyFile;
    if (!walk.Load() || !WriteServicePolicy(path, kSmallServices, 0, &plaintext, &services) ||
        !installed.Set(folder.Path())) {
        return false;
    }
    const auto repeat = [](auto request) {
        return [request] {
            for (int i = 0; i < kRequestsPerRun; ++i) {
                if (!request()) {
                    return false;
                }
            }
            return true;
        };
    };
    const std::vector<double> costs =
        MedianCostPerRun(clock, {repeat([&] { return QueryAll(host, services); }), repeat([&] {
                                     return ReadPlainly(walk, path);
                                 })},
                         7, 0);
    if (costs.empty()) {
        return false;
    }
    Report("requests_services", static_cast<double>(services));
    Report("requests_bytes", static_cast<double>(plaintext.size()));
    Report("requests_module_us", costs[0] * 1e6 / kRequestsPerRun);
    Report("requests_plain_us", costs[1] * 1e6 / kRequestsPerRun);
    return true;
}

}  // namespace Bench
