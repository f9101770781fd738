#pragma once
// Documents for the XML reader tests: a scratch file opened through FileBase, and a
// policy-like document with the walk its readers make over it.

#include <string>

#include "Scratch.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_File.h"

namespace ZorvCommon {
namespace Storage {
class XmlParser;
}
}  // namespace ZorvCommon

namespace XmlTests {

// Writes the text to a file of the folder and opens it for reading.
class PlainDocument {
public:
    PlainDocument(const TestSupport::ScratchFolder& folder, const wchar_t* name,
                  const std::string& text);
    ZorvCommon::Storage::FileBase& File() { return m_File; }
    void Rewind();

private:
    ZorvCommon::Storage::FileBase m_File;
};

// Encrypts the text under the key into a file of the folder and opens it for reading
// through the decrypting file.
class EncryptedDocument {
public:
    EncryptedDocument(const TestSupport::ScratchFolder& folder, const wchar_t* name,
                      const std::string& text, const char* key);
    ZorvCommon::Storage::FileBase& File() { return m_Document.File(); }

private:
    ZorvCommon::Storage::CryptDocument m_Document;
};

extern const char* const kPolicyDocument;
extern const wchar_t* const kPolicyTranscript;

// Walks BaseFramework's FrameworkService elements as the policy reader does: the
// version, then every child (texts, Shared's attributes, Permissions' entries).
std::wstring WalkPolicy(ZorvCommon::Storage::XmlParser& parser);

}  // namespace XmlTests
