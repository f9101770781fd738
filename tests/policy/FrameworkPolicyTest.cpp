#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "PolicyDocument.h"
#include "XmlParserFrameworkPolicy.h"
#include "ZorvComn_String.h"

namespace {

using Ostrel::Vocabulary::kProviderKey;
using Ostrel::Vocabulary::kServiceKey;

using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;

constexpr HRESULT kWrongState = static_cast<HRESULT>(0x80040201);
constexpr HRESULT kInvalidData = static_cast<HRESULT>(0x80040206);
constexpr HRESULT kNotFound = static_cast<HRESULT>(0x8004020B);

const std::string kGuidA = "{6513270E-269E-4D37-A2A7-4DE452E6B438}";
const std::string kGuidB = "{D23F0824-128B-4F33-8C5C-7FD0A6A3A450}";
const std::string kGuidC = "{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}";

std::wstring Text(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return text;
}

std::wstring Wide(const std::string& narrow) {
    return std::wstring(narrow.begin(), narrow.end());
}

std::string Element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
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

class FrameworkPolicy : public PolicyTests::PolicyDocumentTest {
protected:
    FrameworkPolicy() { m_Services.resize(2); }  // a stale list that the query empties

    HRESULT QueryServices(const std::string& body) {
        WriteDocument(L"QjBsSvPl.xen", kServiceKey, Document(body));
        return QueryServices();
    }
    HRESULT QueryServices() {
        return CXmlParserFrameworkPolicy(m_XmlParser).QueryValueForServicePolicy(&m_Services);
    }
    HRESULT QueryProviders(const std::string& body) {
        WriteDocument(L"QjEnPvPl.xen", kProviderKey, Document(body));
        return CXmlParserFrameworkPolicy(m_XmlParser).QueryValueForProviderPolicy(&m_Providers);
    }

    ArrayOfRowService m_Services;
    ArrayOfRowProvider m_Providers;
};

TEST_F(FrameworkPolicy, ServiceElementBecomesARowFieldByField) {
    const std::string full =
        Service(Element("ServiceGuid", kGuidA) + Element("Module", "eExectable") +
                    Element("ModuleName", "SrvAgent.exe") + Element("StartUp", "ePreStart") +
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
    // Without "StartUp" the startup type keeps 0, the value of "eDisable".
    const std::string sparse = Service(Element("ModuleName", "SrvLean.dll"));

    ASSERT_EQ(S_OK, QueryServices(full + sparse));
    ASSERT_EQ(2u, m_Services.size());

    const auto& row = m_Services[0];
    EXPECT_EQ(L"2.1.300", row.Version);
    EXPECT_EQ(Wide(kGuidA), Text(row.ServiceGuid));
    EXPECT_EQ(0u, row.ModuleType);
    EXPECT_EQ(L"SrvAgent.exe", row.ModuleName);
    EXPECT_EQ(3u, row.StartupType);
    EXPECT_EQ(1u, row.LoadOption);
    EXPECT_EQ(1u, row.UnloadOption);
    EXPECT_EQ(10u, row.OrderOfLoading);
    EXPECT_EQ(200u, row.OrderOfUnloading) << "decimal: a leading zero is not octal";
    EXPECT_EQ(2u, row.SharedType);
    EXPECT_EQ(Wide(kGuidB), Text(row.SharedGuid));
    EXPECT_EQ(1u, row.InterfaceType);
    EXPECT_EQ(1u, row.Permission[0]);
    EXPECT_EQ(0u, row.Permission[1]);
    EXPECT_EQ(0u, row.Permission[2]) << "no text names slot 2";
    EXPECT_EQ(1u, row.Permission[3]) << "the later Permission of an index wins";
    EXPECT_EQ(2u, row.DataConversion);
    EXPECT_EQ(L"ConvAgent.dll", row.ConvModuleName);
    ASSERT_EQ(2u, row.DependedServices.size());
    EXPECT_EQ(Wide(kGuidC), Text(row.DependedServices[1]));

    const auto& lean = m_Services[1];
    EXPECT_EQ(L"SrvLean.dll", lean.ModuleName);
    EXPECT_EQ(0u, lean.StartupType);

    // The dump: padded labels, braced GUIDs, every permission slot, each dependency.
    EXPECT_TRUE(m_Log.Contains(L"*** [FrameworkService]"));
    EXPECT_TRUE(m_Log.Contains(L"    [Version]         :2.1.300."));
    EXPECT_TRUE(m_Log.Contains(L"    [Service Guid]    :" + Wide(kGuidA) + L"."));
    EXPECT_TRUE(m_Log.Contains(L"    [OrderOfUnloading]:200."));
    EXPECT_TRUE(m_Log.Contains(L"    [Permission][3]   :1."));
    EXPECT_TRUE(m_Log.Contains(L"    [DependedServices]:" + Wide(kGuidC) + L"."));
    EXPECT_EQ(8u, m_Log.Count(L"    [Permission]["));
}

TEST_F(FrameworkPolicy, ProviderDocumentHasItsOwnNamesAndNoInterfaceType) {
    const std::string provider =
        "<FrameworkProvider version=\"1.0.7\">" + Element("ProviderGuid", kGuidC) +
        Element("ModuleName", "PrvStore.dll") + Element("Interface", "eNotAnInterface") +
        "<DependedProviders>" + Element("DependedProvider", kGuidA) + "</DependedProviders>" +
        "</FrameworkProvider>";
    // A service element in the provider file is not a provider.
    ASSERT_EQ(S_OK, QueryProviders(GoodService("NotAProvider.dll") + provider));
    ASSERT_EQ(1u, m_Providers.size());
    EXPECT_EQ(L"1.0.7", m_Providers[0].Version);
    EXPECT_EQ(Wide(kGuidC), Text(m_Providers[0].ProviderGuid));
    EXPECT_EQ(L"PrvStore.dll", m_Providers[0].ModuleName);
    ASSERT_EQ(1u, m_Providers[0].DependedProviders.size());
    EXPECT_EQ(Wide(kGuidA), Text(m_Providers[0].DependedProviders[0]));

    EXPECT_TRUE(m_Log.Contains(L"*** [FrameworkProvider]"));
    EXPECT_TRUE(m_Log.Contains(L"    [OrderOfUnloading] :0."));
    EXPECT_TRUE(m_Log.Contains(L"    [Permission][0]    :0."));
    EXPECT_TRUE(m_Log.Contains(L"    [DependedProviders]:" + Wide(kGuidA) + L"."));
    EXPECT_FALSE(m_Log.Contains(L"[InterfaceType]"));
}

TEST_F(FrameworkPolicy, BadTextDropsItsRowAndTheLastElementGivesTheResult) {
    const std::string bad = Service(Element("Module", "eDLL") + Element("ModuleName", "Bad.dll"));

    EXPECT_EQ(S_OK, QueryServices(GoodService("One.dll") + bad + GoodService("Three.dll")));
    ASSERT_EQ(2u, m_Services.size());
    EXPECT_EQ(L"One.dll", m_Services[0].ModuleName);
    EXPECT_EQ(L"Three.dll", m_Services[1].ModuleName);
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserFrameworkPolicy::GetModuleType() - Specified text was not supported. "
        L"[eDLL]"));
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserFrameworkPolicy::QueryValueForServicePolicy() - this->m_rXmlParser "
        L"failed to parse text. [eDLL]"));
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserFrameworkPolicy::QueryValueForServicePolicy() - this->m_rXmlParser "
        L"failed to parse element. [Module]"));

    EXPECT_EQ(kInvalidData, QueryServices(GoodService("One.dll") + GoodService("Two.dll") + bad));
    EXPECT_EQ(2u, m_Services.size());

    // Decimal only, whole text, in range; names may not be empty.
    for (const std::string& child :
         {Element("OrderOfLoading", "0x10"), Element("OrderOfUnloading", "12a"),
          Element("OrderOfLoading", "4294967296"), Element("ModuleName", ""),
          Element("ConvModuleName", ""),
          Element("ServiceGuid",
                  "6513270E-269E-4D37-A2A7-"
                  "4DE452E6B438"),
          Element("StartUp", "eautomatic")}) {
        EXPECT_EQ(kInvalidData, QueryServices(GoodService("Kept.dll") + Service(child))) << child;
        EXPECT_EQ(1u, m_Services.size()) << child;
    }
}

TEST_F(FrameworkPolicy, MissingVersionStopsTheDocument) {
    const std::string noVersion =
        "<FrameworkService>" + Element("ModuleName", "X.dll") + "</FrameworkService>";
    EXPECT_EQ(kNotFound,
              QueryServices(GoodService("Before.dll") + noVersion + GoodService("After.dll")));
    ASSERT_EQ(1u, m_Services.size());
    EXPECT_EQ(L"Before.dll", m_Services[0].ModuleName);
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserFrameworkPolicy::QueryValueForServicePolicy() - this->m_rXmlParser."
        L"GetAttribute() failed."));
}

TEST_F(FrameworkPolicy, ElementReadersFailWithTheirOwnCodes) {
    struct Case {
        std::string Child;
        HRESULT Result;
        const wchar_t* Reader;
        const wchar_t* Cause;
    };
    const Case cases[] = {
        {"<Shared SharedGuid=\"" + kGuidA + "\"/>", kNotFound, L"ParsePolicyShared",
         L"ParsePolicyShared() - this->m_rXmlParser.GetAttribute() failed."},
        {"<Shared SharedType=\"eShared\" SharedGuid=\"" + kGuidA + "\"/>", kInvalidData,
         L"ParsePolicyShared", L"GetSharedType() - Specified text was not supported. [eShared]"},
        // The type's text must not stand in for the missing GUID's.
        {"<Shared SharedType=\"eIndependent\"/>", kInvalidData, L"ParsePolicyShared",
         L"ParsePolicyShared() - Frwk::Utility::T2Guid() failed. []"},
        {"<Permissions><Permission type=\"eAdmin\">eAllow</Permission></Permissions>", kWrongState,
         L"ParsePolicyPermissions",
         L"GetPermissionIndex() - Specified text was not supported. [eAdmin]"},
        {"<Permissions><Permission type=\"eSetup\">allow</Permission></Permissions>", kInvalidData,
         L"ParsePolicyPermissions",
         L"GetPermissionType() - Specified text was not supported. [allow]"},
        {"<DependedServices>" + Element("DependedService", "") + "</DependedServices>",
         kInvalidData, L"ParsePolicyDepended",
         L"ParsePolicyDepended() - Frwk::Utility::T2Guid() failed."},
    };
    const std::wstring prefix = L"*** CXmlParserFrameworkPolicy::";
    for (const Case& c : cases) {
        m_Log.Clear();
        EXPECT_EQ(c.Result, QueryServices(Service(c.Child))) << c.Child;
        EXPECT_TRUE(m_Services.empty()) << c.Child;
        EXPECT_TRUE(m_Log.Contains(prefix + c.Cause)) << c.Child;
        // These lines name the provider query also for the service file.
        EXPECT_TRUE(m_Log.Contains(prefix + L"QueryValueForProviderPolicy() - this->" + c.Reader +
                                   L"() failed."))
            << c.Child;
    }
}

TEST_F(FrameworkPolicy, InstalledFolderIsJoinedWithOneBackslash) {
    WriteDocument(L"QjBsSvPl.xen", kServiceKey, Document(GoodService("Found.dll")));
    m_Log.Product().SetInstalledFolder(m_Folder.Path() + L"\\");
    EXPECT_EQ(S_OK, QueryServices());
    EXPECT_EQ(1u, m_Services.size());

    // No installed folder: the bare name, found in the current directory.
    m_Log.Product().RemoveValue(L"InstalledFolder");
    wchar_t previous[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, previous);
    ASSERT_TRUE(SetCurrentDirectoryW(m_Folder.Path().c_str()));
    const HRESULT hr = QueryServices();
    SetCurrentDirectoryW(previous);
    EXPECT_EQ(S_OK, hr);
    EXPECT_EQ(1u, m_Services.size());
}

TEST_F(FrameworkPolicy, BrokenDocumentsEndWithACodeAndALine) {
    EXPECT_EQ(static_cast<HRESULT>(0x80070002), QueryServices());
    EXPECT_TRUE(m_Services.empty());
    EXPECT_TRUE(m_Log.Contains(
        L"*** CXmlParserFrameworkPolicy::QueryValueForServicePolicy() - cFileCrypt.Open() "
        L"failed. [0x80070002]"));

    EXPECT_EQ(kWrongState, QueryServices(Element("Unrelated", "")));
    EXPECT_TRUE(m_Log.Contains(L"this->m_rXmlParser.MoveToFirstChildElement() failed."));

    WriteDocument(L"QjBsSvPl.xen", kServiceKey, "<Other><FrameworkService/></Other>");
    EXPECT_EQ(kWrongState, QueryServices());
    EXPECT_TRUE(m_Log.Contains(L"this->m_rXmlParser.MoveToElement() failed. [0x00000000]"));

    // Another document's key, or bytes that are no document at all: the decrypted text
    // holds no root element.
    const std::string body = Document(GoodService("A.dll") + GoodService("B.dll"));
    std::vector<uint8_t> noise(4096);
    uint32_t seed = 12345;
    for (uint8_t& byte : noise) {
        seed = seed * 1103515245 + 12345;
        byte = static_cast<uint8_t>(seed >> 16);
    }
    m_Log.Clear();
    WriteDocument(L"QjBsSvPl.xen", kProviderKey, body);
    EXPECT_EQ(kWrongState, QueryServices()) << "wrong key";
    WriteBytes(L"QjBsSvPl.xen", noise);
    EXPECT_EQ(kWrongState, QueryServices()) << "random bytes";
    EXPECT_EQ(2u, m_Log.Count(L"QueryValueForServicePolicy() - this->m_rXmlParser.MoveToElement() "
                              L"failed. [0x00000000]"));

    // Cut on a block boundary the text ends mid-document: the reader's error is the result.
    WriteDocument(L"QjBsSvPl.xen", kServiceKey, body);
    std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(m_Folder.File(L"QjBsSvPl.xen"));
    bytes.resize(bytes.size() / 2 / 16 * 16);
    WriteBytes(L"QjBsSvPl.xen", bytes);
    const HRESULT hrCut = QueryServices();
    EXPECT_GT(0, hrCut);
    std::wstring line;
    ZorvCommon::String::Format(line,
                               L"QueryValueForServicePolicy() - this->m_rXmlParser failed to "
                               L"read xml. [0x%08x]",
                               hrCut);
    EXPECT_TRUE(m_Log.Contains(line)) << line;

    // Cut inside a block the file is refused when it is opened.
    bytes.resize(bytes.size() - 5);
    WriteBytes(L"QjBsSvPl.xen", bytes);
    EXPECT_EQ(static_cast<HRESULT>(0x8007000D), QueryServices());
    EXPECT_TRUE(m_Services.empty());
}

TEST_F(FrameworkPolicy, EncryptedExamplesParse) {
    CopyFileW((ExamplesFolder() + L"QjBsSvPl.xen").c_str(), m_Folder.File(L"QjBsSvPl.xen").c_str(),
              FALSE);
    CopyFileW((ExamplesFolder() + L"QjEnPvPl.xen").c_str(), m_Folder.File(L"QjEnPvPl.xen").c_str(),
              FALSE);
    EXPECT_EQ(S_OK, QueryServices());
    EXPECT_EQ(12u, m_Services.size());
    EXPECT_EQ(S_OK,
              CXmlParserFrameworkPolicy(m_XmlParser).QueryValueForProviderPolicy(&m_Providers));
    EXPECT_EQ(4u, m_Providers.size());
    EXPECT_FALSE(m_Log.Contains(L"failed"));
}

}  // namespace
