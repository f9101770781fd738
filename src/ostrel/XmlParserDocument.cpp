#include "XmlParserDocument.h"

#include "Frwk_Utility.h"
#include "OstrelResult.h"
#include "ZorvComn_Exception.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_String.h"
#include "ZorvComn_XmlParser.h"

// ZORV_ERROR at the caller's statement.
#define DOCUMENT_ERROR(...) OSTREL_LOG_AT(m_Place, ::ZorvCommon::LogLevelError, __VA_ARGS__)

constexpr size_t kKeyLength = 16;

CXmlParserDocument::CXmlParserDocument(ZorvCommon::Storage::XmlParser& rXmlParser,
                                       const wchar_t* method)
    : m_rXmlParser(rXmlParser), m_Method(method) {}

HRESULT CXmlParserDocument::Read(const Ostrel::SourcePlace& place, const wchar_t* fileName,
                                 const char* szKey, const wchar_t* root,
                                 const std::function<HRESULT()>& walk) {
    m_Place = place;
    m_ReadError = S_OK;
    // An empty installed folder leaves the bare name: the current directory then.
    std::wstring path = Frwk::Utility::GetInstalledFolder();
    ZorvCommon::String::AppendBackslash(path);
    path += fileName;

    // A key without a terminator within 17 characters is as wrong as a short one.
    const size_t nSizeOfKey = ZorvCommon::String::GetLengthA(szKey, kKeyLength + 1);
    if (nSizeOfKey == kKeyLength + 1) {
        DOCUMENT_ERROR(L"*** %s() - ZorvCommon::String::GetLengthA() failed.", m_Method);
        return Ostrel::kInvalidData;
    }
    if (nSizeOfKey != kKeyLength) {
        DOCUMENT_ERROR(L"*** %s() - nSizeOfKey was invalid. [%d]", m_Method,
                       static_cast<int>(nSizeOfKey));
        return Ostrel::kInvalidData;
    }

    ZorvCommon::Storage::CryptDocument cFileCrypt;
    uint32_t error = 0;
    if (!cFileCrypt.Open(path, szKey, &error)) {
        const HRESULT hr = error != 0 ? ZorvCommon::Exception::ResultFromWin32(error)
                                      : static_cast<HRESULT>(Ostrel::kWrongState);
        DOCUMENT_ERROR(L"*** %s() - cFileCrypt.Open() failed. [0x%08x]", m_Method, hr);
        return hr;
    }
    const HRESULT hr = ReadOpenFile(path, cFileCrypt.File(), root, walk);
    if (!cFileCrypt.Close(&error)) {
        DOCUMENT_ERROR(L"*** %s() - cFileCrypt.Close() failed. [0x%08x]", m_Method,
                       ZorvCommon::Exception::ResultFromWin32(error));
    }
    return hr;
}

HRESULT CXmlParserDocument::ReadOpenFile(const std::wstring& path,
                                         ZorvCommon::Storage::FileBase& file, const wchar_t* root,
                                         const std::function<HRESULT()>& walk) {
    ZorvCommon::Storage::XmlParserSession session(m_rXmlParser, file);
    if (!session.IsStarted()) {
        DOCUMENT_ERROR(
            L"*** %s() - this->m_rXmlParser.Start() failed. [%s] [0x%08x] [%s] [%lu] [%lu] [%lu]",
            m_Method, path.c_str(), m_rXmlParser.GetLastResult(),
            m_rXmlParser.GetLastNodeName().c_str(), m_rXmlParser.GetLastLine(),
            m_rXmlParser.GetLastColumn(), m_rXmlParser.GetLastDepth());
        return ReaderFailure();
    }

    HRESULT hr = S_OK;
    if (!m_rXmlParser.MoveToElement(root)) {
        LogReaderFailure(L"this->m_rXmlParser.MoveToElement() failed.");
        hr = ReaderFailure();
    } else {
        hr = walk();
        // The walk's moves answer false on a reader failure as at the end of a list: the
        // reader's record tells the two apart.
        if (m_rXmlParser.GetLastResult() < 0) {
            m_ReadError = m_rXmlParser.GetLastResult();
            LogReaderFailure(L"this->m_rXmlParser failed to read xml.");
        }
    }
    if (!session.Stop()) {
        DOCUMENT_ERROR(L"*** %s() - this->m_rXmlParser.Stop() failed.", m_Method);
    }
    return hr;
}

HRESULT CXmlParserDocument::ReaderFailure() const {
    return m_rXmlParser.GetLastResult() < 0 ? m_rXmlParser.GetLastResult() : Ostrel::kWrongState;
}

void CXmlParserDocument::LogReaderFailure(const wchar_t* what) const {
    DOCUMENT_ERROR(L"*** %s() - %s [0x%08x] [%s] [%lu] [%lu] [%lu]", m_Method, what,
                   m_rXmlParser.GetLastResult(), m_rXmlParser.GetLastNodeName().c_str(),
                   m_rXmlParser.GetLastLine(), m_rXmlParser.GetLastColumn(),
                   m_rXmlParser.GetLastDepth());
}
