// The trace library's file handling, tested directly. Wine gives every file the owner of
// the process and keeps no access list given at creation, so the owner check and the
// default folder's access list are tested on descriptors built here.

#include <gtest/gtest.h>

#include <windows.h>
#include <sddl.h>

#include <string>
#include <vector>

#include "Scratch.h"
#include "ZorvComn_Handle.h"
#include "ZorvDbg_FileSecurity.h"
#include "ZorvDbg_LogFile.h"

namespace {

using ZorvDbg::FolderSecurity;
using ZorvDbg::IsTrustedOwner;

std::vector<uint8_t> Sid(const wchar_t* text) {
    PSID sid = nullptr;
    if (!ConvertStringSidToSidW(text, &sid)) {
        ADD_FAILURE() << "ConvertStringSidToSidW failed: " << GetLastError();
        return {};
    }
    const ZorvCommon::UniqueLocalMem owner(sid);
    const auto* bytes = static_cast<const uint8_t*>(sid);
    return std::vector<uint8_t>(bytes, bytes + GetLengthSid(sid));
}

bool IsOwnerTrusted(std::vector<uint8_t> owner, std::vector<uint8_t>& processUser) {
    SECURITY_DESCRIPTOR descriptor;
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    if (!owner.empty()) {
        SetSecurityDescriptorOwner(&descriptor, owner.data(), FALSE);
    }
    return IsTrustedOwner(&descriptor, processUser.data());
}

DebugLogConfig Config(const std::wstring& folder, const wchar_t* file) {
    DebugLogConfig config = {};
    wcsncpy_s(config.LogFolder, _countof(config.LogFolder), folder.c_str(), _TRUNCATE);
    wcsncpy_s(config.LogFile, _countof(config.LogFile), file, _TRUNCATE);
    wcsncpy_s(config.LogExtension, _countof(config.LogExtension), L"log", _TRUNCATE);
    return config;
}

TEST(TraceLibraryFiles, OnlyTheProcessUserSystemAndAdministratorsAreTrustedOwners) {
    std::vector<uint8_t> user = ZorvDbg::ProcessUserSid();
    ASSERT_FALSE(user.empty());
    EXPECT_TRUE(IsOwnerTrusted(user, user));
    const struct {
        const wchar_t* owner;
        bool trusted;
    } cases[] = {
        {L"S-1-5-18", true},              // Local System
        {L"S-1-5-32-544", true},          // Administrators
        {L"S-1-5-32-545", false},         // Users
        {L"S-1-1-0", false},              // Everyone
        {L"S-1-5-21-1-2-3-1001", false},  // another user
    };
    for (const auto& testCase : cases) {
        EXPECT_EQ(testCase.trusted, IsOwnerTrusted(Sid(testCase.owner), user)) << testCase.owner;
    }
    EXPECT_FALSE(IsOwnerTrusted({}, user)) << "no owner at all";
    EXPECT_FALSE(IsTrustedOwner(nullptr, user.data()));
}

TEST(TraceLibraryFiles, TheDefaultFolderGrantsSystemAndAdministratorsAllAndTheUserWriting) {
    std::vector<uint8_t> user = ZorvDbg::ProcessUserSid();
    FolderSecurity security(user.data());
    ASSERT_NE(nullptr, security.Attributes());

    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    ASSERT_TRUE(GetSecurityDescriptorControl(security.Descriptor(), &control, &revision));
    EXPECT_NE(0, control & SE_DACL_PROTECTED) << "nothing inherited from the shared parent";
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    ACL* acl = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(security.Descriptor(), &present, &acl, &defaulted));
    ASSERT_TRUE(present && acl != nullptr);
    const struct {
        std::vector<uint8_t> sid;
        ACCESS_MASK access;
    } expected[] = {
        {Sid(L"S-1-5-18"), FILE_ALL_ACCESS},
        {Sid(L"S-1-5-32-544"), FILE_ALL_ACCESS},
        {user, FILE_GENERIC_WRITE | FILE_READ_ATTRIBUTES | FILE_LIST_DIRECTORY},
    };
    ASSERT_EQ(3u, acl->AceCount);
    for (DWORD index = 0; index < acl->AceCount; ++index) {
        ACCESS_ALLOWED_ACE* ace = nullptr;
        ASSERT_TRUE(GetAce(acl, index, reinterpret_cast<void**>(&ace)));
        EXPECT_EQ(ACCESS_ALLOWED_ACE_TYPE, ace->Header.AceType) << index;
        EXPECT_EQ(OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE, ace->Header.AceFlags) << index;
        EXPECT_EQ(expected[index].access, ace->Mask) << index;
        std::vector<uint8_t> sid = expected[index].sid;
        EXPECT_TRUE(EqualSid(&ace->SidStart, sid.data())) << index;
    }

    FolderSecurity withoutUser(nullptr);
    EXPECT_EQ(nullptr, withoutUser.Attributes()) << "never a folder with the parent's access";
}

TEST(TraceLibraryFiles, OnlyAPlainFileWithOneLinkIsWritten) {
    const struct {
        DWORD attributes;
        DWORD links;
        bool plain;
    } cases[] = {
        {FILE_ATTRIBUTE_ARCHIVE, 1, true},
        {FILE_ATTRIBUTE_ARCHIVE, 2, false},
        {FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT, 1, false},
        {FILE_ATTRIBUTE_DIRECTORY, 1, false},
    };
    for (const auto& testCase : cases) {
        BY_HANDLE_FILE_INFORMATION information = {};
        information.dwFileAttributes = testCase.attributes;
        information.nNumberOfLinks = testCase.links;
        EXPECT_EQ(testCase.plain, ZorvDbg::IsPlainFile(information))
            << testCase.attributes << " " << testCase.links;
    }
}

TEST(TraceLibraryFiles, ControlCharactersCannotStartALine) {
    const struct {
        const wchar_t* line;
        const wchar_t* written;
    } cases[] = {
        {L"plain\r\n", L"plain\r\n"},
        {L"no ending", L"no ending\r\n"},
        {L"a\r\n01/01/2026 00:00:00.000 0001:0001 !!! <Ostrel> forged\r\n",
         L"a\\r\\n01/01/2026 00:00:00.000 0001:0001 !!! <Ostrel> forged\r\n"},
        {L"lone\rreturn and\nfeed\r\n", L"lone\\rreturn and\\nfeed\r\n"},
        {L"tab\there", L"tab\\there\r\n"},
        {L"\x1b[31mred\x7f", L"\\x1B[31mred\\x7F\r\n"},
        {L"next\x85line\x2028sep\x2029para", L"next\\x85line\\u2028sep\\u2029para\r\n"},
        {L"caf\u00e9 \u20ac C:\\path\\r", L"caf\u00e9 \u20ac C:\\path\\r\r\n"},
    };
    for (const auto& testCase : cases) {
        EXPECT_EQ(testCase.written, ZorvDbg::OneLine(testCase.line)) << testCase.line;
    }
}

TEST(TraceLibraryFiles, OpenRefusesRelativeFoldersNonFoldersAndLinkedFiles) {
    TestSupport::ScratchFolder folder(L"TraceLibraryFiles");
    TestSupport::WriteFileBytes(folder.File(L"not-a-folder"), {'x'});
    TestSupport::WriteFileBytes(folder.File(L"target.log"), {'t'});
    ASSERT_TRUE(CreateHardLinkW(folder.File(L"linked.log").c_str(),
                                folder.File(L"target.log").c_str(), nullptr));
    const struct {
        std::wstring folder;
        const wchar_t* file;
        DWORD error;
    } cases[] = {
        {folder.Path(), L"fresh", ERROR_SUCCESS},
        {L"relative", L"fresh", ERROR_BAD_PATHNAME},
        {L"\\rooted", L"fresh", ERROR_BAD_PATHNAME},
        {L"C:drive-relative", L"fresh", ERROR_BAD_PATHNAME},
        {folder.File(L"not-a-folder"), L"fresh", ERROR_DIRECTORY},
        {folder.File(L"missing"), L"fresh", ERROR_FILE_NOT_FOUND},
        {folder.Path(), L"linked", ERROR_ACCESS_DENIED},
        {folder.Path(), L"..\\escaped", ERROR_BAD_PATHNAME},
        {folder.Path(), L"fresh:stream", ERROR_BAD_PATHNAME},
    };
    for (const auto& testCase : cases) {
        ZorvDbg::LogFile file(Config(testCase.folder, testCase.file));
        EXPECT_EQ(testCase.error, file.Open()) << testCase.folder.c_str() << " " << testCase.file;
    }
    EXPECT_EQ((std::vector<uint8_t>{'t'}), TestSupport::ReadFileBytes(folder.File(L"target.log")));
}

}  // namespace
