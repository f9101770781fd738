#include "Frwk_StringUtility.h"

#include <algorithm>
#include <cwchar>

namespace Frwk {
namespace StringUtility {

bool EqualsNoCase(const std::wstring& a, const std::wstring& b) {
    return _wcsnicmp(a.c_str(), b.c_str(), std::max(a.size(), b.size())) == 0;
}

}  // namespace StringUtility
}  // namespace Frwk
