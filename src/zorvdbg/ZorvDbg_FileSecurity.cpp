#include "ZorvDbg_FileSecurity.h"

#include <aclapi.h>

#include "ZorvComn_Handle.h"

namespace ZorvDbg {
namespace {

struct WellKnownSid {
    alignas(DWORD) BYTE bytes[SECURITY_MAX_SID_SIZE];
};

bool MakeSid(WELL_KNOWN_SID_TYPE type, WellKnownSid& sid) {
    DWORD cbSid = sizeof(sid.bytes);
    return CreateWellKnownSid(type, nullptr, sid.bytes, &cbSid) != FALSE;
}

}  // namespace

std::vector<uint8_t> ProcessUserSid() {
    ZorvCommon::UniqueToken token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put())) {
        return {};
    }
    DWORD cbUser = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &cbUser);
    std::vector<DWORD> user((cbUser + sizeof(DWORD) - 1) / sizeof(DWORD));
    if (user.empty() ||
        !GetTokenInformation(token.get(), TokenUser, user.data(), cbUser, &cbUser)) {
        return {};
    }
    const PSID sid = reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid;
    const auto* bytes = static_cast<const uint8_t*>(sid);
    return std::vector<uint8_t>(bytes, bytes + GetLengthSid(sid));
}

bool IsTrustedOwner(PSECURITY_DESCRIPTOR descriptor, PSID processUser) {
    PSID owner = nullptr;
    BOOL defaulted = FALSE;
    if (descriptor == nullptr || !GetSecurityDescriptorOwner(descriptor, &owner, &defaulted) ||
        owner == nullptr || !IsValidSid(owner)) {
        return false;
    }
    return (processUser != nullptr && EqualSid(owner, processUser)) ||
           IsWellKnownSid(owner, WinLocalSystemSid) ||
           IsWellKnownSid(owner, WinBuiltinAdministratorsSid);
}

bool HasTrustedOwner(HANDLE handle, PSID processUser) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(handle, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, nullptr, nullptr,
                        nullptr, nullptr, &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    const ZorvCommon::UniqueLocalMem owner(descriptor);
    return IsTrustedOwner(descriptor, processUser);
}

bool IsPlainFile(const BY_HANDLE_FILE_INFORMATION& information) {
    return (information.dwFileAttributes &
            (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0 &&
           information.nNumberOfLinks == 1;
}

FolderSecurity::FolderSecurity(PSID processUser) {
    WellKnownSid system;
    WellKnownSid administrators;
    if (processUser == nullptr || !IsValidSid(processUser) || !MakeSid(WinLocalSystemSid, system) ||
        !MakeSid(WinBuiltinAdministratorsSid, administrators)) {
        return;
    }
    const struct {
        PSID sid;
        ACCESS_MASK access;
    } entries[] = {
        {system.bytes, FILE_ALL_ACCESS},
        {administrators.bytes, FILE_ALL_ACCESS},
        {processUser, kUserFolderAccess},
    };
    DWORD cbAcl = sizeof(ACL);
    for (const auto& entry : entries) {
        cbAcl += sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD) + GetLengthSid(entry.sid);
    }
    m_Acl.assign((cbAcl + sizeof(DWORD) - 1) / sizeof(DWORD), 0);
    auto* acl = reinterpret_cast<ACL*>(m_Acl.data());
    if (!InitializeAcl(acl, cbAcl, ACL_REVISION)) {
        return;
    }
    for (const auto& entry : entries) {
        if (!AddAccessAllowedAceEx(acl, ACL_REVISION, OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE,
                                   entry.access, entry.sid)) {
            return;
        }
    }
    if (!InitializeSecurityDescriptor(&m_Descriptor, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorDacl(&m_Descriptor, TRUE, acl, FALSE) ||
        !SetSecurityDescriptorControl(&m_Descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED)) {
        return;
    }
    m_Attributes.nLength = sizeof(m_Attributes);
    m_Attributes.lpSecurityDescriptor = &m_Descriptor;
    m_Attributes.bInheritHandle = FALSE;
    m_Built = true;
}

}  // namespace ZorvDbg
