#include "ZorvComn_XmlLite.h"

#include "ZorvComn_String.h"

// The mingw headers declare the reader's interface id, but no import library defines it.
extern "C" const IID IID_IXmlReader = {
    0x7279fc81, 0x709d, 0x4095, {0xb6, 0x3d, 0x69, 0xfe, 0x4b, 0x0d, 0x90, 0x30}};

namespace ZorvCommon {
namespace Library {

bool XmlLite::LoadFromSystemDirectory(uint32_t* error) {
    wchar_t directory[MAX_PATH];
    const UINT length = GetSystemDirectoryW(directory, MAX_PATH);
    uint32_t result = ERROR_OBJECT_ALREADY_EXISTS;
    if (length == 0 || length >= MAX_PATH) {
        result = length == 0 ? GetLastError() : ERROR_INSUFFICIENT_BUFFER;
    } else if (!IsLoaded()) {
        std::wstring path(directory, length);
        String::AppendBackslash(path);
        return Load(path + L"xmllite.dll", error);
    }
    if (error != nullptr) {
        *error = result;
    }
    return false;
}

bool XmlLite::Resolve(bool load, uint32_t* error) {
    // After a free the entry point is forgotten.
    m_pfnCreateXmlReader =
        load ? GetProc<decltype(&::CreateXmlReader)>("CreateXmlReader") : nullptr;
    if (load && m_pfnCreateXmlReader == nullptr) {
        if (error != nullptr) {
            *error = ERROR_PROC_NOT_FOUND;
        }
        return false;
    }
    return true;
}

}  // namespace Library
}  // namespace ZorvCommon
