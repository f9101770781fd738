#include "ZorvComn_Library.h"

#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Library {

using Win32Error::Fail;

// The owner frees the module; Resolve is not called from here because the derived
// part is already gone.
Wrapper::~Wrapper() = default;

bool Wrapper::Load(const std::wstring& path, uint32_t* error) {
    if (!m_Module) {
        m_Module.reset(LoadLibraryW(path.c_str()));
        if (!m_Module) {
            return Fail(error, GetLastError());
        }
    }
    return Resolve(true, error);
}

bool Wrapper::Free(uint32_t* error) {
    if (!m_Module) {
        return Fail(error, ERROR_INVALID_HANDLE);
    }
    m_Module.reset();
    return Resolve(false, error);
}

std::wstring SystemDirectoryPath(const wchar_t* fileName) {
    std::wstring folder(MAX_PATH, L'\0');
    UINT cchFolder = GetSystemDirectoryW(&folder[0], static_cast<UINT>(folder.size()));
    if (cchFolder >= folder.size()) {
        folder.assign(cchFolder, L'\0');
        cchFolder = GetSystemDirectoryW(&folder[0], static_cast<UINT>(folder.size()));
    }
    if (cchFolder == 0 || cchFolder >= folder.size()) {
        return std::wstring();  // never a bare file name that the search path would resolve
    }
    folder.resize(cchFolder);
    return folder + L"\\" + fileName;
}

}  // namespace Library
}  // namespace ZorvCommon
