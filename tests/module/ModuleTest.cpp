// The module through its exports: the real Ostrel.dll from build\bin, one utility object
// per test, the debug log captured and a scratch installed folder named by the product key.
// The exports and the utility object's slots, called as the host calls them; documents of
// every kind and the storage-control requests that only the exports show.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "Documents.h"
#include "LogCapture.h"
#include "ModuleHost.h"
#include "NativeRegistry.h"
#include "Scratch.h"

namespace {

using namespace TestSupport;
using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::IUtilityEx;
using SrvFrwk::Interface::ValueTypeRecord;
using SrvFrwk::Interface::WebAccessControlList;

constexpr HRESULT kNotProvided = 0x00040203;
constexpr HRESULT kWrongState = static_cast<HRESULT>(0x80040201);
constexpr HRESULT kNotSupported = static_cast<HRESULT>(0x80040203);
constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80040204);

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
    HRESULT SendStorage(const std::string& text, const std::wstring& folderField = L"") {
        WriteDocument(m_Request, kStorageKey, text);
        SrvFrwk::Interface::StorageControlRequest request;
        request.DocumentPath = m_Request;
        request.CommandArgument = L"T";
        request.Folder = folderField;
        return m_Utility.Send(SrvFrwk::Interface::ValueTypeStorageControl, &request);
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

// A policy document: its file, its key and the request that reads it.
struct Policy {
    const wchar_t* file;
    const char* key;
    uint32_t valueType;
};
const Policy kServices{kServiceFile, kServiceKey, 1};
const Policy kProviders{kProviderFile, kProviderKey, 2};
const Policy kWebAccess{kWebAccessFile, kWebAccessKey, 16};

class DocumentTest : public ModuleTest {
protected:
    HRESULT Query(const Policy& policy, const std::string& text, void* pValue) {
        WriteDocument(m_Folder.File(policy.file), policy.key, text);
        return m_Utility.Query(policy.valueType, pValue);
    }
};

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
    WebAccessControlList list;
    EXPECT_EQ(S_OK, Query(kWebAccess,
                          "<webaccess><sites><address label=\"s\" id=\"http://s/\"/></sites>"
                          "</webaccess>",
                          &list));
    EXPECT_EQ(std::vector<std::wstring>{L"http://s/"}, list.Sites);
    EXPECT_EQ(S_OK, SendStorage("<storage version=\"1.0\">" +
                                Registry(Narrow(m_Key.Path()), Store("Value", "string", "lower")) +
                                "</storage>"));
    EXPECT_EQ(L"lower", ReadRegString(HKEY_CURRENT_USER, m_Key.Path(), L"Value"));
}

// Wine's reader is kept from the openings that stop it; every well-formed document, down
// to a bare empty root behind a byte-order mark, is read (and a storage one deleted).
TEST_F(DocumentTest, EveryWellFormedMinimalDocumentStarts) {
    const std::string kMark = "\xEF\xBB\xBF";
    const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
    for (const std::string& opening : {kMark, kMark + kDeclaration, kDeclaration, std::string()}) {
        const size_t shown = opening.size();
        ArrayOfRowService services;
        EXPECT_EQ(kWrongState, Query(kServices, opening + "<BaseFramework/>", &services))
            << shown << ": started, and found no service";
        WebAccessControlList list;
        EXPECT_EQ(S_OK, Query(kWebAccess, opening + "<WebAccess/>", &list)) << shown;
        EXPECT_EQ(S_OK, SendStorage(opening + "<Storage version=\"1.0\"/>")) << shown;
        EXPECT_FALSE(FileExists(m_Request)) << shown << ": read to its end";
    }
    EXPECT_FALSE(m_Log.Contains(L"Start() failed"));
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
    ASSERT_EQ(1u, services.size());
    EXPECT_EQ(L"whole.dll", services[0].ModuleName);
    ASSERT_EQ(1u, providers.size());
    EXPECT_EQ(L"whole.dll", providers[0].ModuleName);
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
