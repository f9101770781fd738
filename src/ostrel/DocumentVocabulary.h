#pragma once
// The documents' vocabulary in one place: the readers read with it, xentool's lint and
// plan check and describe with it, and tests hold the schemas and the README to it.
// The keys the documents are encrypted with, the element names of each kind, and every
// enumerated text with the value the reader gives it (texts are compared exactly,
// element names without regard to case).

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Ostrel {
namespace Vocabulary {

struct Word {
    std::wstring_view Text;  // a view: its length is known without counting at every lookup
    uint32_t Value;
};

// ---- Keys --------------------------------------------------------------------------

struct DocumentKey {
    std::wstring_view Kind;  // xentool's --kind
    const char* Key;         // 16 characters, the AES-128 key
};

inline constexpr DocumentKey kDocumentKeys[] = {{L"storage", "P5!dW0#sG7@kF2^x"},
                                                {L"service", "m3^Tb8&Yc1*Nh6%e"},
                                                {L"provider", "K7#pQ2!vR9@wL4$z"},
                                                {L"webaccess", "J8*rB4%nV6!qC9#t"}};
inline constexpr const char* kStorageKey = kDocumentKeys[0].Key;
inline constexpr const char* kServiceKey = kDocumentKeys[1].Key;
inline constexpr const char* kProviderKey = kDocumentKeys[2].Key;
inline constexpr const char* kWebAccessKey = kDocumentKeys[3].Key;

// ---- Storage control ---------------------------------------------------------------

// The element names (lint's grammar holds them all, with their places).
namespace StorageElement {
inline constexpr wchar_t kStorage[] = L"Storage";
inline constexpr wchar_t kRegistry[] = L"Registry";
inline constexpr wchar_t kIniFile[] = L"IniFile";
inline constexpr wchar_t kControl[] = L"Control";
inline constexpr wchar_t kRoot[] = L"Root";
inline constexpr wchar_t kPath[] = L"Path";
inline constexpr wchar_t kAccessMode[] = L"AccessMode";
inline constexpr wchar_t kAccessRight[] = L"AccessRight";
inline constexpr wchar_t kSection[] = L"Section";
inline constexpr wchar_t kName[] = L"Name";
inline constexpr wchar_t kType[] = L"Type";
inline constexpr wchar_t kAction[] = L"Action";
inline constexpr wchar_t kValue[] = L"Value";
inline constexpr wchar_t kOverwrite[] = L"Overwrite";
}  // namespace StorageElement

inline constexpr Word kRegistryRoots[] = {
    {L"HKCR", 0x80000000}, {L"HKCU", 0x80000001}, {L"HKLM", 0x80000002}, {L"HKU", 0x80000003}};
// Control's AccessMode: the registry view.
inline constexpr Word kAccessModes[] = {
    {L"default", 0}, {L"32bit", 1}, {L"64bit", 2}, {L"check", 3}};
// "default" asks for all access: a store may create the key; 1 is the default access.
inline constexpr Word kAccessRights[] = {{L"default", 2}, {L"limited", 1}};
// VisitorType, resp. ValueType of the storage engine.
inline constexpr Word kActions[] = {
    {L"create", 1}, {L"query", 2}, {L"store", 3}, {L"append", 4}, {L"delete", 5}};
inline constexpr Word kValueTypes[] = {
    {L"string", 1}, {L"binary", 2}, {L"uint32", 3}, {L"uint64", 4}};
inline constexpr Word kBooleans[] = {{L"yes", 1}, {L"no", 0}};

// How a platform word tests the bitness; the version class (ZorvCommon::Platform) is
// tested only for BitnessByVersionClass.
enum BitnessClass : uint32_t {
    BitnessByVersionClass = 0,
    Bitness32 = 1,
    Bitness64 = 2,
    BitnessAny = 3,
};

struct PlatformWord {
    std::wstring_view Text;
    uint32_t Bitness;
    uint32_t VersionClass;
};

inline constexpr PlatformWord kPlatforms[] = {
    {L"xp32", BitnessByVersionClass, 4},
    {L"xp64", BitnessByVersionClass, 5},
    {L"xp32or64", BitnessByVersionClass, 6},
    {L"vista32", BitnessByVersionClass, 7},
    {L"vista64", BitnessByVersionClass, 8},
    {L"vista32or64", BitnessByVersionClass, 9},
    {L"seven32", BitnessByVersionClass, 10},
    {L"seven64", BitnessByVersionClass, 11},
    {L"seven32or64", BitnessByVersionClass, 12},
    {L"xporlater", BitnessByVersionClass, 15},
    {L"vistaorlater", BitnessByVersionClass, 19},
    {L"sevenorlater", BitnessByVersionClass, 22},
    {L"all32", Bitness32, 0},
    {L"all64", Bitness64, 0},
    {L"all", BitnessAny, 0},
};

// "all" also in any letter case, for platforms and languages alike.
inline constexpr wchar_t kAllWord[] = L"all";
inline constexpr Word kEnglishUs = {L"en_us", 0x1};
// Tested in this order; the first match wins, so the second "da" row never answers.
// It is kept so that the order stays what documents in the field were written against.
inline constexpr Word kLanguages[] = {
    {L"en_gb", 0x10000}, {L"tw", 0x2},     {L"cn", 0x8},    {L"ja", 0x4},    {L"fr", 0x40},
    {L"de", 0x20},       {L"es", 0x80},    {L"it", 0x200},  {L"nl", 0x4000}, {L"sv", 0x20000},
    {L"da", 0x80000},    {L"no", 0x40000}, {L"ru", 0x2000}, {L"da", 0x1},    {L"fr_ca", 0x100000},
};

// The directory macros of INI-file paths, in order of precedence.
inline constexpr std::wstring_view kPathMacros[] = {L"$INSTALL$", L"$WINDOWS$", L"$SYSTEM$",
                                                    L"$CURRENT$"};

// ---- Service and provider policy ---------------------------------------------------

namespace PolicyElement {
inline constexpr wchar_t kBaseFramework[] = L"BaseFramework";
inline constexpr wchar_t kFrameworkService[] = L"FrameworkService";
inline constexpr wchar_t kFrameworkProvider[] = L"FrameworkProvider";
inline constexpr wchar_t kServiceGuid[] = L"ServiceGuid";
inline constexpr wchar_t kProviderGuid[] = L"ProviderGuid";
inline constexpr wchar_t kModule[] = L"Module";
inline constexpr wchar_t kModuleName[] = L"ModuleName";
inline constexpr wchar_t kStartUp[] = L"StartUp";
inline constexpr wchar_t kLoad[] = L"Load";
inline constexpr wchar_t kUnload[] = L"Unload";
inline constexpr wchar_t kOrderOfLoading[] = L"OrderOfLoading";
inline constexpr wchar_t kOrderOfUnloading[] = L"OrderOfUnloading";
inline constexpr wchar_t kShared[] = L"Shared";
inline constexpr wchar_t kInterface[] = L"Interface";
inline constexpr wchar_t kPermissions[] = L"Permissions";
inline constexpr wchar_t kPermission[] = L"Permission";
inline constexpr wchar_t kDataConversion[] = L"DataConversion";
inline constexpr wchar_t kConvModuleName[] = L"ConvModuleName";
inline constexpr wchar_t kDependedServices[] = L"DependedServices";
inline constexpr wchar_t kDependedService[] = L"DependedService";
inline constexpr wchar_t kDependedProviders[] = L"DependedProviders";
inline constexpr wchar_t kDependedProvider[] = L"DependedProvider";
}  // namespace PolicyElement

inline constexpr Word kModuleTypes[] = {
    {L"eExectable", 0}, {L"eDynamicLinkLibrary", 1}, {L"eInlineCode", 2}};
inline constexpr Word kStartupTypes[] = {
    {L"eDisable", 0}, {L"eAutomatic", 1}, {L"eDemand", 2}, {L"ePreStart", 3}};
inline constexpr Word kLoadOptions[] = {{L"eSequentialLoad", 0}, {L"eParallelLoad", 1}};
inline constexpr Word kUnloadOptions[] = {{L"eSequentialUnload", 0}, {L"eParallelUnload", 1}};
inline constexpr Word kInterfaceTypes[] = {{L"eIFrwkService", 0}, {L"eIFrwkServiceEx", 1}};
inline constexpr Word kDataConversions[] = {
    {L"eNoneConversion", 0}, {L"eDefaultConversion", 1}, {L"eSpecificConversion", 2}};
inline constexpr Word kSharedTypes[] = {
    {L"eIndependent", 0}, {L"eSharedService", 1}, {L"eSharedProvider", 2}};
// Slot 2 has no text and keeps its initial deny.
inline constexpr Word kPermissionIndexes[] = {{L"eSetup", 0}, {L"eNormal", 1}, {L"eMaintain", 3}};
inline constexpr Word kPermissionTypes[] = {{L"eAllow", 1}, {L"eDeny", 0}};

// ---- Web access control ------------------------------------------------------------

namespace WebElement {
inline constexpr wchar_t kWebAccess[] = L"WebAccess";
inline constexpr wchar_t kSites[] = L"Sites";
inline constexpr wchar_t kAddress[] = L"Address";
inline constexpr wchar_t kApplications[] = L"Applications";
inline constexpr wchar_t kProcess[] = L"Process";
inline constexpr wchar_t kFileName[] = L"FileName";
inline constexpr wchar_t kControls[] = L"Controls";
inline constexpr wchar_t kFilters[] = L"Filters";
inline constexpr wchar_t kFilter[] = L"Filter";
inline constexpr wchar_t kLogs[] = L"Logs";
inline constexpr wchar_t kLog[] = L"Log";
inline constexpr wchar_t kProtections[] = L"Protections";
inline constexpr wchar_t kProtection[] = L"Protection";
}  // namespace WebElement

inline constexpr Word kFilterTypes[] = {
    {L"approved", 0}, {L"blocked", 1}, {L"blocked_unchanged_request", 2}};
inline constexpr Word kNativeBitness[] = {{L"32bit", 1}, {L"64bit", 0}};
// The platform words with their version class; the bitness words test the bitness
// alone.
inline constexpr Word kWebPlatforms[] = {
    {L"xp32", 4},         {L"xp64", 5},        {L"xp32or64", 6},      {L"vista32", 7},
    {L"vista64", 8},      {L"vista32or64", 9}, {L"seven32", 10},      {L"seven64", 11},
    {L"seven32or64", 12}, {L"xporlater", 15},  {L"vistaorlater", 19}, {L"sevenorlater", 22}};
inline constexpr Word kWebBitness[] = {{L"all32", 0}, {L"all64", 1}};

// ---- Lookups -----------------------------------------------------------------------

// The row of table whose text is text exactly; null when none is.
template <typename Row, size_t N>
constexpr const Row* Find(const Row (&table)[N], std::wstring_view text) {
    for (const Row& row : table) {
        if (row.Text == text) {
            return &row;
        }
    }
    return nullptr;
}

// The text of the first row with value; empty when none has it.
template <size_t N>
constexpr std::wstring_view TextOf(const Word (&table)[N], uint32_t value) {
    for (const Word& row : table) {
        if (row.Value == value) {
            return row.Text;
        }
    }
    return std::wstring_view();
}

}  // namespace Vocabulary
}  // namespace Ostrel
