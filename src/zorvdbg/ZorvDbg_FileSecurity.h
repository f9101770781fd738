#pragma once
// What the trace library trusts before it writes: the owner of its folder and file, and
// a plain file (one link, no reparse point); and the access list of the folder it
// creates itself.

#include <windows.h>

#include <cstdint>
#include <vector>

namespace ZorvDbg {

// The SID of this process's user, as a self-contained copy; empty when the token
// cannot be read.
std::vector<uint8_t> ProcessUserSid();

// Whether the descriptor names an owner, and that owner is processUser, Local System or
// the Administrators group. Anyone else could have planted the object or its links.
bool IsTrustedOwner(PSECURITY_DESCRIPTOR descriptor, PSID processUser);

// The same for an open file or folder (the handle needs READ_CONTROL).
bool HasTrustedOwner(HANDLE handle, PSID processUser);

// A file the library may append to: not a folder, not a reparse point, one link only.
bool IsPlainFile(const BY_HANDLE_FILE_INFORMATION& information);

// The descriptor of the folder the library creates when no folder is configured: Local
// System and Administrators full control, processUser write (list the folder, create
// and append to files, read attributes), all inherited by files and folders below; the
// parent's inheritable entries are kept out (the common application data folder lets
// every user create).
class FolderSecurity {
public:
    explicit FolderSecurity(PSID processUser);
    FolderSecurity(const FolderSecurity&) = delete;
    FolderSecurity& operator=(const FolderSecurity&) = delete;

    // Null when the descriptor could not be built.
    SECURITY_ATTRIBUTES* Attributes() { return m_Built ? &m_Attributes : nullptr; }
    PSECURITY_DESCRIPTOR Descriptor() { return m_Built ? &m_Descriptor : nullptr; }

private:
    std::vector<DWORD> m_Acl;  // DWORD-aligned, as an ACL must be
    SECURITY_DESCRIPTOR m_Descriptor{};
    SECURITY_ATTRIBUTES m_Attributes{};
    bool m_Built = false;
};

// The user's entry of that list.
constexpr ACCESS_MASK kUserFolderAccess =
    FILE_GENERIC_WRITE | FILE_READ_ATTRIBUTES | FILE_LIST_DIRECTORY;

}  // namespace ZorvDbg
