#pragma once
// Registry and INI-file work described as data. A section names a place (a registry key,
// or a section of an INI file) and owns its entries; an entry names one value and carries
// its typed content. Commands are visitors that carry out one kind of operation on every
// section they own and every entry of those sections; a chain runs commands in order.
// Ownership: the chain owns its commands, a command its sections, a section its entries.

#include <windows.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "StorageControl.h"
#include "ZorvComn_ByteArray.h"

namespace Ostrel {
namespace Storage {

enum ValueType : uint32_t {
    ValueTypeName = 0,
    ValueTypeString = 1,
    ValueTypeBinary = 2,
    ValueTypeUint32 = 3,
    ValueTypeUint64 = 4,
};

enum SectionType : uint32_t {
    SectionTypeRegistry = 0,
    SectionTypeIniFile = 1,
};

enum VisitorType : uint32_t {
    VisitorTypeCreate = 1,
    VisitorTypeQuery = 2,
    VisitorTypeStore = 3,
    VisitorTypeAppend = 4,
    VisitorTypeDelete = 5,
};

// A section with this access right opens with the default access; any other value lets
// a registry store create what is missing with the registry-key security attributes.
constexpr uint32_t kAccessRightDefault = 1;

class IVisitor;
class ISection;
class EntryName;
class EntryBinary;
template <typename Value, uint32_t Type>
class EntryValue;
using EntryString = EntryValue<std::wstring, ValueTypeString>;
using EntryUint32 = EntryValue<uint32_t, ValueTypeUint32>;
using EntryUint64 = EntryValue<uint64_t, ValueTypeUint64>;
class SectionRegistry;
class SectionIniFile;
struct EntryTransfer;  // how one entry's value travels between a command and the store
struct SectionPass;    // the messages of one open-walk-close pass over a section

class IAcceptor {
public:
    virtual ~IAcceptor() = default;
    [[nodiscard]] virtual HRESULT Accept(IVisitor* pVisitor) = 0;
};

class IValueData {
public:
    virtual ~IValueData() = default;
    // A new object of the same class holding a deep copy; null when that fails.
    virtual IValueData* CreateCopyData() const = 0;
    virtual void Release() { delete this; }
};

class IEntry : public IAcceptor, public IValueData {
public:
    IEntry* CreateCopyData() const override = 0;
    virtual uint32_t GetType() const = 0;
    virtual void GetName(std::wstring& name) const = 0;
    virtual void SetName(const std::wstring& name) = 0;
    // The section the entry belongs to (not owned).
    virtual ISection* GetSection() const = 0;
    virtual void SetSection(ISection* pSection) = 0;
};

class ISection : public IAcceptor, public IValueData {
public:
    ISection* CreateCopyData() const override = 0;
    virtual uint32_t GetType() const = 0;
    virtual void GetName(std::wstring& name) const = 0;
    virtual uint32_t GetAccessRight() const = 0;
    virtual void SetName(const std::wstring& name) = 0;
    virtual void SetAccessRight(const uint32_t& accessRight) = 0;
    // Takes ownership and makes this section the entry's section; null is kept as a
    // hole that walks skip.
    virtual void AddEntry(IEntry* pEntry) = 0;
    virtual size_t GetEntryCount() const = 0;
    virtual IEntry* GetEntry(size_t index) const = 0;
};

class IVisitor {
public:
    virtual ~IVisitor() = default;
    virtual uint32_t GetType() const = 0;
    [[nodiscard]] virtual HRESULT Visit(EntryUint64* pEntry) = 0;
    [[nodiscard]] virtual HRESULT Visit(EntryUint32* pEntry) = 0;
    [[nodiscard]] virtual HRESULT Visit(EntryBinary* pEntry) = 0;
    [[nodiscard]] virtual HRESULT Visit(EntryString* pEntry) = 0;
    [[nodiscard]] virtual HRESULT Visit(EntryName* pEntry) = 0;
    [[nodiscard]] virtual HRESULT Visit(SectionIniFile* pSection) = 0;
    [[nodiscard]] virtual HRESULT Visit(SectionRegistry* pSection) = 0;
};

// ---- Entries ----

// A bare name: a key or value name to delete or test.
class EntryName : public IEntry {
public:
    EntryName(const std::wstring& name, ISection* pSection) : m_pSection(pSection), m_Name(name) {}

    [[nodiscard]] HRESULT Accept(IVisitor* pVisitor) override { return pVisitor->Visit(this); }
    EntryName* CreateCopyData() const override { return new (std::nothrow) EntryName(*this); }
    uint32_t GetType() const override { return ValueTypeName; }
    void GetName(std::wstring& name) const override { name = m_Name; }
    void SetName(const std::wstring& name) override { m_Name = name; }
    ISection* GetSection() const override { return m_pSection; }
    void SetSection(ISection* pSection) override { m_pSection = pSection; }

protected:
    EntryName(const EntryName&) = default;

private:
    ISection* m_pSection;
    std::wstring m_Name;
};

// An entry with a value of type Value (a string or a number); Type is its value-type
// number.
template <typename Value, uint32_t Type>
class EntryValue : public EntryName {
public:
    EntryValue(const std::wstring& name, ISection* pSection, const Value& value)
        : EntryName(name, pSection), m_Value(value) {}

    [[nodiscard]] HRESULT Accept(IVisitor* pVisitor) override { return pVisitor->Visit(this); }
    EntryValue* CreateCopyData() const override { return new (std::nothrow) EntryValue(*this); }
    uint32_t GetType() const override { return Type; }
    Value& GetValue() { return m_Value; }
    const Value& GetValue() const { return m_Value; }

private:
    EntryValue(const EntryValue&) = default;

    Value m_Value;
};

// Bytes; starts empty.
class EntryBinary : public EntryName {
public:
    EntryBinary(const std::wstring& name, ISection* pSection) : EntryName(name, pSection) {}

    [[nodiscard]] HRESULT Accept(IVisitor* pVisitor) override { return pVisitor->Visit(this); }
    EntryBinary* CreateCopyData() const override;
    uint32_t GetType() const override { return ValueTypeBinary; }
    // Copies the source's bytes (an empty source leaves this entry empty).
    [[nodiscard]] HRESULT Copy(const EntryBinary& source);
    ZorvCommon::ByteArray& GetValue() { return m_ByteArray; }
    const ZorvCommon::ByteArray& GetValue() const { return m_ByteArray; }

private:
    ZorvCommon::ByteArray m_ByteArray;
};

// A new entry of valueType (0 to 4) named name, its value converted from valueText:
// hex digits for binary, a C number (0x hexadecimal, leading 0 octal) for the numbers.
// Null when the name is empty, the type unknown or the text not convertible.
IEntry* CreateEntry(uint32_t valueType, const std::wstring& valueText, const std::wstring& name,
                    ISection* pSection);

// ---- Sections ----

class SectionBase : public ISection {
public:
    void GetName(std::wstring& name) const override { name = m_Name; }
    uint32_t GetAccessRight() const override { return m_AccessRight; }
    void SetName(const std::wstring& name) override { m_Name = name; }
    void SetAccessRight(const uint32_t& accessRight) override { m_AccessRight = accessRight; }
    void AddEntry(IEntry* pEntry) override;
    size_t GetEntryCount() const override { return m_Entries.size(); }
    IEntry* GetEntry(size_t index) const override { return m_Entries[index].get(); }

    // Takes name and access right, and a copy of every entry (holes and entries that
    // fail to copy are logged and skipped).
    void Copy(const SectionBase& source);

protected:
    SectionBase(const std::wstring& name, uint32_t accessRight)
        : m_Name(name), m_AccessRight(accessRight) {}

private:
    std::wstring m_Name;
    uint32_t m_AccessRight;
    std::vector<std::unique_ptr<IEntry>> m_Entries;
};

// A registry key: name is the sub-key path opened below root\baseSubKey.
class SectionRegistry : public SectionBase {
public:
    SectionRegistry(HKEY root, const std::wstring& name, uint32_t accessMode, uint32_t accessRight,
                    const std::wstring& baseSubKey = std::wstring())
        : SectionBase(name, accessRight),
          m_Root(root),
          m_BaseSubKey(baseSubKey),
          m_AccessMode(accessMode) {}

    [[nodiscard]] HRESULT Accept(IVisitor* pVisitor) override { return pVisitor->Visit(this); }
    SectionRegistry* CreateCopyData() const override;
    uint32_t GetType() const override { return SectionTypeRegistry; }
    HKEY GetRoot() const { return m_Root; }
    const std::wstring& GetBaseSubKey() const { return m_BaseSubKey; }
    uint32_t GetAccessMode() const { return m_AccessMode; }

private:
    HKEY m_Root;
    std::wstring m_BaseSubKey;
    uint32_t m_AccessMode;
};

// A section of an INI file; it always uses the default access.
class SectionIniFile : public SectionBase {
public:
    SectionIniFile(const std::wstring& filePath, const std::wstring& sectionName)
        : SectionBase(sectionName, kAccessRightDefault),
          m_FilePath(filePath),
          m_SectionName(sectionName) {}

    [[nodiscard]] HRESULT Accept(IVisitor* pVisitor) override { return pVisitor->Visit(this); }
    SectionIniFile* CreateCopyData() const override;
    uint32_t GetType() const override { return SectionTypeIniFile; }
    const std::wstring& GetFilePath() const { return m_FilePath; }
    const std::wstring& GetSectionName() const { return m_SectionName; }

private:
    std::wstring m_FilePath;
    std::wstring m_SectionName;
};

// ---- Commands ----

class ICommand;

// What a dry run hears of a command run, in order: each visit of a command to a section
// and, within it, each operation: an entry, or (pEntry null) the command's act on the
// whole section. hr is what the operation, resp. the visit, gave.
class IRunObserver {
public:
    virtual ~IRunObserver() = default;
    virtual void OnVisit(const ICommand& command, const ISection& section) = 0;
    virtual void OnOperation(const IEntry* pEntry) = 0;
    virtual void OnOperationEnd(HRESULT hr) = 0;
    virtual void OnVisitEnd(HRESULT hr) = 0;
};

class ICommand {
public:
    // Runs against the real registry and INI files.
    [[nodiscard]] HRESULT Invoke() { return Invoke(RealStores(), nullptr); }
    // Runs against the stores the factory gives; pObserver may be null.
    [[nodiscard]] virtual HRESULT Invoke(const StoreFactory& stores, IRunObserver* pObserver) = 0;
    // A deep copy; null when that fails.
    virtual ICommand* Clone() const = 0;
    virtual void Release() { delete this; }
    virtual ~ICommand() = default;
};

// Visits every section it owns with a control initialised for that section alone.
class CommandBase : public IVisitor, public ICommand {
public:
    using ICommand::Invoke;
    [[nodiscard]] HRESULT Invoke(const StoreFactory& stores, IRunObserver* pObserver) override;
    [[nodiscard]] HRESULT Visit(SectionIniFile* pSection) override;
    [[nodiscard]] HRESULT Visit(SectionRegistry* pSection) override;
    // Only a delete acts on a bare name.
    [[nodiscard]] HRESULT Visit(EntryName*) override { return kNotSupported; }

    // Takes ownership; null is kept as a hole that Invoke reports.
    void AddSection(ISection* pSection);
    ISection* GetSection(size_t index) const { return m_Sections[index].get(); }
    // Replaces the sections with copies of the source's (holes and failed copies skipped).
    void Copy(const CommandBase& source);

protected:
    // The walk over a section's entries.
    [[nodiscard]] virtual HRESULT OnVisit(ISection* pSection);
    [[nodiscard]] virtual HRESULT OnVisit(SectionIniFile* pSection) = 0;
    [[nodiscard]] virtual HRESULT OnVisit(SectionRegistry* pSection) = 0;

    // Reads, resp. writes, the stored value of the entry's name in its own section, each
    // with its own open and close of the section.
    template <typename TEntry>
    [[nodiscard]] HRESULT QueryEntry(TEntry* pEntry);
    template <typename TEntry>
    [[nodiscard]] HRESULT StoreEntry(TEntry* pEntry);
    // Opens the section, walks its entries and closes it (with commit).
    [[nodiscard]] HRESULT OpenWalkClose(ISection* pSection, const SectionPass& pass);
    // Runs one operation (see IRunObserver) and tells the observer.
    template <typename Operation>
    [[nodiscard]] HRESULT Observed(const IEntry* pEntry, Operation operation);

    Control m_Control;

private:
    template <typename Move>
    [[nodiscard]] HRESULT TransferEntry(IEntry* pEntry, const EntryTransfer& transfer, Move move);
    bool IsControlFree() const;
    [[nodiscard]] HRESULT InitializeControl(SectionRegistry* pSection);
    [[nodiscard]] HRESULT InitializeControl(SectionIniFile* pSection);
    [[nodiscard]] HRESULT UninitializeControl();
    template <typename TSection>
    [[nodiscard]] HRESULT VisitSection(TSection* pSection);

    std::vector<std::unique_ptr<ISection>> m_Sections;
    // While Invoke runs: where the control's stores come from, and who hears of it.
    const StoreFactory* m_pStores = &RealStores();
    IRunObserver* m_pObserver = nullptr;
};

// A create or delete that can act on the whole section as well as on its entries.
class CommandWithSectionFlag : public CommandBase {
public:
    void SetSectionFlag(bool sectionFlag) { m_SectionFlag = sectionFlag; }
    bool GetSectionFlag() const { return m_SectionFlag; }
    void Copy(const CommandWithSectionFlag& source);

protected:
    bool m_SectionFlag = false;
};

// What every command class shares: its visitor type and its clone; sections are sent to
// Derived::OnSection and typed entries to Derived::VisitEntry, a template over the entry
// class (both public in Derived, so the base needs no friendship).
template <typename Derived, typename Base, uint32_t Type>
class TypedCommand : public Base {
public:
    uint32_t GetType() const override { return Type; }
    ICommand* Clone() const override;
    using Base::Visit;
    [[nodiscard]] HRESULT Visit(EntryUint64* pEntry) override { return Self()->VisitEntry(pEntry); }
    [[nodiscard]] HRESULT Visit(EntryUint32* pEntry) override { return Self()->VisitEntry(pEntry); }
    [[nodiscard]] HRESULT Visit(EntryBinary* pEntry) override { return Self()->VisitEntry(pEntry); }
    [[nodiscard]] HRESULT Visit(EntryString* pEntry) override { return Self()->VisitEntry(pEntry); }

protected:
    using CommandBase::OnVisit;
    [[nodiscard]] HRESULT OnVisit(SectionIniFile* pSection) override {
        return Self()->OnSection(pSection);
    }
    [[nodiscard]] HRESULT OnVisit(SectionRegistry* pSection) override {
        return Self()->OnSection(pSection);
    }

private:
    Derived* Self() { return static_cast<Derived*>(this); }
};

// Writes each entry only where it does not exist yet; with the section flag it also
// creates the section.
class CommandCreate
    : public TypedCommand<CommandCreate, CommandWithSectionFlag, VisitorTypeCreate> {
public:
    static constexpr const wchar_t* kClassName = L"CommandCreate";
    [[nodiscard]] HRESULT OnSection(ISection* pSection);
    template <typename TEntry>
    [[nodiscard]] HRESULT VisitEntry(TEntry* pEntry);
};

// Reads each stored value into the command's own entry.
class CommandQuery : public TypedCommand<CommandQuery, CommandBase, VisitorTypeQuery> {
public:
    static constexpr const wchar_t* kClassName = L"CommandQuery";
    [[nodiscard]] HRESULT OnSection(ISection* pSection);
    template <typename TEntry>
    [[nodiscard]] HRESULT VisitEntry(TEntry* pEntry);
};

// Writes (overwrites) each entry.
class CommandStore : public TypedCommand<CommandStore, CommandBase, VisitorTypeStore> {
public:
    static constexpr const wchar_t* kClassName = L"CommandStore";
    [[nodiscard]] HRESULT OnSection(ISection* pSection);
    template <typename TEntry>
    [[nodiscard]] HRESULT VisitEntry(TEntry* pEntry);
};

// Appends to what is stored: text is concatenated, numbers are added (wrapping), bytes
// are appended. It has no open of its own: each entry opens its section for the query
// and again for the store.
class CommandAppend : public TypedCommand<CommandAppend, CommandBase, VisitorTypeAppend> {
public:
    static constexpr const wchar_t* kClassName = L"CommandAppend";
    [[nodiscard]] HRESULT OnSection(ISection* pSection) { return CommandBase::OnVisit(pSection); }
    template <typename TEntry>
    [[nodiscard]] HRESULT VisitEntry(TEntry* pAppend);
};

// Deletes each named value; with the section flag it deletes the whole section first.
class CommandDelete
    : public TypedCommand<CommandDelete, CommandWithSectionFlag, VisitorTypeDelete> {
public:
    static constexpr const wchar_t* kClassName = L"CommandDelete";
    using TypedCommand::Visit;
    [[nodiscard]] HRESULT Visit(EntryName* pEntry) override;
    [[nodiscard]] HRESULT OnSection(ISection* pSection);
    // Every typed entry is deleted by its name.
    [[nodiscard]] HRESULT VisitEntry(EntryName* pEntry) { return Visit(pEntry); }
};

// Instantiated with the commands' member templates in the engine's source.
extern template class TypedCommand<CommandCreate, CommandWithSectionFlag, VisitorTypeCreate>;
extern template class TypedCommand<CommandQuery, CommandBase, VisitorTypeQuery>;
extern template class TypedCommand<CommandStore, CommandBase, VisitorTypeStore>;
extern template class TypedCommand<CommandAppend, CommandBase, VisitorTypeAppend>;
extern template class TypedCommand<CommandDelete, CommandWithSectionFlag, VisitorTypeDelete>;

// An empty command of the visitor type (1 to 5); null for any other type.
CommandBase* CreateVisitor(uint32_t visitorType);

// Runs its commands in order; every command runs, the last failure is the result.
class CommandChain : public ICommand {
public:
    CommandChain() = default;
    CommandChain(const CommandChain&) = delete;
    CommandChain& operator=(const CommandChain&) = delete;

    using ICommand::Invoke;
    [[nodiscard]] HRESULT Invoke(const StoreFactory& stores, IRunObserver* pObserver) override;
    ICommand* Clone() const override;

    // Takes ownership; null is kept as a hole that Invoke reports.
    void Append(ICommand* pCommand);
    // Moves every command of other to the end of this chain.
    void Splice(CommandChain& other);
    size_t GetCount() const { return m_Commands.size(); }
    ICommand* GetCommand(size_t index) const { return m_Commands[index].get(); }
    // Releases every command.
    void Clear() { m_Commands.clear(); }
    // Replaces the commands with clones of the source's (holes and failed clones skipped).
    void Copy(const CommandChain& source);

private:
    std::vector<std::unique_ptr<ICommand>> m_Commands;
};

}  // namespace Storage
}  // namespace Ostrel
