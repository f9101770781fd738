#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "ZorvComn_String.h"

namespace {

using namespace ZorvCommon::String;

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

bool StepOnce(std::wstring& out, size_t& cchSize, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    const bool done = FormatStep(out, cchSize, format, args);
    va_end(args);
    return done;
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

}  // namespace
