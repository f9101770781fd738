#include "BenchPolicy.h"

#include <windows.h>
#include <shlwapi.h>

#include <cstdio>
#include <memory>
#include <string>

#include "BenchDocuments.h"
#include "BenchFile.h"
#include "BenchMeasure.h"
#include "BenchModuleHost.h"
#include "BenchScratch.h"
#include "BenchXmlWalk.h"
#include "ZorvComn_Handle.h"

namespace Bench {

namespace {

constexpr size_t kSmallServices = 50;

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

// The plain steps: open the plaintext file, read it whole, walk it with XmlLite.
bool ReadPlainly(XmlLiteWalk& walk, const std::wstring& path) {
    ZorvCommon::UniqueFile file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.get(), &size)) {
        return false;
    }
    std::vector<uint8_t> plaintext(static_cast<size_t>(size.QuadPart));
    DWORD read = 0;
    if (!ReadFile(file.get(), plaintext.data(), static_cast<DWORD>(plaintext.size()), &read,
                  nullptr) ||
        read != plaintext.size()) {
        return false;
    }
    file.reset();
    const ComPtr<IStream> stream(SHCreateMemStream(plaintext.data(), read));
    return stream && walk.Walk(stream.get()) > 0;
}

// XmlLite alone over a plaintext already in memory: the stream is made once and wound
// back for every walk.
bool WalkFromStart(XmlLiteWalk& walk, IStream* pStream) {
    const LARGE_INTEGER start{};
    return SUCCEEDED(pStream->Seek(start, STREAM_SEEK_SET, nullptr)) && walk.Walk(pStream) > 0;
}

// A service policy document of about `megabytes` MB in the folder, under the name it has
// while another size is read.
struct SizedDocument {
    size_t megabytes = 0;
    std::wstring path;
    size_t bytes = 0;
    size_t services = 0;
};

bool WriteSized(const std::wstring& folder, size_t megabytes, SizedDocument* document,
                std::string* plaintext) {
    document->megabytes = megabytes;
    document->path = folder + L"policy-" + std::to_wstring(megabytes) + L"mb.xen";
    *plaintext = ServicePolicy(0, megabytes * 1000000, &document->services);
    document->bytes = plaintext->size();
    return WriteDocument(document->path, kServicePolicyKey, *plaintext);
}

}  // namespace

bool BenchPolicySizes(const CostClock& clock, ModuleHost& host, InstalledFolder& installed) {
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
    SizedDocument small, medium, big;
    std::string plaintext;
    ComPtr<IStream> stream;
    if (!WriteSized(folder.Path(), 1, &small, &plaintext) ||
        !WriteSized(folder.Path(), 100, &big, &plaintext) ||
        !WriteSized(folder.Path(), 10, &medium, &plaintext)) {
        return false;
    }
    stream.reset(SHCreateMemStream(reinterpret_cast<const BYTE*>(plaintext.data()),
                                   static_cast<UINT>(plaintext.size())));
    std::string().swap(plaintext);  // the stream holds its own copy
    if (!stream) {
        return false;
    }
    const auto request = [&](const SizedDocument& document) {
        return Contender([&] { return QueryAll(host, document.services); },
                         [&] { return activate(document); });
    };
    // All sizes take turns in every sample: their cost per MB is compared, and the
    // machine's speed changes over a run.
    const std::vector<Costs> costs =
        MeasureInterleaved(clock,
                           {request(medium), [&] { return WalkFromStart(walk, stream.get()); },
                            request(small), request(big)},
                           kSamples, kSampleSeconds);
    if (costs.empty()) {
        return false;
    }
    Report("policy_10mb_services", static_cast<double>(medium.services));
    Report("policy_10mb_bytes", static_cast<double>(medium.bytes));
    ReportCosts("policy_10mb_module_ms", costs[0], 1e3);
    ReportCosts("policy_10mb_xmllite_ms", costs[1], 1e3);
    ReportRatios("policy_10mb_ratio", costs[0], costs[1]);
    const Costs smallPerMb = costs[2].Scaled(1e6 / static_cast<double>(small.bytes));
    const Costs bigPerMb = costs[3].Scaled(1e6 / static_cast<double>(big.bytes));
    ReportCosts("policy_1mb_per_mb_ms", smallPerMb, 1e3);
    ReportCosts("policy_100mb_per_mb_ms", bigPerMb, 1e3);
    ReportRatios("policy_growth", bigPerMb, smallPerMb);
    return true;
}

bool BenchPolicyRequests(const CostClock& clock, ModuleHost& host, InstalledFolder& installed) {
    XmlLiteWalk walk;
    const ScratchFolder folder(L"requests");
    size_t services = 0;
    const std::string plaintext = ServicePolicy(kSmallServices, 0, &services);
    const std::wstring plainPath = folder.Path() + L"policy.xml";
    if (!walk.Load() ||
        !WriteDocument(folder.Path() + kServicePolicyFile, kServicePolicyKey, plaintext) ||
        !WriteWholeFile(plainPath, plaintext.data(), plaintext.size()) ||
        !installed.Set(folder.Path())) {
        return false;
    }
    const std::vector<Costs> costs = MeasureInterleaved(
        clock,
        {[&] { return QueryAll(host, services); }, [&] { return ReadPlainly(walk, plainPath); }},
        kSamples, kSampleSeconds);
    if (costs.empty()) {
        return false;
    }
    Report("requests_services", static_cast<double>(services));
    Report("requests_bytes", static_cast<double>(plaintext.size()));
    ReportCosts("requests_module_us", costs[0], 1e6);
    ReportCosts("requests_plain_us", costs[1], 1e6);
    ReportRatios("requests_ratio", costs[0], costs[1]);
    return true;
}

}  // namespace Bench
