#pragma once
// The system's text for a Win32 error code, as the tools print it.

#include <cstdint>
#include <string>

namespace Tools {

// FormatMessage's text without its trailing line break, blanks and full stop. False
// (text empty) when the system has none.
bool SystemText(uint32_t error, std::wstring& text);

}  // namespace Tools
