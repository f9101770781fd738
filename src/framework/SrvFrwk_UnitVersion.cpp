#include "SrvFrwk_UnitVersion.h"

#include <string_view>

#include "ZorvComn_DebugLog.h"
#include "ZorvComn_String.h"

namespace SrvFrwk {

namespace {

constexpr int32_t kInvalidArgument = static_cast<int32_t>(0x80040204);
constexpr size_t kDigitsOfPart = 4;

// Views into the version text, which outlives them: the conversion is asked twice for
// every targeted element of a document, so it builds no strings on its way.
struct Split {
    std::wstring_view token;
    std::wstring_view remainder;
};

// The token starts at the first character that is not a delimiter and runs up to the
// next delimiter; the remainder starts at the first non-delimiter after the token. Runs
// of delimiters, and delimiters in front, are thus skipped.
Split SplitAt(std::wstring_view text, std::wstring_view delimiters) {
    Split split;
    const size_t start = text.find_first_not_of(delimiters);
    if (start == std::wstring_view::npos) {
        return split;
    }
    const size_t end = text.find_first_of(delimiters, start);
    split.token = text.substr(start, end == std::wstring_view::npos ? end : end - start);
    const size_t next =
        end == std::wstring_view::npos ? end : text.find_first_not_of(delimiters, end);
    if (next != std::wstring_view::npos) {
        split.remainder = text.substr(next);
    }
    return split;
}

bool ConvertDecimal(const std::wstring& token, uint32_t& value) {
    if (!ZorvCommon::String::StrToUlDecimal(token, value)) {
        ZORV_ERROR(L"*** ConvertVersion() - ZorvCommon::String::StrToUl() failed. [%s]",
                   token.c_str());
        return false;
    }
    return true;
}

// Minor and build: the next token of text, one to four decimal digits, read as four
// decimal places (padded on the right). tokenName ("tszMinor") and partName ("Minor")
// name the part in the error lines.
bool ConvertPart(std::wstring_view text, const wchar_t* delimiters, const wchar_t* tokenName,
                 const wchar_t* partName, uint32_t& value, std::wstring_view& remainder) {
    const Split split = SplitAt(text, delimiters);
    const std::wstring_view token = split.token;
    if (token.empty()) {
        ZORV_ERROR(L"*** ConvertVersion() - %s was empty. [%s]", tokenName,
                   std::wstring(text).c_str());
        return false;
    }
    if (token.size() > kDigitsOfPart) {
        ZORV_ERROR(L"*** ConvertVersion() - Specified %s Version was too long string. [%s]",
                   partName, std::wstring(token).c_str());
        return false;
    }
    for (const wchar_t character : token) {
        if (!iswdigit(character)) {
            ZORV_ERROR(
                L"*** ConvertVersion() - Specified %s Version include not digit character. [%s]",
                partName, std::wstring(token).c_str());
            return false;
        }
    }
    std::wstring padded(token);
    padded.resize(kDigitsOfPart, L'0');
    remainder = split.remainder;
    return ConvertDecimal(padded, value);
}

// The version's four fields, or 0.0.0.0 when the text cannot be converted.
void ConvertOrZero(const std::wstring& text, uint32_t (&fields)[4]) {
    const int32_t result = Unit::ConvertVersion(text, fields[0], fields[1], fields[2], fields[3]);
    if (result < 0) {
        ZORV_ERROR(L"*** CompareVersion() - Unit::ConvertVersion() failed. [0x%08x][%s]", result,
                   text.c_str());
        fields[0] = fields[1] = fields[2] = fields[3] = 0;
    }
}

}  // namespace

namespace Unit {

int32_t ConvertVersion(const std::wstring& _tszVersion, uint32_t& major, uint32_t& minor,
                       uint32_t& build, uint32_t& fourth) {
    major = minor = build = fourth = 0;
    if (_tszVersion.empty()) {
        ZORV_ERROR(L"*** ConvertVersion() - _tszVersion was empty.");
        return kInvalidArgument;
    }

    const Split majorSplit = SplitAt(_tszVersion, L".");
    if (majorSplit.token.empty()) {
        ZORV_ERROR(L"*** ConvertVersion() - _szVersion was empty. [%s]", _tszVersion.c_str());
        return kInvalidArgument;
    }
    uint32_t nMajor = 0;
    if (!ConvertDecimal(std::wstring(majorSplit.token), nMajor)) {
        return kInvalidArgument;
    }
    // A major-only text converts to 0.0.0.0: kept as documents rely on it.
    if (majorSplit.remainder.empty()) {
        ZORV_TRACE(L"[Leave] ConvertVersion()...");
        return 0;
    }

    uint32_t nMinor = 0;
    std::wstring_view afterMinor;
    if (!ConvertPart(majorSplit.remainder, L".-", L"tszMinor", L"Minor", nMinor, afterMinor)) {
        return kInvalidArgument;
    }
    // So does a major.minor text.
    if (afterMinor.empty()) {
        ZORV_TRACE(L"[Leave] ConvertVersion()...");
        return 0;
    }

    uint32_t nBuild = 0;
    std::wstring_view ignored;  // whatever follows the build part
    if (!ConvertPart(afterMinor, L".", L"tszBuild", L"Build", nBuild, ignored)) {
        return kInvalidArgument;
    }

    major = nMajor;
    minor = nMinor;
    build = nBuild;
    return 1;
}

}  // namespace Unit

int32_t CompareVersion(const std::wstring& first, const std::wstring& second) {
    uint32_t firstFields[4];
    uint32_t secondFields[4];
    ConvertOrZero(first, firstFields);
    ConvertOrZero(second, secondFields);

    int32_t result = 0;
    for (int field = 0; field < 3 && result == 0; ++field) {
        if (firstFields[field] != secondFields[field]) {
            result = firstFields[field] > secondFields[field] ? -1 : 1;
        }
    }
    // A smaller fourth field does not count: only a greater one orders the pair.
    if (result == 0 && firstFields[3] > secondFields[3]) {
        result = -1;
    }
    ZORV_INFO(L"*** VersionComparision::Compare() - [%d] [%s] [%s]", result, first.c_str(),
              second.c_str());
    return result;
}

}  // namespace SrvFrwk
