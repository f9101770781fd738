#pragma once
// String comparisons shared by the document readers.

#include <algorithm>
#include <cwchar>
#include <string>

namespace Frwk {
namespace StringUtility {

// Equal without regard to case, compared over the longer of the two lengths (so a
// prefix does not match).
inline bool EqualsNoCase(const std::wstring& a, const std::wstring& b) {
    return _wcsnicmp(a.c_str(), b.c_str(), std::max(a.size(), b.size())) == 0;
}

}  // namespace StringUtility
}  // namespace Frwk
