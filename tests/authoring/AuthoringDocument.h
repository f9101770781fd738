#pragma once
// What the authoring suites share: documents written into a scratch folder, xentool
// runs, and where a text stands in a document.

#include <windows.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "ToolRun.h"

namespace AuthoringTest {

using Ostrel::Vocabulary::kStorageKey;

void WriteText(const std::wstring& path, const std::string& text);
// The text encrypted with key, as the module reads it.
void WriteEncrypted(const std::wstring& path, const std::string& text, const char* key);

TestSupport::ToolRun RunXentool(const std::wstring& arguments);

// "LINE:COLUMN" (both from 1) of the first occurrence of marker.
std::string Where(const std::string& document, const std::string& marker);

// The lines of text that contain fragment.
std::vector<std::string> LinesWith(const std::string& text, const std::string& fragment);

// Every key and value below path as "subkey|name" -> bytes and type.
using RegistrySnapshot = std::map<std::wstring, std::vector<uint8_t>>;
void SnapshotRegistry(HKEY root, const std::wstring& path, RegistrySnapshot& snapshot);

// examples\profiles\NAME next to the build's examples (copied there by the test's build).
std::wstring ProfilePath(const std::wstring& name);

}  // namespace AuthoringTest
