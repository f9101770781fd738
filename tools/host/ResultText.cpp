#include "ResultText.h"

#include <windows.h>

#include "OstrelResult.h"
#include "ZorvComn_Handle.h"

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
        const DWORD error = static_cast<DWORD>(result) & 0xFFFFu;
        wchar_t* text = nullptr;
        const DWORD length =
            FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                               FORMAT_MESSAGE_IGNORE_INSERTS,
                           nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
        const ZorvCommon::UniqueLocalMem owner(text);
        std::wstring message = L"system error " + std::to_wstring(error);
        if (length > 0 && text != nullptr) {
            std::wstring system(text, length);
            while (!system.empty() && (system.back() == L'\n' || system.back() == L'\r' ||
                                       system.back() == L' ' || system.back() == L'.')) {
                system.pop_back();
            }
            message += L": " + system;
        }
        return message;
    }
    return result < 0 ? L"failure" : L"success";
}
