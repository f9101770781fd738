#pragma once
// What the policy suites share: a scratch installed folder that the product key points
// at, the debug log captured, and encrypted documents written into that folder.

#include <gtest/gtest.h>

#include <string>

#include "LogCapture.h"
#include "Scratch.h"
#include "ZorvComn_XmlParser.h"

namespace PolicyTests {

class PolicyDocumentTest : public ::testing::Test {
protected:
    PolicyDocumentTest();
    // A failed test shows what the parser wrote.
    void TearDown() override;

    // Encrypts the UTF-8 text of xml with key into the installed folder.
    void WriteDocument(const wchar_t* fileName, const char* key, const std::string& xml) const;
    void WriteBytes(const wchar_t* fileName, const std::vector<uint8_t>& bytes) const;
    // build\examples\, where the build puts the encrypted example documents.
    static std::wstring ExamplesFolder();

    TestSupport::LogCapture m_Log;
    TestSupport::ScratchFolder m_Folder{L"Policy"};
    ZorvCommon::Storage::XmlParser m_XmlParser;
};

}  // namespace PolicyTests
