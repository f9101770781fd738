#include <gtest/gtest.h>

#include <memory>

#include "LogCapture.h"
#include "StorageDryRun.h"

namespace {

using namespace Ostrel::Storage;
using TestSupport::LogCapture;

// The value CreateEntry made from text as the plan shows it ("<none>": no entry). The hex
// digits' rules are HexStringToByteArray's.
std::wstring Converted(uint32_t type, const wchar_t* text) {
    std::unique_ptr<IEntry> pEntry(CreateEntry(type, text, L"Name", nullptr));
    return pEntry ? DescribeValue(*pEntry) : L"<none>";
}

// The value rules of the storage engine, in one place: the commands and the document
// reader take their entries from here.
TEST(CreateEntry, ConvertsTheTextOfEachType) {
    LogCapture log;
    const struct {
        uint32_t type;
        const wchar_t* text;
        const wchar_t* value;
    } cases[] = {
        {ValueTypeUint32, L"0x1F", L"31"},
        {ValueTypeUint32, L"017", L"15"},  // C bases: a leading 0 is octal
        {ValueTypeUint32, L"12abc", L"<none>"},
        {ValueTypeUint32, L"", L"<none>"},
        {ValueTypeUint32, L"4294967296", L"<none>"},
        {ValueTypeUint64, L"4294967296", L"4294967296"},
        {ValueTypeUint64, L"18446744073709551616", L"<none>"},
        {ValueTypeString, L" keep  as is ", L"\" keep  as is \""},
        {ValueTypeString, L"", L"\"\""},
        {ValueTypeBinary, L"0aFF", L"hex 0AFF"},
        {ValueTypeBinary, L"A", L"<none>"},
        {ValueTypeName, L"ignored", L""},
        {5, L"1", L"<none>"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.value, Converted(c.type, c.text)) << c.type << L" " << c.text;
    }
    EXPECT_EQ(nullptr, CreateEntry(ValueTypeString, L"x", L"", nullptr)) << "a name is required";
}

TEST(SectionCopy, IsDeepSkipsHolesAndCarriesEveryField) {
    LogCapture log;
    SectionRegistry source(HKEY_CURRENT_USER, L"Software\\X", AccessMode64, 2, L"Base");
    source.AddEntry(CreateEntry(ValueTypeString, L"text", L"S", nullptr));
    source.AddEntry(nullptr);
    source.AddEntry(CreateEntry(ValueTypeBinary, L"0102", L"B", nullptr));
    EXPECT_EQ(&source, source.GetEntry(0)->GetSection()) << "an added entry belongs to its section";

    std::unique_ptr<SectionRegistry> pCopy(source.CreateCopyData());
    ASSERT_NE(nullptr, pCopy);
    EXPECT_EQ(L"Base", pCopy->GetBaseSubKey());
    EXPECT_EQ(static_cast<uint32_t>(AccessMode64), pCopy->GetAccessMode());
    ASSERT_EQ(2u, pCopy->GetEntryCount()) << "the hole is skipped";
    EXPECT_EQ(pCopy.get(), pCopy->GetEntry(1)->GetSection());
    auto* pBinary = dynamic_cast<EntryBinary*>(pCopy->GetEntry(1));
    ASSERT_NE(nullptr, pBinary);
    pBinary->GetValue().Data()[0] = 0xEE;
    EXPECT_EQ(0x01, static_cast<EntryBinary*>(source.GetEntry(2))->GetValue().Data()[0]);
}

}  // namespace
