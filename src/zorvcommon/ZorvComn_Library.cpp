#include "ZorvComn_Library.h"

#include <objbase.h>

#include <memory>

#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Library {

using Win32Error::Fail;

bool Wrapper::Load(const std::wstring& path, uint32_t* error) {
    if (!m_Module) {
        if (!IsFullPath(path)) {
            return Fail(error, ERROR_BAD_PATHNAME);
        }
        m_Module.reset(LoadLibraryExW(path.c_str(), nullptr, kSafeLoadFlags));
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

void Wrapper::Abandon() {
    (void)m_Module.release();
    (void)Resolve(false, nullptr);
}

bool IsFullPath(const std::wstring& path) {
    const auto isSeparator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    const auto isDriveLetter = [](wchar_t c) { return (c | 0x20) >= L'a' && (c | 0x20) <= L'z'; };
    return path.size() >= 3 &&
           ((isDriveLetter(path[0]) && path[1] == L':' && isSeparator(path[2])) ||
            (isSeparator(path[0]) && isSeparator(path[1]) && !isSeparator(path[2])));
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

std::wstring KnownFolderPath(const KnownFolderLookup& lookup, REFKNOWNFOLDERID folderId) {
    PWSTR text = nullptr;
    const HRESULT result = lookup.GetPath(folderId, 0, nullptr, &text);
    const std::unique_ptr<wchar_t, decltype(lookup.FreeText)> owner(text, lookup.FreeText);
    return SUCCEEDED(result) && text != nullptr ? std::wstring(text) : std::wstring();
}

std::wstring KnownFolderPath(REFKNOWNFOLDERID folderId) {
    const UniqueModule shell32(
        LoadLibraryExW(SystemDirectoryPath(L"Shell32.dll").c_str(), nullptr, kSafeLoadFlags));
    const auto getPath = shell32 ? ProcAddress<decltype(KnownFolderLookup::GetPath)>(
                                       shell32.get(), "SHGetKnownFolderPath")
                                 : nullptr;
    return getPath == nullptr ? std::wstring()
                              : KnownFolderPath({getPath, CoTaskMemFree}, folderId);
}

}  // namespace Library
}  // namespace ZorvCommon
