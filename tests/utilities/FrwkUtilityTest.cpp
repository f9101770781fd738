#include <gtest/gtest.h>

#include <windows.h>
#include <objbase.h>

#include <cstring>
#include <string>
#include <vector>

#include "Frwk_StringUtility.h"
#include "Frwk_Utility.h"
#include "LogCapture.h"

namespace {

using Frwk::Utility::HexWStringToByteArray;
using ZorvCommon::ByteArray;

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
        // wrong length, braces missing or misplaced
        L"92CBB9DE-F3AF-4511-BAA0-5BEE3622E27D", L"{92CBB9DE-F3AF-4511-BAA0-5BEE3622E27}",
        L"(92CBB9DE-F3AF-4511-BAA0-5BEE3622E27D)", L"{92CBB9D-EF3AF-4511-BAA0-5BEE3622E27D}",
        // trailing and leading characters
        valid + L" ",
        // characters next to the hex ranges, and beyond ASCII
        with(1, L'G'), with(3, L'/'), with(8, L'\xFF21'), with(10, L'\x0660'),
        with(11, L'\x0130'),  // beyond ASCII, with a digit's or a letter's low bits
        with(36, L'-'), with(24, L'A'),
        // an embedded NUL: inside, and after the closing brace
        with(5, L'\0'), valid + std::wstring(1, L'\0'),
        L"Ostrel.NoSuchProgId",  // not a GUID text at all
    };
    for (const std::wstring& text : texts) {
        GUID expected{};
        const bool parsed = CLSIDFromString(text.c_str(), &expected) == S_OK;
        GUID guid;
        memset(&guid, 0xbd, sizeof(guid));
        EXPECT_EQ(parsed, Frwk::Utility::T2Guid(text, guid)) << text;
        EXPECT_EQ(0, memcmp(&expected, &guid, sizeof(guid))) << text;
    }
}

TEST(StringUtility, EqualsNoCaseComparesWholeTexts) {
    using Frwk::StringUtility::EqualsNoCase;
    EXPECT_TRUE(EqualsNoCase(L"eAutomatic", L"EAUTOMATIC"));
    EXPECT_TRUE(EqualsNoCase(L"", L""));
    EXPECT_FALSE(EqualsNoCase(L"Service", L"Services"));
    EXPECT_FALSE(EqualsNoCase(L"Services", L"Service"));
    EXPECT_FALSE(EqualsNoCase(L"a", L""));
}

}  // namespace
