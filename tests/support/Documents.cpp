#include "Documents.h"

#include <gtest/gtest.h>

#include "Scratch.h"
#include "ZorvComn_CryptDocument.h"

namespace TestSupport {

std::vector<uint8_t> Encrypted(const char* key, const std::vector<uint8_t>& plaintext) {
    std::vector<uint8_t> ciphertext;
    uint32_t error = 0;
    EXPECT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(key, plaintext, &ciphertext, &error))
        << error;
    return ciphertext;
}

void WriteDocument(const std::wstring& path, const char* key, const std::string& text) {
    WriteFileBytes(path, Encrypted(key, Bytes(text)));
}

std::string Control(const std::string& action, const std::string& name, const std::string& type,
                    const std::string& value, const std::string& overwrite,
                    const std::string& targeting) {
    std::string children = Element("Action", action);
    for (const auto& child :
         {std::make_pair("Name", name), std::make_pair("Type", type),
          std::make_pair("Value", value), std::make_pair("Overwrite", overwrite)}) {
        if (!child.second.empty()) {
            children += Element(child.first, child.second);
        }
    }
    return "<Control " + targeting + ">" + children + "</Control>";
}

}  // namespace TestSupport
