// The exports and the utility object's slots, called as the host calls them.

#include "ModuleFixture.h"
#include "NativeRegistry.h"

namespace {

using namespace ModuleTests;
using TestSupport::Narrow;

TEST_F(ModuleTest, CreateAndFreeCheckTheirArguments) {
    GUID other = OSTREL_UTILITY_GUID;
    other.Data4[7] ^= 1;
    IUtilityEx* pUtility = reinterpret_cast<IUtilityEx*>(0x1234);
    EXPECT_EQ(kInvalidArgument, m_Host.CreateUtility(&pUtility, &other));
    EXPECT_EQ(reinterpret_cast<IUtilityEx*>(0x1234), pUtility) << "left untouched on failure";
    EXPECT_EQ(kInvalidArgument, m_Host.CreateUtility(nullptr));
    EXPECT_EQ(kInvalidArgument, m_Host.FreeUtility(m_Utility.Get(), &other));
    EXPECT_EQ(kNotSupported, Query(4, nullptr)) << "the object survived the refused free";
    EXPECT_EQ(kInvalidArgument, m_Host.FreeUtility(nullptr));

    IUtilityEx* pSecond = nullptr;
    ASSERT_EQ(S_OK, m_Host.CreateUtility(&pSecond));
    EXPECT_NE(m_Utility.Get(), pSecond) << "every call makes a new object";
    EXPECT_EQ(S_OK, m_Host.FreeUtility(pSecond));
}

// The host calls the object through its table of virtual functions, by the slot numbers
// written in SrvFrwk_Interface.h (from 1; the index is one less). Each slot reaches its
// method: the result and the lines the method writes tell them apart.
TEST_F(ModuleTest, EverySlotOfTheUtilityReachesItsMethod) {
    using NoArguments = HRESULT (*)(IUtilityEx*);
    using Typed = HRESULT (*)(IUtilityEx*, const ValueTypeRecord*, void*, void*, void*);
    using Named = HRESULT (*)(IUtilityEx*, const wchar_t*, void*);
    const ValueTypeRecord unknownType{0x63};
    IUtilityEx* pUtility = m_Utility.Get();
    void** table = *reinterpret_cast<void***>(pUtility);
    const auto noArguments = [&](size_t slot) {
        return reinterpret_cast<NoArguments>(table[slot - 1])(pUtility);
    };
    const auto typed = [&](size_t slot) {
        return reinterpret_cast<Typed>(table[slot - 1])(pUtility, &unknownType, nullptr, nullptr,
                                                        nullptr);
    };
    const auto named = [&](size_t slot) {
        return reinterpret_cast<Named>(table[slot - 1])(pUtility, L"name", nullptr);
    };
    struct Slot {
        size_t number;
        HRESULT result;
        const wchar_t* line;  // written by this method alone, or null
        size_t lineCount;     // lines of CServiceManager it writes
    };
    const Slot slots[] = {
        {1, kNotProvided, nullptr, 0},
        {2, kNotSupported, L"QueryValue() - Specified ValueType was not supported [0x00000063]", 3},
        {3, S_OK, L"[Enter] CServiceManager::QueryValue()...", 2},
        {4, kNotProvided, nullptr, 0},
        {5, S_OK, L"[Enter] CServiceManager::StoreValue()...", 2},
        {6, kNotSupported, L"SendMessage() - Specified ValueType was not supported [0x00000063]",
         3},
        {7, S_OK, L"[Enter] CServiceManager::SendMessage()...", 2},
        {10, S_OK, L"[Enter] CServiceManager::Initialize()...", 2},
        {11, S_OK, L"[Enter] CServiceManager::Uninitialize()...", 2},
    };
    for (const Slot& slot : slots) {
        m_Log.Clear();
        const HRESULT result = slot.number == 3 || slot.number == 7 ? named(slot.number)
                               : slot.number == 2 || slot.number == 5 || slot.number == 6
                                   ? typed(slot.number)
                                   : noArguments(slot.number);
        EXPECT_EQ(slot.result, result) << "slot " << slot.number;
        if (slot.line != nullptr) {
            EXPECT_EQ(1u, m_Log.Count(slot.line)) << "slot " << slot.number;
        }
        EXPECT_EQ(slot.lineCount, m_Log.Count(L"CServiceManager::")) << "slot " << slot.number;
    }
    // Slot 9, the deleting destructor, is what freeing an object calls.
    IUtilityEx* pSecond = nullptr;
    ASSERT_EQ(S_OK, m_Host.CreateUtility(&pSecond));
    reinterpret_cast<void (*)(IUtilityEx*)>((*reinterpret_cast<void***>(pSecond))[8])(pSecond);
}

TEST_F(ModuleTest, NullPayloadsAreRefused) {
    for (const uint32_t valueType : {1u, 2u, 16u}) {
        EXPECT_EQ(kInvalidArgument, Query(valueType, nullptr)) << valueType;
    }
    EXPECT_EQ(kInvalidArgument, Send(4, nullptr));
    EXPECT_EQ(kNotSupported, Send(1, nullptr));
}

// The one end-to-end read of the example documents: every kind through the exports.
TEST_F(ModuleTest, PolicyQueriesReadTheExampleDocuments) {
    m_Log.Product().SetInstalledFolder(TestSupport::BinFolder() + L"..\\examples");
    SrvFrwk::Interface::ArrayOfRowService services;
    EXPECT_EQ(S_OK, Query(1, &services));
    EXPECT_GE(services.size(), 10u);
    SrvFrwk::Interface::ArrayOfRowProvider providers;
    EXPECT_EQ(S_OK, Query(2, &providers));
    EXPECT_GE(providers.size(), 2u);
    SrvFrwk::Interface::WebAccessControlList list;
    EXPECT_EQ(S_OK, Query(16, &list));
    EXPECT_FALSE(list.Sites.empty());

    m_Log.Product().SetInstalledFolder(L"C:\\no-such-folder");
    EXPECT_EQ(static_cast<HRESULT>(0x80070003), Query(1, &services)) << "path not found";
    EXPECT_TRUE(services.empty()) << "the list is emptied first";
}

// Storage-control requests: the assignment "T" matches the documents' "t" (compared
// without regard to case).
class StorageRequestTest : public ModuleTest {
protected:
    std::string Section(const std::string& root, const std::wstring& child,
                        const std::string& controls) const {
        return TestSupport::Registry(Narrow(m_Key.Child(child)), controls, TestSupport::kAnywhere,
                                     root);
    }
    std::wstring Stored(const std::wstring& child, const wchar_t* name) const {
        return TestSupport::ReadRegString(HKEY_CURRENT_USER, m_Key.Child(child), name);
    }
};

// A first section that stores a value and a second that fails to parse: the stored value
// is there, the request answers the commands' result, the document is kept. The request's
// folder field changes nothing.
TEST_F(StorageRequestTest, CommandsBuiltBeforeAFailureStillRun) {
    const std::string store = TestSupport::Store("Greeting", "string", "hello");
    const std::string text =
        TestSupport::Storage(Section("HKCU", L"Values", store) + Section("HKXX", L"Values", store));
    for (const std::wstring folderField : {L"", L"C:\\somewhere\\else"}) {
        m_Log.Clear();
        EXPECT_EQ(S_OK, SendStorage(text, folderField));
        EXPECT_EQ(L"hello", Stored(L"Values", L"Greeting"));
        EXPECT_TRUE(m_Log.Contains(L"*** CServiceManager::SendMessage() - "
                                   L"this->QueryValueForStorageControl() failed. [0x80040206]"));
        EXPECT_TRUE(TestSupport::FileExists(m_Request));
        ASSERT_TRUE(DeleteFileW(m_Request.c_str()));
        TestSupport::WriteRegValue(HKEY_CURRENT_USER, m_Key.Child(L"Values"), L"Greeting", REG_SZ,
                                   L"", sizeof(wchar_t));
    }
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
    EXPECT_EQ(S_OK, SendStorage(TestSupport::Storage(
                        Section("HKCU", L"Section", TestSupport::Control("delete", "")))));
    EXPECT_FALSE(TestSupport::RegKeyExists(HKEY_CURRENT_USER, m_Key.Child(L"Section")));
    EXPECT_FALSE(link.Exists());
    EXPECT_TRUE(TestSupport::RegValueExists(HKEY_CURRENT_USER, m_Key.Child(L"Elsewhere"), L"V"));
    EXPECT_TRUE(
        TestSupport::RegValueExists(HKEY_CURRENT_USER, m_Key.Child(L"Elsewhere\\Sub"), L"V"));
}

}  // namespace
