#pragma once
// Run-time binding of a dynamic library: one module handle, loaded on demand, and a
// Resolve hook that a derived class uses to look up (and later forget) its entry points.

#include <windows.h>

#include <cstdint>
#include <string>

#include "ZorvComn_Handle.h"

namespace ZorvCommon {
namespace Library {

class Base {
public:
    virtual ~Base() = default;
};

class Wrapper : public Base {
public:
    Wrapper() = default;
    ~Wrapper() override;  // frees a held module
    Wrapper(const Wrapper&) = delete;
    Wrapper& operator=(const Wrapper&) = delete;

    // LoadLibraryW only when no module is held, then Resolve(true, error).
    bool Load(const std::wstring& path, uint32_t* error = nullptr);
    // FreeLibrary, then Resolve(false, error) so that resolved entry points are cleared.
    bool Free(uint32_t* error = nullptr);
    bool IsLoaded() const { return m_Module.is_valid(); }
    HMODULE GetModule() const { return m_Module.get(); }

protected:
    virtual bool Resolve(bool load, uint32_t* error) = 0;

    // GetProcAddress typed through the function's own declaration.
    template <typename Function>
    Function GetProc(const char* name) const {
        return reinterpret_cast<Function>(
            reinterpret_cast<void*>(GetProcAddress(m_Module.get(), name)));
    }

private:
    UniqueModule m_Module;
};

// The full path of a file in the system directory (for system libraries loaded at run
// time: never resolved through the search path); empty when the folder is unknown.
std::wstring SystemDirectoryPath(const wchar_t* fileName);

}  // namespace Library
}  // namespace ZorvCommon
