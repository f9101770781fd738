#pragma once
// String comparisons shared by the document readers.

#include <string>

namespace Frwk {
namespace StringUtility {

// Equal without regard to case, compared over the longer of the two lengths (so a
// prefix does not match).
bool EqualsNoCase(const std::wstring& a, const std::wstring& b);

}  // namespace StringUtility
}  // namespace Frwk
