#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "AllocationFault.h"
#include "ReliabilityKit.h"
#include "ServiceManager.h"
#include "ZorvComn_Handle.h"

namespace {

using namespace Reliability;
using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::StorageControlRequest;
using SrvFrwk::Interface::ValueTypeRecord;
using SrvFrwk::Interface::WebAccessControlList;

class FaultTest : public ::testing::Test {
protected:
    HRESULT QueryServices() {
        ArrayOfRowService rows;
        return m_Module.Utility().Query(SrvFrwk::Interface::ValueTypeServicePolicy, &rows);
    }

    HRESULT SendDocument(const std::wstring& path) {
        StorageControlRequest request;
        request.DocumentPath = path;
        request.CommandArgument = kCommandArgument;
        return m_Module.Utility().Send(SrvFrwk::Interface::ValueTypeStorageControl, &request);
    }

    // A document with one INI section that stores Fresh=1 into [Keep] of iniPath.
    std::wstring IniDocument(const std::wstring& iniPath) {
        const std::wstring path = m_Folder.File(L"ini.xen");
        WriteStorageDocument(path,
                             "<?xml version=\"1.0\"?>\n<Storage version=\"1.0\">\n"
                             "  <IniFile assign=\"reliability\"><Path>" +
                                 std::string(iniPath.begin(), iniPath.end()) +
                                 "</Path><Section>Keep</Section>\n" +
                                 Store("Fresh", "string", "1") + "  </IniFile>\n</Storage>\n");
        return path;
    }

    bool Logged(const std::wstring& line) { return m_Module.Log().Contains(line); }

    ModuleUnderTest m_Module{0x110};
    TestSupport::ScratchFolder m_Folder{L"ReliabilityFaults"};
    TestSupport::ScratchRegistryKey m_Key{L"ReliabilityFaults"};
};

TEST_F(FaultTest, ADocumentOpenedExclusivelyElsewhereIsRefusedAndKept) {
    const std::wstring policy = m_Module.PolicyFile(L"QjBsSvPl.xen");
    const StorageLane lane = MakeLane(m_Folder, m_Key.Path(), L"locked");
    {
        const ZorvCommon::UniqueFile lockPolicy(CreateFileW(policy.c_str(), GENERIC_READ, 0,
                                                            nullptr, OPEN_EXISTING,
                                                            FILE_ATTRIBUTE_NORMAL, nullptr));
        const ZorvCommon::UniqueFile lockRequest(
            CreateFileW(lane.BrokenDocument.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                        FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(lockPolicy && lockRequest);
        EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION), QueryServices());
        EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION), SendDocument(lane.BrokenDocument));
    }
    EXPECT_TRUE(
        Logged(L"*** CXmlParserFrameworkPolicy::QueryValueForServicePolicy() - "
               L"cFileCrypt.Open() failed. [0x80070020]"));
    EXPECT_TRUE(
        Logged(L"*** CXmlParserStorageControl::QueryValue() - cFileCrypt.Open() failed. "
               L"[0x80070020] [" +
               lane.BrokenDocument + L"]"));
    EXPECT_TRUE(TestSupport::FileExists(policy));
    EXPECT_TRUE(TestSupport::FileExists(lane.BrokenDocument)) << "a refused document is kept";
    EXPECT_EQ(S_OK, QueryServices()) << "the next request, once the lock is gone, works";
}

TEST_F(FaultTest, ADocumentPathThatIsAFolderIsRefused) {
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), SendDocument(m_Folder.Path()));
    EXPECT_TRUE(
        Logged(L"*** CXmlParserStorageControl::QueryValue() - cFileCrypt.Open() failed. "
               L"[0x80070005] [" +
               m_Folder.Path() + L"]"));
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(m_Folder.Path().c_str()))
        << "the folder is not removed";
}

// A store that fails is logged and does not fail the request (the command returns its
// close result); the file keeps every byte.
TEST_F(FaultTest, AReadOnlyIniFileIsLeftAsItWas) {
    const std::wstring ini = m_Folder.File(L"readonly.ini");
    const std::string content = "[Keep]\r\nOld=1\r\n[Other]\r\nA=2\r\n";
    const std::vector<uint8_t> bytes(content.begin(), content.end());
    TestSupport::WriteFileBytes(ini, bytes);
    HRESULT result = E_FAIL;
    {
        // Wine running as root writes through the read-only attribute: a reader that
        // shares the file for reading only makes it read-only in fact.
        SetFileAttributesW(ini.c_str(), FILE_ATTRIBUTE_READONLY);
        const ZorvCommon::UniqueFile reader(CreateFileW(ini.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                        nullptr, OPEN_EXISTING,
                                                        FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(reader);
        result = SendDocument(IniDocument(ini));
    }
    SetFileAttributesW(ini.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(S_OK, result);
    EXPECT_TRUE(Logged(L"*** Control::StoreValue() - Got ZorvCommon::Storage::Exception()."));
    EXPECT_TRUE(Logged(L"*** CommandStore::OnVisit() - CommandBase::OnVisit() failed. [0x8007"));
    EXPECT_EQ(bytes, TestSupport::ReadFileBytes(ini));
}

TEST_F(FaultTest, AnIniPathInAMissingFolderCreatesNothing) {
    const std::wstring missing = m_Folder.File(L"missing");
    EXPECT_EQ(S_OK, SendDocument(IniDocument(missing + L"\\settings.ini")));
    EXPECT_TRUE(
        Logged(L"*** Control::StoreValue() - Got ZorvCommon::Storage::Exception(). "
               L"[0x00000003]"));
    EXPECT_TRUE(
        Logged(L"*** CommandStore::OnVisit() - CommandBase::OnVisit() failed. [0x80070003]"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(missing.c_str()));
}

TEST_F(FaultTest, ADocumentRemovedWhileTheHostRunsIsMissedAndFoundAgain) {
    const std::wstring policy = m_Module.PolicyFile(L"QjBsSvPl.xen");
    const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(policy);
    EXPECT_EQ(S_OK, QueryServices());
    ASSERT_TRUE(DeleteFileW(policy.c_str()));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), QueryServices());
    EXPECT_TRUE(
        Logged(L"*** CXmlParserFrameworkPolicy::QueryValueForServicePolicy() - "
               L"cFileCrypt.Open() failed. [0x80070002]"));
    TestSupport::WriteFileBytes(policy, bytes);
    EXPECT_EQ(S_OK, QueryServices());
}

// Without the value the documents are looked for by their bare names, and are not found.
TEST_F(FaultTest, TheInstalledFolderMissingFromTheRegistry) {
    m_Module.Log().Product().RemoveValue(L"InstalledFolder");
    const HRESULT services = QueryServices();
    WebAccessControlList list;
    const HRESULT web =
        m_Module.Utility().Query(SrvFrwk::Interface::ValueTypeWebAccessControl, &list);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), services);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), web);
    EXPECT_EQ(2u, m_Module.Log().Count(L"*** Frwk::Utility::GetInstalledFolder() -  Got "
                                       L"ZorvCommon::Storage::Exception(). [0x00000002]"));
    EXPECT_TRUE(
        Logged(L"*** CXmlParserWebAccessControl::QueryValue() - cFileCrypt.Open() "
               L"failed. [0x80070002]"));
}

// One request of kind whose failing-th allocation fails; the payload is made before and
// dropped after, so that only the object's own work meets the fault. Whether it did.
bool RequestWithFailingAllocation(CServiceManager& utility, RequestKind kind,
                                  const StorageLane& lane, size_t failing) {
    ArrayOfRowService services;
    ArrayOfRowProvider providers;
    WebAccessControlList list;
    StorageControlRequest request;
    request.DocumentPath = lane.Document;
    request.CommandArgument = kCommandArgument;
    ValueTypeRecord record{SrvFrwk::Interface::ValueTypeStorageControl};
    void* pPayload = &request;
    if (kind == RequestKind::Services) {
        record.ValueType = SrvFrwk::Interface::ValueTypeServicePolicy;
        pPayload = &services;
    } else if (kind == RequestKind::Providers) {
        record.ValueType = SrvFrwk::Interface::ValueTypeProviderPolicy;
        pPayload = &providers;
    } else if (kind == RequestKind::WebAccess) {
        record.ValueType = SrvFrwk::Interface::ValueTypeWebAccessControl;
        pPayload = &list;
    }
    AllocationFault fault(failing);
    if (kind == RequestKind::Storage) {
        (void)utility.SendMessage(&record, nullptr, nullptr, pPayload);
    } else {
        (void)utility.QueryValue(&record, nullptr, nullptr, pPayload);
    }
    return fault.Fired();
}

// An allocation that fails anywhere in a request, the walk of a document included (an
// exception between the start and the stop of the object's one reader), leaves the
// reader stopped and the document closed: the same object answers its next request as
// before. The module's utility object is linked into this suite for this test, so that
// each of its allocations in turn can be made to fail.
TEST_F(FaultTest, AFailedAllocationAnywhereInARequestLeavesTheObjectAsItWas) {
    CServiceManager utility;
    const StorageLane lane = MakeLane(m_Folder, m_Key.Path(), L"allocation");
    for (const RequestKind kind : {RequestKind::Services, RequestKind::Providers,
                                   RequestKind::WebAccess, RequestKind::Storage}) {
        const std::wstring expected = Ask(utility, kind, lane);
        ASSERT_EQ(0u, expected.find(L"result=0")) << static_cast<int>(kind);
        size_t failing = 1;
        while (RequestWithFailingAllocation(utility, kind, lane, failing)) {
            const std::wstring after = Ask(utility, kind, lane);
            ASSERT_EQ(expected, after) << "request kind " << static_cast<int>(kind)
                                       << ", after allocation " << failing << " failed";
            ++failing;
        }
        EXPECT_GT(failing, 20u) << "request kind " << static_cast<int>(kind);
        RecordProperty("allocations_of_kind_" + std::to_string(static_cast<int>(kind)),
                       static_cast<int>(failing - 1));
    }
}

}  // namespace
