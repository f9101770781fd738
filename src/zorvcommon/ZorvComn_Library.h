#pragma once
// Run-time binding of a dynamic library: one module handle, loaded on demand, and a
// Resolve hook that a derived class uses to look up (and later forget) its entry points.

#include <windows.h>
#include <shtypes.h>

#include <cstdint>
#include <string>

#include "ZorvComn_Handle.h"

namespace ZorvCommon {
namespace Library {

// GetProcAddress typed through the function's own declaration.
template <typename Function>
Function ProcAddress(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

class Base {
public:
    virtual ~Base() = default;
};

class Wrapper : public Base {
public:
    Wrapper() = default;
    // The owner frees a held module; Resolve is not called because the derived part is
    // already gone.
    ~Wrapper() override = default;
    Wrapper(const Wrapper&) = delete;
    Wrapper& operator=(const Wrapper&) = delete;

    // Only when no module is held: loads the library at path, a full path (else error 161,
    // ERROR_BAD_PATHNAME), with LoadLibraryExW so that the library's own imports come from
    // its folder and the system directory only, never from the current directory or PATH.
    // Then Resolve(true, error).
    bool Load(const std::wstring& path, uint32_t* error = nullptr);
    // FreeLibrary, then Resolve(false, error) so that resolved entry points are cleared.
    bool Free(uint32_t* error = nullptr);
    // Process exit: forgets the module without FreeLibrary (the loader unloads it), then
    // Resolve(false, nullptr).
    void Abandon();
    bool IsLoaded() const { return m_Module.is_valid(); }
    HMODULE GetModule() const { return m_Module.get(); }

protected:
    virtual bool Resolve(bool load, uint32_t* error) = 0;

    template <typename Function>
    Function GetProc(const char* name) const {
        return ProcAddress<Function>(m_Module.get(), name);
    }

private:
    UniqueModule m_Module;
};

// A drive-absolute ("C:\...") or UNC ("\\server\...", "\\?\...") path: never one that the
// current directory or a search path completes ("", "name", ".\x", "\x", "C:x").
bool IsFullPath(const std::wstring& path);

// The flags every run-time load uses: the library's folder, then the system directory.
constexpr DWORD kSafeLoadFlags = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;

// The shell's known-folder lookup (SHGetKnownFolderPath) and the function that frees the
// text it hands out (CoTaskMemFree): a test hands in its own pair.
struct KnownFolderLookup {
    HRESULT(WINAPI* GetPath)(REFKNOWNFOLDERID folderId, DWORD flags, HANDLE token, PWSTR* path);
    void(WINAPI* FreeText)(void* text);
};

// The known folder's path, empty when the lookup fails. The lookup's text is freed on
// every way out, also after a failure (the shell may hand out a text even then).
std::wstring KnownFolderPath(const KnownFolderLookup& lookup, REFKNOWNFOLDERID folderId);
// The same with SHGetKnownFolderPath from the system directory's Shell32.dll, loaded at
// run time; empty where it is missing (before NT 6.0).
std::wstring KnownFolderPath(REFKNOWNFOLDERID folderId);

// The full path of a file in the system directory (for system libraries loaded at run
// time: never resolved through the search path); empty when the folder is unknown.
std::wstring SystemDirectoryPath(const wchar_t* fileName);

}  // namespace Library
}  // namespace ZorvCommon
