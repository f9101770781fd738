#include "ResultText.h"

#include "OstrelResult.h"
#include "SystemText.h"

std::wstring DescribeResult(int32_t result) {
    switch (result) {
        case Ostrel::kSuccess:
            return L"success";
        case Ostrel::kElementSkipped:
            return L"success: the last element was skipped";
        case Ostrel::kNotProvided:
            return L"operation not provided";
        case Ostrel::kAbsentAccepted:
            return L"success: a value or section was absent";
        case Ostrel::kWrongState:
            return L"wrong state, or the document is not as expected";
        case Ostrel::kNotSupported:
            return L"not supported or not allowed";
        case Ostrel::kInvalidArgument:
            return L"invalid argument";
        case Ostrel::kInvalidObject:
            return L"invalid object";
        case Ostrel::kInvalidData:
            return L"invalid data in the document";
        case Ostrel::kAllocationFailed:
            return L"allocation failed";
        case Ostrel::kWrongOpenState:
            return L"wrong open state";
        case Ostrel::kNotFound:
            return L"not found";
        default:
            break;
    }
    if ((static_cast<uint32_t>(result) & 0xFFFF0000u) == 0x80070000u) {
        const uint32_t error = static_cast<uint32_t>(result) & 0xFFFFu;
        std::wstring system;
        return L"system error " + std::to_wstring(error) +
               (Tools::SystemText(error, system) ? L": " + system : std::wstring());
    }
    return result < 0 ? L"failure" : L"success";
}
