// Decryption throughput, printed as "name value..." lines for scripts/bench.sh: the bare
// cipher over a cache-resident 16 KiB piece and over a 64 MiB buffer on each engine, and
// FileCrypt reading a 64 MiB document in 4 KiB chunks against the bare cipher over the
// same bytes, samples taken in turns. Rates are MB/s (10^6 bytes per second) on the CPU
// clock, then on the wall clock.
// Usage: bench_crypto [--self-pid PID] [--server-pid PID] [--profile INDEX]
//   --profile: only contender INDEX runs, for 30 s, for a profiler (0 the 16 KiB pieces,
//   1 the portable engine, 2 FileCrypt, 3 the cipher beside it).

#include <windows.h>

#include <cstdio>
#include <cstdint>
#include <cwchar>
#include <string>
#include <vector>

#include "BenchFile.h"
#include "BenchMeasure.h"
#include "DocumentVocabulary.h"
#include "ZorvComn_AesBlock.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_Rijndael.h"

namespace {

namespace Aes = ZorvCommon::Cryptograph::Aes;
using ZorvCommon::Cryptograph::DirectionDecrypt;
using ZorvCommon::Cryptograph::ModeCBC;
using ZorvCommon::Cryptograph::Rijndael;

constexpr const char* kKey = Ostrel::Vocabulary::kStorageKey;
constexpr uint32_t kDataSize = 64 * 1024 * 1024;
constexpr uint32_t kChunk = 4096;
constexpr uint32_t kPieceSize = 16384;
constexpr uint32_t kPiecesPerRun = 1024;
constexpr double kProfileSeconds = 30;

bool DecryptBuffer(const std::vector<uint8_t>& ciphertext, std::vector<uint8_t>* plaintext) {
    Rijndael cipher;
    uint32_t produced = 0;
    return cipher.Initialize(DirectionDecrypt, reinterpret_cast<const uint8_t*>(kKey), 16, ModeCBC,
                             nullptr, 0) &&
           cipher.Transform(ciphertext.data(), static_cast<uint32_t>(ciphertext.size()),
                            plaintext->data(), static_cast<uint32_t>(plaintext->size()),
                            &produced) &&
           produced + 16 >= ciphertext.size();
}

// The same 16 KiB piece many times over, as `openssl speed -bytes 16384` measures: the
// data stays in the processor's cache.
bool DecryptPieces(Rijndael* cipher, const std::vector<uint8_t>& ciphertext,
                   std::vector<uint8_t>* plaintext) {
    for (uint32_t i = 0; i < kPiecesPerRun; ++i) {
        uint32_t produced = 0;
        if (!cipher->Restart(nullptr, 0) ||
            !cipher->Transform(ciphertext.data(), kPieceSize, plaintext->data(), kPieceSize,
                               &produced)) {
            return false;
        }
    }
    return true;
}

bool ReadDocument(const std::wstring& path, std::vector<uint8_t>* chunk) {
    ZorvCommon::Storage::CryptDocument document;
    if (!document.Open(path, kKey)) {
        return false;
    }
    uint64_t total = 0;
    uint32_t count = 0;
    while (document.File().Read(chunk->data(), kChunk, &count, nullptr) || count > 0) {
        total += count;
    }
    return document.Close() && total == kDataSize;
}

std::wstring ScratchPath() {
    wchar_t folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    return std::wstring(folder) + L"bench_crypto-" + std::to_wstring(GetCurrentProcessId()) +
           L".xen";
}

// "<name> <CPU MB/s> <wall MB/s>" for runs of `bytes` each.
void ReportRate(const char* name, const Bench::Costs& costs, double bytes) {
    printf("%s %.1f %.1f\n", name, bytes / 1e6 / Bench::Median(costs.cpu),
           bytes / 1e6 / Bench::Median(costs.wall));
    fflush(stdout);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    Bench::UnixProcesses processes;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (wcscmp(argv[i], L"--self-pid") == 0) {
            processes.self = Bench::CheckedSelfPid(wcstoul(argv[i + 1], nullptr, 10));
        } else if (wcscmp(argv[i], L"--server-pid") == 0) {
            processes.server = wcstoul(argv[i + 1], nullptr, 10);
        } else if (wcscmp(argv[i], L"--profile") == 0) {
            Bench::ProfileOnly(wcstoul(argv[i + 1], nullptr, 10), kProfileSeconds);
        }
    }
    std::vector<uint8_t> plaintext(kDataSize);
    for (uint32_t i = 0; i < kDataSize; ++i) {
        plaintext[i] = static_cast<uint8_t>(i * 131 + (i >> 9));
    }
    std::vector<uint8_t> ciphertext;
    const std::wstring path = ScratchPath();
    if (!ZorvCommon::Storage::EncryptDocumentBytes(kKey, plaintext, &ciphertext) ||
        !Bench::WriteWholeFile(path, ciphertext.data(), ciphertext.size())) {
        fprintf(stderr, "cannot write the scratch document\n");
        return 1;
    }
    std::vector<uint8_t> output(ciphertext.size());
    std::vector<uint8_t> chunk(kChunk);
    const auto decrypt = [&] { return DecryptBuffer(ciphertext, &output); };
    const auto read = [&] { return ReadDocument(path, &chunk); };

    const Bench::CostClock clock(processes);
    Rijndael pieces;
    if (!pieces.Initialize(DirectionDecrypt, reinterpret_cast<const uint8_t*>(kKey), 16, ModeCBC,
                           nullptr, 0)) {
        return 1;
    }
    const std::vector<Bench::Costs> inCache = Bench::MeasureInterleaved(
        clock, {[&] { return DecryptPieces(&pieces, ciphertext, &output); }}, Bench::kSamples,
        Bench::kSampleSeconds);
    Aes::ForceEngine(&Aes::PortableEngine());
    const std::vector<Bench::Costs> portable =
        Bench::MeasureInterleaved(clock, {decrypt}, Bench::kSamples, Bench::kSampleSeconds);
    Aes::ForceEngine(nullptr);
    const std::vector<Bench::Costs> file =
        Bench::MeasureInterleaved(clock, {read, decrypt}, Bench::kSamples, Bench::kSampleSeconds);
    DeleteFileW(path.c_str());
    if (inCache.empty() || portable.empty() || file.empty()) {
        fprintf(stderr, "a measurement failed\n");
        return 1;
    }
    Bench::Report("engine", Aes::ActiveEngine().name);
    Bench::Report("cpu_counts", clock.Counted());
    ReportRate("cipher_16k_mbps", inCache[0], double{kPieceSize} * kPiecesPerRun);
    ReportRate("cipher_portable_mbps", portable[0], kDataSize);
    ReportRate("filecrypt_mbps", file[0], kDataSize);
    ReportRate("cipher_mbps", file[1], kDataSize);
    // Throughput of FileCrypt over the cipher's: the cipher's time over FileCrypt's.
    Bench::ReportRatios("filecrypt_speed", file[1], file[0]);
    return 0;
}
