#pragma once
// Keeps fuzzed storage-control documents inside the fuzzer's own stores. Seeds are
// rewritten so that every registry section names HKCU\Software\OstrelFuzz\Keys\... and
// every INI section a file under the installed folder; after mutation the gate reads the
// document exactly as the module will (same decryption, same reader settings) and lets
// it through only when it still names nothing else.

#include <string>

namespace OstrelFuzz {

// The fuzzer's registry subtree under HKEY_CURRENT_USER; removed before and after a run.
constexpr const wchar_t* kFuzzRegistryRoot = L"Software\\OstrelFuzz";
// Every registry path of a confined document begins so (case ignored).
constexpr const wchar_t* kFuzzRegistryPrefix = L"Software\\OstrelFuzz\\Keys\\";
// Every INI path of a confined document begins so and stays in that folder.
constexpr const wchar_t* kFuzzIniPrefix = L"$INSTALL$";

// The document with each Root text set to HKCU and each Path text set to a fuzz key (in a
// Registry element) or a fuzz INI file (in an IniFile element). For seeds: a light scan
// of well-formed text, not a parser.
std::string ConfineStorageSeed(const std::string& document);

// Whether the encrypted storage-control document at path, read with key, names only
// HKCU, paths under kFuzzRegistryPrefix in registry sections and paths under
// kFuzzIniPrefix (without "..", ":" or a second macro) in INI sections. Every Root and
// Path element counts, wherever it stands; a document the reader gives up on counts up to
// that point, which is as far as the module gets too.
bool IsConfinedStorageDocument(const std::wstring& path, const char* key);

}  // namespace OstrelFuzz
