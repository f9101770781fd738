#include <gtest/gtest.h>

#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "DocumentVocabulary.h"
#include "Scratch.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_XmlParser.h"

namespace {

using ZorvCommon::Storage::FileBase;
using ZorvCommon::Storage::XmlParser;

const char* const kKey = Ostrel::Vocabulary::kStorageKey;

// The text written to a file of the folder, and encrypted to another, both opened for
// reading: the plain file, and the encrypted one through the decrypting file.
class Document {
public:
    Document(const TestSupport::ScratchFolder& folder, const std::wstring& name,
             const std::string& text)
        : m_File(folder.File(name)) {
        const std::vector<uint8_t> bytes(text.begin(), text.end());
        std::vector<uint8_t> ciphertext;
        EXPECT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(kKey, bytes, &ciphertext));
        TestSupport::WriteFileBytes(folder.File(name), bytes);
        TestSupport::WriteFileBytes(folder.File(name + L".xen"), ciphertext);
        EXPECT_TRUE(m_File.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0));
        EXPECT_TRUE(m_Encrypted.Open(folder.File(name + L".xen"), kKey));
    }
    FileBase& File() { return m_File; }
    FileBase& Encrypted() { return m_Encrypted.File(); }

private:
    FileBase m_File;
    ZorvCommon::Storage::CryptDocument m_Encrypted;
};

class XmlParserTest : public ::testing::Test {
protected:
    TestSupport::ScratchFolder m_Folder{L"XmlParser"};
    XmlParser m_Parser;
};

// The text of each child of the current element, "name=text;" in document order.
std::wstring ChildTexts(XmlParser& parser) {
    std::wstring out;
    std::wstring text;
    uint32_t depth = 0;
    for (bool found = parser.MoveToFirstChildElement(depth); found;
         found = parser.MoveToNextSiblingElement(depth)) {
        out += parser.GetElementName() + L"=";
        out += parser.GetText(text) ? text : L"<no text>";
        out += L";";
    }
    return out;
}

// The FrameworkService children of the root as the policy reader finds them: "version:"
// and their children's texts, a line each.
std::wstring WalkPolicy(XmlParser& parser) {
    std::wstring out;
    std::wstring version;
    uint32_t depth = 0;
    if (!parser.MoveToElement(L"BaseFramework")) {
        return L"<no root>";
    }
    for (bool found = parser.MoveToFirstChildElement(depth, L"FrameworkService"); found;
         found = parser.MoveToNextSiblingElement(depth, L"FrameworkService")) {
        parser.GetAttribute(L"version", version);
        out += version + L":" + ChildTexts(parser) + L"\n";
    }
    return out;
}

// A mark, comments, processing instructions, an entity and CDATA are passed or taken in;
// an element's text is what lies directly inside it, whitespace kept; the same name nested
// deeper is not a child; the large document spans many of the reader's pulls, none of them
// block-aligned.
TEST_F(XmlParserTest, AnEncryptedDocumentReadsLikeItsPlaintext) {
    const std::string service =
        "  <FrameworkService version=\"1.2.3\">\r\n"
        "    <ServiceGuid>{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}</ServiceGuid>\r\n"
        "    <!-- between fields --><ModuleName>Svc&amp;One.dll</ModuleName>\r\n"
        "    <?authoring hint?><Shared SharedType=\"eShared\"/>\r\n"
        "    <StartUp>e<b>inner</b><![CDATA[Auto]]><!-- c -->matic</StartUp><Space>  </Space>\r\n"
        "  </FrameworkService>\r\n";
    const std::string policy =
        "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
        "<!-- service policy -->\r\n<BaseFramework>\r\n" +
        service +
        "  <Unknown><FrameworkService version=\"nested\"/><Deep>x</Deep></Unknown>\r\n"
        "  <frameworkservice version=\"2.0\"><ModuleName>two<!-- c -->.dll</ModuleName>\r\n"
        "  </frameworkservice>\r\n"
        "</BaseFramework>\r\n";
    const std::wstring serviceWalk =
        L"1.2.3:ServiceGuid={0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0};ModuleName=Svc&One.dll;"
        L"Shared=;StartUp=eAutomatic;Space=  ;\n";
    std::string large = "<BaseFramework>";
    std::wstring largeWalk;
    while (large.size() < 150000) {
        large += service;
        largeWalk += serviceWalk;
    }
    for (const auto& [text, transcript] :
         {std::make_pair(policy, serviceWalk + L"2.0:ModuleName=two.dll;\n"),
          std::make_pair(large + "</BaseFramework>", largeWalk)}) {
        Document document(m_Folder, L"policy.xml", text);
        for (int encrypted : {0, 1}) {
            ASSERT_TRUE(m_Parser.Start(encrypted ? document.Encrypted() : document.File()));
            EXPECT_TRUE(WalkPolicy(m_Parser) == transcript) << encrypted;
            EXPECT_EQ(0, m_Parser.GetLastResult());
            ASSERT_TRUE(m_Parser.Stop());
        }
    }
}

// Names are compared whole words first and letter by letter where they differ: case is
// folded for letters only, and characters beyond ASCII are folded by the system; a name
// handed over as characters is measured against the element's as it is compared.
TEST_F(XmlParserTest, ElementNamesMatchWithCaseFoldedForLettersOnly) {
    Document document(m_Folder, L"fold.xml",
                      "<r><FrameworkService-1/><Gr\xc3\xb6\xc3\x9f"
                      "e/></r>");
    ASSERT_TRUE(m_Parser.Start(document.File()));
    ASSERT_TRUE(m_Parser.MoveToElement(L"r"));
    uint32_t depth = 0;
    ASSERT_TRUE(m_Parser.MoveToFirstChildElement(depth));
    const struct {
        const wchar_t* name;
        bool matches;
    } cases[] = {
        {L"FrameworkService-1", true},   {L"frameworkservice-1", true},
        {L"FrameworkSERVICE-1", true},   {L"FrameworkService\r1", false},
        {L"FrameworkServicf-1", false},  {L"FrameworkService-", false},
        {L"FrameworkService-12", false}, {L"", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.matches, m_Parser.IsElementName(c.name)) << c.name << " as characters";
        EXPECT_EQ(c.matches, m_Parser.IsElementName(std::wstring_view(c.name))) << c.name;
    }
    ASSERT_TRUE(m_Parser.MoveToNextSiblingElement(depth, L"GR\u00d6\u00dfE"));
    EXPECT_EQ(L"Gr\u00f6\u00dfe", m_Parser.GetElementName());
}

// Documents name their root in any case; a name of another length is another name, and
// attribute names keep their case.
TEST_F(XmlParserTest, MoveToElementComparesNamesAsTheOtherMovesDo) {
    Document document(m_Folder, L"roots.xml",
                      "<r><storag n=\"1\"/><STORAGES n=\"2\"/><sTorAge n=\"3\" N=\"4\"/></r>");
    ASSERT_TRUE(m_Parser.Start(document.File()));
    ASSERT_TRUE(m_Parser.MoveToElement(L"Storage"));
    std::wstring value;
    ASSERT_TRUE(m_Parser.GetAttribute(L"n", value));
    EXPECT_EQ(L"3", value) << "attribute names match exactly";
    ASSERT_TRUE(m_Parser.GetAttribute(L"N", value));
    EXPECT_EQ(L"4", value);
    EXPECT_FALSE(m_Parser.GetAttribute(L"x", value));
    EXPECT_EQ(0, m_Parser.GetLastResult()) << "a missing attribute is no reader failure";
}

// The failure and its place stay until the parser is stopped; a Start while started is
// refused, and the next Start begins clean.
TEST_F(XmlParserTest, AMalformedDocumentRecordsWhereItBrokeUntilTheNextStart) {
    Document malformed(m_Folder, L"malformed.xml",
                       "<BaseFramework>\n"
                       "  <FrameworkService version=\"1\">\n"
                       "    <ModuleName>a.dll</ModuleNam>\n"
                       "  </FrameworkService>\n"
                       "</BaseFramework>\n");
    Document next(m_Folder, L"next.xml", "<a><b>1</b><b>2</b></a>");
    ASSERT_TRUE(m_Parser.Start(malformed.File()));
    ASSERT_TRUE(m_Parser.MoveToElement(L"FrameworkService"));
    EXPECT_EQ(L"ModuleName=<no text>;", ChildTexts(m_Parser));
    EXPECT_EQ(static_cast<int32_t>(0xC00CEE3B), m_Parser.GetLastResult())
        << std::hex << m_Parser.GetLastResult();
    EXPECT_EQ(L"ModuleName", m_Parser.GetLastNodeName());
    EXPECT_EQ(3u, m_Parser.GetLastLine());
    EXPECT_GE(m_Parser.GetLastColumn(), 22u) << "at or behind the end tag";
    EXPECT_LE(m_Parser.GetLastColumn(), 34u);
    EXPECT_EQ(3u, m_Parser.GetLastDepth());
    uint32_t depth = 1;
    EXPECT_FALSE(m_Parser.MoveToNextSiblingElement(depth)) << "the reader stays failed";
    EXPECT_FALSE(m_Parser.Start(next.File()));
    ASSERT_TRUE(m_Parser.Stop());

    ASSERT_TRUE(m_Parser.Start(next.File()));
    EXPECT_EQ(0, m_Parser.GetLastResult());
    EXPECT_EQ(L"", m_Parser.GetLastNodeName());
    ASSERT_TRUE(m_Parser.MoveToElement(L"a"));
    EXPECT_EQ(L"b=1;b=2;", ChildTexts(m_Parser));
    ASSERT_TRUE(m_Parser.Stop());
    EXPECT_FALSE(m_Parser.Stop()) << "stopped once";
}

TEST_F(XmlParserTest, ADocumentTypeIsRefusedBeforeAnyEntityExpands) {
    Document document(m_Folder, L"dtd.xml", "<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;&e;</a>");
    ASSERT_TRUE(m_Parser.Start(document.File()));
    EXPECT_FALSE(m_Parser.MoveToElement(L"a"));
    EXPECT_EQ(static_cast<int32_t>(WC_E_DTDPROHIBITED), m_Parser.GetLastResult());
}

// Wine's reader closes what a cut-off document left open with made-up end elements at the
// open elements' own starts, however far back they are: here the root's lies in the
// reader's first read of the file, thousands of lines before the cut.
TEST_F(XmlParserTest, ACutOffDocumentFailsWhereverItsOpenElementsStarted) {
    std::string items = "<Root>\n";
    while (items.size() < 5 * 8188) {
        items += "  <Item>value</Item>\n";
    }
    const struct {
        const char* name;
        std::string text;
        HRESULT result;
        const wchar_t* lastText;
    } cases[] = {
        {"whole", items + "  <Item>last</Item>\n</Root>\n", S_OK, L"Item=last;"},
        {"cut after an end tag", items + "  <Item>last</Item>", XmlParser::kResultUnexpectedEnd,
         L"Item=last;"},
        {"cut inside an element", items + "  <Item><Sub>x</Sub>", XmlParser::kResultUnexpectedEnd,
         L"Item=<no text>;"},
        {"one read, cut after an end tag", "<Root>\n  <Item>last</Item>",
         XmlParser::kResultUnexpectedEnd, L"Item=last;"},
    };
    for (const auto& c : cases) {
        Document document(m_Folder, L"cut.xml", c.text);
        for (FileBase* file : {&document.File(), &document.Encrypted()}) {
            ASSERT_TRUE(m_Parser.Start(*file)) << c.name;
            ASSERT_TRUE(m_Parser.MoveToElement(L"Root")) << c.name;
            const std::wstring texts = ChildTexts(m_Parser);
            const std::wstring lastText = c.lastText;
            EXPECT_EQ(lastText, texts.substr(texts.size() - lastText.size())) << c.name;
            EXPECT_EQ(c.result, m_Parser.GetLastResult()) << c.name;
            ASSERT_TRUE(m_Parser.Stop());
        }
    }
}

// Wine's reader ends the process when its input runs out, or reaches a NUL, while it
// still reads a document's opening; those openings are refused before it sees them (as
// an early end of the input), and nothing else is: every well-formed document starts.
TEST_F(XmlParserTest, OnlyOpeningsThatStopTheReaderAreRefused) {
    const std::string kMark = "\xEF\xBB\xBF";
    const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
    const std::string kNul(1, '\0');
    for (const std::string& refused :
         {kMark, kMark + "<", kMark + "<?", kMark + "<?xml", std::string("<?x"),
          std::string("<?xml"), kDeclaration, kMark + kDeclaration, kDeclaration + kNul + "<a/>",
          kMark + kNul + "<a/>", "<?xm" + kNul + "l version=\"1.0\"?><a/>"}) {
        Document document(m_Folder, L"refused.xml", refused);
        EXPECT_FALSE(m_Parser.Start(document.File())) << refused.size();
        EXPECT_EQ(XmlParser::kResultUnexpectedEnd, m_Parser.GetLastResult()) << refused.size();
        uint32_t position = 1;
        EXPECT_TRUE(document.File().SetPointer(0, FILE_CURRENT, &position));
        EXPECT_EQ(0u, position) << "the file is put back";
    }
    for (const std::string& opening :
         {kMark, kDeclaration, kMark + kDeclaration, kMark + "<!-- c -->", kDeclaration + "\n",
          std::string("<?pi x?>"), kMark + " ", std::string()}) {
        Document document(m_Folder, L"started.xml", opening + "<Root/>");
        ASSERT_TRUE(m_Parser.Start(document.File())) << opening;
        EXPECT_TRUE(m_Parser.MoveToElement(L"Root")) << opening;
        EXPECT_EQ(0, m_Parser.GetLastResult()) << opening;
        ASSERT_TRUE(m_Parser.Stop());
    }
}

// A walk that leaves its scope by an exception still stops the parser it started, and
// a session never stops a parser that someone else started.
TEST_F(XmlParserTest, ASessionStopsWhatItStartedOnEveryWayOut) {
    Document first(m_Folder, L"first.xml", "<a><b/></a>");
    Document second(m_Folder, L"second.xml", "<a><c/></a>");
    try {
        ZorvCommon::Storage::XmlParserSession session(m_Parser, first.File());
        ASSERT_TRUE(session.IsStarted());
        ASSERT_TRUE(m_Parser.MoveToElement(L"b"));
        throw std::bad_alloc();
    } catch (const std::bad_alloc&) {
    }
    EXPECT_FALSE(m_Parser.IsStarted());

    ZorvCommon::Storage::XmlParserSession session(m_Parser, second.File());
    ASSERT_TRUE(session.IsStarted());
    {
        ZorvCommon::Storage::XmlParserSession nested(m_Parser, first.File());
        EXPECT_FALSE(nested.IsStarted());
        EXPECT_FALSE(nested.Stop());
    }
    EXPECT_TRUE(m_Parser.MoveToElement(L"c")) << "still reading the second document";
    EXPECT_TRUE(session.Stop());
    EXPECT_FALSE(session.Stop()) << "stopped once";
    EXPECT_FALSE(m_Parser.IsStarted());
}

// Each parser reads with memory of its own, unshared: parsers busy on two threads at once
// answer as one alone, document after document.
TEST_F(XmlParserTest, ParsersOnTwoThreadsAnswerAsOneAlone) {
    std::string text = "<BaseFramework>";
    while (text.size() < 200000) {
        text += "<FrameworkService version=\"1\"><ModuleName>a.dll</ModuleName></FrameworkService>";
    }
    text += "</BaseFramework>";
    Document first(m_Folder, L"first.xml", text);
    Document second(m_Folder, L"second.xml", text);
    ASSERT_TRUE(m_Parser.Start(first.Encrypted()));
    const std::wstring alone = WalkPolicy(m_Parser);
    ASSERT_TRUE(m_Parser.Stop());
    int same[2] = {};
    const auto walk = [&](Document* document, int* count) {
        XmlParser parser;
        for (int round = 0; round < 10; ++round) {
            *count += document->Encrypted().SetPointer(0, FILE_BEGIN, nullptr) &&
                      parser.Start(document->Encrypted()) && WalkPolicy(parser) == alone &&
                      parser.Stop();
        }
    };
    std::thread other(walk, &second, &same[1]);
    walk(&first, &same[0]);
    other.join();
    EXPECT_EQ(10, same[0]);
    EXPECT_EQ(10, same[1]);
}

}  // namespace
