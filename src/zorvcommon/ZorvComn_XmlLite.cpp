#include "ZorvComn_XmlLite.h"

#include <type_traits>

#include "ZorvComn_String.h"

// The mingw headers declare the reader's interface id, but no import library defines it.
extern "C" const IID IID_IXmlReader = {
    0x7279fc81, 0x709d, 0x4095, {0xb6, 0x3d, 0x69, 0xfe, 0x4b, 0x0d, 0x90, 0x30}};

namespace ZorvCommon {
namespace Library {

bool XmlLite::Load(const std::wstring& directory, uint32_t* error) {
    uint32_t result = 0;
    if (IsLoaded()) {
        result = ERROR_OBJECT_ALREADY_EXISTS;
    } else if (directory.empty()) {
        result = ERROR_BAD_ARGUMENTS;
    } else {
        std::wstring path = directory;
        String::AppendBackslash(path);
        path += L"xmllite.dll";
        return Wrapper::Load(path, error);
    }
    if (error != nullptr) {
        *error = result;
    }
    return false;
}

bool XmlLite::LoadFromSystemDirectory(uint32_t* error) {
    wchar_t directory[MAX_PATH];
    const UINT length = GetSystemDirectoryW(directory, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        if (error != nullptr) {
            *error = length == 0 ? GetLastError() : ERROR_INSUFFICIENT_BUFFER;
        }
        return false;
    }
    return Load(std::wstring(directory, length), error);
}

bool XmlLite::Resolve(bool load, uint32_t* error) {
    // After a free every entry point is forgotten.
    const auto bind = [&](auto& entryPoint, const char* name) {
        entryPoint = load ? GetProc<std::remove_reference_t<decltype(entryPoint)>>(name) : nullptr;
    };
    bind(m_pfnCreateXmlReader, "CreateXmlReader");
    bind(m_pfnCreateXmlReaderInputWithEncodingCodePage, "CreateXmlReaderInputWithEncodingCodePage");
    bind(m_pfnCreateXmlReaderInputWithEncodingName, "CreateXmlReaderInputWithEncodingName");
    bind(m_pfnCreateXmlWriter, "CreateXmlWriter");
    bind(m_pfnCreateXmlWriterOutputWithEncodingCodePage,
         "CreateXmlWriterOutputWithEncodingCodePage");
    bind(m_pfnCreateXmlWriterOutputWithEncodingName, "CreateXmlWriterOutputWithEncodingName");
    // The reader is what the library is loaded for; the other entry points are optional.
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
