#include <gtest/gtest.h>

#include <string>

#include "LogCapture.h"
#include "SrvFrwk_UnitVersion.h"

namespace {

using SrvFrwk::CompareVersion;
using SrvFrwk::Unit::ConvertVersion;

constexpr int32_t kInvalidArgument = static_cast<int32_t>(0x80040204);

// Converts with every field preset to a marker, so that the reset is seen too, and
// checks the result and the four fields (the fourth is always 0).
void ExpectConverted(const std::wstring& text, int32_t result, uint32_t major, uint32_t minor,
                     uint32_t build) {
    SCOPED_TRACE(text);
    uint32_t fields[4] = {0xbdbdbdbd, 0xbdbdbdbd, 0xbdbdbdbd, 0xbdbdbdbd};
    EXPECT_EQ(result, ConvertVersion(text, fields[0], fields[1], fields[2], fields[3]));
    EXPECT_EQ(major, fields[0]);
    EXPECT_EQ(minor, fields[1]);
    EXPECT_EQ(build, fields[2]);
    EXPECT_EQ(0u, fields[3]);
}

TEST(ConvertVersion, FullTextsFillFieldsAsFourDecimalPlaces) {
    ExpectConverted(L"10.5.1", 1, 10, 5000, 1000);
    ExpectConverted(L"1.05.0005", 1, 1, 500, 5);
    ExpectConverted(L"4294967295.9999.9999", 1, 4294967295u, 9999, 9999);
    // Blanks and a sign in front of the major part are the runtime's to accept; a
    // leading zero does not make it octal.
    ExpectConverted(L" +7.1.1", 1, 7, 1000, 1000);
    ExpectConverted(L"010.1.1", 1, 10, 1000, 1000);
}

TEST(ConvertVersion, DelimiterRunsAndTrailingPartsAreSkipped) {
    for (const wchar_t* text : {L"..1.2.3", L"1..2..3", L"1.2-3", L"1.2.3.4", L"1.2-3.9.9"}) {
        ExpectConverted(text, 1, 1, 2000, 3000);
    }
}

TEST(ConvertVersion, ShortTextsSucceedWithZeroFields) {
    TestSupport::LogCapture log;
    for (const wchar_t* text : {L"10", L"10.5", L"10."}) {
        ExpectConverted(text, 0, 0, 0, 0);
    }
    EXPECT_EQ(3u, log.Count(L"[Leave] ConvertVersion()..."));
}

TEST(ConvertVersion, BadTextsFailWithTheirLines) {
    TestSupport::LogCapture log;
    const struct {
        const wchar_t* text;
        const wchar_t* line;
    } cases[] = {
        {L"", L"*** ConvertVersion() - _tszVersion was empty."},
        {L"...", L"*** ConvertVersion() - _szVersion was empty. [...]"},
        {L"1x.2.3", L"*** ConvertVersion() - ZorvCommon::String::StrToUl() failed. [1x]"},
        {L"99999999999.1.1",
         L"*** ConvertVersion() - ZorvCommon::String::StrToUl() failed. "
         L"[99999999999]"},
        {L"1.-", L"*** ConvertVersion() - tszMinor was empty. [-]"},
        {L"1.12345.0",
         L"*** ConvertVersion() - Specified Minor Version was too long string. [12345]"},
        {L"1.2a.0",
         L"*** ConvertVersion() - Specified Minor Version include not digit character. [2a]"},
        {L"1.2.12345",
         L"*** ConvertVersion() - Specified Build Version was too long string. [12345]"},
        {L"1.2.3-4",
         L"*** ConvertVersion() - Specified Build Version include not digit character. [3-4]"},
    };
    for (const auto& c : cases) {
        log.Clear();
        ExpectConverted(c.text, kInvalidArgument, 0, 0, 0);
        EXPECT_TRUE(log.Contains(c.line)) << log.Text();
    }
}

TEST(CompareVersion, OrdersWithTheNewerFirstAsMinusOne) {
    EXPECT_EQ(-1, CompareVersion(L"1.5.0", L"1.10.0")) << "minor 5000 against 1000";
    EXPECT_EQ(1, CompareVersion(L"1.10.0", L"1.5.0"));
    EXPECT_EQ(-1, CompareVersion(L"2.0.0", L"1.9999.9999"));
    EXPECT_EQ(1, CompareVersion(L"1.2.3", L"1.2.4"));
    EXPECT_EQ(0, CompareVersion(L"1.2.3", L"1.2.3"));
    EXPECT_EQ(0, CompareVersion(L"1.2-3", L"1.2.3.7")) << "the same numbers";
    EXPECT_EQ(0, CompareVersion(L"10.5", L"0.0.0")) << "a short text counts as 0.0.0.0";
}

TEST(CompareVersion, UnreadableTextsCountAsZeroAndAreLogged) {
    TestSupport::LogCapture log;
    EXPECT_EQ(-1, CompareVersion(L"2.0.0", L""));
    EXPECT_TRUE(
        log.Contains(L"*** CompareVersion() - Unit::ConvertVersion() failed. "
                     L"[0x80040204][]"))
        << log.Text();
    EXPECT_TRUE(log.Contains(L"*** VersionComparision::Compare() - [-1] [2.0.0] []"));

    log.Clear();
    EXPECT_EQ(0, CompareVersion(L"1.2a.0", L"0.0.0"));
    EXPECT_EQ(1u, log.Count(L"Unit::ConvertVersion() failed. [0x80040204][1.2a.0]"));
    EXPECT_EQ(1, CompareVersion(L"1.2.12345", L"0.0.1"));
    EXPECT_TRUE(log.Contains(L"*** VersionComparision::Compare() - [1] [1.2.12345] [0.0.1]"));
}

}  // namespace
