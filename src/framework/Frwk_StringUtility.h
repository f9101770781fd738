#pragma once
// String comparisons shared by the document readers.

#include <algorithm>
#include <cwchar>
#include <string>

namespace Frwk {
namespace StringUtility {

// Equal without regard to case, compared as _wcsnicmp compares over the longer of the
// two lengths (so a prefix does not match). Texts without an inner NUL whose characters
// are ASCII are decided here: the runtime takes the thread's locale at every call, and
// the readers compare every targeted element's words this way.
inline bool EqualsNoCase(const std::wstring& a, const std::wstring& b) {
    if (a.find(L'\0') == std::wstring::npos && b.find(L'\0') == std::wstring::npos) {
        if (a.size() != b.size()) {
            return false;  // the shorter text's end meets a character of the other
        }
        size_t i = 0;
        for (; i < a.size(); ++i) {
            const wchar_t x = a[i];
            const wchar_t y = b[i];
            if (x >= 0x80 || y >= 0x80) {
                break;
            }
            const wchar_t folded = x | 0x20;
            if (x != y && (folded != (y | 0x20) || folded < L'a' || folded > L'z')) {
                return false;
            }
        }
        if (i == a.size()) {
            return true;
        }
    }
    return _wcsnicmp(a.c_str(), b.c_str(), std::max(a.size(), b.size())) == 0;
}

}  // namespace StringUtility
}  // namespace Frwk
