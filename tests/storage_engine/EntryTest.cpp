#include <gtest/gtest.h>

#include <memory>

#include "LogCapture.h"
#include "StorageCommand.h"

namespace {

using namespace Ostrel::Storage;
using TestSupport::LogCapture;

template <typename TEntry>
std::unique_ptr<TEntry> Make(uint32_t type, const std::wstring& text) {
    IEntry* pEntry = CreateEntry(type, text, L"Name", nullptr);
    auto* pTyped = dynamic_cast<TEntry*>(pEntry);
    if (pTyped == nullptr && pEntry != nullptr) {
        pEntry->Release();
    }
    return std::unique_ptr<TEntry>(pTyped);
}

std::vector<uint8_t> BytesOf(const EntryBinary& entry) {
    const auto& array = entry.GetValue();
    return std::vector<uint8_t>(array.Data(), array.Data() + array.Length());
}

TEST(CreateEntry, NumbersFollowTheCLanguageBasesAndMustBeConsumedWhole) {
    LogCapture log;
    EXPECT_EQ(31u, Make<EntryUint32>(ValueTypeUint32, L"0x1F")->GetValue());
    EXPECT_EQ(15u, Make<EntryUint32>(ValueTypeUint32, L"017")->GetValue());
    EXPECT_EQ(nullptr, Make<EntryUint32>(ValueTypeUint32, L"12abc"));
    EXPECT_EQ(nullptr, Make<EntryUint32>(ValueTypeUint32, L""));
    EXPECT_EQ(nullptr, Make<EntryUint32>(ValueTypeUint32, L"4294967296"));
    EXPECT_EQ(4294967296ull, Make<EntryUint64>(ValueTypeUint64, L"4294967296")->GetValue());
    EXPECT_EQ(nullptr, Make<EntryUint64>(ValueTypeUint64, L"18446744073709551616"));

    EXPECT_TRUE(log.Contains(L"*** CreateEntry() - ZorvCommon::String::StrToUl() failed. [12abc]"));
    EXPECT_TRUE(log.Contains(L"*** CreateEntry() - ZorvCommon::String::StrToUl() failed. []"));
    EXPECT_TRUE(
        log.Contains(L"*** CreateEntry() - ZorvCommon::String::StrToUl() failed. [4294967296]"));
    EXPECT_TRUE(log.Contains(
        L"*** CreateEntry() - ZorvCommon::String::StrToUI64() failed. [18446744073709551616]"));
}

TEST(CreateEntry, NamesTypesAndText) {
    LogCapture log;
    EXPECT_EQ(nullptr, CreateEntry(ValueTypeString, L"x", L"", nullptr));
    EXPECT_TRUE(log.Contains(L"*** CreateEntry() - _tszName was empty."));
    EXPECT_EQ(nullptr, CreateEntry(5, L"1", L"Name", nullptr));
    EXPECT_TRUE(log.Contains(L"*** CreateEntry() - Specified Value Type was not supported. [5]"));

    std::unique_ptr<IEntry> pName(CreateEntry(ValueTypeName, L"ignored", L"Bare", nullptr));
    ASSERT_NE(nullptr, pName);
    EXPECT_EQ(static_cast<uint32_t>(ValueTypeName), pName->GetType());
    EXPECT_EQ(L" keep  as is ", Make<EntryString>(ValueTypeString, L" keep  as is ")->GetValue());
    EXPECT_EQ(L"", Make<EntryString>(ValueTypeString, L"")->GetValue());
}

TEST(CreateEntry, BinaryTextIsReadInPairsOfHexDigits) {
    LogCapture log;
    EXPECT_EQ((std::vector<uint8_t>{0x0A, 0xFF}),
              BytesOf(*Make<EntryBinary>(ValueTypeBinary, L"0aFF")));
    EXPECT_EQ((std::vector<uint8_t>{0xAB}), BytesOf(*Make<EntryBinary>(ValueTypeBinary, L"ABC")))
        << "an odd last digit is ignored";
    EXPECT_EQ((std::vector<uint8_t>{0x00}), BytesOf(*Make<EntryBinary>(ValueTypeBinary, L"zz")))
        << "a pair that is not hexadecimal converts as wcstoul takes it";
    EXPECT_EQ(nullptr, Make<EntryBinary>(ValueTypeBinary, L"A"));
    EXPECT_TRUE(
        log.Contains(L"*** CreateEntry() - Frwk::Utility::HexStringToByteArray() failed. [A]"));
}

TEST(SectionCopy, IsDeepSkipsHolesAndCarriesEveryField) {
    LogCapture log;
    SectionRegistry source(HKEY_CURRENT_USER, L"Software\\X", AccessMode64, 2, L"Base");
    source.AddEntry(CreateEntry(ValueTypeString, L"text", L"S", nullptr));
    source.AddEntry(nullptr);
    source.AddEntry(CreateEntry(ValueTypeBinary, L"0102", L"B", nullptr));
    source.AddEntry(CreateEntry(ValueTypeUint64, L"7", L"Q", nullptr));
    EXPECT_EQ(&source, source.GetEntry(0)->GetSection()) << "an added entry belongs to its section";

    std::unique_ptr<SectionRegistry> pCopy(source.CreateCopyData());
    ASSERT_NE(nullptr, pCopy);
    EXPECT_TRUE(log.Contains(L"*** SectionBase::Copy() - (*pIEntryPointer) was invalid."));
    EXPECT_EQ(HKEY_CURRENT_USER, pCopy->GetRoot());
    EXPECT_EQ(L"Base", pCopy->GetBaseSubKey());
    EXPECT_EQ(static_cast<uint32_t>(AccessMode64), pCopy->GetAccessMode());
    EXPECT_EQ(2u, pCopy->GetAccessRight());
    std::wstring name;
    pCopy->GetName(name);
    EXPECT_EQ(L"Software\\X", name);
    ASSERT_EQ(3u, pCopy->GetEntryCount());
    EXPECT_EQ(pCopy.get(), pCopy->GetEntry(1)->GetSection());
    auto* pBinary = dynamic_cast<EntryBinary*>(pCopy->GetEntry(1));
    ASSERT_NE(nullptr, pBinary);
    pBinary->GetValue().Data()[0] = 0xEE;
    EXPECT_EQ(0x01, static_cast<EntryBinary*>(source.GetEntry(2))->GetValue().Data()[0]);
    EXPECT_EQ(7u, dynamic_cast<EntryUint64*>(pCopy->GetEntry(2))->GetValue());

    SectionIniFile ini(L"C:\\a.ini", L"Main");
    ini.AddEntry(CreateEntry(ValueTypeUint32, L"1", L"N", nullptr));
    std::unique_ptr<SectionIniFile> pIniCopy(ini.CreateCopyData());
    EXPECT_EQ(L"C:\\a.ini", pIniCopy->GetFilePath());
    EXPECT_EQ(L"Main", pIniCopy->GetSectionName());
    EXPECT_EQ(1u, pIniCopy->GetEntryCount());
    EXPECT_EQ(kAccessRightDefault, pIniCopy->GetAccessRight());
}

}  // namespace
