#pragma once
// File names in a folder, for the seeds, the saved inputs and the sweeps.

#include <string>
#include <vector>

namespace OstrelFuzz {

// The names (not paths) of the files in folder that match pattern ("*.xml"), sorted.
std::vector<std::wstring> ListFiles(const std::wstring& folder, const wchar_t* pattern);

}  // namespace OstrelFuzz
