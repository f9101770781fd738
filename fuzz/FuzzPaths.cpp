#include "DocumentVocabulary.h"
#include "FuzzPaths.h"

#include "ZorvComn_CryptDocument.h"

namespace OstrelFuzz {
namespace {

struct PathInfo {
    const char* Name;
    const char* Key;
    const wchar_t* FileName;
};

const PathInfo kPaths[kPathCount] = {
    {"service", Ostrel::Vocabulary::kServiceKey, L"QjBsSvPl.xen"},
    {"provider", Ostrel::Vocabulary::kProviderKey, L"QjEnPvPl.xen"},
    {"webaccess", Ostrel::Vocabulary::kWebAccessKey, L"QjEnPvWc.xen"},
    {"storage", Ostrel::Vocabulary::kStorageKey, L""},
};

const PathInfo& Info(RequestPath path) {
    return kPaths[static_cast<size_t>(path)];
}

}  // namespace

const char* PathName(RequestPath path) {
    return Info(path).Name;
}

bool PathFromName(const std::string& name, RequestPath* path) {
    for (size_t index = 0; index < kPathCount; ++index) {
        if (name == kPaths[index].Name) {
            *path = static_cast<RequestPath>(index);
            return true;
        }
    }
    return false;
}

const char* PathKey(RequestPath path) {
    return Info(path).Key;
}

const wchar_t* PathFileName(RequestPath path) {
    return Info(path).FileName;
}

std::vector<uint8_t> Encrypt(const char* key, const std::vector<uint8_t>& plaintext) {
    std::vector<uint8_t> ciphertext;
    if (!ZorvCommon::Storage::EncryptDocumentBytes(key, plaintext, &ciphertext)) {
        ciphertext.clear();
    }
    return ciphertext;
}

}  // namespace OstrelFuzz
