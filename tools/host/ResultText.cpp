#include "ResultText.h"

#include "OstrelResult.h"
#include "SystemText.h"

namespace {

const struct {
    int32_t Result;
    const wchar_t* Text;
} kResultTexts[] = {
    {Ostrel::kSuccess, L"success"},
    {Ostrel::kElementSkipped, L"success: the last element was skipped"},
    {Ostrel::kNotProvided, L"operation not provided"},
    {Ostrel::kAbsentAccepted, L"success: a value or section was absent"},
    {Ostrel::kWrongState, L"wrong state, or the document is not as expected"},
    {Ostrel::kNotSupported, L"not supported or not allowed"},
    {Ostrel::kInvalidArgument, L"invalid argument"},
    {Ostrel::kInvalidObject, L"invalid object"},
    {Ostrel::kInvalidData, L"invalid data in the document"},
    {Ostrel::kAllocationFailed, L"allocation failed"},
    {Ostrel::kWrongOpenState, L"wrong open state"},
    {Ostrel::kNotFound, L"not found"},
};

}  // namespace

std::wstring DescribeResult(int32_t result) {
    for (const auto& known : kResultTexts) {
        if (known.Result == result) {
            return known.Text;
        }
    }
    if ((static_cast<uint32_t>(result) & 0xFFFF0000u) == 0x80070000u) {
        const uint32_t error = static_cast<uint32_t>(result) & 0xFFFFu;
        std::wstring system;
        return L"system error " + std::to_wstring(error) +
               (Tools::SystemText(error, system) ? L": " + system : std::wstring());
    }
    return result < 0 ? L"failure" : L"success";
}
