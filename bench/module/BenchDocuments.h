#pragma once
// Generated documents for the module benchmarks, in the vocabulary the module reads,
// and their encrypted files.

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "DocumentVocabulary.h"

namespace Bench {

constexpr const char* kServicePolicyKey = Ostrel::Vocabulary::kServiceKey;
constexpr const char* kStorageControlKey = Ostrel::Vocabulary::kStorageKey;
constexpr const wchar_t* kServicePolicyFile = L"QjBsSvPl.xen";
// The assignment text the benchmark's storage requests carry.
constexpr const wchar_t* kAssign = L"bench";

// A service policy of at least minimumServices services and minimumBytes bytes; each
// service has every field and one dependency. *services receives the count.
std::string ServicePolicy(size_t minimumServices, size_t minimumBytes, size_t* services);

// One registry value as a storage-control entry writes it and as a plain loop does.
struct StoredValue {
    std::string name;
    std::string typeText;   // the document's "Type"
    std::string valueText;  // the document's "Value"
    DWORD type;             // REG_SZ, REG_DWORD, REG_QWORD or REG_BINARY
    std::vector<uint8_t> data;
};

// count values, the four value types in turn.
std::vector<StoredValue> StoredValues(size_t count);

// A kept ("save"="yes") storage-control document with targeting checked: one HKCU
// section at keyPath storing (overwriting) every value.
std::string StoreDocument(const std::wstring& keyPath, const std::vector<StoredValue>& values);

// A kept storage-control document of at least minimumBytes: sections assigned to another
// host (skipped after their targeting is read), then one section of ours at keyPath
// storing one value.
std::string MostlyForeignDocument(const std::wstring& keyPath, size_t minimumBytes);

// Encrypts text with the 16-character key into path.
bool WriteDocument(const std::wstring& path, const char* key, const std::string& text);

}  // namespace Bench
