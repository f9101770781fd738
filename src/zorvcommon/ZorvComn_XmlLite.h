#pragma once
// XmlLite, bound at run time from the system directory: the library ships with the
// system and is never resolved through the search path.

#include <windows.h>
#include <objidl.h>
#include <xmllite.h>

#include <cstdint>
#include <string>

#include "ZorvComn_Library.h"

namespace ZorvCommon {
namespace Library {

class XmlLite : public Wrapper {
public:
    // Not declared by every SDK's header, so typed here.
    using CreateXmlReaderInputWithEncodingCodePageFn =
        HRESULT(WINAPI*)(IUnknown* stream, IMalloc* pMalloc, UINT codePage, BOOL encodingHint,
                         LPCWSTR baseUri, IUnknown** ppInput);

    XmlLite() = default;
    ~XmlLite() override = default;

    // Loads directory\xmllite.dll (the directory, not the path, unlike Wrapper::Load). 5010 when
    // already loaded, 160 for an empty directory, else LoadLibraryW's error.
    bool Load(const std::wstring& directory, uint32_t* error = nullptr);
    // Loads the library from the system directory.
    bool LoadFromSystemDirectory(uint32_t* error = nullptr);

    decltype(&::CreateXmlReader) m_pfnCreateXmlReader = nullptr;
    CreateXmlReaderInputWithEncodingCodePageFn m_pfnCreateXmlReaderInputWithEncodingCodePage =
        nullptr;
    decltype(&::CreateXmlReaderInputWithEncodingName) m_pfnCreateXmlReaderInputWithEncodingName =
        nullptr;
    decltype(&::CreateXmlWriter) m_pfnCreateXmlWriter = nullptr;
    decltype(&::CreateXmlWriterOutputWithEncodingCodePage)
        m_pfnCreateXmlWriterOutputWithEncodingCodePage = nullptr;
    decltype(&::CreateXmlWriterOutputWithEncodingName) m_pfnCreateXmlWriterOutputWithEncodingName =
        nullptr;

protected:
    // Looks the six entry points up after a load and forgets them after a free.
    bool Resolve(bool load, uint32_t* error) override;
};

}  // namespace Library
}  // namespace ZorvCommon
