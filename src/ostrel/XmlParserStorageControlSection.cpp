// The storage-control reader's sections and entries: Registry, IniFile and Control
// elements and their targeting attributes.

#include <new>
#include <utility>

#include "DocumentVocabulary.h"
#include "OstrelResult.h"
#include "XmlParserLog.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_XmlParser.h"

using namespace Ostrel::Vocabulary;
using Ostrel::Storage::DocumentEntry;
using Ostrel::Storage::DocumentParameter;
using Ostrel::Storage::ISection;
using Ostrel::Storage::Target;
using Ostrel::Storage::TargetVerdict;

namespace {

constexpr wchar_t kSkipNotTargeted[] =
    L"*** CXmlParserStorageControl::ParseRegistry() - Specified parameter was not targeted so "
    L"that it will be skipped.";
// Also what a skipped Control element reports.
constexpr wchar_t kSkipNotInTargeted[] =
    L"*** CXmlParserStorageControl::ParseIniFile() - Specified parameter was not in targeted so "
    L"that it will be skipped.";

}  // namespace

// The children a section element keeps as text, in the order the section reads them,
// with their labels in the dump.
struct CXmlParserStorageControl::SectionForm {
    const wchar_t* Method;
    const wchar_t* SkipLine;
    size_t FieldCount;
    std::wstring_view Elements[4];
    const wchar_t* Labels[4];
};

namespace {

// A text map's answer; its failure is logged as that of method.
template <typename Value>
bool Convert(const wchar_t* method, const wchar_t* mapName,
             bool (*map)(const std::wstring& text, Value& value), const std::wstring& text,
             Value& value) {
    if (map(text, value)) {
        return true;
    }
    STORAGE_CONTROL_ERROR(L"*** CXmlParserStorageControl::%s() - this->%s() failed. [%s]", method,
                          mapName, text.c_str());
    return false;
}

enum RegistryField : size_t { RegistryRoot, RegistryPath, RegistryAccessMode, RegistryAccessRight };
enum IniFileField : size_t { IniFilePath, IniFileSection };

}  // namespace

// ---- Sections ----------------------------------------------------------------------

HRESULT CXmlParserStorageControl::ParseRegistry(std::unique_ptr<ISection>& pSection,
                                                ArrayOfEntry& entries,
                                                const DocumentParameter& parameter) {
    static const SectionForm kForm = {
        L"ParseRegistry",
        kSkipNotTargeted,
        4,
        {StorageElement::kRoot, StorageElement::kPath, StorageElement::kAccessMode,
         StorageElement::kAccessRight},
        {L"[Root]      :", L"[SubKey]    :", L"[AccessMode]:", L"[AllAccess] :"}};
    STORAGE_CONTROL_TRACE(L"[Enter] CXmlParserStorageControl::ParseRegistry()...");
    SectionTexts texts;
    HRESULT hr = ParseSectionElement(kForm, texts, entries, parameter);
    if (hr != S_OK) {
        return hr;
    }

    HKEY root = nullptr;
    uint32_t accessMode = 0;
    uint32_t accessRight = 0;
    if (!Convert(L"ParseRegistry", L"GetRegistryRoot", &GetRegistryRoot, texts[RegistryRoot],
                 root) ||
        !Convert(L"ParseRegistry", L"GetAccessMode", &GetAccessMode, texts[RegistryAccessMode],
                 accessMode) ||
        !Convert(L"ParseRegistry", L"GetAccessRight", &GetAccessRight, texts[RegistryAccessRight],
                 accessRight)) {
        return Ostrel::kInvalidData;
    }
    const std::wstring& subKey = texts[RegistryPath];
    if (subKey.empty()) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::ParseRegistry() - tszSubKeyName was empty.");
        return Ostrel::kInvalidData;
    }
    pSection.reset(new (std::nothrow)
                       Ostrel::Storage::SectionRegistry(root, subKey, accessMode, accessRight));
    if (!pSection) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::ParseRegistry() - pRegistry was invalid. "
            L"[0x%08x][%s][%d][%d]",
            static_cast<uint32_t>(reinterpret_cast<uintptr_t>(root)), subKey.c_str(), accessMode,
            accessRight);
        return Ostrel::kInvalidObject;
    }
    return CheckEntries(kForm, texts, entries);
}

HRESULT CXmlParserStorageControl::ParseIniFile(std::unique_ptr<ISection>& pSection,
                                               ArrayOfEntry& entries,
                                               const DocumentParameter& parameter) {
    static const SectionForm kForm = {L"ParseIniFile",
                                      kSkipNotInTargeted,
                                      2,
                                      {StorageElement::kPath, StorageElement::kSection},
                                      {L"[IniFilePath]:", L"[SectionName]:"}};
    STORAGE_CONTROL_TRACE(L"[Enter] CXmlParserStorageControl::ParseIniFile()...");
    SectionTexts texts;
    HRESULT hr = ParseSectionElement(kForm, texts, entries, parameter);
    if (hr != S_OK) {
        return hr;
    }

    std::wstring path = texts[IniFilePath];
    if (!ReplacePath(path)) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::ParseIniFile() - this->ReplacePath() failed. [%s]",
            path.c_str());
        return Ostrel::kInvalidData;
    }
    if (path.empty()) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::ParseIniFile() - tszSubKeyName was empty.");
        return Ostrel::kInvalidData;
    }
    const std::wstring& sectionName = texts[IniFileSection];
    if (sectionName.empty()) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::ParseIniFile() - tszSectionName was empty.");
        return Ostrel::kInvalidData;
    }
    pSection.reset(new (std::nothrow) Ostrel::Storage::SectionIniFile(path, sectionName));
    if (!pSection) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::ParseIniFile() - pIniFile was invalid. [%s][%s]",
            path.c_str(), sectionName.c_str());
        return Ostrel::kInvalidObject;
    }
    return CheckEntries(kForm, texts, entries);
}

HRESULT CXmlParserStorageControl::ParseSectionElement(const SectionForm& form, SectionTexts& texts,
                                                      ArrayOfEntry& entries,
                                                      const DocumentParameter& parameter) {
    Target target;
    TargetVerdict verdict = TargetVerdict::Targeted;
    HRESULT hr = MatchTarget(form.Method, form.SkipLine, parameter, target, verdict);
    if (FAILED(hr)) {
        return hr;
    }
    if (m_pObserver != nullptr) {
        m_pObserver->OnSection(m_rXmlParser.GetElementName(), target, verdict);
    }
    if (verdict != TargetVerdict::Targeted) {
        return Ostrel::kElementSkipped;
    }

    texts.assign(form.FieldCount, std::wstring());
    uint32_t depth = 0;
    for (bool found = m_rXmlParser.MoveToFirstChildElement(depth); found;
         found = m_rXmlParser.MoveToNextSiblingElement(depth)) {
        if (m_rXmlParser.IsElementName(StorageElement::kControl)) {
            DocumentEntry entry;
            hr = ParseEntry(entry, parameter);
            if (FAILED(hr)) {
                STORAGE_CONTROL_ERROR(
                    L"*** CXmlParserStorageControl::%s() - this->ParseEntry(). [0x%08x]",
                    form.Method, hr);
                return hr;
            }
            if (hr == Ostrel::kElementSkipped) {
                STORAGE_CONTROL_INFO(
                    L"*** CXmlParserStorageControl::%s() - Specified Element was skipped.",
                    form.Method);
            } else {
                entries.push_back(std::move(entry));
            }
            continue;
        }
        for (size_t field = 0; field < form.FieldCount; ++field) {
            if (m_rXmlParser.IsElementName(form.Elements[field])) {
                // A text that cannot be read shows as the reader's failure below.
                (void)m_rXmlParser.GetText(texts[field]);
                break;
            }
        }
    }
    if (m_rXmlParser.GetLastResult() < 0) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::%s() - this->m_rXmlParser failed to parse "
            L"element. [%s]",
            form.Method, m_rXmlParser.GetLastNodeName().c_str());
        return m_rXmlParser.GetLastResult();
    }

    for (const DocumentEntry& entry : entries) {
        STORAGE_CONTROL_INFO(L"*** CXmlParserStorageControl::%s() - [Action]    :%d.", form.Method,
                             entry.CommandType);
        STORAGE_CONTROL_INFO(L"*** CXmlParserStorageControl::%s() - [Name]      :%s.", form.Method,
                             entry.Name.c_str());
        STORAGE_CONTROL_INFO(L"*** CXmlParserStorageControl::%s() - [Type]      :%d.", form.Method,
                             entry.ValueType);
        STORAGE_CONTROL_INFO(L"*** CXmlParserStorageControl::%s() - [Value]     :%s.", form.Method,
                             entry.Value.c_str());
        STORAGE_CONTROL_INFO(L"*** CXmlParserStorageControl::%s() - [Overwrite] :%d.", form.Method,
                             entry.Overwrite ? 1 : 0);
    }
    for (size_t field = 0; field < form.FieldCount; ++field) {
        STORAGE_CONTROL_INFO(L"*** CXmlParserStorageControl::%s() - %s%s.", form.Method,
                             form.Labels[field], texts[field].c_str());
    }
    return S_OK;
}

HRESULT CXmlParserStorageControl::CheckEntries(const SectionForm& form, const SectionTexts& texts,
                                               const ArrayOfEntry& entries) {
    HRESULT hr = S_OK;
    if (entries.empty()) {
        STORAGE_CONTROL_INFO(
            L"*** CXmlParserStorageControl::%s() - _vArrayOfEntry was empty so that it will be "
            L"skipped. [%s][%s]",
            form.Method, texts[0].c_str(), texts[1].c_str());
        hr = Ostrel::kElementSkipped;
    }
    STORAGE_CONTROL_TRACE(L"[Leave] CXmlParserStorageControl::%s()...", form.Method);
    return hr;
}

// ---- Entries and targets -----------------------------------------------------------

HRESULT CXmlParserStorageControl::ParseEntry(DocumentEntry& entry,
                                             const DocumentParameter& parameter) {
    STORAGE_CONTROL_TRACE(L"[Enter] CXmlParserStorageControl::ParseEntry()...");
    Target target;
    TargetVerdict verdict = TargetVerdict::Targeted;
    HRESULT hr = MatchTarget(L"ParseEntry", kSkipNotInTargeted, parameter, target, verdict);
    if (FAILED(hr)) {
        return hr;
    }
    if (verdict != TargetVerdict::Targeted) {
        if (m_pObserver != nullptr) {
            m_pObserver->OnEntry(target, verdict, nullptr);
        }
        return Ostrel::kElementSkipped;
    }
    uint32_t depth = 0;
    for (bool found = m_rXmlParser.MoveToFirstChildElement(depth); found;
         found = m_rXmlParser.MoveToNextSiblingElement(depth)) {
        hr = ParseEntryChild(entry);
        if (FAILED(hr)) {
            return hr;
        }
    }
    if (m_pObserver != nullptr) {
        m_pObserver->OnEntry(target, verdict, &entry);
    }
    STORAGE_CONTROL_TRACE(L"[Leave] CXmlParserStorageControl::ParseEntry()...");
    return S_OK;
}

HRESULT CXmlParserStorageControl::ParseEntryChild(DocumentEntry& entry) {
    const bool isName = m_rXmlParser.IsElementName(StorageElement::kName);
    const bool isValue = m_rXmlParser.IsElementName(StorageElement::kValue);
    const bool isType = m_rXmlParser.IsElementName(StorageElement::kType);
    const bool isAction = m_rXmlParser.IsElementName(StorageElement::kAction);
    const bool isOverwrite = m_rXmlParser.IsElementName(StorageElement::kOverwrite);
    if (!(isName || isValue || isType || isAction || isOverwrite)) {
        return S_OK;
    }
    // The name and the value are read straight into the entry; a failed read leaves an
    // entry that is dropped.
    std::wstring word;
    std::wstring& text = isName ? entry.Name : isValue ? entry.Value : word;
    if (!m_rXmlParser.GetText(text)) {
        // Reading the text leaves the current element as it was.
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::ParseEntry() - this->m_rXmlParser.GetText(). "
            L"[%s] [0x%08x] [%s] [%lu] [%lu] [%lu]",
            m_rXmlParser.GetElementName().c_str(), m_rXmlParser.GetLastResult(),
            m_rXmlParser.GetLastNodeName().c_str(), m_rXmlParser.GetLastLine(),
            m_rXmlParser.GetLastColumn(), m_rXmlParser.GetLastDepth());
        return ReaderFailure();
    }
    if (isName || isValue) {
        return S_OK;
    }
    if ((isType &&
         !Convert(L"ParseEntry", L"GetValueType", &GetValueType, text, entry.ValueType)) ||
        (isAction &&
         !Convert(L"ParseEntry", L"GetCommandType", &GetCommandType, text, entry.CommandType)) ||
        (isOverwrite &&
         !Convert(L"ParseEntry", L"GetBoolean", &GetBoolean, text, entry.Overwrite))) {
        return Ostrel::kInvalidData;
    }
    return S_OK;
}

HRESULT CXmlParserStorageControl::ParseTarget(Target& target) {
    static const struct {
        const wchar_t* Name;
        std::wstring Target::*Field;
    } kAttributes[] = {{L"maxversion", &Target::MaxVersion}, {L"minversion", &Target::MinVersion},
                       {L"platform", &Target::Platform},     {L"language", &Target::Language},
                       {L"product", &Target::Product},       {L"assign", &Target::Assign}};
    for (const auto& attribute : kAttributes) {
        std::wstring& field = target.*attribute.Field;
        if (!m_rXmlParser.GetAttribute(attribute.Name, field)) {
            field.clear();
            STORAGE_CONTROL_ERROR(
                L"*** CXmlParserStorageControl::ParseTarget() - "
                L"this->m_rXmlParser.GetAttribute(). [0x%08x] [%s] [%lu] [%lu] [%lu]",
                m_rXmlParser.GetLastResult(), m_rXmlParser.GetLastNodeName().c_str(),
                m_rXmlParser.GetLastLine(), m_rXmlParser.GetLastColumn(),
                m_rXmlParser.GetLastDepth());
        }
    }
    return m_rXmlParser.GetLastResult() < 0 ? m_rXmlParser.GetLastResult() : S_OK;
}

HRESULT CXmlParserStorageControl::MatchTarget(const wchar_t* method, const wchar_t* skipLine,
                                              const DocumentParameter& parameter, Target& target,
                                              TargetVerdict& verdict) {
    HRESULT hr = ParseTarget(target);
    if (FAILED(hr)) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::%s() - this->ParseTarget() failed. [0x%08x]", method,
            hr);
    }
    hr = CheckParameter(verdict, parameter, target);
    if (FAILED(hr)) {
        STORAGE_CONTROL_ERROR(
            L"*** CXmlParserStorageControl::%s() - this->CheckParameter() failed. [0x%08x]", method,
            hr);
        return hr;
    }
    if (verdict != TargetVerdict::Targeted) {
        STORAGE_CONTROL_INFO(skipLine);
    }
    return S_OK;
}
