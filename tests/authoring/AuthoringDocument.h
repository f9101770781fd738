#pragma once
// What the authoring suites share: the sample target profiles and the lines of what
// xentool printed.

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
size_t CountLines(const std::string& text, const std::string& fragment);

}  // namespace AuthoringTest
