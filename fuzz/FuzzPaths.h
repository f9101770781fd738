#pragma once
// The four roads a document takes into the module, with the file name and key of each.

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace OstrelFuzz {

enum class RequestPath : uint32_t { Service, Provider, WebAccess, Storage, Count };

constexpr size_t kPathCount = static_cast<size_t>(RequestPath::Count);

// "service", "provider", "webaccess", "storage": also the prefix of saved inputs.
const char* PathName(RequestPath path);
// The inverse of PathName; false for any other text.
bool PathFromName(const std::string& name, RequestPath* path);
// The 16-character document key of the path.
const char* PathKey(RequestPath path);
// The policy document's file name in the installed folder (empty for storage).
const wchar_t* PathFileName(RequestPath path);

// The document encrypted under key; empty when the cipher refuses.
std::vector<uint8_t> Encrypt(const char* key, const std::vector<uint8_t>& plaintext);

}  // namespace OstrelFuzz
