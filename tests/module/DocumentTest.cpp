// Documents of every kind read through the exports: root names in any case, minimal
// documents, whole rows only.

#include <fstream>
#include <sstream>

#include "ModuleFixture.h"

namespace {

using namespace ModuleTests;
using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::WebAccessControlList;

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
    ArrayOfRowProvider providers;
    EXPECT_EQ(S_OK,
              Query(kProviders,
                    "<BASEFRAMEWORK>" + Row("frameworkprovider", "p.dll") + "</BASEFRAMEWORK>",
                    &providers));
    EXPECT_EQ(1u, providers.size());
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
        ArrayOfRowProvider providers;
        EXPECT_EQ(kWrongState, Query(kProviders, opening + "<BaseFramework/>", &providers))
            << shown;
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
