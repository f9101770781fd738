#include "XmlDocuments.h"

#include <gtest/gtest.h>

#include <vector>

#include "ZorvComn_XmlParser.h"

namespace XmlTests {

PlainDocument::PlainDocument(const TestSupport::ScratchFolder& folder, const wchar_t* name,
                             const std::string& text)
    : m_File(folder.File(name)) {
    TestSupport::WriteFileBytes(m_File.GetFileName(),
                                std::vector<uint8_t>(text.begin(), text.end()));
    uint32_t error = 0;
    EXPECT_TRUE(m_File.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, &error))
        << error;
}

EncryptedDocument::EncryptedDocument(const TestSupport::ScratchFolder& folder, const wchar_t* name,
                                     const std::string& text, const char* key) {
    std::vector<uint8_t> ciphertext;
    uint32_t error = 0;
    EXPECT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(
        key, std::vector<uint8_t>(text.begin(), text.end()), &ciphertext, &error))
        << error;
    const std::wstring path = folder.File(name);
    TestSupport::WriteFileBytes(path, ciphertext);
    EXPECT_TRUE(m_Document.Open(path, key, &error)) << error;
}

void PlainDocument::Rewind() {
    EXPECT_TRUE(m_File.SetPointer(0, FILE_BEGIN, nullptr));
}

const char* const kPolicyDocument =
    "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
    "<!-- service policy -->\r\n"
    "<BaseFramework>\r\n"
    "  <FrameworkService version=\"1.2.3\">\r\n"
    "    <ServiceGuid>{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}</ServiceGuid>\r\n"
    "    <!-- between fields -->\r\n"
    "    <ModuleName>Svc&amp;One.dll</ModuleName>\r\n"
    "    <?authoring hint?>\r\n"
    "    <Shared SharedType=\"eShared\" SharedGuid=\"{00000000-0000-0000-0000-000000000001}\"/>\r\n"
    "    <Permissions>\r\n"
    "      <Permission type=\"eRead\">eAllow</Permission>\r\n"
    "      <Permission type=\"eWrite\"><![CDATA[eDeny]]></Permission>\r\n"
    "    </Permissions>\r\n"
    "    <StartUp>eAutomatic</StartUp>\r\n"
    "  </FrameworkService>\r\n"
    "  <Unknown><FrameworkService version=\"nested\"/><Deep>x</Deep></Unknown>\r\n"
    "  <frameworkservice version=\"2.0\">\r\n"
    "    <ModuleName>two<!-- c -->.dll</ModuleName>\r\n"
    "    <OrderOfLoading/>\r\n"
    "  </frameworkservice>\r\n"
    "</BaseFramework>\r\n";

const wchar_t* const kPolicyTranscript =
    L"service 1.2.3\n"
    L"ServiceGuid={0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}\n"
    L"ModuleName=Svc&One.dll\n"
    L"Shared eShared {00000000-0000-0000-0000-000000000001}\n"
    L"Permissions eRead=eAllow eWrite=eDeny\n"
    L"StartUp=eAutomatic\n"
    L"service 2.0\n"
    L"ModuleName=two.dll\n"
    L"OrderOfLoading=\n";

std::wstring WalkPolicy(ZorvCommon::Storage::XmlParser& parser) {
    std::wstring out;
    std::wstring value;
    if (!parser.MoveToElement(L"BaseFramework")) {
        return L"<no root>";
    }
    uint32_t serviceDepth = 0;
    for (bool service = parser.MoveToFirstChildElement(serviceDepth, L"FrameworkService"); service;
         service = parser.MoveToNextSiblingElement(serviceDepth, L"FrameworkService")) {
        parser.GetAttribute(L"version", value);
        out += L"service " + value + L"\n";
        uint32_t fieldDepth = 0;
        for (bool field = parser.MoveToFirstChildElement(fieldDepth); field;
             field = parser.MoveToNextSiblingElement(fieldDepth)) {
            out += parser.GetElementName();
            if (parser.IsElementName(L"Shared")) {
                std::wstring guid;
                parser.GetAttribute(L"SharedType", value);
                parser.GetAttribute(L"SharedGuid", guid);
                out += L" " + value + L" " + guid;
            } else if (parser.IsElementName(L"Permissions")) {
                uint32_t permissionDepth = 0;
                for (bool permission = parser.MoveToFirstChildElement(permissionDepth); permission;
                     permission = parser.MoveToNextSiblingElement(permissionDepth)) {
                    parser.GetAttribute(L"type", value);
                    out += L" " + value + L"=";
                    parser.GetText(value);
                    out += value;
                }
            } else {
                out += L"=";
                out += parser.GetText(value) ? value : L"<no text>";
            }
            out += L"\n";
        }
    }
    return out;
}

}  // namespace XmlTests
