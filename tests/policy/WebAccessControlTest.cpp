#include <gtest/gtest.h>

#include <string>

#include "DocumentVocabulary.h"
#include "PolicyDocument.h"
#include "XmlParserWebAccessControl.h"
#include "ZorvComn_Platform.h"

namespace {

using TestSupport::kWebAccessFile;
using TestSupport::kWebAccessKey;

using SrvFrwk::Interface::WebAccessControlList;

const std::wstring kLinePrefix = L"*** CXmlParserWebAccessControl::";

std::string Process(const std::string& label, const std::string& platform,
                    const std::string& native, const std::string& fileName) {
    return "<Process platform=\"" + platform + "\" label=\"" + label + "\" native=\"" + native +
           "\" vender=\"Northwind\" family=\"Navigator\" code=\"C-" + label + "\">" + "<FileName>" +
           fileName + "</FileName></Process>";
}

std::string Control(const std::string& element, const std::string& label, const std::string& enable,
                    const std::string& address) {
    return "<" + element + " label=\"" + label + "\" enable=\"" + enable + "\" address=\"" +
           address + "\"/>";
}

class WebAccessControl : public PolicyTests::PolicyDocumentTest {
protected:
    WebAccessControl() {
        m_List.Sites.push_back(L"stale");  // the query empties every list first
        m_List.Protections.push_back(L"stale");
        EXPECT_TRUE(ZorvCommon::Platform::IsWindows64bit(m_Is64bit));
    }

    HRESULT Query(const std::string& sites, const std::string& applications,
                  const std::string& controls) {
        WriteDocument(kWebAccessFile, kWebAccessKey,
                      "<?xml version=\"1.0\"?><WebAccess><Sites>" + sites + "</Sites>" +
                          "<Applications>" + applications + "</Applications><Controls>" + controls +
                          "</Controls></WebAccess>");
        return Query();
    }
    HRESULT Query() { return CXmlParserWebAccessControl(m_XmlParser).QueryValue(&m_List); }
    bool Logged(const std::wstring& line) const { return m_Log.Contains(kLinePrefix + line); }

    WebAccessControlList m_List;
    bool m_Is64bit = false;
};

const std::string kSites =
    "<Address label=\"portal\" id=\"https://portal.example/\"/>"
    "<Address label=\"bank\" id=\"https://bank.example/\"/>";

// Collected by label, the lists follow the labels' order; what refers to a label that is
// not there, or to an entry that is not listed, is left out.
TEST_F(WebAccessControl, DocumentIsJoinedIntoTheList) {
    const std::string sites = kSites +
                              "<Address label=\"portal\" id=\"https://second.example/\"/>" +
                              "<Address label=\"empty\" id=\"\"/>";
    const std::string applications = Process("browser", "all64", "64bit", "nav.exe") +
                                     Process("legacy", "all64", "32bit", "nav32.exe") +
                                     Process("nofile", "all64", "64bit", "");
    const std::string controls =
        "<Filters><Filter label=\"f1\" type=\"blocked_unchanged_request\" process=\"legacy\" "
        "address=\"bank\"/>"
        "<Filter label=\"nosite\" type=\"blocked\" process=\"browser\" address=\"nowhere\"/>"
        "<Filter label=\"noapp\" type=\"blocked\" process=\"ghost\" address=\"bank\"/>"
        "</Filters><Logs>" +
        Control("Log", "l1", "yes", "portal") + Control("Log", "l2", "no", "bank") +
        Control("Log", "l3", "yes", "missing") + "</Logs><Protections>" +
        Control("Protection", "p1", "yes", "bank") + "</Protections>";
    if (!m_Is64bit) {
        GTEST_SKIP() << "the applications target 64-bit systems";
    }

    ASSERT_EQ(S_OK, Query(sites, applications, controls));
    EXPECT_EQ((std::vector<std::wstring>{L"https://bank.example/", L"https://portal.example/"}),
              m_List.Sites)
        << "the first of two labels stays; an empty URL is not listed";

    ASSERT_EQ(2u, m_List.Applications.size()) << "an application without a file name is not";
    EXPECT_FALSE(m_List.Applications[0].IsWow64);
    const auto& legacy = m_List.Applications[1];
    EXPECT_EQ(L"legacy", legacy.Label);
    EXPECT_EQ(L"C-legacy", legacy.Identifier);
    EXPECT_EQ(L"Northwind", legacy.Vendor);
    EXPECT_EQ(L"nav32.exe", legacy.FileName);
    EXPECT_TRUE(legacy.IsWow64);
    EXPECT_TRUE(
        Logged(L"CreateWebAccessControlList() - Specified Address was invalid so that "
               L"it will be skipped. [nofile]"))
        << "an application is reported as an address";

    ASSERT_EQ(1u, m_List.Filters.size());
    EXPECT_EQ(L"f1", m_List.Filters[0].Label);
    EXPECT_EQ(2u, m_List.Filters[0].FilterType);
    EXPECT_EQ(L"https://bank.example/", m_List.Filters[0].SiteUrl);
    EXPECT_EQ(L"nav32.exe", m_List.Filters[0].Application.FileName);
    EXPECT_EQ(std::vector<std::wstring>{L"https://portal.example/"}, m_List.WebActivities)
        << "a disabled log is left out";
    EXPECT_EQ(std::vector<std::wstring>{L"https://bank.example/"}, m_List.Protections);
}

TEST_F(WebAccessControl, TextsAreExactButElementNamesIgnoreCase) {
    const std::string platform = m_Is64bit ? "all64" : "all32";
    const std::string sites = "<ADDRESS label=\"portal\" id=\"https://portal.example/\"/>";
    const std::string controls =
        "<filters>"
        "<FILTER label=\"upper\" type=\"Blocked\" process=\"browser\" address=\"portal\"/>"
        "<Filter label=\"empty\" type=\"\" process=\"browser\" address=\"portal\"/>"
        "<Filter label=\"kept\" type=\"blocked\" process=\"browser\" address=\"portal\"/>"
        "</filters><LOGS>" +
        Control("log", "shout", "YES", "portal") + Control("Log", "quiet", "", "portal") +
        Control("Log", "fine", "yes", "portal") + "</LOGS><Protections>" +
        "<Protection label=\"noenable\" address=\"portal\"/>" +
        Control("Protection", "fine", "no", "portal") + "</Protections>";
    WriteDocument(kWebAccessFile, kWebAccessKey,
                  "<webACCESS><SITES>" + sites + "</SITES><applications>" + "<process platform=\"" +
                      platform +
                      "\" label=\"browser\" native=\"64bit\"><FILENAME>nav.exe</FILENAME>"
                      "</process><Program label=\"other\"/></applications><CONTROLS>" +
                      controls + "</CONTROLS></webACCESS>");

    EXPECT_EQ(S_OK, Query());
    EXPECT_EQ(1u, m_List.Sites.size());
    ASSERT_EQ(1u, m_List.Applications.size());
    EXPECT_EQ(L"nav.exe", m_List.Applications[0].FileName);
    ASSERT_EQ(1u, m_List.Filters.size());
    EXPECT_EQ(L"kept", m_List.Filters[0].Label);
    EXPECT_EQ(1u, m_List.WebActivities.size());
    EXPECT_TRUE(m_List.Protections.empty());

    // The listed texts that are quirks: a misspelt method, another method's name, a
    // line without its verb, an application reported as an address.
    for (const wchar_t* line :
         {L"GetBoolian() - Specified text was not supported. [YES]",
          L"ParseWebAccessControls() - "
          L"this->ParseWebAccessControlPrivacyDataProtections() failed. [0x8004020b]"}) {
        EXPECT_TRUE(Logged(line)) << line;
    }
}

TEST_F(WebAccessControl, ApplicationsAreTargetedByPlatform) {
    const bool isSevenOrLater = ZorvCommon::Platform::IsVersionClass(22);
    const std::string applications =
        Process("own", m_Is64bit ? "all64" : "all32", "64bit", "own.exe") +
        Process("other", m_Is64bit ? "all32" : "all64", "64bit", "other.exe") +
        Process("seven", "sevenorlater", "64bit", "seven.exe") +
        Process("xp", "xp32", "32bit", "xp.exe") + Process("unknown", "win95", "32bit", "u.exe") +
        "<Process label=\"untargeted\" native=\"32bit\"><FileName>n.exe</FileName></Process>" +
        Process("bitless", m_Is64bit ? "all64" : "all32", "16bit", "c.exe");

    EXPECT_EQ(S_OK, Query(kSites, applications, ""));
    std::wstring labels;
    for (const auto& application : m_List.Applications) {
        labels += application.Label + L" ";
    }
    EXPECT_EQ(isSevenOrLater ? L"own seven " : L"own ", labels);

    EXPECT_TRUE(Logged(L"ParseTarget() - this->m_rXmlParser.GetAttribute()."));
}

TEST_F(WebAccessControl, BrokenDocumentsEndWithACodeAndALine) {
    EXPECT_EQ(static_cast<HRESULT>(0x80070002), Query());
    EXPECT_TRUE(m_List.Sites.empty());
    EXPECT_TRUE(m_List.Protections.empty());

    WriteDocument(kWebAccessFile, kWebAccessKey, "<Sites/>");
    EXPECT_EQ(static_cast<HRESULT>(0x80040201), Query());
}

}  // namespace
