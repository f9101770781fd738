#include <gtest/gtest.h>

#include <windows.h>
#include <objbase.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Frwk_StringUtility.h"
#include "Frwk_Utility.h"
#include "LogCapture.h"
#include "ZorvComn_String.h"

namespace {

using Frwk::Utility::HexWStringToByteArray;
using ZorvCommon::ByteArray;
using namespace ZorvCommon::String;

std::vector<uint8_t> Bytes(const ByteArray& array) {
    return std::vector<uint8_t>(array.Data(), array.Data() + array.Length());
}

// AddData grows the array by what it adds, and refuses bytes that would fit into the
// capacity a created array already has.
TEST(ByteArray, AddDataRefusesWhatWouldFitAndGrowsOtherwise) {
    const uint8_t bytes[] = {0xAA, 0xBB};
    uint32_t error = 0;
    for (uint32_t capacity : {1u, 2u, 8u}) {
        ByteArray array;
        ASSERT_TRUE(array.Create(capacity));
        EXPECT_EQ(capacity < 2, array.AddData(bytes, 2, &error)) << capacity;
        EXPECT_EQ(capacity < 2 ? 0u : 160u, error) << capacity;
    }
    ByteArray grown;
    ASSERT_TRUE(grown.AddData(bytes, 2));
    ASSERT_TRUE(grown.AddData(bytes, 1));
    EXPECT_EQ((std::vector<uint8_t>{0xAA, 0xBB, 0xAA}), Bytes(grown));
}

TEST(HexString, PairsConvertAsWcstoulTakesThem) {
    TestSupport::LogCapture capture(0x111);
    const struct {
        const wchar_t* text;
        std::vector<uint8_t> bytes;
    } cases[] = {
        {L"0aFF", {0x0A, 0xFF}}, {L"ABC", {0xAB}},  // an odd last digit is ignored
        {L"zz", {0x00}},         {L"7z", {0x07}},  {L" 5", {0x05}}, {L"-1", {0xFF}},
    };
    for (const auto& c : cases) {
        ByteArray array;
        ASSERT_TRUE(HexWStringToByteArray(c.text, array)) << c.text;
        EXPECT_EQ(c.bytes, Bytes(array)) << c.text;
        EXPECT_EQ(c.bytes.size(), array.Capacity());
    }
    EXPECT_EQ(L"", capture.Text());

    ByteArray array;
    ASSERT_TRUE(HexWStringToByteArray(L"0102", array));
    EXPECT_FALSE(HexWStringToByteArray(L"A", array));
    EXPECT_TRUE(array.IsEmpty()) << "the old block is freed first";
    EXPECT_FALSE(HexWStringToByteArray(L"", array));
    EXPECT_EQ(2u, capture.Count(L"*** Frwk::Utility::HexWStringToByteArray() - _wszString was "
                                L"bad hexa-string format."));
}

// The canonical form is read without COM: every text must give what CLSIDFromString gives,
// the result and the GUID it leaves (also the part a failed text leaves behind).
TEST(T2Guid, ReadsEveryTextAsCLSIDFromString) {
    const std::wstring valid = L"{92CBB9DE-F3AF-4511-BAA0-5BEE3622E27D}";
    const auto with = [&valid](size_t index, wchar_t c) {
        std::wstring text = valid;
        text[index] = c;
        return text;
    };
    const std::wstring texts[] = {
        valid, L"{92CbB9dE-f3AF-4511-bAa0-5BeE3622e27D}",
        // wrong length, braces missing or misplaced, a trailing character
        L"92CBB9DE-F3AF-4511-BAA0-5BEE3622E27D", L"{92CBB9DE-F3AF-4511-BAA0-5BEE3622E27}",
        L"{92CBB9D-EF3AF-4511-BAA0-5BEE3622E27D}", valid + L" ",
        // characters next to the hex ranges, beyond ASCII with a digit's or a letter's low
        // bits, a NUL inside and after the closing brace
        with(1, L'G'), with(3, L'/'), with(8, L'\xFF21'), with(10, L'\x0660'), with(11, L'\x0130'),
        with(36, L'-'), with(24, L'A'), with(5, L'\0'), valid + std::wstring(1, L'\0'),
        L"Ostrel.NoSuchProgId"};
    for (const std::wstring& text : texts) {
        GUID expected{};
        const bool parsed = CLSIDFromString(text.c_str(), &expected) == S_OK;
        GUID guid;
        memset(&guid, 0xbd, sizeof(guid));
        EXPECT_EQ(parsed, Frwk::Utility::T2Guid(text, guid)) << text;
        EXPECT_EQ(0, memcmp(&expected, &guid, sizeof(guid))) << text;
    }
}

// The whole text, in range, with the base its prefix gives (or decimal only); the value is
// untouched on failure and the caller's errno survives.
TEST(StrToUl, BasePrefixesRangeAndWholeText) {
    const struct {
        const wchar_t* text;
        bool converts;
        uint64_t value;
        int form;  // 0: StrToUl, 1: StrToUlDecimal, 2: StrToUI64
    } cases[] = {
        {L"0x1F", true, 31, 0},
        {L"017", true, 15, 0},
        {L"4294967295", true, ~0u, 0},
        {L"-1", true, ~0u, 0},
        {L"4294967296", false, 7, 0},
        {L"12a", false, 7, 0},
        {L"08", false, 7, 0},
        {L"010", true, 10, 1},
        {L"0x10", false, 7, 1},
        {L"4294967296", true, 1ull << 32, 2},
        {L"18446744073709551616", false, 7, 2},
    };
    for (const auto& c : cases) {
        errno = EDOM;
        uint32_t value = 7;
        uint64_t value64 = 7;
        const bool converted = c.form == 0   ? StrToUl(c.text, value)
                               : c.form == 1 ? StrToUlDecimal(c.text, value)
                                             : StrToUI64(c.text, value64);
        EXPECT_EQ(c.converts, converted) << c.text;
        EXPECT_EQ(c.value, c.form == 2 ? value64 : value) << c.text;
        EXPECT_EQ(EDOM, errno) << c.text;
    }
    errno = 0;
}

// Plain decimal texts are read without the runtime; they must come out as its own
// conversion reads them, at the edges of that shortcut too.
TEST(StrToUl, PlainDecimalsReadAsTheRuntimeReadsThem) {
    const wchar_t* const texts[] = {
        L"0",          L"00",         L"000000001", L"999999999",   L"1000000000",
        L"4294967295", L"4294967296", L"07",        L"09",          L" 7",
        L"+7",         L"7 ",         L"\xff17",    L"12345678901", L""};
    for (const wchar_t* text : texts) {
        for (int form = 0; form < 3; ++form) {
            wchar_t* end = nullptr;
            errno = 0;
            const uint64_t expected =
                form == 2 ? _wcstoui64(text, &end, 0) : wcstoul(text, &end, form == 0 ? 0 : 10);
            const bool expectConverts = errno != ERANGE && end != text && *end == L'\0';
            uint32_t value = 7;
            uint64_t value64 = 7;
            const bool converted = form == 0   ? StrToUl(text, value)
                                   : form == 1 ? StrToUlDecimal(text, value)
                                               : StrToUI64(text, value64);
            EXPECT_EQ(expectConverts, converted) << text << " form " << form;
            if (converted) {
                EXPECT_EQ(expected, form == 2 ? value64 : value) << text << " form " << form;
            }
        }
    }
    uint64_t value64 = 0;
    EXPECT_TRUE(StrToUI64(L"9999999999999999999", value64));
    EXPECT_EQ(9999999999999999999ull, value64);
    EXPECT_TRUE(StrToUI64(L"18446744073709551615", value64));
    EXPECT_EQ(~0ull, value64);
    errno = 0;
}

// The readers' case-blind comparison answers as _wcsnicmp over the longer length,
// also for the texts its ASCII shortcut leaves to the runtime.
TEST(EqualsNoCase, AnswersAsTheRuntimeComparison) {
    const std::pair<std::wstring, std::wstring> pairs[] = {
        {L"all", L"ALL"},
        {L"all", L"al"},
        {L"al", L"all"},
        {L"all", L"alm"},
        {L"@", L"`"},
        {L"[", L"{"},
        {L"Z", L"z"},
        {L"", L""},
        {L"a", L""},
        {L"\xdcber", L"\xfcBER"},
        {L"\xe9t\xe9", L"\xe9T\xe9"},
        {std::wstring(L"all\0x", 5), L"ALL"},
        {std::wstring(L"a\0b", 3), std::wstring(L"A\0c", 3)}};
    for (const auto& [a, b] : pairs) {
        const bool expected = _wcsnicmp(a.c_str(), b.c_str(), std::max(a.size(), b.size())) == 0;
        EXPECT_EQ(expected, Frwk::StringUtility::EqualsNoCase(a, b)) << a << " / " << b;
        EXPECT_EQ(expected, Frwk::StringUtility::EqualsNoCase(b, a)) << b << " / " << a;
    }
}

TEST(Format, AMillionCharactersComeOutWholeUpToTheSixteenMiLimit) {
    std::wstring text(1000000, L'7');
    for (size_t i = 0; i < text.size(); i += 13) {
        text[i] = static_cast<wchar_t>(L'a' + i % 26);
    }
    const wchar_t* const format = L"*** CreateEntry() - failed. [%s] [0x%08x]";
    std::wstring out;
    ASSERT_TRUE(Format(out, format, text.c_str(), 0x2a));
    EXPECT_EQ(L"*** CreateEntry() - failed. [" + text + L"] [0x0000002a]", out);

    // The longest text is 16 Mi characters less one, as before (a growing buffer that
    // stopped at 16 Mi characters); counting it first keeps that cheap.
    text.assign(16 * 1024 * 1024 - 1, L'q');
    ASSERT_TRUE(Format(out, L"%s", text.c_str()));
    EXPECT_TRUE(out == text) << "the longest text is formatted whole";
    text.push_back(L'q');
    EXPECT_FALSE(Format(out, L"%s", text.c_str()));
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(Format(out, L"%s%s", text.c_str(), L"")) << "the whole text counts";
}

}  // namespace
