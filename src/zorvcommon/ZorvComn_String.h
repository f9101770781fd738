#pragma once
// String helpers: number parsing, bounded copy and length, and Format, the one
// formatter of the code base. Formats follow Microsoft semantics (they go through
// _vsnwprintf_s): %s takes a wide string, %d / %lu / 0x%08x take 32-bit values.

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

#include "ZorvComn_Exception.h"

namespace ZorvCommon {
namespace String {

// Raised by the formatting helpers when a buffer cannot be allocated (error 6).
class Exception : public ZorvCommon::Exception::Located {
public:
    using Located::Located;
};

// Base 0 ("0x" hexadecimal, leading "0" octal, else decimal; blanks and a sign as
// wcstoul takes them). The whole text must be consumed and the value must be in range.
// value is written only on success; errno is left as it was.
[[nodiscard]] bool StrToUl(const std::wstring& text, uint32_t& value);
[[nodiscard]] bool StrToUI64(const std::wstring& text, uint64_t& value);
// The same rules in base 10 only, for texts that must be read as decimal ("010" is ten).
[[nodiscard]] bool StrToUlDecimal(const std::wstring& text, uint32_t& value);

// Bounded copy with truncation; returns the copy's error code (0 on success).
int CopyTString(wchar_t* destination, size_t cchDestination, const wchar_t* source);
// strnlen: the length of text, counting at most maximum characters.
size_t GetLengthA(const char* text, size_t maximum);

// Formats into out (emptied first): the text is counted first and formatted once into a
// buffer of its size. False for a null format, a format the runtime refuses, or a text
// of 16 Mi characters or more. When memory for the text cannot be had it throws a
// String::Exception (by pointer, error 6) and nothing else; the argument list is ended on
// every way out.
bool Format(std::wstring& out, const wchar_t* format, ...);
bool FormatV(std::wstring& out, const wchar_t* format, va_list args);
// One attempt with cchSize characters (256 when zero): true when the text fitted, else
// cchSize grows by 256 and the caller tries again. Throws as Format does.
bool FormatStep(std::wstring& out, size_t& cchSize, const wchar_t* format, va_list args);

// Appends "\" to a non-empty path that does not end in one.
void AppendBackslash(std::wstring& path);

}  // namespace String
}  // namespace ZorvCommon
