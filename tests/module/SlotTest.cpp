// The host calls the utility object through its table of virtual functions, by index.
// The slot numbers written in SrvFrwk_Interface.h are checked here twice: on a utility
// built by this test (each method names itself, so the table's layout can be read off)
// and on the module's own object, whose methods answer each in their own way.

#include <new>
#include <string>
#include <vector>

#include "ModuleFixture.h"

namespace {

using namespace ModuleTests;

// Entries of an object's table, called with the object as the first argument.
using NoArguments = HRESULT (*)(IUtilityEx*);
using Typed = HRESULT (*)(IUtilityEx*, const ValueTypeRecord*, void*, void*, void*);
using Named = HRESULT (*)(IUtilityEx*, const wchar_t*, void*);
using Destructor = void (*)(IUtilityEx*);

void* Entry(IUtilityEx* pUtility, size_t index) {
    return (*reinterpret_cast<void***>(pUtility))[index];
}

const ValueTypeRecord kUnknownType{0x63};

HRESULT CallNoArguments(IUtilityEx* pUtility, size_t index) {
    return reinterpret_cast<NoArguments>(Entry(pUtility, index))(pUtility);
}

HRESULT CallTyped(IUtilityEx* pUtility, size_t index) {
    return reinterpret_cast<Typed>(Entry(pUtility, index))(pUtility, &kUnknownType, nullptr,
                                                           nullptr, nullptr);
}

HRESULT CallNamed(IUtilityEx* pUtility, size_t index) {
    return reinterpret_cast<Named>(Entry(pUtility, index))(pUtility, L"name", nullptr);
}

void CallDestructor(IUtilityEx* pUtility, size_t index) {
    reinterpret_cast<Destructor>(Entry(pUtility, index))(pUtility);
}

// A utility of the host's own: every method, the destructor and the class's operator
// delete append their name to one list.
std::vector<std::string> g_Calls;

class NamingUtility : public IUtilityEx {
public:
    HRESULT ReservedOperation1() override { return Called("ReservedOperation1"); }
    HRESULT QueryValue(const ValueTypeRecord*, void*, void*, void*) override {
        return Called("QueryValue(typed)");
    }
    HRESULT QueryValue(const wchar_t*, void*) override { return Called("QueryValue(named)"); }
    HRESULT ReservedOperation2() override { return Called("ReservedOperation2"); }
    HRESULT StoreValue(const ValueTypeRecord*, void*, void*, void*) override {
        return Called("StoreValue");
    }
    HRESULT SendMessage(const ValueTypeRecord*, void*, void*, void*) override {
        return Called("SendMessage(typed)");
    }
    HRESULT SendMessage(const wchar_t*, void*) override { return Called("SendMessage(named)"); }
    ~NamingUtility() override { g_Calls.push_back("destructor"); }
    HRESULT Initialize() override { return Called("Initialize"); }
    HRESULT Uninitialize() override { return Called("Uninitialize"); }
    static void operator delete(void* p) {
        g_Calls.push_back("operator delete");
        ::operator delete(p);
    }

private:
    static HRESULT Called(const char* name) {
        g_Calls.push_back(name);
        return S_OK;
    }
};

// Slot numbers count from 1; the table's index is the slot number less one.
TEST(UtilitySlots, TheTableHasElevenEntriesInTheWrittenOrder) {
    struct Slot {
        size_t number;
        HRESULT (*call)(IUtilityEx*, size_t);
        const char* method;
    };
    const Slot slots[] = {
        {1, CallNoArguments, "ReservedOperation1"},
        {2, CallTyped, "QueryValue(typed)"},
        {3, CallNamed, "QueryValue(named)"},
        {4, CallNoArguments, "ReservedOperation2"},
        {5, CallTyped, "StoreValue"},
        {6, CallTyped, "SendMessage(typed)"},
        {7, CallNamed, "SendMessage(named)"},
        {10, CallNoArguments, "Initialize"},
        {11, CallNoArguments, "Uninitialize"},
    };
    IUtilityEx* pUtility = new NamingUtility();
    for (const Slot& slot : slots) {
        g_Calls.clear();
        slot.call(pUtility, slot.number - 1);
        EXPECT_EQ(std::vector<std::string>{slot.method}, g_Calls) << "slot " << slot.number;
    }

    // Slots 8 and 9 are the destructor: the complete-object one, then the deleting one.
    g_Calls.clear();
    CallDestructor(pUtility, 8);
    EXPECT_EQ((std::vector<std::string>{"destructor", "operator delete"}), g_Calls);
    alignas(NamingUtility) unsigned char storage[sizeof(NamingUtility)];
    pUtility = new (storage) NamingUtility();
    g_Calls.clear();
    CallDestructor(pUtility, 7);
    EXPECT_EQ(std::vector<std::string>{"destructor"}, g_Calls) << "destroyed, not freed";
}

// Each slot of the module's object reaches its method: the result and the log lines
// (a line only that method writes, and how many lines of the utility it writes) tell
// them apart. The two reserved slots answer alike and write nothing.
TEST_F(ModuleTest, EverySlotOfTheUtilityReachesItsMethod) {
    struct Slot {
        size_t number;
        HRESULT (*call)(IUtilityEx*, size_t);
        HRESULT result;
        const wchar_t* line;  // written by this method alone, or null
        size_t lineCount;     // lines of CServiceManager it writes
    };
    const Slot slots[] = {
        {1, CallNoArguments, kNotProvided, nullptr, 0},
        {2, CallTyped, kNotSupported,
         L"QueryValue() - Specified ValueType was not supported [0x00000063]", 3},
        {3, CallNamed, S_OK, L"[Enter] CServiceManager::QueryValue()...", 2},
        {4, CallNoArguments, kNotProvided, nullptr, 0},
        {5, CallTyped, S_OK, L"[Enter] CServiceManager::StoreValue()...", 2},
        {6, CallTyped, kNotSupported,
         L"SendMessage() - Specified ValueType was not supported [0x00000063]", 3},
        {7, CallNamed, S_OK, L"[Enter] CServiceManager::SendMessage()...", 2},
        {10, CallNoArguments, S_OK, L"[Enter] CServiceManager::Initialize()...", 2},
        {11, CallNoArguments, S_OK, L"[Enter] CServiceManager::Uninitialize()...", 2},
    };
    for (const Slot& slot : slots) {
        m_Log->Clear();
        EXPECT_EQ(slot.result, slot.call(m_pUtility, slot.number - 1)) << "slot " << slot.number;
        if (slot.line != nullptr) {
            EXPECT_EQ(1u, m_Log->Count(slot.line)) << "slot " << slot.number;
        }
        EXPECT_EQ(slot.lineCount, m_Log->Count(L"CServiceManager::")) << "slot " << slot.number;
    }

    // Slot 9, the deleting destructor, is what freeing the object calls.
    IUtilityEx* pSecond = nullptr;
    ASSERT_EQ(S_OK, m_CreateUtility(&pSecond, &OSTREL_UTILITY_GUID));
    CallDestructor(pSecond, 8);
}

}  // namespace
