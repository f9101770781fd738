#pragma once
// Reads an encrypted storage-control document into a chain of storage commands: each
// Registry and IniFile element, and each Control element inside them, is matched against
// the running system and the caller's assignment text, and what remains becomes
// sections, entries and commands. The document file is deleted after a walk that read
// it to its end, unless its root says "save"="yes".

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "StorageCommand.h"
#include "StorageTarget.h"

namespace ZorvCommon {
namespace Storage {
class XmlParser;
class XmlParserSession;
}  // namespace Storage
}  // namespace ZorvCommon

namespace Ostrel {
namespace Storage {

// One accepted Control element, converted.
struct DocumentEntry {
    uint32_t CommandType = 0;  // VisitorType
    std::wstring Name;
    uint32_t ValueType = 0;  // ValueType
    std::wstring Value;
    bool Overwrite = false;
};

// Told what the reader decides about each element, in document order; for tools that
// explain a document. The reader writes the same decisions to the debug log.
class IDocumentObserver {
public:
    virtual ~IDocumentObserver() = default;
    // A Registry or IniFile element whose targeting was decided.
    virtual void OnSection(const std::wstring& elementName, const Target& target,
                           TargetVerdict verdict) = 0;
    // A Control element whose targeting was decided; entry is null when it was skipped.
    virtual void OnEntry(const Target& target, TargetVerdict verdict,
                         const DocumentEntry* entry) = 0;
    // The end of every Registry or IniFile element (also of one that failed before its
    // targeting was decided): 0 when it became a section, 0x00040202 when it was
    // skipped, else the failure. pSection is the section built from it, or null.
    virtual void OnSectionEnd(const std::wstring& elementName, const ISection* pSection,
                              HRESULT result) = 0;
    // The document was read to the end of its walk and its file closed; it is deleted
    // next unless it is kept.
    virtual void OnDocumentClosed(const std::wstring& documentPath) { (void)documentPath; }
};

}  // namespace Storage
}  // namespace Ostrel

class CXmlParserStorageControl {
public:
    using ArrayOfEntry = std::vector<Ostrel::Storage::DocumentEntry>;

    explicit CXmlParserStorageControl(ZorvCommon::Storage::XmlParser& rXmlParser);
    CXmlParserStorageControl(const CXmlParserStorageControl&) = delete;
    CXmlParserStorageControl& operator=(const CXmlParserStorageControl&) = delete;

    // Empties the chain, then appends the commands of every section read without error,
    // in document order; they stay also when the result is a failure. The result is that
    // of the last Registry or IniFile element (0x00040202 when it was skipped), the
    // reader's failure, or that of a step before the walk.
    [[nodiscard]] HRESULT QueryValue(Ostrel::Storage::CommandChain* pCommandChain,
                                     const std::wstring& documentPath, const std::wstring& assign);

    // For tools that only explain a document: the document file is never deleted.
    void SetKeepDocument(bool keepDocument) { m_KeepDocument = keepDocument; }
    // Not owned; null for none.
    void SetObserver(Ostrel::Storage::IDocumentObserver* pObserver) { m_pObserver = pObserver; }

    // Whether an element with this target applies to parameter.System: 0 with the
    // verdict, or 0x80040206 (missing or unknown text) or a platform query's system error
    // as 0x8007xxxx. Works on any described system, not only the running one.
    [[nodiscard]] static HRESULT CheckParameter(Ostrel::Storage::TargetVerdict& verdict,
                                                const Ostrel::Storage::DocumentParameter& parameter,
                                                const Ostrel::Storage::Target& target);

    // Appends to chain the commands for one section's entries (each command holding its
    // own copy of section): 0, 0x00040202 without entries, or the failure.
    [[nodiscard]] static HRESULT CreateCommandChain(const Ostrel::Storage::ISection& section,
                                                    const ArrayOfEntry& entries,
                                                    Ostrel::Storage::CommandChain& chain);

    // Expands the first directory macro that occurs in path ($INSTALL$, $WINDOWS$,
    // $SYSTEM$, $CURRENT$, in that order of precedence), at its first occurrence. False
    // when the directory cannot be read; path is then untouched.
    static bool ReplacePath(std::wstring& path);

    // The system the targeting is matched against instead of the running one (for tools
    // that plan a document for another machine). Not owned; null for the running system.
    void SetTargetSystem(const Ostrel::Storage::TargetSystem* pSystem) {
        m_pTargetSystem = pSystem;
    }

    // The text maps, also for tools that check documents; each logs an unknown text and
    // leaves its outputs untouched.
    static bool GetPlatformType(const std::wstring& text, uint32_t& bitness,
                                uint32_t& versionClass);
    static bool GetLanguageType(const std::wstring& text, uint32_t& language);
    // A language word other than "all": "en_us" or a word of GetLanguageType's table.
    static bool GetLanguageCode(const std::wstring& text, uint32_t& language);
    static bool GetRegistryRoot(const std::wstring& text, HKEY& root);
    static bool GetAccessMode(const std::wstring& text, uint32_t& accessMode);
    static bool GetAccessRight(const std::wstring& text, uint32_t& accessRight);
    static bool GetCommandType(const std::wstring& text, uint32_t& commandType);
    static bool GetValueType(const std::wstring& text, uint32_t& valueType);
    static bool GetBoolean(const std::wstring& text, bool& value);

private:
    // The parts that tell a Registry from an IniFile element.
    struct SectionForm;
    using SectionTexts = std::vector<std::wstring>;

    // The walk over the children of Storage, each section's commands spliced onto chain.
    [[nodiscard]] HRESULT ParseDocument(Ostrel::Storage::CommandChain& chain,
                                        const Ostrel::Storage::DocumentParameter& parameter);
    [[nodiscard]] HRESULT QueryParameter(Ostrel::Storage::DocumentParameter& parameter);
    [[nodiscard]] HRESULT ParseRegistry(std::unique_ptr<Ostrel::Storage::ISection>& pSection,
                                        ArrayOfEntry& entries,
                                        const Ostrel::Storage::DocumentParameter& parameter);
    [[nodiscard]] HRESULT ParseIniFile(std::unique_ptr<Ostrel::Storage::ISection>& pSection,
                                       ArrayOfEntry& entries,
                                       const Ostrel::Storage::DocumentParameter& parameter);
    // What the two share: targeting, the walk over the children and the dump of what it
    // kept. 0 when the caller goes on to build the section.
    [[nodiscard]] HRESULT ParseSectionElement(const SectionForm& form, SectionTexts& texts,
                                              ArrayOfEntry& entries,
                                              const Ostrel::Storage::DocumentParameter& parameter);
    // 0 for a section with entries, else 0x00040202; it ends (and traces the end of) the parse.
    [[nodiscard]] static HRESULT CheckEntries(const SectionForm& form, const SectionTexts& texts,
                                              const ArrayOfEntry& entries);
    // 0, 0x00040202 for a Control element that is not targeted, or the failure.
    [[nodiscard]] HRESULT ParseEntry(Ostrel::Storage::DocumentEntry& entry,
                                     const Ostrel::Storage::DocumentParameter& parameter);
    // One child of a Control element; children of other names are ignored.
    [[nodiscard]] HRESULT ParseEntryChild(Ostrel::Storage::DocumentEntry& entry);
    [[nodiscard]] HRESULT ParseTarget(Ostrel::Storage::Target& target);
    // ParseTarget and CheckParameter for the current element, logged as method.
    [[nodiscard]] HRESULT MatchTarget(const wchar_t* method, const wchar_t* skipLine,
                                      const Ostrel::Storage::DocumentParameter& parameter,
                                      Ostrel::Storage::Target& target,
                                      Ostrel::Storage::TargetVerdict& verdict);
    // The reader's last code when it is a failure, else 0x80040201.
    [[nodiscard]] HRESULT ReaderFailure() const;
    // Checks the session's start, moves to Storage and reads its parameters.
    [[nodiscard]] HRESULT StartDocument(ZorvCommon::Storage::XmlParserSession& session,
                                        const std::wstring& documentPath,
                                        Ostrel::Storage::DocumentParameter& parameter);

    ZorvCommon::Storage::XmlParser& m_rXmlParser;
    bool m_KeepDocument = false;
    Ostrel::Storage::IDocumentObserver* m_pObserver = nullptr;
    const Ostrel::Storage::TargetSystem* m_pTargetSystem = nullptr;
};
