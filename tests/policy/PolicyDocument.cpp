#include "PolicyDocument.h"

#include <iostream>
#include <vector>

#include "ZorvComn_CryptDocument.h"

namespace PolicyTests {

PolicyDocumentTest::PolicyDocumentTest() {
    m_Log.Product().SetInstalledFolder(m_Folder.Path());
}

void PolicyDocumentTest::TearDown() {
    if (HasFailure()) {
        std::wcout << L"The log:\n" << m_Log.Text() << std::endl;
    }
}

void PolicyDocumentTest::WriteDocument(const wchar_t* fileName, const char* key,
                                       const std::string& xml) const {
    std::vector<uint8_t> ciphertext;
    uint32_t error = 0;
    ASSERT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(
        key, std::vector<uint8_t>(xml.begin(), xml.end()), &ciphertext, &error))
        << error;
    WriteBytes(fileName, ciphertext);
}

void PolicyDocumentTest::WriteBytes(const wchar_t* fileName,
                                    const std::vector<uint8_t>& bytes) const {
    TestSupport::WriteFileBytes(m_Folder.File(fileName), bytes);
}

std::wstring PolicyDocumentTest::ExamplesFolder() {
    return TestSupport::ExecutableFolder() + L"..\\examples\\";
}

}  // namespace PolicyTests
