#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LogCapture.h"
#include "SrvFrwk_UnitVersion.h"

namespace {

// The result and the four fields, each preset to a marker so that the reset shows too.
std::vector<int64_t> Converted(const wchar_t* text) {
    uint32_t f[4] = {0xbdbdbdbd, 0xbdbdbdbd, 0xbdbdbdbd, 0xbdbdbdbd};
    const int32_t result = SrvFrwk::Unit::ConvertVersion(text, f[0], f[1], f[2], f[3]);
    return {result, f[0], f[1], f[2], f[3]};
}

TEST(ConvertVersion, FillsFieldsAsFourDecimalPlacesOrFailsWithItsLine) {
    const std::vector<int64_t> failed = {static_cast<int32_t>(0x80040204), 0, 0, 0, 0};
    const struct {
        const wchar_t* Text;
        std::vector<int64_t> Converted;
        const wchar_t* Line;  // what a failure logs
    } cases[] = {
        {L"10.5.1", {1, 10, 5000, 1000, 0}, L""},
        {L"1.05.0005", {1, 1, 500, 5, 0}, L""},
        {L"4294967295.9999.9999", {1, 4294967295u, 9999, 9999, 0}, L""},
        {L" +7.1.1", {1, 7, 1000, 1000, 0}, L""},       // the runtime's blanks and sign
        {L"010.1.1", {1, 10, 1000, 1000, 0}, L""},      // not octal
        {L"..1..2-3.9.9", {1, 1, 2000, 3000, 0}, L""},  // delimiter runs, trailing parts
        {L"10.5", {0, 0, 0, 0, 0}, L""},                // a short text: zero fields
        {L"10.", {0, 0, 0, 0, 0}, L""},
        {L"", failed, L"*** ConvertVersion() - _tszVersion was empty."},
        {L"...", failed, L"*** ConvertVersion() - _szVersion was empty. [...]"},
        {L"1x.2.3", failed, L"ZorvCommon::String::StrToUl() failed. [1x]"},
        {L"99999999999.1.1", failed, L"StrToUl() failed. [99999999999]"},
        {L"1.-", failed, L"tszMinor was empty. [-]"},
        {L"1.12345.0", failed, L"Specified Minor Version was too long string. [12345]"},
        {L"1.2a.0", failed, L"Specified Minor Version include not digit character. [2a]"},
        {L"1.2.12345", failed, L"Specified Build Version was too long string. [12345]"},
    };
    TestSupport::LogCapture log;
    for (const auto& c : cases) {
        EXPECT_EQ(c.Converted, Converted(c.Text)) << c.Text;
        EXPECT_TRUE(log.Contains(c.Line)) << log.Text();
    }
}

TEST(CompareVersion, OrdersTheNewerFirstAsMinusOneAndUnreadableTextsAsZero) {
    const struct {
        const wchar_t* First;
        const wchar_t* Second;
        int Result;
    } cases[] = {
        {L"1.5.0", L"1.10.0", -1},  // minor 5000 against 1000
        {L"1.10.0", L"1.5.0", 1},    {L"2.0.0", L"1.9999.9999", -1},
        {L"1.2.3", L"1.2.4", 1},     {L"1.2.3", L"1.2.3", 0},
        {L"1.2-3", L"1.2.3.7", 0},   {L"10.5", L"0.0.0", 0},  // short: 0.0.0.0
        {L"2.0.0", L"", -1},         {L"1.2a.0", L"0.0.0", 0},
        {L"1.2.12345", L"0.0.1", 1},
    };
    TestSupport::LogCapture log;
    for (const auto& c : cases) {
        EXPECT_EQ(c.Result, SrvFrwk::CompareVersion(c.First, c.Second))
            << c.First << " " << c.Second;
    }
    EXPECT_TRUE(
        log.Contains(L"*** CompareVersion() - Unit::ConvertVersion() failed. "
                     L"[0x80040204][1.2.12345]"))
        << log.Text();
    EXPECT_TRUE(log.Contains(L"*** VersionComparision::Compare() - [1] [1.2.12345] [0.0.1]"));
}

}  // namespace
