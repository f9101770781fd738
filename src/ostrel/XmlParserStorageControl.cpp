// The storage-control reader's walk over a document: opening, parameters, the sections
// in order, and the commands they become.

#include "XmlParserStorageControl.h"

#include "DocumentVocabulary.h"
#include "OstrelResult.h"
#include "StorageProduct.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Exception.h"
#include "ZorvComn_String.h"
#include "ZorvComn_XmlParser.h"

using namespace Ostrel::Vocabulary;
using Ostrel::Storage::CommandBase;
using Ostrel::Storage::CommandChain;
using Ostrel::Storage::DocumentEntry;
using Ostrel::Storage::DocumentParameter;
using Ostrel::Storage::IEntry;
using Ostrel::Storage::ISection;

namespace {

constexpr size_t kKeyLength = 16;
// What an installed product without a version counts as.
constexpr wchar_t kDefaultProductVersion[] = L"1.0.1120";

}  // namespace

CXmlParserStorageControl::CXmlParserStorageControl(ZorvCommon::Storage::XmlParser& rXmlParser)
    : m_rXmlParser(rXmlParser) {}

// ---- The document ------------------------------------------------------------------

HRESULT CXmlParserStorageControl::QueryValue(CommandChain* pCommandChain,
                                             const std::wstring& documentPath,
                                             const std::wstring& assign) {
    ZORV_TRACE(L"[Enter] CXmlParserStorageControl::QueryValue()...");
    if (pCommandChain == nullptr) {
        ZORV_ERROR(L"*** CXmlParserStorageControl::QueryValue() - pCommandChain was invalid.");
        return Ostrel::kInvalidArgument;
    }
    pCommandChain->Clear();

    const char* const szKey = kStorageKey;
    // A key without a terminator within 17 characters is as wrong as a short one.
    const size_t nSizeOfKey = ZorvCommon::String::GetLengthA(szKey, kKeyLength + 1);
    if (nSizeOfKey > kKeyLength) {
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryValue() - ZorvCommon::String::GetLengthA() "
            L"failed.");
        return Ostrel::kInvalidData;
    }
    if (nSizeOfKey != kKeyLength) {
        ZORV_ERROR(L"*** CXmlParserStorageControl::QueryValue() - nSizeOfKey was invalid. [%d]",
                   static_cast<int>(nSizeOfKey));
        return Ostrel::kInvalidData;
    }

    // Closed by its destructor on the early returns: the document then stays.
    ZorvCommon::Storage::CryptDocument cFileCrypt;
    uint32_t error = 0;
    if (!cFileCrypt.Open(documentPath, szKey, &error)) {
        const HRESULT hr = error != 0 ? ZorvCommon::Exception::ResultFromWin32(error)
                                      : static_cast<HRESULT>(Ostrel::kWrongState);
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryValue() - cFileCrypt.Open() failed. [0x%08x] [%s]",
            hr, documentPath.c_str());
        return hr;
    }

    // Declared after the file, so that on every way out (an exception included) the
    // reader lets go of the file before the file is closed.
    ZorvCommon::Storage::XmlParserSession session(m_rXmlParser, cFileCrypt.File());
    DocumentParameter parameter;
    parameter.Assign = assign;
    HRESULT hr = StartDocument(session, documentPath, parameter);
    if (FAILED(hr)) {
        return hr;
    }
    // Only a document that will be deleted needs its identity, taken while it is open;
    // asking for it costs a volume query per request.
    const bool deleteAfterReading = !parameter.Save && !m_KeepDocument;
    if (deleteAfterReading) {
        cFileCrypt.RememberOpenedFile();
    }

    hr = ParseDocument(*pCommandChain, parameter);
    if (FAILED(hr)) {
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryValue() - this->m_rXmlParser failed to "
            L"parse element. [%s]",
            m_rXmlParser.GetElementName().c_str());
        return hr;
    }
    // A document the reader could not read to its end is kept, wherever it broke off.
    const bool readToEnd = m_rXmlParser.GetLastResult() >= 0;
    if (!readToEnd) {
        hr = m_rXmlParser.GetLastResult();
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryValue() - this->m_rXmlParser failed to "
            L"parse. [0x%08x] [%s] [%lu] [%lu] [%lu]",
            hr, m_rXmlParser.GetLastNodeName().c_str(), m_rXmlParser.GetLastLine(),
            m_rXmlParser.GetLastColumn(), m_rXmlParser.GetLastDepth());
    }
    if (!session.Stop()) {
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryValue() - this->m_rXmlParser.Stop() failed.");
    }
    if (!cFileCrypt.Close(&error)) {
        // The class name is that of the web access reader, whose line this was first.
        ZORV_ERROR(
            L"*** CXmlParserWebAccessData::QueryValue() - cFileCrypt.Close() failed. [0x%08x]",
            ZorvCommon::Exception::ResultFromWin32(error));
    }
    if (m_pObserver != nullptr) {
        m_pObserver->OnDocumentClosed(documentPath);
    }
    // Through a handle of the file that was read: a file put at its path since stays.
    if (readToEnd && deleteAfterReading && !cFileCrypt.DeleteOpenedFile(&error)) {
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryValue() - "
            L"ZorvCommon::Storage::File::Delete() failed. [0x%08x]",
            error);
    }
    ZORV_TRACE(L"[Leave] CXmlParserStorageControl::QueryValue()...");
    return hr;
}

HRESULT CXmlParserStorageControl::StartDocument(ZorvCommon::Storage::XmlParserSession& session,
                                                const std::wstring& documentPath,
                                                DocumentParameter& parameter) {
    if (!session.IsStarted()) {
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryValue() - this->m_rXmlParser.Start() "
            L"failed. [%s] [0x%08x] [%s] [%lu] [%lu] [%lu]",
            documentPath.c_str(), m_rXmlParser.GetLastResult(),
            m_rXmlParser.GetLastNodeName().c_str(), m_rXmlParser.GetLastLine(),
            m_rXmlParser.GetLastColumn(), m_rXmlParser.GetLastDepth());
        return ReaderFailure();
    }
    if (!m_rXmlParser.MoveToElement(StorageElement::kStorage)) {
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryValue() - "
            L"this->m_rXmlParser.MoveToElement() failed. [0x%08x] [%s] [%lu] [%lu] [%lu]",
            m_rXmlParser.GetLastResult(), m_rXmlParser.GetLastNodeName().c_str(),
            m_rXmlParser.GetLastLine(), m_rXmlParser.GetLastColumn(), m_rXmlParser.GetLastDepth());
        return ReaderFailure();
    }
    const HRESULT hr = QueryParameter(parameter);
    if (FAILED(hr)) {
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryValue() - this->QueryParameter() failed. [0x%08x]",
            hr);
    }
    return hr;
}

HRESULT CXmlParserStorageControl::QueryParameter(DocumentParameter& parameter) {
    ZORV_TRACE(L"[Enter] CXmlParserStorageControl::QueryParameter()...");
    // Required, though its text means nothing to this reader.
    std::wstring version;
    if (!m_rXmlParser.GetAttribute(L"version", version)) {
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryParameter() - "
            L"this->m_rXmlParser.GetAttribute() failed.");
        return Ostrel::kInvalidData;
    }
    static const struct {
        const wchar_t* Name;
        bool DocumentParameter::*Field;
    } kSwitches[] = {{L"check", &DocumentParameter::Check}, {L"save", &DocumentParameter::Save}};
    for (const auto& option : kSwitches) {
        std::wstring text;
        if (!m_rXmlParser.GetAttribute(option.Name, text)) {
            ZORV_INFO(
                L"*** CXmlParserStorageControl::QueryParameter() - "
                L"this->m_rXmlParser.GetAttribute() failed.");
            continue;
        }
        if (!GetBoolean(text, parameter.*option.Field)) {
            ZORV_ERROR(
                L"*** CXmlParserStorageControl::QueryParameter() - this->GetBoolean() failed. [%s]",
                text.c_str());
            return Ostrel::kInvalidData;
        }
    }

    if (m_pTargetSystem != nullptr) {
        parameter.System = *m_pTargetSystem;
    } else {
        Ostrel::Storage::DescribeLiveSystem(parameter.System);
    }
    ZORV_INFO(L"*** CXmlParserStorageControl::QueryParameter() - Language [0x%08x]",
              parameter.System.LanguageCode);
    const HRESULT hr = m_pTargetSystem != nullptr
                           ? S_OK
                           : Ostrel::Storage::QueryVersion(parameter.System.ProductVersion);
    if (FAILED(hr) && hr != Ostrel::kNotFound) {
        ZORV_ERROR(
            L"*** CXmlParserStorageControl::QueryParameter() - "
            L"Ostrel::Storage::QueryVersion() failed. [0x%08x]",
            hr);
        return hr;
    }
    if (parameter.System.ProductVersion.empty()) {
        parameter.System.ProductVersion = kDefaultProductVersion;
    }
    ZORV_TRACE(L"[Leave] CXmlParserStorageControl::QueryParameter()...");
    return S_OK;
}

// The children of Storage. Every section is tried; the last one decides the result.
HRESULT CXmlParserStorageControl::ParseDocument(CommandChain& chain,
                                                const DocumentParameter& parameter) {
    HRESULT hr = S_OK;
    uint32_t depth = 0;
    for (bool found = m_rXmlParser.MoveToFirstChildElement(depth); found;
         found = m_rXmlParser.MoveToNextSiblingElement(depth)) {
        const std::wstring elementName = m_rXmlParser.GetElementName();
        std::unique_ptr<ISection> pSection;
        ArrayOfEntry entries;
        const wchar_t* method = nullptr;
        if (m_rXmlParser.IsElementName(StorageElement::kRegistry)) {
            method = L"ParseRegistry";
            hr = ParseRegistry(pSection, entries, parameter);
        } else if (m_rXmlParser.IsElementName(StorageElement::kIniFile)) {
            method = L"ParseIniFile";
            hr = ParseIniFile(pSection, entries, parameter);
        } else {
            continue;
        }
        if (FAILED(hr)) {
            ZORV_ERROR(L"*** CXmlParserStorageControl::QueryValue() - this->%s() failed. [0x%08x]",
                       method, hr);
        } else if (hr == Ostrel::kElementSkipped) {
            ZORV_INFO(
                L"*** CXmlParserStorageControl::QueryValue() - Specified Element was skipped.");
        } else if (!pSection) {
            ZORV_INFO(L"*** CXmlParserStorageControl::QueryValue() - pSectionBase was invalid.");
        } else {
            CommandChain sectionChain;
            hr = CreateCommandChain(*pSection, entries, sectionChain);
            if (FAILED(hr)) {
                ZORV_ERROR(
                    L"*** CXmlParserStorageControl::QueryValue() - "
                    L"this->CreateCommandChain() failed. [0x%08x]",
                    hr);
            } else {
                chain.Splice(sectionChain);
            }
        }
        if (m_pObserver != nullptr) {
            m_pObserver->OnSectionEnd(elementName, pSection.get(), hr);
        }
    }
    return hr;
}

HRESULT CXmlParserStorageControl::ReaderFailure() const {
    const HRESULT lastResult = m_rXmlParser.GetLastResult();
    return lastResult < 0 ? lastResult : HRESULT{Ostrel::kWrongState};
}

// ---- Commands ----------------------------------------------------------------------

HRESULT CXmlParserStorageControl::CreateCommandChain(const ISection& section,
                                                     const ArrayOfEntry& entries,
                                                     CommandChain& chain) {
    ZORV_TRACE(L"[Enter] CXmlParserStorageControl::CreateCommandChain()...");
    if (entries.empty()) {
        return Ostrel::kElementSkipped;
    }
    CommandBase* pCommand = nullptr;
    ISection* pSectionLast = nullptr;  // the command's copy of section
    for (const DocumentEntry& entry : entries) {
        // Only a create or a delete may act on the section itself.
        const bool acceptsSection = entry.CommandType == Ostrel::Storage::VisitorTypeCreate ||
                                    entry.CommandType == Ostrel::Storage::VisitorTypeDelete;
        if (!acceptsSection &&
            (entry.Name.empty() || entry.ValueType == Ostrel::Storage::ValueTypeName)) {
            ZORV_ERROR(
                L"*** CXmlParserStorageControl::CreateCommandChain() - tszName was empty, "
                L"or Value Type was invalid. [%d][%s][%d]",
                entry.CommandType, entry.Name.c_str(), entry.ValueType);
            return Ostrel::kInvalidData;
        }
        if (entry.Value.empty() && entry.ValueType != Ostrel::Storage::ValueTypeName &&
            entry.ValueType != Ostrel::Storage::ValueTypeString) {
            ZORV_ERROR(
                L"*** CXmlParserStorageControl::CreateCommandChain() - tszType was empty. [%d]",
                entry.ValueType);
            return Ostrel::kInvalidData;
        }
        // A store that must not overwrite writes only what is missing: a create.
        const uint32_t commandType =
            entry.CommandType == Ostrel::Storage::VisitorTypeStore && !entry.Overwrite
                ? static_cast<uint32_t>(Ostrel::Storage::VisitorTypeCreate)
                : entry.CommandType;
        if (pCommand == nullptr || pCommand->GetType() != commandType) {
            pCommand = Ostrel::Storage::CreateVisitor(commandType);
            if (pCommand == nullptr) {
                ZORV_ERROR(
                    L"*** CXmlParserStorageControl::CreateCommandChain() - pCommandBase "
                    L"was invalid. [%d]",
                    commandType);
                return Ostrel::kInvalidObject;
            }
            chain.Append(pCommand);
            pSectionLast = section.CreateCopyData();
            pCommand->AddSection(pSectionLast);
            if (pSectionLast == nullptr) {
                ZORV_ERROR(
                    L"*** CXmlParserStorageControl::CreateCommandChain() - pSectionLast "
                    L"was invalid.");
                return Ostrel::kInvalidObject;
            }
        }
        if (entry.Name.empty()) {
            // Only creates and deletes come here, and both carry the section flag.
            static_cast<Ostrel::Storage::CommandWithSectionFlag*>(pCommand)->SetSectionFlag(true);
            continue;
        }
        IEntry* pEntry =
            Ostrel::Storage::CreateEntry(entry.ValueType, entry.Value, entry.Name, pSectionLast);
        if (pEntry == nullptr) {
            ZORV_INFO(
                L"*** CXmlParserStorageControl::CreateCommandChain() - pEntryName was "
                L"invalid. [%d][%s][%s]",
                entry.ValueType, entry.Value.c_str(), entry.Name.c_str());
            return Ostrel::kInvalidObject;
        }
        pSectionLast->AddEntry(pEntry);
    }
    ZORV_TRACE(L"[Leave] CXmlParserStorageControl::CreateCommandChain()...");
    return S_OK;
}
