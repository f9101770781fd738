#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <string>

#include "LogCapture.h"
#include "NativeRegistry.h"
#include "Ostrel.h"
#include "Scratch.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_Handle.h"

namespace {

using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::IUtilityEx;
using SrvFrwk::Interface::StorageControlRequest;
using SrvFrwk::Interface::ValueTypeRecord;
using SrvFrwk::Interface::WebAccessControlList;
using TestSupport::LogCapture;

constexpr HRESULT kNotProvided = 0x00040203;
constexpr HRESULT kNotSupported = static_cast<HRESULT>(0x80040203);
constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80040204);
constexpr const char* kStorageKey = "P5!dW0#sG7@kF2^x";

// Loads the real module after the log settings are in place, so that its own debug log
// (set up at process attach) writes where the capture reads.
class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_Log = std::make_unique<LogCapture>(0x111, /*initializeProcessLog=*/false);
        m_Module.reset(LoadLibraryW((TestSupport::BinFolder() + L"Ostrel.dll").c_str()));
        ASSERT_TRUE(m_Module) << "Ostrel.dll not found beside build\\tests";
        m_Initialize = Resolve<Ostrel_InitializeFn>("Ostrel_Initialize");
        m_Uninitialize = Resolve<Ostrel_UninitializeFn>("Ostrel_Uninitialize");
        m_CreateUtility = Resolve<Ostrel_CreateUtilityFn>("Ostrel_CreateUtility");
        m_FreeUtility = Resolve<Ostrel_FreeUtilityFn>("Ostrel_FreeUtility");
        ASSERT_TRUE(m_Initialize && m_Uninitialize && m_CreateUtility && m_FreeUtility);
        ASSERT_EQ(S_OK, m_Initialize());
        ASSERT_EQ(S_OK, m_CreateUtility(&m_pUtility, &OSTREL_UTILITY_GUID));
        ASSERT_NE(nullptr, m_pUtility);
    }

    void TearDown() override {
        if (m_pUtility != nullptr) {
            EXPECT_EQ(S_OK, m_FreeUtility(m_pUtility, &OSTREL_UTILITY_GUID));
        }
        if (m_Uninitialize != nullptr) {
            EXPECT_EQ(S_OK, m_Uninitialize());
        }
        m_Module.reset();  // process detach: the module's log shuts down
    }

    template <typename Function>
    Function Resolve(const char* name) {
        return reinterpret_cast<Function>(
            reinterpret_cast<void*>(GetProcAddress(m_Module.get(), name)));
    }

    HRESULT Query(uint32_t valueType, void* pValue) {
        const ValueTypeRecord record{valueType};
        return m_pUtility->QueryValue(&record, nullptr, nullptr, pValue);
    }

    HRESULT Send(uint32_t valueType, void* pValue) {
        const ValueTypeRecord record{valueType};
        return m_pUtility->SendMessage(&record, nullptr, nullptr, pValue);
    }

    std::unique_ptr<LogCapture> m_Log;
    ZorvCommon::UniqueModule m_Module;
    Ostrel_InitializeFn m_Initialize = nullptr;
    Ostrel_UninitializeFn m_Uninitialize = nullptr;
    Ostrel_CreateUtilityFn m_CreateUtility = nullptr;
    Ostrel_FreeUtilityFn m_FreeUtility = nullptr;
    IUtilityEx* m_pUtility = nullptr;
};

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
