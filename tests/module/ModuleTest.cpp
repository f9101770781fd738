// The module through its exports: the real Ostrel.dll from build\bin, one utility object
// per test, the debug log captured and a scratch installed folder named by the product key.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "Documents.h"
#include "LogCapture.h"
#include "ModuleHost.h"
#include "Scratch.h"

namespace {

using namespace TestSupport;
using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::IUtilityEx;
using SrvFrwk::Interface::ValueTypeRecord;
using SrvFrwk::Interface::WebAccessControlList;

constexpr HRESULT kNotProvided = 0x00040203;
constexpr HRESULT kNotSupported = static_cast<HRESULT>(0x80040203);
constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80040204);

// A policy document: its file, its key and the request that reads it.
struct Policy {
    const wchar_t* file;
    const char* key;
    uint32_t valueType;
};
const Policy kServices{kServiceFile, kServiceKey, 1};
const Policy kProviders{kProviderFile, kProviderKey, 2};
const Policy kWebAccess{kWebAccessFile, kWebAccessKey, 16};

// The module is loaded after the log settings are in place, so that its own debug log (set
// up at process attach) writes where the capture reads.
class ModuleTest : public ::testing::Test {
protected:
    ModuleTest() {
        m_Log.Product().SetInstalledFolder(m_Folder.Path() + L"\\");
        m_Log.Product().SetVersion(L"1.0.1120");
    }
    void SetUp() override { ASSERT_TRUE(m_Utility.IsValid()) << "Ostrel.dll beside build\\tests"; }

    // A storage-control request for the text, with the assignment "T" (the documents say
    // "t": assignments match without regard to case).
    HRESULT SendStorage(const std::string& text) {
        WriteDocument(m_Request, kStorageKey, text);
        SrvFrwk::Interface::StorageControlRequest request;
        request.DocumentPath = m_Request;
        request.CommandArgument = L"T";
        return m_Utility.Send(SrvFrwk::Interface::ValueTypeStorageControl, &request);
    }
    HRESULT Query(const Policy& policy, const std::string& text, void* pValue) {
        WriteDocument(m_Folder.File(policy.file), policy.key, text);
        return m_Utility.Query(policy.valueType, pValue);
    }

    LogCapture m_Log{0x111, /*initializeProcessLog=*/false};
    ScratchFolder m_Folder{L"Module"};
    ScratchRegistryKey m_Key{L"Module"};
    std::wstring m_Request = m_Folder.File(L"request.xen");
    ModuleHost m_Host;
    Utility m_Utility{m_Host};
};

TEST_F(ModuleTest, CreateAndFreeCheckTheirArguments) {
    GUID other = OSTREL_UTILITY_GUID;
    other.Data4[7] ^= 1;
    IUtilityEx* pUtility = reinterpret_cast<IUtilityEx*>(0x1234);
    EXPECT_EQ(kInvalidArgument, m_Host.CreateUtility(&pUtility, &other));
    EXPECT_EQ(reinterpret_cast<IUtilityEx*>(0x1234), pUtility) << "left untouched on failure";
    EXPECT_EQ(kInvalidArgument, m_Host.FreeUtility(m_Utility.Get(), &other));
    EXPECT_EQ(kNotSupported, m_Utility.Query(4, nullptr)) << "the object survived the refused free";
    ASSERT_EQ(S_OK, m_Host.CreateUtility(&pUtility));
    EXPECT_EQ(S_OK, m_Host.FreeUtility(pUtility));
}

// The host calls the object through its table of virtual functions, by the slot numbers
// written in SrvFrwk_Interface.h (from 1; the index is one less). Each slot reaches its
// method: the result and the line the method writes tell them apart.
TEST_F(ModuleTest, EverySlotOfTheUtilityReachesItsMethod) {
    enum Arguments { kNone, kTyped, kNamed };
    struct Slot {
        size_t number;
        Arguments arguments;
        HRESULT result;
        const wchar_t* line;  // written by this method alone, or null
    };
    const Slot slots[] = {
        {1, kNone, kNotProvided, nullptr},
        {2, kTyped, kNotSupported, L"QueryValue() - Specified ValueType"},
        {3, kNamed, S_OK, L"[Enter] CServiceManager::QueryValue()..."},
        {4, kNone, kNotProvided, nullptr},
        {5, kTyped, S_OK, L"[Enter] CServiceManager::StoreValue()..."},
        {6, kTyped, kNotSupported, L"SendMessage() - Specified ValueType"},
        {7, kNamed, S_OK, L"[Enter] CServiceManager::SendMessage()..."},
        {10, kNone, S_OK, L"[Enter] CServiceManager::Initialize()..."},
        {11, kNone, S_OK, L"[Enter] CServiceManager::Uninitialize()..."},
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
        EXPECT_EQ(slot.line == nullptr ? 0u : 1u,
                  m_Log.Count(slot.line ? slot.line : L"CServiceManager::"))
            << "slot " << slot.number;
    }
}

using StorageRequestTest = ModuleTest;

// A first section that stores a value and a second that fails to parse: the stored value
// is there, the request answers the commands' result, the document is kept.
TEST_F(StorageRequestTest, CommandsBuiltBeforeAFailureStillRun) {
    const std::string store = Store("Greeting", "string", "hello");
    const std::string section = Narrow(m_Key.Child(L"Section"));
    EXPECT_EQ(S_OK, SendStorage(Storage(Registry(section, store) +
                                        Registry(section, store, kAnywhere, "HKXX"))));
    EXPECT_EQ(L"hello", ReadRegString(HKEY_CURRENT_USER, m_Key.Child(L"Section"), L"Greeting"));
    EXPECT_TRUE(
        m_Log.Contains(L"*** CServiceManager::SendMessage() - "
                       L"this->QueryValueForStorageControl() failed. [0x80040206]"));
    EXPECT_TRUE(FileExists(m_Request));
}

using DocumentTest = ModuleTest;

std::string Row(const std::string& element, const std::string& moduleName) {
    return "<" + element + " version=\"1.0\"><Module>eDynamicLinkLibrary</Module><ModuleName>" +
           moduleName + "</ModuleName><StartUp>eAutomatic</StartUp></" + element + ">";
}

TEST_F(DocumentTest, RootElementNamesInAnyLetterCase) {
    ArrayOfRowService services;
    EXPECT_EQ(S_OK, Query(kServices,
                          "<baseframework>" + Row("FrameworkService", "a.dll") + "</baseframework>",
                          &services));
    ASSERT_EQ(1u, services.size());
    EXPECT_EQ(L"a.dll", services[0].ModuleName);
    EXPECT_EQ(S_OK, SendStorage("<storage version=\"1.0\">" +
                                Registry(Narrow(m_Key.Path()), Store("Value", "string", "lower")) +
                                "</storage>"));
    EXPECT_EQ(L"lower", ReadRegString(HKEY_CURRENT_USER, m_Key.Path(), L"Value"));
}

// A row that the reader's failure cut short is not handed out with its later fields empty:
// the rows before it are, and the result is the reader's failure.
TEST_F(DocumentTest, OnlyRowsReadWithoutErrorAreAppended) {
    const auto document = [](const std::string& kind) {
        return "<BaseFramework>" + Row("Framework" + kind, "whole.dll") + "<Framework" + kind +
               " version=\"2.0\"><Module>eDynamicLinkLibrary</Module><ModuleName>cut.dll</"
               "ModuleName>";
    };
    ArrayOfRowService services;
    const HRESULT result = Query(kServices, document("Service"), &services);
    EXPECT_TRUE(IsReaderResult(result)) << std::hex << result;
    ArrayOfRowProvider providers;
    EXPECT_EQ(result, Query(kProviders, document("Provider"), &providers));
    ASSERT_EQ(std::make_pair(size_t{1}, size_t{1}),
              std::make_pair(services.size(), providers.size()));
    EXPECT_EQ(L"whole.dll whole.dll", services[0].ModuleName + L" " + providers[0].ModuleName);
}

// A line names the file of the reader whose method it names and, where that reader is one
// file, the line of the statement that writes it; Enter and Leave lines wherever the
// convention asks for them; no error line for a key the module only looks for.
TEST_F(DocumentTest, LogLinesNameTheReaderAndTheStatement) {
    ArrayOfRowService services;
    (void)Query(kServices,
                "<BaseFramework><FrameworkService version=\"1\"><Module>eDLL</Module>"
                "</FrameworkService></BaseFramework>",
                &services);
    WebAccessControlList list;
    (void)Query(kWebAccess,
                "<WebAccess><Applications><Process platform=\"all64\" label=\"p\" native=\"64bit\">"
                "<FileName>p.exe</FileName></Process></Applications><Controls>"
                "<Filters><Filter label=\"f\" type=\"Blocked\"/></Filters>"
                "</Controls></WebAccess>",
                &list);
    (void)SendStorage("<Storage version=\"1.0\">" +
                      Registry(Narrow(m_Key.Child(L"Missing")), Control("delete", "Gone")) +
                      "<IniFile assign=\"other\"/><Registry assign=\"t\"><Root>HKXX</Root>"
                      "</Registry></Storage>");
    for (const wchar_t* helper : {L"ParseTarget", L"CheckParameter", L"ParseWebApplicationProcess",
                                  L"ParseWebApplicationFileName"}) {
        const std::wstring method = std::wstring(L"CXmlParserWebAccessControl::") + helper;
        EXPECT_GT(m_Log.Count(L"[Enter] " + method + L"()..."), 0u) << Narrow(method);
        EXPECT_EQ(m_Log.Count(L"[Enter] " + method), m_Log.Count(L"[Leave] " + method));
    }
    EXPECT_FALSE(m_Log.Contains(L"Registry::Open() - failed"));
    std::wistringstream log(m_Log.Text());
    size_t checked = 0;
    for (std::wstring line; std::getline(log, line);) {
        const size_t name = line.find(L"CXmlParser");
        const size_t place = line.rfind(L" - ");
        const size_t open = line.rfind(L'(');
        if (name == std::wstring::npos || place == std::wstring::npos || open < place) {
            continue;
        }
        const std::wstring reader = line.substr(name + 1, line.find(L"::", name) - name - 1);
        const std::wstring file = line.substr(line[place + 3] == L'\\' ? place + 4 : place + 3);
        EXPECT_EQ(reader + L".cpp", file.substr(0, file.find(L'('))) << Narrow(line);
        if (reader != L"XmlParserStorageControl") {  // its split files number their own lines
            std::ifstream source((OSTREL_SOURCE_DIR L"\\src\\ostrel\\" + reader + L".cpp").c_str());
            std::string statement;
            for (unsigned long number = wcstoul(line.c_str() + open + 1, nullptr, 10);
                 number > 0 && std::getline(source, statement); --number) {
            }
            EXPECT_TRUE(statement.find("ZORV_") != std::string::npos ||
                        statement.find("OSTREL_SOURCE_PLACE") != std::string::npos)
                << Narrow(line) << "\n  names: " << statement;
        }
        ++checked;
    }
    EXPECT_GT(checked, 10u);
    for (const wchar_t* expected :
         {L"*** CXmlParserFrameworkPolicy::GetModuleType() - Specified text was not supported.",
          L"*** CXmlParserWebAccessControl::GetWebAccessFilterType() - Specified text",
          L"*** CXmlParserStorageControl::CheckParameter() - Specified Assigned was not matched",
          L"*** CXmlParserStorageControl::ParseRegistry() - this->GetRegistryRoot() failed."}) {
        EXPECT_TRUE(m_Log.Contains(expected)) << Narrow(expected);
    }
}

}  // namespace
