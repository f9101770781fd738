#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "PolicyDocument.h"
#include "XmlParserFrameworkPolicy.h"

namespace {

using TestSupport::Element;
using TestSupport::kProviderFile;
using TestSupport::kProviderKey;
using TestSupport::kServiceFile;
using TestSupport::kServiceKey;
using TestSupport::Widen;

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

std::string Service(const std::string& children, const std::string& version = "1.0.0") {
    return "<FrameworkService version=\"" + version + "\">" + children + "</FrameworkService>";
}

// A service that reads without error, named by its module.
std::string GoodService(const std::string& moduleName) {
    return Service(Element("Module", "eDynamicLinkLibrary") + Element("ModuleName", moduleName));
}

std::string Document(const std::string& body, const std::string& root = "BaseFramework") {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<" + root + ">\r\n" + body + "\r\n</" +
           root + ">\r\n";
}

class FrameworkPolicy : public PolicyTests::PolicyDocumentTest {
protected:
    FrameworkPolicy() { m_Services.resize(2); }  // a stale list that the query empties

    HRESULT QueryServices(const std::string& body) {
        WriteDocument(kServiceFile, kServiceKey, Document(body));
        return QueryServices();
    }
    HRESULT QueryServices() {
        return CXmlParserFrameworkPolicy(m_XmlParser).QueryValueForServicePolicy(&m_Services);
    }
    HRESULT QueryProviders(const std::string& body) {
        WriteDocument(kProviderFile, kProviderKey, Document(body));
        return CXmlParserFrameworkPolicy(m_XmlParser).QueryValueForProviderPolicy(&m_Providers);
    }

    ArrayOfRowService m_Services;
    ArrayOfRowProvider m_Providers;
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
    EXPECT_EQ(L"2.1.300", row.Version);
    EXPECT_EQ(Widen(kGuidA), Text(row.ServiceGuid));
    EXPECT_EQ(0u, row.ModuleType);
    EXPECT_EQ(L"SrvAgent.exe", row.ModuleName);
    EXPECT_EQ(2u, row.StartupType);
    EXPECT_EQ(1u, row.LoadOption);
    EXPECT_EQ(1u, row.UnloadOption);
    EXPECT_EQ(10u, row.OrderOfLoading);
    EXPECT_EQ(200u, row.OrderOfUnloading) << "decimal: a leading zero is not octal";
    EXPECT_EQ(2u, row.SharedType);
    EXPECT_EQ(Widen(kGuidB), Text(row.SharedGuid));
    EXPECT_EQ(1u, row.InterfaceType);
    EXPECT_EQ(1u, row.Permission[0]);
    EXPECT_EQ(0u, row.Permission[1]);
    EXPECT_EQ(0u, row.Permission[2]) << "no text names slot 2";
    EXPECT_EQ(1u, row.Permission[3]) << "the later Permission of an index wins";
    EXPECT_EQ(2u, row.DataConversion);
    EXPECT_EQ(L"ConvAgent.dll", row.ConvModuleName);
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
    ASSERT_EQ(S_OK, QueryProviders(GoodService("NotAProvider.dll") + provider));
    ASSERT_EQ(1u, m_Providers.size());
    EXPECT_EQ(Widen(kGuidC), Text(m_Providers[0].ProviderGuid));
    ASSERT_EQ(1u, m_Providers[0].DependedProviders.size());
    EXPECT_EQ(Widen(kGuidA), Text(m_Providers[0].DependedProviders[0]));

    EXPECT_TRUE(m_Log.Contains(L"    [DependedProviders]:" + Widen(kGuidA) + L"."));
    EXPECT_FALSE(m_Log.Contains(L"[InterfaceType]"));
}

TEST_F(FrameworkPolicy, OnlyWholeRowsAreListedAndTheLastElementGivesTheResult) {
    const std::string bad = Service(Element("Module", "eDLL") + Element("ModuleName", "Bad.dll"));

    EXPECT_EQ(S_OK, QueryServices(GoodService("One.dll") + bad + GoodService("Three.dll")));
    ASSERT_EQ(2u, m_Services.size());
    EXPECT_EQ(L"One.dll", m_Services[0].ModuleName);
    EXPECT_EQ(L"Three.dll", m_Services[1].ModuleName);

    EXPECT_EQ(kInvalidData, QueryServices(GoodService("One.dll") + GoodService("Two.dll") + bad));
    EXPECT_EQ(2u, m_Services.size());

    // Numbers decimal, whole and in range, names not empty, words as written; the element
    // readers' lines name the provider query also for the service file.
    const struct {
        std::string child;
        HRESULT result;
        const wchar_t* reader;
    } cases[] = {
        {Element("OrderOfLoading", "0x10"), kInvalidData, nullptr},
        {Element("OrderOfUnloading", "12a"), kInvalidData, nullptr},
        {Element("OrderOfLoading", "4294967296"), kInvalidData, nullptr},
        {Element("ModuleName", ""), kInvalidData, nullptr},
        {Element("ConvModuleName", ""), kInvalidData, nullptr},
        {Element("ServiceGuid", kGuidA.substr(1, 36)), kInvalidData, nullptr},
        {Element("StartUp", "eautomatic"), kInvalidData, nullptr},
        {"<Shared SharedGuid=\"" + kGuidA + "\"/>", kNotFound, L"ParsePolicyShared"},
        {"<Shared SharedType=\"eShared\" SharedGuid=\"" + kGuidA + "\"/>", kInvalidData,
         L"ParsePolicyShared"},
        // The type's text must not stand in for the missing GUID's.
        {"<Shared SharedType=\"eIndependent\"/>", kInvalidData, L"ParsePolicyShared"},
        {"<Permissions><Permission type=\"eAdmin\">eAllow</Permission></Permissions>", kWrongState,
         L"ParsePolicyPermissions"},
        {"<Permissions><Permission type=\"eSetup\">allow</Permission></Permissions>", kInvalidData,
         L"ParsePolicyPermissions"},
        {"<DependedServices>" + Element("DependedService", "") + "</DependedServices>",
         kInvalidData, L"ParsePolicyDepended"},
    };
    for (const auto& c : cases) {
        m_Log.Clear();
        EXPECT_EQ(c.result, QueryServices(GoodService("Kept.dll") + Service(c.child))) << c.child;
        EXPECT_EQ(1u, m_Services.size()) << c.child;
        EXPECT_TRUE(
            c.reader == nullptr ||
            m_Log.Contains(L"*** CXmlParserFrameworkPolicy::QueryValueForProviderPolicy() - "
                           L"this->" +
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
}

// The root is named in any case; a document without it, or without the file, ends with a
// code. What a damaged file gives is the encrypted file's reader's. The installed folder
// is joined with one backslash, whether it ends in one or not.
TEST_F(FrameworkPolicy, TheRootDecidesAndDoesNotMindCase) {
    EXPECT_EQ(static_cast<HRESULT>(0x80070002), QueryServices());
    EXPECT_TRUE(m_Services.empty());
    EXPECT_EQ(kWrongState, QueryServices(Element("Unrelated", "")));
    WriteDocument(kServiceFile, kServiceKey, "<Other><FrameworkService/></Other>");
    EXPECT_EQ(kWrongState, QueryServices());
    WriteDocument(kServiceFile, kProviderKey, Document(GoodService("A.dll")));
    EXPECT_EQ(kWrongState, QueryServices()) << "another document's key";

    WriteDocument(kServiceFile, kServiceKey, Document(GoodService("A.dll"), "baseFRAMEWORK"));
    m_Log.Product().SetInstalledFolder(m_Folder.Path() + L"\\");
    EXPECT_EQ(S_OK, QueryServices());
    EXPECT_EQ(1u, m_Services.size());
}

}  // namespace
