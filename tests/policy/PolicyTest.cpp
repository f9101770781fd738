// The service, provider and web access readers over documents in a scratch installed
// folder that the product key points at.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Documents.h"
#include "LogCapture.h"
#include "Scratch.h"
#include "XmlParserFrameworkPolicy.h"
#include "XmlParserWebAccessControl.h"
#include "ZorvComn_Platform.h"
#include "ZorvComn_XmlParser.h"

namespace {

using namespace TestSupport;
using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::WebAccessControlList;

constexpr HRESULT kWrongState = static_cast<HRESULT>(0x80040201);
constexpr HRESULT kInvalidData = static_cast<HRESULT>(0x80040206);
constexpr HRESULT kNotFound = static_cast<HRESULT>(0x8004020B);

class PolicyDocumentTest : public ::testing::Test {
protected:
    PolicyDocumentTest() { m_Log.Product().SetInstalledFolder(m_Folder.Path()); }
    void Write(const wchar_t* fileName, const char* key, const std::string& xml) const {
        WriteDocument(m_Folder.File(fileName), key, xml);
    }

    LogCapture m_Log;
    ScratchFolder m_Folder{L"Policy"};
    ZorvCommon::Storage::XmlParser m_XmlParser;
};

const std::string kGuidA = "{6513270E-269E-4D37-A2A7-4DE452E6B438}";
const std::string kGuidB = "{D23F0824-128B-4F33-8C5C-7FD0A6A3A450}";
const std::string kGuidC = "{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}";

std::wstring Text(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return text;
}

std::string Service(const std::string& children, const std::string& version = "1.0.0") {
    return "<FrameworkService version=\"" + version + "\">" + children + "</FrameworkService>";
}

// A service that reads without error, named by its module.
std::string GoodService(const std::string& moduleName) {
    return Service(Element("Module", "eDynamicLinkLibrary") + Element("ModuleName", moduleName));
}

std::string Document(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<BaseFramework>\r\n" + body +
           "\r\n</BaseFramework>\r\n";
}

class FrameworkPolicy : public PolicyDocumentTest {
protected:
    FrameworkPolicy() { m_Services.resize(2); }  // a stale list that the query empties

    HRESULT QueryServices(const std::string& body) {
        Write(kServiceFile, kServiceKey, Document(body));
        return CXmlParserFrameworkPolicy(m_XmlParser).QueryValueForServicePolicy(&m_Services);
    }

    ArrayOfRowService m_Services;
};

TEST_F(FrameworkPolicy, ServiceElementBecomesARowFieldByField) {
    const std::string full =
        Service(Element("ServiceGuid", kGuidA) + Element("Module", "eExectable") +
                    Element("ModuleName", "SrvAgent.exe") + Element("StartUp", "eDemand") +
                    Element("Load", "eParallelLoad") + Element("Unload", "eParallelUnload") +
                    Element("OrderOfLoading", "10") + Element("OrderOfUnloading", "0200") +
                    "<Shared SharedType=\"eSharedProvider\" SharedGuid=\"" + kGuidB + "\"/>" +
                    Element("Interface", "eIFrwkServiceEx") +
                    "<Permissions><Permission type=\"eSetup\">eAllow</Permission>"
                    "<Permission type=\"eMaintain\">eDeny</Permission>"
                    "<Permission type=\"eMaintain\">eAllow</Permission></Permissions>" +
                    Element("DataConversion", "eSpecificConversion") +
                    Element("ConvModuleName", "ConvAgent.dll") + "<Unknown>ignored</Unknown>" +
                    "<DependedServices>" + Element("DependedService", kGuidB) +
                    Element("DependedService", kGuidC) + "</DependedServices>",
                "2.1.300");
    ASSERT_EQ(S_OK, QueryServices(full));
    ASSERT_EQ(1u, m_Services.size());

    const auto& row = m_Services[0];
    EXPECT_EQ(L"2.1.300 SrvAgent.exe ConvAgent.dll",
              row.Version + L" " + row.ModuleName + L" " + row.ConvModuleName);
    EXPECT_EQ(Widen(kGuidA + kGuidB), Text(row.ServiceGuid) + Text(row.SharedGuid));
    // Module, startup, load, unload, orders (decimal: a leading zero is not octal), shared,
    // interface, data conversion; the permission slots: slot 2 has no text, and the later
    // Permission of an index wins.
    EXPECT_EQ(
        (std::vector<uint32_t>{0, 2, 1, 1, 10, 200, 2, 1, 2, 1, 0, 0, 1}),
        (std::vector<uint32_t>{row.ModuleType, row.StartupType, row.LoadOption, row.UnloadOption,
                               row.OrderOfLoading, row.OrderOfUnloading, row.SharedType,
                               row.InterfaceType, row.DataConversion, row.Permission[0],
                               row.Permission[1], row.Permission[2], row.Permission[3]}));
    ASSERT_EQ(2u, row.DependedServices.size());
    EXPECT_EQ(Widen(kGuidC), Text(row.DependedServices[1]));

    // The dump's quirks: labels padded to the longest, every permission slot, one line
    // per dependency.
    const std::wstring lines[] = {L"*** [FrameworkService]", L"    [Version]         :2.1.300.",
                                  L"    [Service Guid]    :" + Widen(kGuidA) + L".",
                                  L"    [Permission][3]   :1.",
                                  L"    [DependedServices]:" + Widen(kGuidC) + L"."};
    for (const std::wstring& line : lines) {
        EXPECT_TRUE(m_Log.Contains(line)) << line;
    }
    EXPECT_EQ(4u, m_Log.Count(L"    [Permission]["));
}

TEST_F(FrameworkPolicy, ProviderDocumentHasItsOwnNamesAndNoInterfaceType) {
    const std::string provider =
        "<FrameworkProvider version=\"1.0.7\">" + Element("ProviderGuid", kGuidC) +
        Element("ModuleName", "PrvStore.dll") + Element("Interface", "eNotAnInterface") +
        "<DependedProviders>" + Element("DependedProvider", kGuidA) + "</DependedProviders>" +
        "</FrameworkProvider>";
    // A service element in the provider file is not a provider.
    Write(kProviderFile, kProviderKey, Document(GoodService("NotAProvider.dll") + provider));
    ArrayOfRowProvider providers(2);
    ASSERT_EQ(S_OK, CXmlParserFrameworkPolicy(m_XmlParser).QueryValueForProviderPolicy(&providers));
    ASSERT_EQ(1u, providers.size());
    ASSERT_EQ(1u, providers[0].DependedProviders.size());
    EXPECT_EQ(Widen(kGuidC + kGuidA),
              Text(providers[0].ProviderGuid) + Text(providers[0].DependedProviders[0]));
    EXPECT_TRUE(m_Log.Contains(L"    [DependedProviders]:" + Widen(kGuidA) + L"."));
    EXPECT_FALSE(m_Log.Contains(L"[InterfaceType]"));
}

TEST_F(FrameworkPolicy, OnlyWholeRowsAreListedAndTheLastElementGivesTheResult) {
    const std::string bad = Service(Element("Module", "eDLL") + Element("ModuleName", "Bad.dll"));

    EXPECT_EQ(S_OK, QueryServices(GoodService("One.dll") + bad + GoodService("Three.dll")));
    ASSERT_EQ(2u, m_Services.size());
    EXPECT_EQ(L"Three.dll", m_Services[1].ModuleName);

    // Numbers decimal and in range, names not empty, words as written; the element
    // readers' lines name the provider query also for the service file.
    const struct {
        std::string child;
        HRESULT result;
        const wchar_t* reader;
    } cases[] = {
        {Element("OrderOfLoading", "0x10"), kInvalidData, nullptr},
        {Element("OrderOfLoading", "4294967296"), kInvalidData, nullptr},
        {Element("ModuleName", ""), kInvalidData, nullptr},
        {Element("StartUp", "eautomatic"), kInvalidData, nullptr},
        {"<Shared SharedGuid=\"" + kGuidA + "\"/>", kNotFound, L"ParsePolicyShared"},
        // The type's text must not stand in for the missing GUID's.
        {"<Shared SharedType=\"eIndependent\"/>", kInvalidData, L"ParsePolicyShared"},
        {"<Permissions><Permission type=\"eAdmin\">eAllow</Permission></Permissions>", kWrongState,
         L"ParsePolicyPermissions"},
        {"<DependedServices>" + Element("DependedService", "") + "</DependedServices>",
         kInvalidData, L"ParsePolicyDepended"},
    };
    for (const auto& c : cases) {
        m_Log.Clear();
        EXPECT_EQ(c.result, QueryServices(GoodService("Kept.dll") + Service(c.child))) << c.child;
        EXPECT_EQ(1u, m_Services.size()) << c.child;
        EXPECT_TRUE(c.reader == nullptr ||
                    m_Log.Contains(L"*** CXmlParserFrameworkPolicy::QueryValueForProviderPolicy() "
                                   L"- this->" +
                                   std::wstring(c.reader) + L"() failed."))
            << c.child;
    }

    // A row without a version stops the document.
    const std::string noVersion =
        "<FrameworkService>" + Element("ModuleName", "X.dll") + "</FrameworkService>";
    EXPECT_EQ(kNotFound,
              QueryServices(GoodService("Before.dll") + noVersion + GoodService("After.dll")));
    ASSERT_EQ(1u, m_Services.size());
    EXPECT_EQ(L"Before.dll", m_Services[0].ModuleName);
    EXPECT_EQ(kWrongState, QueryServices(Element("Unrelated", ""))) << "no service element";
}

std::string Process(const std::string& label, const std::string& platform,
                    const std::string& native, const std::string& fileName) {
    return "<Process platform=\"" + platform + "\" label=\"" + label + "\" native=\"" + native +
           "\" vender=\"Northwind\" family=\"Navigator\" code=\"C-" + label + "\">" + "<FileName>" +
           fileName + "</FileName></Process>";
}

std::string WebControl(const std::string& element, const std::string& label,
                       const std::string& enable, const std::string& address) {
    return "<" + element + " label=\"" + label + "\" enable=\"" + enable + "\" address=\"" +
           address + "\"/>";
}

class WebAccessControl : public PolicyDocumentTest {
protected:
    WebAccessControl() {
        m_List.Sites.push_back(L"stale");  // the query empties every list first
        m_List.Protections.push_back(L"stale");
    }

    HRESULT Query(const std::string& sites, const std::string& applications,
                  const std::string& controls) {
        Write(kWebAccessFile, kWebAccessKey,
              "<?xml version=\"1.0\"?><WebAccess><Sites>" + sites + "</Sites>" + "<Applications>" +
                  applications + "</Applications><Controls>" + controls +
                  "</Controls></WebAccess>");
        return CXmlParserWebAccessControl(m_XmlParser).QueryValue(&m_List);
    }
    bool Logged(const std::wstring& line) const {
        return m_Log.Contains(L"*** CXmlParserWebAccessControl::" + line);
    }

    WebAccessControlList m_List;
};

// Collected by label, the lists follow the labels' order; what refers to a label that is
// not there, or to an entry that is not listed, is left out, and so is an element whose
// text is not one of its words exactly, is empty or missing, and an application of another
// platform ("sevenorlater" is the running one on Windows 7 and later).
TEST_F(WebAccessControl, DocumentIsJoinedIntoTheList) {
    const std::string sites =
        "<Address label=\"portal\" id=\"https://portal.example/\"/>"
        "<Address label=\"bank\" id=\"https://bank.example/\"/>"
        "<Address label=\"portal\" id=\"https://second.example/\"/>"
        "<Address label=\"empty\" id=\"\"/>";
    const std::string applications =
        Process("browser", "all64", "64bit", "nav.exe") +
        Process("legacy", "all64", "32bit", "nav32.exe") + Process("nofile", "all64", "64bit", "") +
        "<Program label=\"other\"/>" + Process("on32", "all32", "64bit", "on32.exe") +
        Process("seven", "sevenorlater", "64bit", "seven.exe") +
        Process("xp", "xp32", "32bit", "xp.exe") +
        "<Process label=\"untargeted\" native=\"32bit\"><FileName>n.exe</FileName></Process>" +
        Process("bitless", "all64", "16bit", "c.exe");
    const std::string controls =
        "<Filters><Filter label=\"f1\" type=\"blocked_unchanged_request\" process=\"legacy\" "
        "address=\"bank\"/>"
        "<Filter label=\"nosite\" type=\"blocked\" process=\"browser\" address=\"nowhere\"/>"
        "<Filter label=\"noapp\" type=\"blocked\" process=\"ghost\" address=\"bank\"/>"
        "<Filter label=\"upper\" type=\"Blocked\" process=\"legacy\" address=\"bank\"/>"
        "<Filter label=\"empty\" type=\"\" process=\"legacy\" address=\"bank\"/>"
        "</Filters><Logs>" +
        WebControl("Log", "l1", "yes", "portal") + WebControl("Log", "l2", "no", "bank") +
        WebControl("Log", "l3", "yes", "missing") + WebControl("Log", "shout", "YES", "portal") +
        WebControl("Log", "quiet", "", "portal") + "</Logs><Protections>" +
        "<Protection label=\"noenable\" address=\"portal\"/>" +
        WebControl("Protection", "p1", "yes", "bank") + "</Protections>";
    bool is64bit = false;
    ASSERT_TRUE(ZorvCommon::Platform::IsWindows64bit(is64bit));
    if (!is64bit) {
        GTEST_SKIP() << "the applications target 64-bit systems";
    }

    ASSERT_EQ(S_OK, Query(sites, applications, controls));
    EXPECT_EQ((std::vector<std::wstring>{L"https://bank.example/", L"https://portal.example/"}),
              m_List.Sites)
        << "the first of two labels stays; an empty URL is not listed";

    std::wstring labels;
    for (const auto& application : m_List.Applications) {
        labels += application.Label + L" ";
    }
    EXPECT_EQ(
        ZorvCommon::Platform::IsVersionClass(22) ? L"browser legacy seven " : L"browser legacy ",
        labels)
        << "an application without a file name is not";
    ASSERT_GE(m_List.Applications.size(), 2u);
    EXPECT_FALSE(m_List.Applications[0].IsWow64);
    const auto& legacy = m_List.Applications[1];
    EXPECT_EQ(
        L"legacy C-legacy Northwind nav32.exe",
        legacy.Label + L" " + legacy.Identifier + L" " + legacy.Vendor + L" " + legacy.FileName);
    EXPECT_TRUE(legacy.IsWow64);
    EXPECT_TRUE(
        Logged(L"CreateWebAccessControlList() - Specified Address was invalid so that "
               L"it will be skipped. [nofile]"))
        << "an application is reported as an address";
    EXPECT_TRUE(Logged(L"ParseTarget() - this->m_rXmlParser.GetAttribute()."));

    ASSERT_EQ(1u, m_List.Filters.size());
    const auto& filter = m_List.Filters[0];
    EXPECT_EQ(L"f1 https://bank.example/ nav32.exe",
              filter.Label + L" " + filter.SiteUrl + L" " + filter.Application.FileName);
    EXPECT_EQ(2u, filter.FilterType);
    EXPECT_EQ(std::vector<std::wstring>{L"https://portal.example/"}, m_List.WebActivities)
        << "a disabled log is left out";
    EXPECT_EQ(std::vector<std::wstring>{L"https://bank.example/"}, m_List.Protections);

    // The listed texts that are quirks: a misspelt method, another method's name.
    for (const wchar_t* line :
         {L"GetBoolian() - Specified text was not supported. [YES]",
          L"ParseWebAccessControls() - "
          L"this->ParseWebAccessControlPrivacyDataProtections() failed. [0x8004020b]"}) {
        EXPECT_TRUE(Logged(line)) << line;
    }
}

}  // namespace
