// Documents of every kind read through the exports: root names in any case, minimal
// documents, whole rows only, and the log lines the readers write.

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "ModuleFixture.h"
#include "ZorvComn_CryptDocument.h"

namespace {

using Ostrel::Vocabulary::kStorageKey;

using namespace ModuleTests;
using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::StorageControlRequest;
using SrvFrwk::Interface::WebAccessControlList;

constexpr HRESULT kWrongState = static_cast<HRESULT>(0x80040201);

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
        Write(m_Folder.File(L"QjBsSvPl.xen"), Ostrel::Vocabulary::kServiceKey, text);
        return Query(1, &rows);
    }
    HRESULT Providers(const std::string& text, ArrayOfRowProvider& rows) {
        Write(m_Folder.File(L"QjEnPvPl.xen"), Ostrel::Vocabulary::kProviderKey, text);
        return Query(2, &rows);
    }
    HRESULT WebAccess(const std::string& text, WebAccessControlList& list) {
        Write(m_Folder.File(L"QjEnPvWc.xen"), Ostrel::Vocabulary::kWebAccessKey, text);
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
