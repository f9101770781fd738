#pragma once
// Encrypted documents (".xen"): AES-128 in CBC mode with a zero IV and PKCS#7 padding
// under a 16-character key. CryptDocument is the open sequence the document readers
// share; the two byte functions serve tools and tests that handle whole documents.

#include <cstdint>
#include <string>
#include <vector>

#include "ZorvComn_File.h"
#include "ZorvComn_FileCrypt.h"
#include "ZorvComn_Rijndael.h"

namespace ZorvCommon {
namespace Storage {

constexpr uint32_t kDocumentKeyLength = 16;

// Exactly 16 characters (strnlen(key, 17) == 16).
bool IsDocumentKey(const char* key);

class CryptDocument {
public:
    CryptDocument();
    ~CryptDocument();
    CryptDocument(const CryptDocument&) = delete;
    CryptDocument& operator=(const CryptDocument&) = delete;

    // Refuses a key of any other length with 13 before touching the file; then opens
    // the file for reading (shared for reading, existing only, default-kind security).
    bool Open(const std::wstring& path, const char* key, uint32_t* error = nullptr);
    // Takes note, while the document is open, of which file it is, for DeleteOpenedFile.
    // Only a reader that may delete its document asks: the system answers through the
    // volume's driver, which costs more than reading a small document.
    void RememberOpenedFile();
    bool Close(uint32_t* error = nullptr) { return m_Crypt.Close(error); }
    // Deletes the file the last Open opened, once it is closed, and only while that very
    // file is still the one at its path (DeleteSameFile): a file put there since is left
    // alone. 6 when nothing was opened or remembered, or the error that kept the file from
    // being known.
    bool DeleteOpenedFile(uint32_t* error = nullptr);
    // The decrypting file to read from, or to hand to the XML reader.
    FileBase& File() { return m_Crypt; }

private:
    Cryptograph::Rijndael m_Cipher;
    FileBase m_Plain;
    FileCrypt m_Crypt;
    uint8_t m_Key[kDocumentKeyLength] = {};
    CipherParameters m_Parameters;
    // The file the last Open reached, taken while its handle was open (when remembered).
    FileIdentity m_OpenedFile;
    uint32_t m_OpenedFileError = ERROR_INVALID_HANDLE;  // 0 once m_OpenedFile is known
};

// Whole documents in memory. 13 for a key that is not 16 characters long; decryption
// fails with 38 for empty input and 13 for input that does not end on a block.
bool EncryptDocumentBytes(const char* key, const std::vector<uint8_t>& plaintext,
                          std::vector<uint8_t>* ciphertext, uint32_t* error = nullptr);
bool DecryptDocumentBytes(const char* key, const std::vector<uint8_t>& ciphertext,
                          std::vector<uint8_t>* plaintext, uint32_t* error = nullptr);

}  // namespace Storage
}  // namespace ZorvCommon
