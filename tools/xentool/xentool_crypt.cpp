#include "xentool_common.h"

#include <windows.h>

#include "ZorvComn_CryptDocument.h"

namespace Xentool {

namespace {

using ZorvCommon::Storage::CryptDocument;

// Wine's XML reader pulls documents in reads of this size: decrypt the way it will.
constexpr uint32_t kReadChunk = 8188;

struct Job {
    std::string key;
    std::wstring input;
    std::wstring output;
};

// Key first (before any file is touched), then the two paths, which must differ; then
// the command itself.
template <int (*Run)(const Job&)>
int RunJob(const Arguments& arguments) {
    Arguments rest = arguments;
    Job job;
    int exitCode = ExitOk;
    if (!TakeDocumentKey(&rest, &job.key, &exitCode) || !NoOtherOptions(rest, &exitCode)) {
        return exitCode;
    }
    if (rest.size() != 2) {
        return UsageError(L"expected an input and an output path");
    }
    job.input = rest[0];
    job.output = rest[1];
    if (SamePath(job.input, job.output)) {
        return UsageError(L"the output would overwrite the input '" + job.input + L"'");
    }
    return Run(job);
}

int InputFailure(const std::wstring& path, uint32_t error) {
    return Fail(ExitInput, L"cannot read '" + path + L"': " + DescribeError(error));
}

int Save(const std::wstring& path, const std::vector<uint8_t>& bytes) {
    uint32_t error = 0;
    if (!WriteWholeFile(path, bytes, &error)) {
        return Fail(ExitOutput, L"cannot write '" + path + L"': " + DescribeError(error));
    }
    return ExitOk;
}

int Encrypt(const Job& job) {
    std::vector<uint8_t> ciphertext;
    const int exitCode = ReadEncrypted(job.input, job.key, &ciphertext);
    return exitCode != ExitOk ? exitCode : Save(job.output, ciphertext);
}

// Reads through the same decrypting file the module uses.
int Decrypt(const Job& job) {
    CryptDocument document;
    uint32_t error = 0;
    if (!document.Open(job.input, job.key.c_str(), &error)) {
        if (error == ERROR_INVALID_DATA) {
            return Fail(ExitData, L"'" + job.input + L"' is not a whole number of 16-byte blocks");
        }
        return InputFailure(job.input, error);
    }
    uint64_t size = 0;
    if (!document.File().GetSize(&size, &error)) {
        return InputFailure(job.input, error);
    }
    if (size == 0) {
        return Fail(ExitInput, L"'" + job.input + L"' is empty");
    }
    std::vector<uint8_t> plaintext;
    std::vector<uint8_t> chunk(kReadChunk);
    uint32_t count = 0;
    while (document.File().Read(chunk.data(), kReadChunk, &count, &error) || count > 0) {
        plaintext.insert(plaintext.end(), chunk.begin(), chunk.begin() + count);
    }
    if (error != ERROR_HANDLE_EOF) {
        return InputFailure(job.input, error);
    }
    return Save(job.output, plaintext);
}

}  // namespace

std::vector<Command> CryptCommands() {
    return {
        {L"encrypt", L"(--kind KIND | --key TEXT) IN.xml OUT.xen", RunJob<Encrypt>},
        {L"decrypt", L"(--kind KIND | --key TEXT) IN.xen OUT.xml", RunJob<Decrypt>},
    };
}

}  // namespace Xentool
