// The exports and the utility object's slots, called as the host calls them, and the
// storage-control requests that only the exports show.

#include "ModuleFixture.h"
#include "NativeRegistry.h"

namespace {

using namespace ModuleTests;
using SrvFrwk::Interface::ValueTypeRecord;

TEST_F(ModuleTest, CreateAndFreeCheckTheirArguments) {
    GUID other = OSTREL_UTILITY_GUID;
    other.Data4[7] ^= 1;
    IUtilityEx* pUtility = reinterpret_cast<IUtilityEx*>(0x1234);
    EXPECT_EQ(kInvalidArgument, m_Host.CreateUtility(&pUtility, &other));
    EXPECT_EQ(reinterpret_cast<IUtilityEx*>(0x1234), pUtility) << "left untouched on failure";
    EXPECT_EQ(kInvalidArgument, m_Host.CreateUtility(nullptr));
    EXPECT_EQ(kInvalidArgument, m_Host.FreeUtility(m_Utility.Get(), &other));
    EXPECT_EQ(kNotSupported, m_Utility.Query(4, nullptr)) << "the object survived the refused free";
    EXPECT_EQ(kInvalidArgument, m_Host.FreeUtility(nullptr));
    ASSERT_EQ(S_OK, m_Host.CreateUtility(&pUtility));
    EXPECT_NE(m_Utility.Get(), pUtility) << "every call makes a new object";
    EXPECT_EQ(S_OK, m_Host.FreeUtility(pUtility));
}

// The host calls the object through its table of virtual functions, by the slot numbers
// written in SrvFrwk_Interface.h (from 1; the index is one less). Each slot reaches its
// method: the result and the lines the method writes tell them apart.
TEST_F(ModuleTest, EverySlotOfTheUtilityReachesItsMethod) {
    enum Arguments { kNone, kTyped, kNamed };
    struct Slot {
        size_t number;
        Arguments arguments;
        HRESULT result;
        const wchar_t* line;  // written by this method alone, or null
        size_t lineCount;     // lines of CServiceManager it writes
    };
    const Slot slots[] = {
        {1, kNone, kNotProvided, nullptr, 0},
        {2, kTyped, kNotSupported,
         L"QueryValue() - Specified ValueType was not supported [0x00000063]", 3},
        {3, kNamed, S_OK, L"[Enter] CServiceManager::QueryValue()...", 2},
        {4, kNone, kNotProvided, nullptr, 0},
        {5, kTyped, S_OK, L"[Enter] CServiceManager::StoreValue()...", 2},
        {6, kTyped, kNotSupported,
         L"SendMessage() - Specified ValueType was not supported [0x00000063]", 3},
        {7, kNamed, S_OK, L"[Enter] CServiceManager::SendMessage()...", 2},
        {10, kNone, S_OK, L"[Enter] CServiceManager::Initialize()...", 2},
        {11, kNone, S_OK, L"[Enter] CServiceManager::Uninitialize()...", 2},
    };
    const ValueTypeRecord unknownType{0x63};
    IUtilityEx* pUtility = m_Utility.Get();
    void** table = *reinterpret_cast<void***>(pUtility);
    for (const Slot& slot : slots) {
        m_Log.Clear();
        void* method = table[slot.number - 1];
        const HRESULT result =
            slot.arguments == kNone ? reinterpret_cast<HRESULT (*)(IUtilityEx*)>(method)(pUtility)
            : slot.arguments == kTyped
                ? reinterpret_cast<HRESULT (*)(IUtilityEx*, const ValueTypeRecord*, void*, void*,
                                               void*)>(method)(pUtility, &unknownType, nullptr,
                                                               nullptr, nullptr)
                : reinterpret_cast<HRESULT (*)(IUtilityEx*, const wchar_t*, void*)>(method)(
                      pUtility, L"name", nullptr);
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

class StorageRequestTest : public ModuleTest {
protected:
    std::string Section(const std::string& root, const std::string& controls) const {
        return Registry(Narrow(m_Key.Child(L"Section")), controls, kAnywhere, root);
    }
};

// A first section that stores a value and a second that fails to parse: the stored value
// is there, the request answers the commands' result, the document is kept. The request's
// folder field changes nothing.
TEST_F(StorageRequestTest, CommandsBuiltBeforeAFailureStillRun) {
    const std::string store = Store("Greeting", "string", "hello");
    const std::string text = Storage(Section("HKCU", store) + Section("HKXX", store));
    for (const std::wstring folderField : {L"", L"C:\\somewhere\\else"}) {
        m_Log.Clear();
        EXPECT_EQ(S_OK, SendStorage(text, folderField));
        EXPECT_EQ(L"hello", ReadRegString(HKEY_CURRENT_USER, m_Key.Child(L"Section"), L"Greeting"));
        EXPECT_TRUE(
            m_Log.Contains(L"*** CServiceManager::SendMessage() - "
                           L"this->QueryValueForStorageControl() failed. [0x80040206]"));
        EXPECT_TRUE(FileExists(m_Request));
        ASSERT_TRUE(DeleteFileW(m_Request.c_str()));
        WriteRegString(HKEY_CURRENT_USER, m_Key.Child(L"Section"), L"Greeting", L"");
    }
}

// A document that deletes a whole section holding a registry link to a key outside it:
// the link goes with the section, the key it points at keeps its values and sub-keys.
TEST_F(StorageRequestTest, DeletingASectionLeavesWhatItsLinksPointAt) {
    for (const wchar_t* child : {L"Elsewhere\\Sub", L"Elsewhere", L"Section\\Plain"}) {
        WriteRegString(HKEY_CURRENT_USER, m_Key.Child(child), L"V", L"kept");
    }
    const ScratchRegistryLink link(HKEY_CURRENT_USER, m_Key.Child(L"Section\\Link"),
                                   HKEY_CURRENT_USER, m_Key.Child(L"Elsewhere"));
    EXPECT_EQ(S_OK, SendStorage(Storage(Section("HKCU", Control("delete", "")))));
    EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, m_Key.Child(L"Section")));
    EXPECT_FALSE(link.Exists());
    EXPECT_TRUE(RegValueExists(HKEY_CURRENT_USER, m_Key.Child(L"Elsewhere"), L"V"));
    EXPECT_TRUE(RegValueExists(HKEY_CURRENT_USER, m_Key.Child(L"Elsewhere\\Sub"), L"V"));
}

}  // namespace
