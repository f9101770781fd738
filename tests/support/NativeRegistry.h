#pragma once
// Registry keys that only the native functions make: links (REG_OPTION_CREATE_LINK, whose
// REG_LINK value "SymbolicLinkValue" names another key's native path) and keys whose name
// holds a NUL. Each is removed through the handle it was made with, so that no clean-up
// reaches through a link; declare them after the scratch key that holds them.

#include <windows.h>

#include <string>

#include "ZorvComn_Handle.h"

namespace TestSupport {

// A link at root\path to the existing key targetRoot\targetPath.
class ScratchRegistryLink {
public:
    ScratchRegistryLink(HKEY root, const std::wstring& path, HKEY targetRoot,
                        const std::wstring& targetPath);
    ~ScratchRegistryLink();

    // Whether the link key itself is still there.
    bool Exists() const;

private:
    HKEY m_Root;
    std::wstring m_Path;
    ZorvCommon::UniqueRegKey m_Key;
};

// A sub-key of root\parentPath named "Hidden" NUL "Key": the registry lists it, but the
// Win32 functions, which end a name at its first NUL, cannot open it.
class ScratchUnopenableKey {
public:
    ScratchUnopenableKey(HKEY root, const std::wstring& parentPath);
    ~ScratchUnopenableKey();

private:
    ZorvCommon::UniqueRegKey m_Key;
};

}  // namespace TestSupport
