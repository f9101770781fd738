#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "DocumentVocabulary.h"
#include "Scratch.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_Exception.h"
#include "ZorvComn_Stream.h"
#include "ZorvComn_XmlParser.h"

namespace {

using ZorvCommon::Storage::FileBase;
using ZorvCommon::Storage::XmlParser;

const char* const kKey = Ostrel::Vocabulary::kStorageKey;

// The text written to a file of the folder, and encrypted to another, both opened for
// reading: the plain file, and the encrypted one through the decrypting file.
struct Document {
    Document(const TestSupport::ScratchFolder& folder, const std::wstring& name,
             const std::string& text)
        : File(folder.File(name)) {
        const std::vector<uint8_t> bytes(text.begin(), text.end());
        std::vector<uint8_t> ciphertext;
        EXPECT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(kKey, bytes, &ciphertext));
        TestSupport::WriteFileBytes(folder.File(name), bytes);
        TestSupport::WriteFileBytes(folder.File(name + L".xen"), ciphertext);
        EXPECT_TRUE(File.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0));
        EXPECT_TRUE(Crypt.Open(folder.File(name + L".xen"), kKey));
    }
    FileBase& Encrypted() { return Crypt.File(); }

    FileBase File;
    ZorvCommon::Storage::CryptDocument Crypt;
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

// Comments, processing instructions, an entity and CDATA are passed or taken in; an
// element's text is what lies directly inside it; the same name nested deeper is not a
// child. Parsers on two threads read the document of many pulls at once, plain and encrypted
// in turn: each reads with memory of its own, unshared, and answers as one alone.
// (Wine 8's reader returns a CDATA section that straddles its input buffer together
// with the markup after it, from a memory stream too: the document keeps clear of that.)
TEST_F(XmlParserTest, EncryptedDocumentsReadLikeTheirPlaintextOnTwoThreadsAtOnce) {
    const std::string service =
        "  <FrameworkService version=\"1.2.3\">\r\n"
        "    <ServiceGuid>{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}</ServiceGuid>\r\n"
        "    <!-- between fields --><ModuleName>Svc&amp;One.dll</ModuleName>\r\n"
        "    <?authoring hint?><Shared SharedType=\"eShared\"/>\r\n"
        "    <StartUp>e<b>inner</b><![CDATA[Auto]]><!-- c -->matic</StartUp><Space>  </Space>\r\n"
        "  </FrameworkService>\r\n";
    std::string text = "<BaseFramework>";
    std::wstring transcript;
    while (text.size() < 150000) {
        text += service;
        transcript +=
            L"1.2.3:ServiceGuid={0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0};ModuleName=Svc&One.dll;"
            L"Shared=;StartUp=eAutomatic;Space=  ;\n";
    }
    text +=
        "  <Unknown><FrameworkService version=\"nested\"/><Deep>x</Deep></Unknown>\r\n"
        "  <frameworkservice version=\"2.0\"><ModuleName>two<!-- c -->.dll</ModuleName>\r\n"
        "  </frameworkservice>\r\n"
        "</BaseFramework>\r\n";
    transcript += L"2.0:ModuleName=two.dll;\n";
    Document first(m_Folder, L"first.xml", text);
    Document second(m_Folder, L"second.xml", text);
    int same[2] = {};
    const auto walk = [&](Document* document, int* count) {
        XmlParser parser;
        for (int round = 0; round < 10; ++round) {
            FileBase& file = round % 2 ? document->Encrypted() : document->File;
            *count += file.SetPointer(0, FILE_BEGIN, nullptr) && parser.Start(file) &&
                      WalkPolicy(parser) == transcript && parser.GetLastResult() == 0 &&
                      parser.Stop();
        }
    };
    std::thread other(walk, &second, &same[1]);
    walk(&first, &same[0]);
    other.join();
    EXPECT_EQ(20, same[0] + same[1]) << same[0] << " and " << same[1];
}

// Element names, the root's included, match without regard to case, folded for letters only
// and beyond ASCII by the system; a name handed over as characters is measured against the
// element's as it is compared. Attribute names keep their case.
TEST_F(XmlParserTest, ElementNamesMatchWithCaseFoldedForLettersOnly) {
    Document document(m_Folder, L"names.xml",
                      "<r><storag/><STORAGES/><sTorAge n=\"3\" N=\"4\"/><FrameworkService-1/>"
                      "<Gr\xc3\xb6\xc3\x9f"
                      "e/></r>");
    ASSERT_TRUE(m_Parser.Start(document.File));
    ASSERT_TRUE(m_Parser.MoveToElement(L"Storage"));
    std::wstring value;
    ASSERT_TRUE(m_Parser.GetAttribute(L"n", value));
    EXPECT_EQ(L"3", value);
    ASSERT_TRUE(m_Parser.GetAttribute(L"N", value));
    EXPECT_EQ(L"4", value);
    EXPECT_FALSE(m_Parser.GetAttribute(L"x", value));
    EXPECT_EQ(0, m_Parser.GetLastResult()) << "a missing attribute is no reader failure";
    ASSERT_TRUE(m_Parser.MoveToElement(L"FrameworkService-1"));
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
    ASSERT_TRUE(m_Parser.MoveToElement(L"GR\u00d6\u00dfE"));
    EXPECT_EQ(L"Gr\u00f6\u00dfe", m_Parser.GetElementName());
}

// The failure and its place stay until the parser is stopped; the next Start begins clean.
// A document type is refused before any entity expands.
TEST_F(XmlParserTest, AMalformedDocumentRecordsWhereItBrokeUntilTheNextStart) {
    Document malformed(m_Folder, L"malformed.xml",
                       "<BaseFramework>\n"
                       "  <FrameworkService version=\"1\">\n"
                       "    <ModuleName>a.dll</ModuleNam>\n"
                       "  </FrameworkService>\n"
                       "</BaseFramework>\n");
    Document dtd(m_Folder, L"dtd.xml", "<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;&e;</a>");
    ASSERT_TRUE(m_Parser.Start(malformed.File));
    ASSERT_TRUE(m_Parser.MoveToElement(L"FrameworkService"));
    EXPECT_EQ(L"ModuleName=<no text>;", ChildTexts(m_Parser));
    EXPECT_EQ(static_cast<int32_t>(0xC00CEE3B), m_Parser.GetLastResult());
    EXPECT_EQ(L"ModuleName", m_Parser.GetLastNodeName());
    EXPECT_EQ(3u, m_Parser.GetLastLine());
    EXPECT_TRUE(m_Parser.GetLastColumn() >= 22 && m_Parser.GetLastColumn() <= 34) << "end tag";
    EXPECT_EQ(3u, m_Parser.GetLastDepth());
    uint32_t depth = 1;
    EXPECT_FALSE(m_Parser.MoveToNextSiblingElement(depth)) << "the reader stays failed";
    EXPECT_FALSE(m_Parser.Start(dtd.File));
    ASSERT_TRUE(m_Parser.Stop());
    EXPECT_FALSE(m_Parser.Stop()) << "stopped once";

    ASSERT_TRUE(m_Parser.Start(dtd.File));
    EXPECT_EQ(0, m_Parser.GetLastResult());
    EXPECT_EQ(L"", m_Parser.GetLastNodeName());
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
        for (FileBase* file : {&document.File, &document.Encrypted()}) {
            ASSERT_TRUE(m_Parser.Start(*file)) << c.name;
            ASSERT_TRUE(m_Parser.MoveToElement(L"Root")) << c.name;
            const std::wstring texts = ChildTexts(m_Parser);
            EXPECT_EQ(c.lastText, texts.substr(texts.size() - std::wstring_view(c.lastText).size()))
                << c.name;
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
        EXPECT_FALSE(m_Parser.Start(document.File)) << refused.size();
        EXPECT_EQ(XmlParser::kResultUnexpectedEnd, m_Parser.GetLastResult()) << refused.size();
        uint32_t position = 1;
        EXPECT_TRUE(document.File.SetPointer(0, FILE_CURRENT, &position));
        EXPECT_EQ(0u, position) << "the file is put back";
    }
    for (const std::string& opening :
         {kMark, kDeclaration, kMark + kDeclaration, kMark + "<!-- c -->", kDeclaration + "\n",
          std::string("<?pi x?>"), kMark + " ", std::string()}) {
        Document document(m_Folder, L"started.xml", opening + "<Root/>");
        ASSERT_TRUE(m_Parser.Start(document.File)) << opening;
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
        ZorvCommon::Storage::XmlParserSession session(m_Parser, first.File);
        ASSERT_TRUE(session.IsStarted());
        ASSERT_TRUE(m_Parser.MoveToElement(L"b"));
        throw std::bad_alloc();
    } catch (const std::bad_alloc&) {
    }
    EXPECT_FALSE(m_Parser.IsStarted());

    ZorvCommon::Storage::XmlParserSession session(m_Parser, second.File);
    ASSERT_TRUE(session.IsStarted());
    {
        ZorvCommon::Storage::XmlParserSession nested(m_Parser, first.File);
        EXPECT_FALSE(nested.IsStarted());
        EXPECT_FALSE(nested.Stop());
    }
    EXPECT_TRUE(m_Parser.MoveToElement(L"c")) << "still reading the second document";
    EXPECT_TRUE(session.Stop());
    EXPECT_FALSE(session.Stop()) << "stopped once";
    EXPECT_FALSE(m_Parser.IsStarted());
}

// A file whose reads throw what the layers under a stream may throw.
class ThrowingFile : public FileBase {
public:
    explicit ThrowingFile(void (*thrower)()) : m_Throw(thrower) {}
    using FileBase::Read;
    bool Read(void*, uint32_t, uint32_t*, uint32_t*) override {
        m_Throw();
        return false;
    }

private:
    void (*m_Throw)();
};

// The XML reader learns that its input ended only from a read that delivers less than it
// asked for or fails: the stream says when it has answered one. A full read answers S_FALSE.
// The reader calls the stream from its own frames, which no exception may unwind.
TEST(StreamOverFile, ReadsSayWhenTheInputEndedAndExceptionsBecomeTheirResult) {
    TestSupport::ScratchFolder folder(L"XmlStream");
    TestSupport::WriteFileBytes(folder.File(L"stream.bin"), std::vector<uint8_t>(40, 'x'));
    FileBase reading(folder.File(L"stream.bin"));
    FileBase writing(folder.File(L"stream.bin"));
    const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    ASSERT_TRUE(reading.Open(nullptr, GENERIC_READ, share, OPEN_EXISTING, 0));
    ASSERT_TRUE(writing.Open(nullptr, GENERIC_WRITE, share, OPEN_EXISTING, 0));
    ThrowingFile outOfMemory([] { throw std::bad_alloc(); });
    ThrowingFile ours([] { throw new ZorvCommon::Exception::Base(); });
    ThrowingFile other([] { throw 1; });
    const struct {
        FileBase* file;
        int32_t at;
        ULONG size;
        HRESULT result;
        ULONG count;
        bool ended;
    } cases[] = {
        {&reading, 0, 40, S_FALSE, 40, false},  // a full read up to the last byte
        {&reading, 40, 8, S_OK, 0, true},       // a read that delivers nothing
        {&reading, 0, 64, S_OK, 40, true},      // a short read
        {&writing, 0, 8, STG_E_ACCESSDENIED, 0, true},
        {&outOfMemory, 0, 8, E_OUTOFMEMORY, 0, true},
        {&ours, 0, 8, E_FAIL, 0, true},
        {&other, 0, 8, E_UNEXPECTED, 0, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        (void)c.file->SetPointer(c.at, FILE_BEGIN, nullptr);
        auto* pStream = new ZorvCommon::Storage::StreamComFileBase(c.file);
        uint8_t buffer[64];
        ULONG count = 0xdeadbeef;
        HRESULT result = S_OK;
        EXPECT_NO_THROW(result = pStream->Read(buffer, c.size, &count));
        EXPECT_EQ(c.result, result);
        EXPECT_EQ(c.count, count);
        EXPECT_EQ(c.ended, pStream->HasEnded());
        EXPECT_EQ(0u, pStream->Release());
    }
}

// The reader's allocator: freed small blocks come back from lists by size, so a block
// must always hold what was asked for and keep its bytes through every kind of growth.
TEST(XmlLiteMemoryTest, EveryBlockHoldsItsSizeAndKeepsItsBytesWhenItGrows) {
    ZorvCommon::Storage::XmlLiteMemory memory;
    IMalloc* const pMalloc = memory.Get();
    ASSERT_NE(pMalloc, nullptr);
    // Each size once freshly taken and once from a list (the block freed before it).
    for (SIZE_T size = 1; size <= 300; ++size) {
        void* const pBlock = pMalloc->Alloc(size);
        ASSERT_NE(pBlock, nullptr);
        ASSERT_GE(pMalloc->GetSize(pBlock), size) << size;
        memset(pBlock, 0x5A, size);
        pMalloc->Free(pBlock);
    }
    // Within a kept size, small to small, small to large, large to large.
    for (const auto& [from, to] : {std::pair<SIZE_T, SIZE_T>{16, 17},
                                   {200, 256},
                                   {256, 257},
                                   {100, 5000},
                                   {5000, 70000},
                                   {70000, 10}}) {
        auto* pBlock = static_cast<uint8_t*>(pMalloc->Alloc(from));
        ASSERT_NE(pBlock, nullptr);
        memset(pBlock, 0xA5, from);
        pBlock = static_cast<uint8_t*>(pMalloc->Realloc(pBlock, to));
        ASSERT_NE(pBlock, nullptr);
        EXPECT_GE(pMalloc->GetSize(pBlock), to) << from << " to " << to;
        const SIZE_T kept = std::min(from, to);
        EXPECT_EQ(std::count(pBlock, pBlock + kept, 0xA5), static_cast<ptrdiff_t>(kept));
        memset(pBlock, 0x5A, to);
        EXPECT_EQ(pMalloc->Realloc(pBlock, 0), nullptr);  // a size of 0 frees
    }
    memory.Trim();
    EXPECT_EQ(pMalloc->Alloc(SIZE_MAX - 8), nullptr);  // no size wraps around
}

}  // namespace
