#pragma once
// What a storage-control document's targeting attributes are matched against. The
// decision (CXmlParserStorageControl::CheckParameter) works on a description of the
// system, so that an authoring tool can ask it about a machine other than the one it
// runs on; the document reader describes the live system.

#include <windows.h>

#include <cstdint>
#include <string>

#include "ZorvComn_Platform.h"

namespace Ostrel {
namespace Storage {

// The targeting attributes of one Registry, IniFile or Control element; a field is
// empty when its attribute is absent.
struct Target {
    std::wstring MaxVersion;
    std::wstring MinVersion;
    std::wstring Product;
    std::wstring Language;
    std::wstring Platform;
    std::wstring Assign;
};

// The system a document is matched against.
struct TargetSystem {
    ZorvCommon::Platform::VersionRecord Version;
    bool Is64bit = false;
    // A system error met while the version record or the bitness was read; every
    // platform test then fails with it.
    uint32_t PlatformError = 0;
    // One of the document's language bits; 0 for a language the documents do not name.
    uint32_t LanguageCode = 0;
    // The installed product's version text.
    std::wstring ProductVersion;
};

// The parameters of one document: its root's switches, the caller's assignment text
// and the system it is matched against.
struct DocumentParameter {
    bool Check = false;  // evaluate the targeting attributes at all
    bool Save = false;   // keep the document file after reading
    std::wstring Assign;
    TargetSystem System;
};

// Why an element was kept or skipped.
enum class TargetVerdict : uint32_t {
    Targeted,
    OtherAssignment,
    OtherPlatform,
    OutOfVersion,
    OtherLanguage,
};

// "assign", "platform", "version", "language", or "kept".
const wchar_t* VerdictName(TargetVerdict verdict);

// The document's language code for a user-interface language; 0 when it has none.
uint32_t LanguageCodeOf(LANGID languageId);

// Describes the running system: version record, bitness and user-interface language.
// The product version is left to the caller, which has its own rules for it.
void DescribeLiveSystem(TargetSystem& system);

}  // namespace Storage
}  // namespace Ostrel
