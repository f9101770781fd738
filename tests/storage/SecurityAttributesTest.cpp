#include <gtest/gtest.h>

#include <array>

#include "ZorvComn_SecurityAttributes.h"

namespace {

using ZorvCommon::AccessControl::SecurityAttributes;

// Reads the DACL back from the object's own descriptor (Wine keeps none on a key) and
// compares each entry with the trustee and mask expected at its position.
void ExpectDacl(uint32_t kind, const std::array<ACCESS_MASK, 7>& masks) {
    static const WELL_KNOWN_SID_TYPE kTrustees[7] = {
        WinBuiltinAdministratorsSid, WinBuiltinPowerUsersSid, WinLocalSystemSid,
        WinAuthenticatedUserSid,     WinBuiltinUsersSid,      WinInteractiveSid,
        WinCreatorOwnerSid};
    SecurityAttributes security(kind);
    BOOL present = FALSE, defaulted = TRUE;
    ACL* acl = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(security.GetSecurityAttributes()->lpSecurityDescriptor,
                                          &present, &acl, &defaulted));
    ASSERT_TRUE(present && !defaulted && acl != nullptr);
    ASSERT_EQ(7u, acl->AceCount);
    for (DWORD i = 0; i < 7; ++i) {
        ACCESS_ALLOWED_ACE* ace = nullptr;
        ASSERT_TRUE(GetAce(acl, i, reinterpret_cast<void**>(&ace)));
        BYTE sid[SECURITY_MAX_SID_SIZE];
        DWORD cbSid = sizeof(sid);
        ASSERT_TRUE(CreateWellKnownSid(kTrustees[i], nullptr, sid, &cbSid));
        EXPECT_EQ(ACCESS_ALLOWED_ACE_TYPE, ace->Header.AceType) << "kind " << kind << " ace " << i;
        EXPECT_EQ(masks[i], ace->Mask) << "kind " << kind << " ace " << i;
        EXPECT_TRUE(EqualSid(&ace->SidStart, sid)) << "kind " << kind << " ace " << i;
    }
}

TEST(SecurityAttributes, DescriptorsGrantTheKindsMasksInTrusteeOrder) {
    ExpectDacl(4, {0x1003F, 0x3F, 0x1003F, 0x20009, 0x20009, 0x20009, 0xF003F});
    ExpectDacl(0, {0x13013F, 0x12002F, 0x13013F, 0x120029, 0x120029, 0x120029, 0x1F01FF});
    ExpectDacl(10, {0x1F0003, 0x1F0003, 0x1F0003, 0x1F0003, 0x1F0003, 0x1F0003, 0x1F0003});
}

}  // namespace
