#pragma once
// What the authoring suites share: the sample target profiles and the lines of what
// xentool printed.

#include <algorithm>
#include <string>

#include "Scratch.h"

namespace AuthoringTest {

// The sample profiles in examples\profiles, copied next to the test executable by the build.
inline constexpr const wchar_t* kProfiles[] = {L"winxp-32.ini", L"vista-64.ini", L"win7-64.ini",
                                               L"win10-64.ini"};

inline std::wstring ProfilePath(const std::wstring& name) {
    return TestSupport::ExecutableFolder() + L"profiles\\" + name;
}

// How many lines of text contain fragment.
inline size_t CountLines(const std::string& text, const std::string& fragment) {
    size_t count = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        count += text.substr(start, end - start).find(fragment) != std::string::npos;
        start = end + 1;
    }
    return count;
}

}  // namespace AuthoringTest
