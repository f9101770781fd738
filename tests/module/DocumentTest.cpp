// Documents of every kind read through the exports: root names in any case, minimal
// documents, whole rows only.

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

// Each reader's lines print its own unit's file, split units included, and the listed
// texts stand as they are.
TEST_F(DocumentTest, LogLinesNameTheReadersUnit) {
    ArrayOfRowService services;
    (void)Query(kServices,
                "<BaseFramework><FrameworkService version=\"1\"><Module>eDLL</Module>"
                "</FrameworkService></BaseFramework>",
                &services);
    WebAccessControlList list;
    (void)Query(kWebAccess,
                "<WebAccess><Controls><Filters><Filter label=\"f\" type=\"Blocked\"/>"
                "</Filters></Controls></WebAccess>",
                &list);
    (void)SendStorage("<Storage version=\"1.0\">" + Registry("x", Store("V", "string", "v")) +
                      "<IniFile assign=\"other\"/><Registry assign=\"t\"><Root>HKXX</Root>"
                      "</Registry></Storage>");
    std::wistringstream log(m_Log.Text());
    size_t checked = 0;
    for (std::wstring line; std::getline(log, line);) {
        const size_t name = line.find(L"CXmlParser");
        const size_t place = line.rfind(L" - ");
        if (name == std::wstring::npos || place == std::wstring::npos || place < name) {
            continue;
        }
        const std::wstring reader = line.substr(name + 1, line.find(L"::", name) - name - 1);
        std::wstring file = line.substr(place + 3, line.rfind(L'(') - place - 3);
        if (!file.empty() && file[0] == L'\\') {
            file.erase(0, 1);
        }
        EXPECT_EQ(reader + L".cpp", file) << Narrow(line);
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
