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
    {"service", "m3^Tb8&Yc1*Nh6%e", L"QjBsSvPl.xen"},
    {"provider", "K7#pQ2!vR9@wL4$z", L"QjEnPvPl.xen"},
    {"webaccess", "J8*rB4%nV6!qC9#t", L"QjEnPvWc.xen"},
    {"storage", "P5!dW0#sG7@kF2^x", L""},
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
