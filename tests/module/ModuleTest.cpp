#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "ModuleFixture.h"
#include "NativeRegistry.h"
#include "ZorvComn_CryptDocument.h"

namespace {

using Ostrel::Vocabulary::kStorageKey;

using namespace ModuleTests;
using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::StorageControlRequest;
using SrvFrwk::Interface::WebAccessControlList;

TEST_F(ModuleTest, CreateAndFreeCheckTheirArguments) {
    GUID other = OSTREL_UTILITY_GUID;
    other.Data4[7] ^= 1;
    IUtilityEx* pUtility = reinterpret_cast<IUtilityEx*>(0x1234);
    EXPECT_EQ(kInvalidArgument, m_CreateUtility(&pUtility, &other));
    EXPECT_EQ(reinterpret_cast<IUtilityEx*>(0x1234), pUtility) << "left untouched on failure";
    EXPECT_TRUE(
        m_Log->Contains(L"*** CServiceFactory::CreateUtility() - pUtilityGuid was invalid."));
    EXPECT_EQ(kInvalidArgument, m_CreateUtility(nullptr, &OSTREL_UTILITY_GUID));
    EXPECT_TRUE(m_Log->Contains(
        L"*** CServiceFactory::CreateUtility() - _ppUtilityContext or pUtilityGuid were invalid."));

    EXPECT_EQ(kInvalidArgument, m_FreeUtility(m_pUtility, &other));
    EXPECT_TRUE(m_Log->Contains(L"*** CServiceFactory::FreeUtility() - pUtilityGuid was invalid."));
    EXPECT_EQ(kNotSupported, Query(4, nullptr)) << "the object survived the refused free";
    EXPECT_EQ(kInvalidArgument, m_FreeUtility(nullptr, &OSTREL_UTILITY_GUID));

    IUtilityEx* pSecond = nullptr;
    ASSERT_EQ(S_OK, m_CreateUtility(&pSecond, &OSTREL_UTILITY_GUID));
    EXPECT_NE(m_pUtility, pSecond) << "every call makes a new object";
    EXPECT_EQ(S_OK, m_FreeUtility(pSecond, &OSTREL_UTILITY_GUID));
}

TEST_F(ModuleTest, DispatchRefusesForeignValueTypesAndNullPayloads) {
    EXPECT_EQ(kNotSupported, Query(4, nullptr));
    EXPECT_TRUE(m_Log->Contains(
        L"*** CServiceManager::QueryValue() - Specified ValueType was not supported [0x00000004]"));
    EXPECT_EQ(kNotSupported, Send(1, nullptr));
    EXPECT_TRUE(
        m_Log->Contains(L"*** CServiceManager::SendMessage() - Specified ValueType was not "
                        L"supported [0x00000001]"));

    EXPECT_EQ(kInvalidArgument, Query(1, nullptr));
    EXPECT_TRUE(m_Log->Contains(
        L"*** CServiceManager::QueryValueForServicePolicy() - pArrayOfRowService was invalid."));
    EXPECT_EQ(kInvalidArgument, Query(2, nullptr));
    EXPECT_TRUE(m_Log->Contains(
        L"*** CServiceManager::QueryValueForProviderPolicy() - pArrayOfRowProvider was invalid."));
    EXPECT_EQ(kInvalidArgument, Query(16, nullptr));
    EXPECT_TRUE(m_Log->Contains(
        L"*** CServiceManager::QueryValueForWebAccessData() - pWebAccessControlList was "
        L"invalid."));
    EXPECT_EQ(kInvalidArgument, Send(4, nullptr));
    EXPECT_TRUE(m_Log->Contains(
        L"*** CServiceManager::QueryValueForStorageControl() - pStorageControl was invalid."));
}

TEST_F(ModuleTest, ReservedAndUntypedSlotsAnswerWithoutWork) {
    EXPECT_EQ(kNotProvided, m_pUtility->ReservedOperation1());
    EXPECT_EQ(kNotProvided, m_pUtility->ReservedOperation2());
    EXPECT_EQ(S_OK, m_pUtility->QueryValue(L"name", nullptr));
    EXPECT_EQ(S_OK, m_pUtility->SendMessage(L"name", nullptr));
    EXPECT_EQ(S_OK, m_pUtility->StoreValue(nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(S_OK, m_pUtility->Initialize());
    EXPECT_EQ(S_OK, m_pUtility->Uninitialize());
    EXPECT_TRUE(m_Log->Contains(L"[Enter] CServiceManager::StoreValue()..."));
    EXPECT_TRUE(m_Log->Contains(L"[Leave] CServiceManager::SendMessage()..."));
}

TEST_F(ModuleTest, PolicyQueriesReadTheExampleDocuments) {
    TestSupport::ProductKey product;
    product.SetInstalledFolder(TestSupport::BinFolder() + L"..\\examples");

    ArrayOfRowService services;
    EXPECT_EQ(S_OK, Query(1, &services));
    EXPECT_GE(services.size(), 10u);
    ArrayOfRowProvider providers;
    EXPECT_EQ(S_OK, Query(2, &providers));
    EXPECT_GE(providers.size(), 2u);
    WebAccessControlList list;
    EXPECT_EQ(S_OK, Query(16, &list));
    EXPECT_FALSE(list.Sites.empty());

    product.SetInstalledFolder(L"C:\\no-such-folder");
    EXPECT_EQ(static_cast<HRESULT>(0x80070003), Query(1, &services)) << "path not found";
    EXPECT_TRUE(services.empty()) << "the list is emptied first";
}

// Storage-control requests with the assignment "MODULE" (compared without regard to
// case) on documents encrypted as the module reads them.
class StorageRequestTest : public ModuleTest {
protected:
    // One Registry element over m_Key's sub-key child with the Control elements given.
    static std::string Section(const char* root, const std::string& child,
                               const std::string& controls) {
        return "  <Registry assign=\"module\">\n"
               "    <Root>" +
               std::string(root) + "</Root><Path>Software\\OstrelTests\\ModuleStorage\\" + child +
               "</Path>\n"
               "    <AccessMode>default</AccessMode><AccessRight>default</AccessRight>\n" +
               controls + "  </Registry>\n";
    }

    HRESULT Run(const std::string& sections, const std::wstring& folderField = L"") {
        const std::string xml =
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Storage version=\"1.0\">\n" + sections +
            "</Storage>\n";
        std::vector<uint8_t> ciphertext;
        EXPECT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(
            kStorageKey, std::vector<uint8_t>(xml.begin(), xml.end()), &ciphertext));
        TestSupport::WriteFileBytes(m_Folder.File(L"request.xen"), ciphertext);
        StorageControlRequest request;
        request.DocumentPath = m_Folder.File(L"request.xen");
        request.CommandArgument = L"MODULE";
        request.Folder = folderField;
        return Send(4, &request);
    }

    // A first section that stores a value and a second that fails to parse.
    static std::string StoreThenFail() {
        const std::string store =
            "    <Control assign=\"module\"><Name>Greeting</Name><Type>string</Type>\n"
            "      "
            "<Action>store</Action><Value>hello</Value><Overwrite>yes</Overwrite></Control>\n";
        return Section("HKCU", "Values", store) + Section("HKXX", "Values", store);
    }

    TestSupport::ScratchRegistryKey m_Key{L"ModuleStorage"};
    TestSupport::ScratchFolder m_Folder{L"ModuleStorage"};
};

TEST_F(StorageRequestTest, CommandsBuiltBeforeAFailureStillRun) {
    EXPECT_EQ(S_OK, Run(StoreThenFail()));
    EXPECT_EQ(L"hello",
              TestSupport::ReadRegString(HKEY_CURRENT_USER, m_Key.Child(L"Values"), L"Greeting"));
    EXPECT_TRUE(
        m_Log->Contains(L"*** CServiceManager::SendMessage() - "
                        L"this->QueryValueForStorageControl() failed. [0x80040206]"));
    EXPECT_TRUE(TestSupport::FileExists(m_Folder.File(L"request.xen")))
        << "a document whose last section failed is kept";
}

TEST_F(StorageRequestTest, TheFolderFieldChangesNothing) {
    EXPECT_EQ(S_OK, Run(StoreThenFail(), L"C:\\somewhere\\else"));
    EXPECT_EQ(L"hello",
              TestSupport::ReadRegString(HKEY_CURRENT_USER, m_Key.Child(L"Values"), L"Greeting"));
}

// A document that deletes a whole section holding a registry link to a key outside it:
// the link goes with the section, the key it points at keeps its values and sub-keys.
TEST_F(StorageRequestTest, DeletingASectionLeavesWhatItsLinksPointAt) {
    const uint32_t value = 7;
    for (const wchar_t* child : {L"Elsewhere\\Sub", L"Elsewhere", L"Section\\Plain"}) {
        TestSupport::WriteRegValue(HKEY_CURRENT_USER, m_Key.Child(child), L"V", REG_DWORD, &value,
                                   sizeof(value));
    }
    const TestSupport::ScratchRegistryLink link(HKEY_CURRENT_USER, m_Key.Child(L"Section\\Link"),
                                                HKEY_CURRENT_USER, m_Key.Child(L"Elsewhere"));
    EXPECT_EQ(S_OK,
              Run(Section("HKCU", "Section",
                          "    <Control assign=\"module\"><Action>delete</Action></Control>\n")));
    EXPECT_FALSE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, m_Key.Child(L"Section")));
    EXPECT_FALSE(link.Exists());
    EXPECT_TRUE(TestSupport::RegValueExists(HKEY_CURRENT_USER, m_Key.Child(L"Elsewhere"), L"V"));
    EXPECT_TRUE(
        TestSupport::RegValueExists(HKEY_CURRENT_USER, m_Key.Child(L"Elsewhere\\Sub"), L"V"));
}

}  // namespace
