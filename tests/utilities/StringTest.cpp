#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "ZorvComn_String.h"

namespace {

using namespace ZorvCommon::String;

TEST(StrToUl, BasePrefixesRangeAndWholeText) {
    uint32_t value = 0;
    EXPECT_TRUE(StrToUl(L"0x1F", value));
    EXPECT_EQ(31u, value);
    EXPECT_TRUE(StrToUl(L"017", value));
    EXPECT_EQ(15u, value);
    EXPECT_TRUE(StrToUl(L"4294967295", value));
    EXPECT_EQ(0xFFFFFFFFu, value);
    EXPECT_TRUE(StrToUl(L"-1", value));
    EXPECT_EQ(0xFFFFFFFFu, value);
    EXPECT_TRUE(StrToUl(L" 42", value)) << "leading blanks are the conversion's";
    EXPECT_EQ(42u, value);

    value = 7;
    errno = EDOM;
    for (const wchar_t* bad : {L"4294967296", L"", L"12a", L"12 ", L"x", L"08"}) {
        EXPECT_FALSE(StrToUl(bad, value)) << bad;
        EXPECT_EQ(7u, value) << "untouched on failure";
    }
    EXPECT_EQ(EDOM, errno) << "the caller's errno survives";
    errno = 0;
}

TEST(StrToUl, SixtyFourBitAndDecimalOnlyForms) {
    uint64_t value64 = 0;
    EXPECT_TRUE(StrToUI64(L"4294967296", value64));
    EXPECT_EQ(0x100000000ull, value64);
    EXPECT_FALSE(StrToUI64(L"18446744073709551616", value64));

    uint32_t value = 0;
    EXPECT_TRUE(StrToUlDecimal(L"010", value));
    EXPECT_EQ(10u, value);
    EXPECT_FALSE(StrToUlDecimal(L"0x10", value));
}

TEST(Format, MicrosoftSemanticsAndGrowth) {
    std::wstring out = L"old";
    EXPECT_TRUE(Format(out, L"[%s] [%d] [0x%08x] [%lu]", L"wide", -3, 0xABu, 4000000000ul));
    EXPECT_EQ(L"[wide] [-3] [0x000000ab] [4000000000]", out);

    for (size_t length : {254u, 255u, 256u, 257u, 1000u}) {
        const std::wstring text(length, L'y');
        EXPECT_TRUE(Format(out, L"%s", text.c_str()));
        EXPECT_EQ(text, out) << length;
    }
    EXPECT_FALSE(Format(out, nullptr));
    EXPECT_EQ(L"", out);
}

bool StepOnce(std::wstring& out, size_t& cchSize, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    const bool done = FormatStep(out, cchSize, format, args);
    va_end(args);
    return done;
}

TEST(Format, StepGrowsTheSizeUntilTheTextFits) {
    const std::wstring text(300, L'z');
    std::wstring out;
    size_t cchSize = 0;
    EXPECT_FALSE(StepOnce(out, cchSize, L"%s", text.c_str()));
    EXPECT_EQ(512u, cchSize) << "an unset size starts at 256";
    EXPECT_TRUE(StepOnce(out, cchSize, L"%s", text.c_str()));
    EXPECT_EQ(512u, cchSize);
    EXPECT_EQ(text, out);
}

// The text a growing buffer gave (every earlier step only failed): FormatStep from the
// largest multiple of 256 that is still too small.
std::wstring GrownFormat(size_t cchText, const wchar_t* format, const wchar_t* text, int number) {
    std::wstring out;
    size_t cchSize = cchText / 256 * 256;
    while (!StepOnce(out, cchSize, format, text, number)) {
    }
    return out;
}

TEST(Format, AMillionCharactersComeOutWholeAndAsTheGrowingBufferGaveThem) {
    std::wstring text(1000000, L'7');
    for (size_t i = 0; i < text.size(); i += 13) {
        text[i] = static_cast<wchar_t>(L'a' + i % 26);
    }
    const wchar_t* const format = L"*** CreateEntry() - failed. [%s] [0x%08x]";
    std::wstring out;
    ASSERT_TRUE(Format(out, format, text.c_str(), 0x2a));
    EXPECT_EQ(L"*** CreateEntry() - failed. [" + text + L"] [0x0000002a]", out);
    EXPECT_EQ(GrownFormat(out.size(), format, text.c_str(), 0x2a), out);
}

// The longest text is 16 Mi characters less one, as before (a growing buffer that stopped
// at 16 Mi characters); counting it first keeps that cheap.
TEST(Format, TheLimitIsSixteenMiCharactersWithTheTerminator) {
    constexpr size_t kLimit = 16 * 1024 * 1024;
    std::wstring text(kLimit - 1, L'q');
    std::wstring out;
    ASSERT_TRUE(Format(out, L"%s", text.c_str()));
    EXPECT_TRUE(out == text) << "the longest text is formatted whole";
    text.push_back(L'q');
    EXPECT_FALSE(Format(out, L"%s", text.c_str()));
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(Format(out, L"%s%s", text.c_str(), L"")) << "the whole text counts";
}

TEST(StringHelpers, BackslashAndTruncation) {
    std::wstring path = L"C:\\dir";
    AppendBackslash(path);
    EXPECT_EQ(L"C:\\dir\\", path);
    AppendBackslash(path);
    EXPECT_EQ(L"C:\\dir\\", path);
    path.clear();
    AppendBackslash(path);
    EXPECT_EQ(L"", path);

    wchar_t buffer[4] = {L'#', L'#', L'#', L'#'};
    EXPECT_EQ(STRUNCATE, CopyTString(buffer, 4, L"abcdef"));
    EXPECT_EQ(std::wstring(L"abc"), buffer);
    EXPECT_EQ(17u, GetLengthA("0123456789abcdefXYZ", 17));
}

}  // namespace
