#pragma once
// XmlLite, bound at run time from the system directory: the library ships with the
// system and is never resolved through the search path.

#include <windows.h>
#include <xmllite.h>

#include <cstdint>

#include "ZorvComn_Library.h"

namespace ZorvCommon {
namespace Library {

class XmlLite : public Wrapper {
public:
    // Loads xmllite.dll from the system directory: 5010 when already loaded, else the
    // system's error.
    bool LoadFromSystemDirectory(uint32_t* error = nullptr);

    decltype(&::CreateXmlReader) m_pfnCreateXmlReader = nullptr;

protected:
    // Looks the reader's entry point up after a load and forgets it after a free.
    bool Resolve(bool load, uint32_t* error) override;
};

}  // namespace Library
}  // namespace ZorvCommon
