#pragma once
// What the policy suites share: a scratch installed folder that the product key points
// at, the debug log captured (shown when a test fails), and documents written into it.

#include <gtest/gtest.h>

#include <iostream>
#include <string>

#include "Documents.h"
#include "LogCapture.h"
#include "Scratch.h"
#include "ZorvComn_XmlParser.h"

namespace PolicyTests {

class PolicyDocumentTest : public ::testing::Test {
protected:
    PolicyDocumentTest() { m_Log.Product().SetInstalledFolder(m_Folder.Path()); }
    void TearDown() override {
        if (HasFailure()) {
            std::wcout << L"The log:\n" << m_Log.Text() << std::endl;
        }
    }

    void WriteDocument(const wchar_t* fileName, const char* key, const std::string& xml) const {
        TestSupport::WriteDocument(m_Folder.File(fileName), key, xml);
    }

    TestSupport::LogCapture m_Log;
    TestSupport::ScratchFolder m_Folder{L"Policy"};
    ZorvCommon::Storage::XmlParser m_XmlParser;
};

}  // namespace PolicyTests
