#include "ZorvComn_CryptDocument.h"

#include <windows.h>

#include <cstring>
#include <memory>

#include "ZorvComn_SecurityAttributes.h"
#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Storage {

using Win32Error::Fail;

namespace {

// One pass of the document cipher over a whole buffer.
bool TransformDocument(uint32_t direction, const char* key, const std::vector<uint8_t>& input,
                       std::vector<uint8_t>* output, uint32_t* error) {
    if (!IsDocumentKey(key)) {
        return Fail(error, ERROR_INVALID_DATA);
    }
    if (input.size() > UINT32_MAX - 2 * Cryptograph::Aes::kBlockSize) {
        return Fail(error, ERROR_NOT_ENOUGH_MEMORY);
    }
    Cryptograph::Rijndael cipher;
    if (!cipher.Initialize(direction, reinterpret_cast<const uint8_t*>(key), kDocumentKeyLength,
                           Cryptograph::ModeCBC, nullptr, 0, error)) {
        return false;
    }
    static const uint8_t kNothing = 0;  // Update wants an input even when it is empty
    std::vector<uint8_t> result(input.size() + Cryptograph::Aes::kBlockSize);
    uint32_t produced = 0;
    if (!cipher.Transform(input.empty() ? &kNothing : input.data(),
                          static_cast<uint32_t>(input.size()), result.data(),
                          static_cast<uint32_t>(result.size()), &produced, error)) {
        return false;
    }
    result.resize(produced);
    *output = std::move(result);
    return true;
}

}  // namespace

bool IsDocumentKey(const char* key) {
    return key != nullptr && strnlen(key, kDocumentKeyLength + 1) == kDocumentKeyLength;
}

CryptDocument::CryptDocument() : m_Crypt(&m_Plain) {
    m_Parameters.cipher = &m_Cipher;
    m_Parameters.mode = Cryptograph::ModeCBC;
    m_Parameters.key = m_Key;
    m_Parameters.keyLength = kDocumentKeyLength;
    m_Crypt.SetCipherParameters(&m_Parameters);
}

CryptDocument::~CryptDocument() {
    SecureZeroMemory(m_Key, sizeof(m_Key));
}

bool CryptDocument::Open(const std::wstring& path, const char* key, uint32_t* error) {
    if (!IsDocumentKey(key)) {
        return Fail(error, ERROR_INVALID_DATA);
    }
    if (m_Crypt.IsOpen()) {
        return Fail(error, ERROR_OBJECT_ALREADY_EXISTS);
    }
    memcpy(m_Key, key, kDocumentKeyLength);
    m_Plain.SetFileName(path);
    m_OpenedFileError = ERROR_INVALID_HANDLE;
    try {
        AccessControl::SecurityAttributes security(AccessControl::ObjectKindFile);
        return m_Crypt.Open(&security, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, error);
    } catch (AccessControl::Exception* exception) {
        const std::unique_ptr<AccessControl::Exception> owner(exception);
        return Fail(error, exception->m_Error);
    }
}

void CryptDocument::RememberOpenedFile() {
    // Unknown, the file is read all the same; only a delete depends on it.
    (void)m_Plain.GetIdentity(m_OpenedFile, &m_OpenedFileError);
}

bool CryptDocument::DeleteOpenedFile(uint32_t* error) {
    return m_OpenedFileError == ERROR_SUCCESS
               ? DeleteSameFile(m_Plain.GetFileName(), m_OpenedFile, error)
               : Fail(error, m_OpenedFileError);
}

bool EncryptDocumentBytes(const char* key, const std::vector<uint8_t>& plaintext,
                          std::vector<uint8_t>* ciphertext, uint32_t* error) {
    return TransformDocument(Cryptograph::DirectionEncrypt, key, plaintext, ciphertext, error);
}

bool DecryptDocumentBytes(const char* key, const std::vector<uint8_t>& ciphertext,
                          std::vector<uint8_t>* plaintext, uint32_t* error) {
    if (ciphertext.empty()) {
        return Fail(error, ERROR_HANDLE_EOF);
    }
    return TransformDocument(Cryptograph::DirectionDecrypt, key, ciphertext, plaintext, error);
}

}  // namespace Storage
}  // namespace ZorvCommon
