#pragma once
// Saved failing inputs: one file per input, named "<road>-<hash>.xen" after the road it
// went through and holding the exact bytes written as the document.

#include <string>
#include <vector>

#include "FuzzPaths.h"

namespace OstrelFuzz {

struct SavedInput {
    std::wstring FileName;
    RequestPath Path = RequestPath::Storage;
    std::vector<uint8_t> File;
};

// "\<road>-<hash of the bytes>.xen": the same input always gets the same name.
std::wstring SavedInputName(RequestPath path, const std::vector<uint8_t>& file);
// Writes the input into folder (created when missing) and returns the file's path.
std::wstring SaveInput(const std::wstring& folder, RequestPath path,
                       const std::vector<uint8_t>& file);
// Every "<road>-*.xen" of folder, in name order; other files are passed over.
std::vector<SavedInput> LoadSavedInputs(const std::wstring& folder);

}  // namespace OstrelFuzz
