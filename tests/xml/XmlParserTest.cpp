#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "Scratch.h"
#include "PolicyText.h"
#include "XmlDocuments.h"
#include "ZorvComn_File.h"
#include "ZorvComn_Stream.h"
#include "ZorvComn_XmlParser.h"

namespace {

using XmlTests::EncryptedDocument;
using XmlTests::PlainDocument;
using ZorvCommon::Storage::FileBase;
using ZorvCommon::Storage::XmlParser;

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

TEST_F(XmlParserTest, WalksAPolicyDocumentPastCommentsPisAndOtherElements) {
    PlainDocument document(m_Folder, L"policy.xml", XmlTests::kPolicyDocument);
    ASSERT_TRUE(m_Parser.Start(document.File()));
    EXPECT_EQ(XmlTests::kPolicyTranscript, XmlTests::WalkPolicy(m_Parser));
    EXPECT_EQ(0, m_Parser.GetLastResult());
    EXPECT_TRUE(m_Parser.Stop());
}

TEST_F(XmlParserTest, AnEncryptedDocumentReadsLikeItsPlaintext) {
    const char* key = Ostrel::Vocabulary::kStorageKey;
    // The large one spans many of the reader's pulls, none of them block-aligned.
    for (const std::string& text :
         {std::string(XmlTests::kPolicyDocument), XmlTests::GeneratePolicy(150000)}) {
        PlainDocument plain(m_Folder, L"plain.xml", text);
        EncryptedDocument encrypted(m_Folder, L"encrypted.xen", text, key);

        ASSERT_TRUE(m_Parser.Start(plain.File()));
        const std::wstring expected = XmlTests::WalkPolicy(m_Parser);
        EXPECT_NE(std::wstring::npos, expected.find(L"StartUp=eAutomatic\n"))
            << expected.substr(0, 400);
        ASSERT_TRUE(m_Parser.Stop());
        ASSERT_TRUE(m_Parser.Start(encrypted.File()));
        EXPECT_EQ(expected, XmlTests::WalkPolicy(m_Parser));
        EXPECT_EQ(0, m_Parser.GetLastResult());
        ASSERT_TRUE(m_Parser.Stop());
    }
}

TEST_F(XmlParserTest, NamesAndAttributesOfTheCurrentElement) {
    PlainDocument document(m_Folder, L"names.xml",
                           "<Storage version=\"1\" save=\"yes\" Save=\"no\" empty=\"\">"
                           "<Registry/></Storage>");
    ASSERT_TRUE(m_Parser.Start(document.File()));
    ASSERT_TRUE(m_Parser.MoveToElement(L"storage")) << "MoveToElement ignores case as well";
    EXPECT_EQ(L"Storage", m_Parser.GetElementName());
    EXPECT_TRUE(m_Parser.IsElementName(L"STORAGE"));
    EXPECT_FALSE(m_Parser.IsElementName(L"Storag"));
    EXPECT_FALSE(m_Parser.IsElementName(L"Storages"));

    std::wstring value = L"marker";
    ASSERT_TRUE(m_Parser.GetAttribute(L"save", value));
    EXPECT_EQ(L"yes", value);
    ASSERT_TRUE(m_Parser.GetAttribute(L"Save", value));
    EXPECT_EQ(L"no", value);
    ASSERT_TRUE(m_Parser.GetAttribute(L"empty", value));
    EXPECT_EQ(L"", value);
    value = L"marker";
    EXPECT_FALSE(m_Parser.GetAttribute(L"VERSION", value)) << "attribute names match exactly";
    EXPECT_EQ(L"marker", value);
    EXPECT_EQ(0, m_Parser.GetLastResult()) << "a missing attribute is no reader failure";

    uint32_t depth = 0;
    ASSERT_TRUE(m_Parser.MoveToFirstChildElement(depth, L"REGISTRY"));
    EXPECT_EQ(1u, depth);
    EXPECT_FALSE(m_Parser.GetAttribute(L"save", value)) << "the map was refilled";
}

// Names are compared whole words first and letter by letter where they differ: case is
// folded for letters only, and characters beyond ASCII are folded by the system; a name
// handed over as characters is measured against the element's as it is compared.
TEST_F(XmlParserTest, ElementNamesMatchWithCaseFoldedForLettersOnly) {
    PlainDocument document(m_Folder, L"fold.xml",
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

// Documents name their root in any case; a name of another length is another name.
TEST_F(XmlParserTest, MoveToElementComparesNamesAsTheOtherMovesDo) {
    PlainDocument document(m_Folder, L"roots.xml",
                           "<r><storag n=\"1\"/><STORAGES n=\"2\"/><sTorAge n=\"3\"/></r>");
    ASSERT_TRUE(m_Parser.Start(document.File()));
    ASSERT_TRUE(m_Parser.MoveToElement(L"Storage"));
    std::wstring value;
    ASSERT_TRUE(m_Parser.GetAttribute(L"n", value));
    EXPECT_EQ(L"3", value);
}

TEST_F(XmlParserTest, EmptyElementsMixedContentAndWhitespace) {
    PlainDocument document(m_Folder, L"mixed.xml",
                           "<r>\n"
                           "  <e/>\n"
                           "  <m>one<b>inner</b>two<c/><![CDATA[<three>]]><!-- x --></m>\n"
                           "  <g></g>\n"
                           "  <s>  </s>\n"
                           "  <n><x>1</x><y>2</y></n>\n"
                           "  <last>end</last>\n"
                           "</r>\n");
    ASSERT_TRUE(m_Parser.Start(document.File()));
    ASSERT_TRUE(m_Parser.MoveToElement(L"r"));
    uint32_t depth = 0;
    ASSERT_TRUE(m_Parser.MoveToFirstChildElement(depth));
    EXPECT_EQ(L"e", m_Parser.GetElementName());
    uint32_t inner = 0;
    EXPECT_FALSE(m_Parser.MoveToFirstChildElement(inner)) << "an empty element has no children";

    ASSERT_TRUE(m_Parser.MoveToNextSiblingElement(depth)) << "and its sibling is not passed";
    EXPECT_EQ(L"m", m_Parser.GetElementName());
    std::wstring text;
    ASSERT_TRUE(m_Parser.GetText(text));
    EXPECT_EQ(L"onetwo<three>", text) << "the text directly inside, child text left out";
    EXPECT_FALSE(m_Parser.GetText(text)) << "the content was already read";

    ASSERT_TRUE(m_Parser.MoveToNextSiblingElement(depth));
    EXPECT_EQ(L"g", m_Parser.GetElementName());
    text = L"marker";
    ASSERT_TRUE(m_Parser.GetText(text));
    EXPECT_EQ(L"", text);

    ASSERT_TRUE(m_Parser.MoveToNextSiblingElement(depth));
    ASSERT_TRUE(m_Parser.GetText(text));
    EXPECT_EQ(L"  ", text) << "whitespace-only text is kept";

    ASSERT_TRUE(m_Parser.MoveToNextSiblingElement(depth));
    EXPECT_EQ(L"n", m_Parser.GetElementName());
    EXPECT_EQ(L"x=1;y=2;", ChildTexts(m_Parser));

    ASSERT_TRUE(m_Parser.MoveToNextSiblingElement(depth)) << "the walk goes on after a child walk";
    EXPECT_EQ(L"last", m_Parser.GetElementName());
    EXPECT_FALSE(m_Parser.MoveToNextSiblingElement(depth));
    EXPECT_FALSE(m_Parser.MoveToNextSiblingElement(depth)) << "the parent has ended";
    EXPECT_EQ(0, m_Parser.GetLastResult());
}

TEST_F(XmlParserTest, ASecondStartKeepsTheFirstDocumentAndStopMakesRoomForTheNext) {
    PlainDocument first(m_Folder, L"first.xml", "<a><b>1</b><b>2</b></a>");
    PlainDocument second(m_Folder, L"second.xml", "<a><b>3</b></a>");
    PlainDocument broken(m_Folder, L"broken.xml", "<a><b>4</c></a>");

    EXPECT_FALSE(m_Parser.Stop()) << "nothing started";
    ASSERT_TRUE(m_Parser.Start(first.File()));
    ASSERT_TRUE(m_Parser.MoveToElement(L"b"));
    EXPECT_FALSE(m_Parser.Start(second.File()));
    EXPECT_TRUE(m_Parser.IsStarted());
    ASSERT_TRUE(m_Parser.MoveToElement(L"b"));
    std::wstring text;
    ASSERT_TRUE(m_Parser.GetText(text));
    EXPECT_EQ(L"2", text) << "still reading the first document";

    ASSERT_TRUE(m_Parser.Stop());
    EXPECT_FALSE(m_Parser.IsStarted());
    EXPECT_FALSE(m_Parser.MoveToElement(L"b")) << "stopped";

    ASSERT_TRUE(m_Parser.Start(broken.File()));
    EXPECT_FALSE(m_Parser.MoveToElement(L"zzz"));
    EXPECT_LT(m_Parser.GetLastResult(), 0);
    ASSERT_TRUE(m_Parser.Stop());

    ASSERT_TRUE(m_Parser.Start(second.File()));
    EXPECT_EQ(0, m_Parser.GetLastResult()) << "Start begins clean";
    EXPECT_EQ(L"", m_Parser.GetLastNodeName());
    ASSERT_TRUE(m_Parser.MoveToElement(L"a"));
    EXPECT_EQ(L"b=3;", ChildTexts(m_Parser));
    ASSERT_TRUE(m_Parser.Stop());
}

TEST_F(XmlParserTest, AMalformedDocumentRecordsWhereItBroke) {
    PlainDocument document(m_Folder, L"malformed.xml",
                           "<BaseFramework>\n"
                           "  <FrameworkService version=\"1\">\n"
                           "    <ModuleName>a.dll</ModuleNam>\n"
                           "  </FrameworkService>\n"
                           "</BaseFramework>\n");
    ASSERT_TRUE(m_Parser.Start(document.File()));
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
}

TEST_F(XmlParserTest, HostileInputEndsTheWalkInsteadOfHanging) {
    std::string bomb = "<!DOCTYPE bomb [<!ENTITY e0 \"boom\">";
    for (int i = 1; i < 10; ++i) {
        bomb += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j) {
            bomb += "&e" + std::to_string(i - 1) + ";";
        }
        bomb += "\">";
    }
    bomb += "]><bomb>&e9;</bomb>";
    PlainDocument entityBomb(m_Folder, L"bomb.xml", bomb);
    PlainDocument cutInText(m_Folder, L"cut.xml", "<a><b>text");
    PlainDocument cutInTag(m_Folder, L"cuttag.xml", "<a><b attr=\"val");

    const ULONGLONG started = GetTickCount64();
    ASSERT_TRUE(m_Parser.Start(entityBomb.File()));
    std::wstring text;
    EXPECT_FALSE(m_Parser.MoveToElement(L"bomb") && m_Parser.GetText(text));
    EXPECT_EQ(static_cast<int32_t>(WC_E_DTDPROHIBITED), m_Parser.GetLastResult())
        << "DTDs are refused before any entity expands";
    EXPECT_LT(GetTickCount64() - started, 2000u);
    ASSERT_TRUE(m_Parser.Stop());

    ASSERT_TRUE(m_Parser.Start(cutInText.File()));
    ASSERT_TRUE(m_Parser.MoveToElement(L"b"));
    EXPECT_FALSE(m_Parser.GetText(text));
    EXPECT_LT(m_Parser.GetLastResult(), 0);
    EXPECT_EQ(L"b", m_Parser.GetLastNodeName());
    EXPECT_EQ(1u, m_Parser.GetLastLine());
    ASSERT_TRUE(m_Parser.Stop());

    cutInText.Rewind();
    ASSERT_TRUE(m_Parser.Start(cutInText.File()));
    uint32_t depth = 0;
    ASSERT_TRUE(m_Parser.MoveToElement(L"a"));
    EXPECT_FALSE(m_Parser.MoveToFirstChildElement(depth, L"c"));
    EXPECT_LT(m_Parser.GetLastResult(), 0);
    ASSERT_TRUE(m_Parser.Stop());

    ASSERT_TRUE(m_Parser.Start(cutInTag.File()));
    EXPECT_FALSE(m_Parser.MoveToElement(L"b"));
    EXPECT_LT(m_Parser.GetLastResult(), 0);
    ASSERT_TRUE(m_Parser.Stop());
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
        PlainDocument plain(m_Folder, L"cut.xml", c.text);
        EncryptedDocument encrypted(m_Folder, L"cut.xen", c.text, Ostrel::Vocabulary::kStorageKey);
        for (FileBase* file : {&plain.File(), &encrypted.File()}) {
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
        PlainDocument document(m_Folder, L"refused.xml", refused);
        EXPECT_FALSE(m_Parser.Start(document.File())) << refused.size();
        EXPECT_EQ(XmlParser::kResultUnexpectedEnd, m_Parser.GetLastResult()) << refused.size();
        uint32_t position = 1;
        EXPECT_TRUE(document.File().SetPointer(0, FILE_CURRENT, &position));
        EXPECT_EQ(0u, position) << "the file is put back";
    }
    for (const std::string& opening :
         {kMark, kDeclaration, kMark + kDeclaration, kMark + "<!-- c -->", kDeclaration + "\n",
          std::string("<?pi x?>"), kMark + " ", std::string()}) {
        PlainDocument document(m_Folder, L"started.xml", opening + "<Root/>");
        ASSERT_TRUE(m_Parser.Start(document.File())) << opening;
        EXPECT_TRUE(m_Parser.MoveToElement(L"Root")) << opening;
        EXPECT_EQ(0, m_Parser.GetLastResult()) << opening;
        ASSERT_TRUE(m_Parser.Stop());
    }
}

// A walk that leaves its scope by an exception still stops the parser it started, and
// a session never stops a parser that someone else started.
TEST_F(XmlParserTest, ASessionStopsWhatItStartedOnEveryWayOut) {
    PlainDocument first(m_Folder, L"first.xml", "<a><b/></a>");
    PlainDocument second(m_Folder, L"second.xml", "<a><c/></a>");
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
        first.Rewind();
        ZorvCommon::Storage::XmlParserSession nested(m_Parser, first.File());
        EXPECT_FALSE(nested.IsStarted());
        EXPECT_FALSE(nested.Stop());
    }
    EXPECT_TRUE(m_Parser.MoveToElement(L"c")) << "still reading the second document";
    EXPECT_TRUE(session.Stop());
    EXPECT_FALSE(session.Stop()) << "stopped once";
    EXPECT_FALSE(m_Parser.IsStarted());
}

}  // namespace

namespace {

using ZorvCommon::Storage::XmlException;
using ZorvCommon::Storage::XmlLiteReader;

// The wrapper one call at a time, over a stream of a plain file.
class XmlLiteReaderTest : public ::testing::Test {
protected:
    void Create(PlainDocument& document) {
        ASSERT_TRUE(m_Library.LoadFromSystemDirectory());
        m_Stream = std::make_unique<ZorvCommon::Storage::StreamFileEx>(document.File());
        ASSERT_EQ(S_OK, m_Stream->Open());
        m_Reader.Create(m_Library, m_Stream->GetStream());
    }

    TestSupport::ScratchFolder m_Folder{L"XmlLiteReader"};
    ZorvCommon::Library::XmlLite m_Library;
    std::unique_ptr<ZorvCommon::Storage::StreamFileEx> m_Stream;
    XmlLiteReader m_Reader;
};

TEST_F(XmlLiteReaderTest, AFailedCallThrowsItsResultAndPosition) {
    PlainDocument document(m_Folder, L"fails.xml", "<a>\n<b></c></a>");
    Create(document);
    XmlNodeType nodeType;
    XmlException* pCaught = nullptr;
    try {
        while (m_Reader.Read(nodeType)) {
        }
    } catch (XmlException* pException) {
        pCaught = pException;
    }
    ASSERT_NE(nullptr, pCaught);
    EXPECT_EQ(static_cast<HRESULT>(WC_E_ELEMENTMATCH), pCaught->m_Result);
    EXPECT_EQ(XmlException::KindFailedCall, pCaught->m_Error);
    EXPECT_EQ(2u, pCaught->m_ReaderLine);
    EXPECT_GT(pCaught->m_ReaderColumn, 3u);
    EXPECT_EQ(L"\\ZorvComn_XmlParser.cpp", pCaught->m_File);
    delete pCaught;
}

}  // namespace
