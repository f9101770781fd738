#include "ZorvComn_String.h"

#include <windows.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <limits>
#include <memory>
#include <new>

namespace ZorvCommon {
namespace String {
namespace {

constexpr size_t kFormatStep = 256;
constexpr uint32_t kAllocationFailed = 6;
// The longest text, with its terminator, that Format produces (16 Mi characters).
constexpr size_t kFormatLimit = 16 * 1024 * 1024;

// A text of ASCII decimal digits short enough not to overflow, read as the C runtime would
// read it (base 0 takes a leading 0 for octal, so such texts are left to it). Documents are
// full of such numbers, and the runtime's conversion takes the thread's locale each time.
template <typename Number>
bool ParsePlainDecimal(const std::wstring& text, int base, Number& value) {
    if (text.empty() || text.size() > std::numeric_limits<Number>::digits10 ||
        (base == 0 && text[0] == L'0' && text.size() > 1)) {
        return false;
    }
    Number number = 0;
    for (const wchar_t character : text) {
        if (character < L'0' || character > L'9') {
            return false;
        }
        number = number * 10 + static_cast<Number>(character - L'0');
    }
    value = number;
    return true;
}

// Converts with errno saved and restored: success needs no ERANGE and the whole
// (non-empty) text consumed.
template <typename Number, typename Convert>
bool ParseWhole(const std::wstring& text, int base, Number& value, Convert convert) {
    if (ParsePlainDecimal(text, base, value)) {
        return true;
    }
    int savedErrno = 0;
    if (_get_errno(&savedErrno) != 0 || _set_errno(0) != 0) {
        return false;
    }
    const wchar_t* start = text.c_str();
    wchar_t* end = nullptr;
    const Number converted = convert(start, &end, base);
    int conversionErrno = 0;
    const bool readErrno = _get_errno(&conversionErrno) == 0;
    const bool whole = end != nullptr && end != start && *end == L'\0';
    if (_set_errno(savedErrno) != 0 || !readErrno || conversionErrno == ERANGE || !whole) {
        return false;
    }
    value = converted;
    return true;
}

}  // namespace

bool StrToUl(const std::wstring& text, uint32_t& value) {
    return ParseWhole(text, 0, value, wcstoul);
}

bool StrToUI64(const std::wstring& text, uint64_t& value) {
    return ParseWhole(text, 0, value, _wcstoui64);
}

bool StrToUlDecimal(const std::wstring& text, uint32_t& value) {
    return ParseWhole(text, 10, value, wcstoul);
}

int CopyTString(wchar_t* destination, size_t cchDestination, const wchar_t* source) {
    return wcsncpy_s(destination, cchDestination, source, _TRUNCATE);
}

size_t GetLengthA(const char* text, size_t maximum) {
    return strnlen(text, maximum);
}

bool FormatStep(std::wstring& out, size_t& cchSize, const wchar_t* format, va_list args) {
    if (cchSize == 0) {
        cchSize = kFormatStep;
    }
    std::unique_ptr<wchar_t[]> buffer(new (std::nothrow) wchar_t[cchSize]());
    if (!buffer) {
        throw new Exception(kAllocationFailed, __LINE__, __FILE__);
    }
    va_list attempt;
    va_copy(attempt, args);
    const int written = _vsnwprintf_s(buffer.get(), cchSize, _TRUNCATE, format, attempt);
    va_end(attempt);
    if (written < 0) {
        cchSize += kFormatStep;
        return false;
    }
    try {
        out.assign(buffer.get(), static_cast<size_t>(written));
    } catch (const std::bad_alloc&) {
        throw new Exception(kAllocationFailed, __LINE__, __FILE__);
    }
    return true;
}

bool FormatV(std::wstring& out, const wchar_t* format, va_list args) {
    out.clear();
    if (format == nullptr) {
        return false;
    }
    // Counted once, formatted once: a text of n characters costs O(n), not one whole
    // formatting per 256 characters. A format the runtime refuses counts -1 and fails, as
    // every step of a growing buffer would have; so does a text beyond the limit.
    va_list counting;
    va_copy(counting, args);
    const int cchText = _vscwprintf(format, counting);
    va_end(counting);
    if (cchText < 0 || static_cast<size_t>(cchText) >= kFormatLimit) {
        return false;
    }
    size_t cchSize = static_cast<size_t>(cchText) + 1;
    return FormatStep(out, cchSize, format, args);
}

bool Format(std::wstring& out, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    bool formatted = false;
    try {
        formatted = FormatV(out, format, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
    return formatted;
}

void AppendBackslash(std::wstring& path) {
    if (!path.empty() && path.back() != L'\\') {
        path.push_back(L'\\');
    }
}

}  // namespace String
}  // namespace ZorvCommon
