#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "Frwk_StringUtility.h"
#include "Frwk_Utility.h"
#include "LogCapture.h"
#include "Scratch.h"

namespace {

using Frwk::Utility::HexWStringToByteArray;
using ZorvCommon::ByteArray;

std::vector<uint8_t> Bytes(const ByteArray& array) {
    return std::vector<uint8_t>(array.Data(), array.Data() + array.Length());
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
    ASSERT_TRUE(Frwk::Utility::HexStringToByteArray(L"0102", array));
    EXPECT_FALSE(HexWStringToByteArray(L"A", array));
    EXPECT_TRUE(array.IsEmpty()) << "the old block is freed first";
    EXPECT_FALSE(HexWStringToByteArray(L"", array));
    EXPECT_EQ(2u, capture.Count(L"*** Frwk::Utility::HexWStringToByteArray() - _wszString was "
                                L"bad hexa-string format."));
}

TEST(T2Guid, BracedFormOnly) {
    GUID guid;
    ASSERT_TRUE(Frwk::Utility::T2Guid(L"{92CBB9DE-F3AF-4511-BAA0-5BEE3622E27D}", guid));
    EXPECT_EQ(0x92CBB9DEu, guid.Data1);
    EXPECT_EQ(0xF3AF, guid.Data2);
    EXPECT_EQ(0x7D, guid.Data4[7]);

    EXPECT_FALSE(Frwk::Utility::T2Guid(L"92CBB9DE-F3AF-4511-BAA0-5BEE3622E27D", guid));
    EXPECT_FALSE(Frwk::Utility::T2Guid(L"{92CBB9DE-F3AF-4511-BAA0}", guid));
    EXPECT_FALSE(Frwk::Utility::T2Guid(L"", guid));
    EXPECT_EQ(GUID(), guid) << "zeroed on failure";
}

TEST(InstalledFolder, ReadAsStoredOrEmptyWithTheCaughtException) {
    TestSupport::LogCapture capture(0x111);
    capture.Product().SetInstalledFolder(L"C:\\Program Files\\Hearthward");
    EXPECT_EQ(L"C:\\Program Files\\Hearthward", Frwk::Utility::GetInstalledFolder());
    EXPECT_FALSE(capture.Contains(L"Got ZorvCommon::Storage::Exception()"));

    capture.Product().RemoveValue(L"InstalledFolder");
    EXPECT_EQ(L"", Frwk::Utility::GetInstalledFolder());
    EXPECT_TRUE(
        capture.Contains(L"*** Frwk::Utility::GetInstalledFolder() -  Got "
                         L"ZorvCommon::Storage::Exception(). [0x00000002]"));

    capture.Clear();
    capture.Product().RemoveKey();
    EXPECT_EQ(L"", Frwk::Utility::GetInstalledFolder());
    EXPECT_EQ(1u, capture.Count(L"Got ZorvCommon::Storage::Exception(). [0x00000002]"));
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
