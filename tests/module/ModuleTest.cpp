#include <gtest/gtest.h>

#include <windows.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "LogCapture.h"
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
constexpr HRESULT kWrongState = static_cast<HRESULT>(0x80040201);
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

// A document whose first section stores a value and whose second fails to parse: the
// commands built before the failure still run, and their result is the call's result.
class StorageRequestTest : public ModuleTest {
protected:
    void WriteDocument(const std::wstring& path) {
        const std::string subKey = "Software\\OstrelTests\\ModuleStorage\\Values";
        const std::string xml =
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
            "<Storage version=\"1.0\">\n"
            "  <Registry assign=\"module\">\n"
            "    <Root>HKCU</Root><Path>" +
            subKey +
            "</Path>\n"
            "    <AccessMode>default</AccessMode><AccessRight>default</AccessRight>\n"
            "    <Control assign=\"module\"><Name>Greeting</Name><Type>string</Type>\n"
            "      <Action>store</Action><Value>hello</Value><Overwrite>yes</Overwrite></Control>\n"
            "  </Registry>\n"
            "  <Registry assign=\"module\">\n"
            "    <Root>HKXX</Root><Path>" +
            subKey +
            "</Path>\n"
            "    <AccessMode>default</AccessMode><AccessRight>default</AccessRight>\n"
            "    <Control assign=\"module\"><Name>Other</Name><Type>string</Type>\n"
            "      <Action>store</Action><Value>x</Value><Overwrite>yes</Overwrite></Control>\n"
            "  </Registry>\n"
            "</Storage>\n";
        std::vector<uint8_t> ciphertext;
        ASSERT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(
            kStorageKey, std::vector<uint8_t>(xml.begin(), xml.end()), &ciphertext));
        TestSupport::WriteFileBytes(path, ciphertext);
    }

    HRESULT Run(const std::wstring& folderField) {
        const std::wstring path = m_Folder.File(L"request.xen");
        WriteDocument(path);
        StorageControlRequest request;
        request.DocumentPath = path;
        request.CommandArgument = L"MODULE";  // compared without regard to case
        request.Folder = folderField;
        return Send(4, &request);
    }

    TestSupport::ScratchRegistryKey m_Key{L"ModuleStorage"};
    TestSupport::ScratchFolder m_Folder{L"ModuleStorage"};
};

TEST_F(StorageRequestTest, CommandsBuiltBeforeAFailureStillRun) {
    EXPECT_EQ(S_OK, Run(L""));
    EXPECT_EQ(L"hello",
              TestSupport::ReadRegString(HKEY_CURRENT_USER, m_Key.Child(L"Values"), L"Greeting"));
    EXPECT_TRUE(
        m_Log->Contains(L"*** CServiceManager::SendMessage() - "
                        L"this->QueryValueForStorageControl() failed. [0x80040206]"));
    EXPECT_TRUE(TestSupport::FileExists(m_Folder.File(L"request.xen")))
        << "a document whose last section failed is kept";
}

TEST_F(StorageRequestTest, TheFolderFieldChangesNothing) {
    EXPECT_EQ(S_OK, Run(L"C:\\somewhere\\else"));
    EXPECT_EQ(L"hello",
              TestSupport::ReadRegString(HKEY_CURRENT_USER, m_Key.Child(L"Values"), L"Greeting"));
}

// Documents of every kind written into a scratch installed folder and read through the
// exports.
class DocumentTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        m_Log->Product().SetInstalledFolder(m_Folder.Path());
        m_Log->Product().SetVersion(L"1.0.1120");
    }

    void Write(const std::wstring& path, const char* key, const std::string& text) {
        std::vector<uint8_t> ciphertext;
        ASSERT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(
            key, std::vector<uint8_t>(text.begin(), text.end()), &ciphertext));
        TestSupport::WriteFileBytes(path, ciphertext);
    }

    HRESULT Services(const std::string& text, ArrayOfRowService& rows) {
        Write(m_Folder.File(L"QjBsSvPl.xen"), "m3^Tb8&Yc1*Nh6%e", text);
        return Query(1, &rows);
    }
    HRESULT Providers(const std::string& text, ArrayOfRowProvider& rows) {
        Write(m_Folder.File(L"QjEnPvPl.xen"), "K7#pQ2!vR9@wL4$z", text);
        return Query(2, &rows);
    }
    HRESULT WebAccess(const std::string& text, WebAccessControlList& list) {
        Write(m_Folder.File(L"QjEnPvWc.xen"), "J8*rB4%nV6!qC9#t", text);
        return Query(16, &list);
    }
    HRESULT Storage(const std::string& text) {
        Write(m_Document, kStorageKey, text);
        StorageControlRequest request;
        request.DocumentPath = m_Document;
        request.CommandArgument = L"module";
        return Send(4, &request);
    }

    // A Registry section of the scratch key (or of its child) with one Control element.
    std::string Section(const std::string& control, const std::wstring& child = L"") const {
        const std::wstring key = child.empty() ? m_Key.Path() : m_Key.Child(child);
        return "<Registry assign=\"module\"><Root>HKCU</Root><Path>" +
               std::string(key.begin(), key.end()) +
               "</Path><AccessMode>default</AccessMode><AccessRight>default</AccessRight>"
               "<Control assign=\"module\">" +
               control + "</Control></Registry>";
    }
    // A section that stores Value=text under the scratch key.
    std::string StoreSection(const std::string& text) const {
        return Section("<Action>store</Action><Name>Value</Name><Type>string</Type><Value>" + text +
                       "</Value><Overwrite>yes</Overwrite>");
    }
    std::wstring StoredValue() const {
        return TestSupport::ReadRegString(HKEY_CURRENT_USER, m_Key.Path(), L"Value");
    }

    TestSupport::ScratchFolder m_Folder{L"ModuleDocuments"};
    TestSupport::ScratchRegistryKey m_Key{L"ModuleDocuments"};
    std::wstring m_Document = m_Folder.File(L"request.xen");
};

std::string Service(const char* element, const std::string& moduleName) {
    return "<" + std::string(element) +
           " version=\"1.0\"><Module>eDynamicLinkLibrary</Module><ModuleName>" + moduleName +
           "</ModuleName><StartUp>eAutomatic</StartUp></" + element + ">";
}

TEST_F(DocumentTest, RootElementNamesInAnyLetterCase) {
    ArrayOfRowService services;
    EXPECT_EQ(S_OK, Services("<baseframework>" + Service("FrameworkService", "a.dll") +
                                 "</baseframework>",
                             services));
    ASSERT_EQ(1u, services.size());
    EXPECT_EQ(L"a.dll", services[0].ModuleName);
    ArrayOfRowProvider providers;
    EXPECT_EQ(S_OK, Providers("<BASEFRAMEWORK>" + Service("frameworkprovider", "p.dll") +
                                  "</BASEFRAMEWORK>",
                              providers));
    EXPECT_EQ(1u, providers.size());
    WebAccessControlList list;
    EXPECT_EQ(S_OK, WebAccess("<webaccess><sites><address label=\"s\" id=\"http://s/\"/></sites>"
                              "</webaccess>",
                              list));
    EXPECT_EQ(std::vector<std::wstring>{L"http://s/"}, list.Sites);
    EXPECT_EQ(S_OK, Storage("<storage version=\"1.0\">" + StoreSection("lower") + "</storage>"));
    EXPECT_EQ(L"lower", StoredValue());
    EXPECT_FALSE(m_Log->Contains(L"MoveToElement() failed"));
}

// Wine's reader is kept from the openings that stop it; every well-formed document,
// down to a bare empty root behind a byte-order mark, is still read.
TEST_F(DocumentTest, EveryWellFormedMinimalDocumentStarts) {
    const std::string kMark = "\xEF\xBB\xBF";
    const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
    for (const std::string& opening : {kMark, kMark + kDeclaration, kDeclaration, std::string()}) {
        const std::string shown =
            opening.substr(0, 3) == kMark ? "mark" + opening.substr(3) : opening;
        ArrayOfRowService services;
        EXPECT_EQ(kWrongState, Services(opening + "<BaseFramework/>", services))
            << shown << ": started, and found no service";
        ArrayOfRowProvider providers;
        EXPECT_EQ(kWrongState, Providers(opening + "<BaseFramework/>", providers)) << shown;
        WebAccessControlList list;
        EXPECT_EQ(S_OK, WebAccess(opening + "<WebAccess/>", list)) << shown;
        EXPECT_EQ(S_OK, Storage(opening + "<Storage version=\"1.0\"/>")) << shown;
        EXPECT_FALSE(TestSupport::FileExists(m_Document)) << shown << ": read to its end";
    }
    EXPECT_FALSE(m_Log->Contains(L"Start() failed"));
    EXPECT_EQ(8u, m_Log->Count(L"this->m_rXmlParser.MoveToFirstChildElement() failed."));
}

// A row that the reader's failure cut short is not handed out with its later fields
// empty: the rows before it are, and the result is the reader's failure.
TEST_F(DocumentTest, OnlyRowsReadWithoutErrorAreAppended) {
    const std::string cut =
        "<FrameworkService version=\"2.0\"><Module>eDynamicLinkLibrary"
        "</Module><ModuleName>cut.dll</ModuleName>";
    ArrayOfRowService services;
    const HRESULT result =
        Services("<BaseFramework>" + Service("FrameworkService", "whole.dll") + cut, services);
    EXPECT_LT(result, 0);
    ASSERT_EQ(1u, services.size());
    EXPECT_EQ(L"whole.dll", services[0].ModuleName);

    std::string providerCut = cut;
    providerCut.replace(providerCut.find("Service"), 7, "Provider");
    ArrayOfRowProvider providers;
    EXPECT_EQ(result,
              Providers("<BaseFramework>" + Service("FrameworkProvider", "whole.dll") + providerCut,
                        providers));
    ASSERT_EQ(1u, providers.size());
    EXPECT_EQ(L"whole.dll", providers[0].ModuleName);
}

// "... - File.cpp(line)" at the end of each log line that names a reader's method.
struct LoggedLine {
    std::wstring Text;
    std::wstring Reader;  // "XmlParserFrameworkPolicy"
    std::wstring File;    // "XmlParserFrameworkPolicy.cpp"
    unsigned long Line = 0;
};

std::vector<LoggedLine> ReaderLines(const std::wstring& log) {
    std::vector<LoggedLine> lines;
    std::wistringstream stream(log);
    std::wstring text;
    while (std::getline(stream, text)) {
        const size_t name = text.find(L"CXmlParser");
        const size_t place = text.rfind(L" - ");
        const size_t open = text.rfind(L'(');
        if (name == std::wstring::npos || place == std::wstring::npos || open < place) {
            continue;
        }
        LoggedLine line;
        line.Text = text;
        line.Reader = text.substr(name + 1, text.find(L"::", name) - name - 1);
        line.File = text.substr(place + 3, open - place - 3);
        if (!line.File.empty() && line.File[0] == L'\\') {
            line.File.erase(0, 1);  // as the log hands it over, before the trace library
        }
        line.Line = wcstoul(text.c_str() + open + 1, nullptr, 10);
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> SourceLines(const std::wstring& file) {
    std::ifstream stream((std::wstring(OSTREL_SOURCE_DIR L"\\") + file).c_str());
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// A line names the file of the reader whose method it names and, where that reader is
// one file, the line of the statement that writes or asks for it; Enter and Leave lines
// wherever the convention asks for them; no error lines for keys the module only looks
// for.
TEST_F(DocumentTest, LogLinesNameTheReaderAndTheStatement) {
    ArrayOfRowService services;
    EXPECT_EQ(S_OK, Services("<BaseFramework>" + Service("FrameworkService", "a.dll") +
                                 "<FrameworkService version=\"1\"><Module>eDLL</Module>"
                                 "</FrameworkService>" +
                                 Service("FrameworkService", "c.dll") + "</BaseFramework>",
                             services));
    WebAccessControlList list;
    EXPECT_EQ(S_OK, WebAccess("<WebAccess><Applications>"
                              "<Process platform=\"all64\" label=\"p\" native=\"64bit\">"
                              "<FileName>p.exe</FileName></Process>"
                              "<Process label=\"q\"/></Applications>"
                              "<Controls><Filters><Filter label=\"f\" type=\"Blocked\"/>"
                              "</Filters></Controls></WebAccess>",
                              list));
    ASSERT_TRUE(DeleteFileW(m_Folder.File(L"QjEnPvWc.xen").c_str()));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), Query(16, &list));
    ASSERT_TRUE(DeleteFileW(m_Folder.File(L"QjBsSvPl.xen").c_str()));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), Query(1, &services));
    // Storage-control lines from each file the reader is kept in; the commands of the first
    // two sections run, the second on a key that is not there.
    (void)Storage("<Storage version=\"1.0\">" + StoreSection("x") +
                  Section("<Action>delete</Action><Name>Gone</Name>", L"Missing") +
                  "<IniFile assign=\"other\"/><Registry assign=\"module\"><Root>HKXX</Root>"
                  "</Registry></Storage>");
    EXPECT_EQ(L"x", StoredValue());

    for (const wchar_t* helper : {L"ParseTarget", L"CheckParameter", L"ParseWebApplicationProcess",
                                  L"ParseWebApplicationFileName"}) {
        const std::wstring method = std::wstring(L"CXmlParserWebAccessControl::") + helper;
        const size_t entered = m_Log->Count(L"[Enter] " + method + L"()...");
        EXPECT_GT(entered, 0u) << std::string(method.begin(), method.end());
        EXPECT_EQ(entered, m_Log->Count(L"[Leave] " + method + L"()..."));
    }
    EXPECT_FALSE(m_Log->Contains(L"Registry::Open() - failed"));

    const std::vector<LoggedLine> lines = ReaderLines(m_Log->Text());
    size_t checkedLines = 0;
    for (const LoggedLine& line : lines) {
        const std::string text(line.Text.begin(), line.Text.end());
        EXPECT_EQ(line.Reader + L".cpp", line.File) << text;
        if (line.Reader == L"XmlParserStorageControl") {
            continue;  // lines of its other files carry their own line numbers
        }
        const std::vector<std::string> source = SourceLines(line.File);
        ASSERT_FALSE(source.empty()) << text;
        ASSERT_LE(line.Line, source.size()) << text;
        const std::string& statement = source[line.Line - 1];
        EXPECT_TRUE(statement.find("ZORV_") != std::string::npos ||
                    statement.find("OSTREL_SOURCE_PLACE") != std::string::npos)
            << text << "\n  line " << line.Line << ": " << statement;
        ++checkedLines;
    }
    for (const wchar_t* expected :
         {L"*** CXmlParserFrameworkPolicy::GetModuleType() - Specified text was not supported.",
          L"*** CXmlParserFrameworkPolicy::QueryValueForServicePolicy() - cFileCrypt.Open()",
          L"*** CXmlParserWebAccessControl::QueryValue() - cFileCrypt.Open() failed.",
          L"*** CXmlParserWebAccessControl::GetWebAccessFilterType() - Specified text",
          L"*** CXmlParserStorageControl::CheckParameter() - Specified Assigned was not matched",
          L"*** CXmlParserStorageControl::GetRegistryRoot() - Specified text was not supported.",
          L"*** CXmlParserStorageControl::ParseRegistry() - this->GetRegistryRoot() failed."}) {
        EXPECT_TRUE(m_Log->Contains(expected))
            << std::string(expected, expected + wcslen(expected));
    }
    EXPECT_GT(checkedLines, 20u);
}

}  // namespace
