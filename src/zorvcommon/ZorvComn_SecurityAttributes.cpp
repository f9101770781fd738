#include "ZorvComn_SecurityAttributes.h"

#include <array>

namespace ZorvCommon {
namespace AccessControl {
namespace {

constexpr size_t kTrusteeCount = 7;

// The trustees in the order their entries are added to the list.
constexpr std::array<WELL_KNOWN_SID_TYPE, kTrusteeCount> kTrustees = {
    WinBuiltinAdministratorsSid, WinBuiltinPowerUsersSid, WinLocalSystemSid,
    WinAuthenticatedUserSid,     WinBuiltinUsersSid,      WinInteractiveSid,
    WinCreatorOwnerSid,
};

using Masks = std::array<ACCESS_MASK, kTrusteeCount>;

struct KindMasks {
    uint32_t kind;
    Masks masks;
};

constexpr Masks Uniform(ACCESS_MASK mask) {
    return {mask, mask, mask, mask, mask, mask, mask};
}

// Only Creator Owner gets the kind's full access; Administrators and Local System get
// the same smaller mask, Power Users less again.
constexpr KindMasks kMaskTable[] = {
    {0, {0x13013F, 0x12002F, 0x13013F, 0x120029, 0x120029, 0x120029, 0x1F01FF}},
    {1, {0x1100C7, 0x100087, 0x1100C7, 0x100081, 0x100081, 0x100081, 0x1F01FF}},
    {2, {0x101F7, 0x18D, 0x1F5, 0x185, 0x185, 0x185, 0xF01FF}},
    {4, {0x1003F, 0x3F, 0x1003F, 0x20009, 0x20009, 0x20009, 0xF003F}},
    {5, {0x101FFB, 0x101E92, 0x101FFB, 0x101410, 0x101410, 0x101410, 0x1F1FFF}},
    {6, {0x1000FB, 0x10006A, 0x1000FB, 0x100048, 0x100048, 0x100048, 0x1F03FB}},
    {9, Uniform(0x100002)},
    {10, Uniform(0x1F0003)},
    {11, Uniform(0x100001)},
    {12, Uniform(0x1F0001)},
};

[[noreturn]] void Throw(uint32_t error, uint32_t line) {
    throw new Exception(error, line, __FILE__);
}

void ThrowLastErrorIfFailed(BOOL succeeded, uint32_t line) {
    if (!succeeded) {
        Throw(GetLastError(), line);
    }
}

const Masks& MasksOf(uint32_t kind) {
    for (const KindMasks& entry : kMaskTable) {
        if (entry.kind == kind) {
            return entry.masks;
        }
    }
    Throw(ERROR_NOT_SUPPORTED, __LINE__);
}

struct Sid {
    alignas(DWORD) BYTE bytes[SECURITY_MAX_SID_SIZE];
};

}  // namespace

SecurityAttributes::SecurityAttributes(uint32_t kind) : m_Kind(kind) {
    const Masks& masks = MasksOf(kind);

    std::array<Sid, kTrusteeCount> sids;
    DWORD cbAcl = sizeof(ACL);
    for (size_t i = 0; i < kTrusteeCount; ++i) {
        DWORD cbSid = sizeof(sids[i].bytes);
        ThrowLastErrorIfFailed(CreateWellKnownSid(kTrustees[i], nullptr, sids[i].bytes, &cbSid),
                               __LINE__);
        cbAcl += sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD) + cbSid;
    }

    std::vector<DWORD> acl((cbAcl + sizeof(DWORD) - 1) / sizeof(DWORD));
    auto* pAcl = reinterpret_cast<ACL*>(acl.data());
    ThrowLastErrorIfFailed(InitializeAcl(pAcl, cbAcl, ACL_REVISION), __LINE__);
    for (size_t i = 0; i < kTrusteeCount; ++i) {
        ThrowLastErrorIfFailed(AddAccessAllowedAce(pAcl, ACL_REVISION, masks[i], sids[i].bytes),
                               __LINE__);
    }

    SECURITY_DESCRIPTOR absolute;
    ThrowLastErrorIfFailed(InitializeSecurityDescriptor(&absolute, SECURITY_DESCRIPTOR_REVISION),
                           __LINE__);
    ThrowLastErrorIfFailed(SetSecurityDescriptorDacl(&absolute, TRUE, pAcl, FALSE), __LINE__);

    // The self-relative copy carries the list with it, so the locals above may go.
    DWORD cbDescriptor = 0;
    if (MakeSelfRelativeSD(&absolute, nullptr, &cbDescriptor) ||
        GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        Throw(GetLastError(), __LINE__);
    }
    m_Descriptor.resize(cbDescriptor);
    ThrowLastErrorIfFailed(MakeSelfRelativeSD(&absolute, m_Descriptor.data(), &cbDescriptor),
                           __LINE__);

    m_Attributes.nLength = sizeof(m_Attributes);
    m_Attributes.lpSecurityDescriptor = m_Descriptor.data();
    m_Attributes.bInheritHandle = FALSE;
}

SECURITY_ATTRIBUTES* SecurityAttributes::GetSecurityAttributes() {
    return m_Descriptor.empty() ? nullptr : &m_Attributes;
}

}  // namespace AccessControl
}  // namespace ZorvCommon
