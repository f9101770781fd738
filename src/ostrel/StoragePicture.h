#pragma once
// A picture of the registry and the INI files for a dry run of the storage commands: a
// factory of stores that read this machine's registry and INI files (or, for a clean
// target, nothing) and keep every change to themselves. The commands run against it as
// they run against the real stores; nothing real is ever written. Registry changes are
// kept in memory; an INI file is changed in a private copy, so that the profile
// functions themselves read and write it.

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

#include "StorageCommand.h"
#include "StorageControl.h"
#include "ZorvComn_Registry.h"

namespace Ostrel {
namespace Storage {

// A registry key or a section of an INI file, as the commands open it.
struct Place {
    bool IsIniFile = false;
    HKEY Root = nullptr;
    uint32_t View = 0;  // RegistryView
    std::wstring Path;  // the key's path, or the INI file's path
    std::wstring Section;
};

enum class PictureChange {
    KeyCreated,    // path: the key the store created (its parents come with it)
    ValueWritten,  // path: the value's name
    KeyRemoved,    // path: the key's path
};

// Hears what the stores of a picture do, as they do it.
class IPictureListener {
public:
    virtual ~IPictureListener() = default;
    // Before a store call reads or changes something at place.
    virtual void OnPlace(const Place& place) = 0;
    virtual void OnChange(PictureChange change, const std::wstring& path) = 0;
};

class StorePicture : public StoreFactory {
public:
    // readCurrent: the picture starts from this machine's registry and INI files;
    // otherwise from a target on which none of the keys, values and files exists yet.
    // pListener (may be null) must outlive the picture's stores.
    explicit StorePicture(bool readCurrent, IPictureListener* pListener = nullptr);
    ~StorePicture() override;  // removes the INI copies
    StorePicture(const StorePicture&) = delete;
    StorePicture& operator=(const StorePicture&) = delete;

    std::unique_ptr<ZorvCommon::Storage::RegistryBase> NewRegistry(uint32_t view) const override;
    std::unique_ptr<ZorvCommon::Storage::Base> NewIniFile() const override;

    // What the picture holds at place for name (empty: the key or section itself):
    // "(not read)" for what a clean target has not shown yet, "(no key)", "(key)",
    // "(section)", "(no value)", or the value as DescribeValue gives it.
    std::wstring Describe(const Place& place, const std::wstring& name) const;

    struct State;

private:
    std::unique_ptr<State> m_pState;
};

// "\"text\"", a decimal number, "hex 0A1B" or "(type N, M bytes)".
std::wstring DescribeValue(const ZorvCommon::Storage::RegistryValue& value);
// An entry's value as it would be stored, so described; empty for a bare name.
std::wstring DescribeValue(const IEntry& entry);

}  // namespace Storage
}  // namespace Ostrel
