// Decryption throughput, printed as "name value" lines (MB/s, 10^6 bytes per CPU second,
// medians of several groups of runs): the bare cipher over a 64 MiB buffer on each engine
// and over a cache-resident 16 KiB piece, and FileCrypt reading a 64 MiB document in
// 4 KiB chunks.

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "BenchClock.h"
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
constexpr int kGroups = 5;
constexpr double kGroupSeconds = 0.5;

// Median over several groups of runs, each group long enough for the coarse CPU clock;
// a run processes `bytes` and returns false on failure.
double MedianMegabytesPerSecond(uint64_t bytes, const std::function<bool()>& run) {
    std::vector<double> rates;
    for (int group = 0; group < kGroups; ++group) {
        const double start = Bench::ThreadCpuSeconds();
        double elapsed = 0;
        uint64_t runs = 0;
        do {
            if (!run()) {
                return 0;
            }
            ++runs;
            elapsed = Bench::ThreadCpuSeconds() - start;
        } while (elapsed < kGroupSeconds);
        rates.push_back(static_cast<double>(bytes * runs) / elapsed / 1e6);
    }
    std::sort(rates.begin(), rates.end());
    return rates[rates.size() / 2];
}

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

}  // namespace

int main() {
    std::vector<uint8_t> plaintext(kDataSize);
    for (uint32_t i = 0; i < kDataSize; ++i) {
        plaintext[i] = static_cast<uint8_t>(i * 131 + (i >> 9));
    }
    std::vector<uint8_t> ciphertext;
    if (!ZorvCommon::Storage::EncryptDocumentBytes(kKey, plaintext, &ciphertext)) {
        fprintf(stderr, "encryption failed\n");
        return 1;
    }
    std::vector<uint8_t> output(ciphertext.size());
    printf("engine %s\n", Aes::ActiveEngine().name);
    printf("cipher_mbps %.1f\n",
           MedianMegabytesPerSecond(kDataSize, [&] { return DecryptBuffer(ciphertext, &output); }));
    Rijndael pieces;
    if (!pieces.Initialize(DirectionDecrypt, reinterpret_cast<const uint8_t*>(kKey), 16, ModeCBC,
                           nullptr, 0)) {
        return 1;
    }
    printf("cipher_16k_mbps %.1f\n",
           MedianMegabytesPerSecond(uint64_t{kPieceSize} * kPiecesPerRun,
                                    [&] { return DecryptPieces(&pieces, ciphertext, &output); }));
    Aes::ForcePortableEngine(true);
    printf("cipher_portable_mbps %.1f\n",
           MedianMegabytesPerSecond(kDataSize, [&] { return DecryptBuffer(ciphertext, &output); }));
    Aes::ForcePortableEngine(false);

    const std::wstring path = ScratchPath();
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    ZorvCommon::UniqueFile owner(file);
    DWORD written = 0;
    if (!owner || !WriteFile(file, ciphertext.data(), static_cast<DWORD>(ciphertext.size()),
                             &written, nullptr)) {
        fprintf(stderr, "cannot write the scratch document\n");
        return 1;
    }
    owner.reset();
    std::vector<uint8_t> chunk(kChunk);
    printf("filecrypt_mbps %.1f\n",
           MedianMegabytesPerSecond(kDataSize, [&] { return ReadDocument(path, &chunk); }));
    DeleteFileW(path.c_str());
    return 0;
}
