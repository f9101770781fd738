#include "SystemText.h"

#include <windows.h>

#include "ZorvComn_Handle.h"

namespace Tools {

bool SystemText(uint32_t error, std::wstring& text) {
    wchar_t* buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, error, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    const ZorvCommon::UniqueLocalMem owner(buffer);
    text.clear();
    if (length == 0 || buffer == nullptr) {
        return false;
    }
    text.assign(buffer, length);
    text.erase(text.find_last_not_of(L"\r\n .") + 1);
    return true;
}

}  // namespace Tools
