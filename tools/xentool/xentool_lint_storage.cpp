// The storage-control document: its structure, with the module's own text maps, and
// what its texts mean to the reader and the storage commands.

#include <windows.h>

#include <algorithm>
#include <cwctype>

#include "Frwk_StringUtility.h"
#include "SrvFrwk_UnitVersion.h"
#include "StorageCommand.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_String.h"
#include "xentool_lint.h"

namespace Xentool {

namespace {

using Reader = CXmlParserStorageControl;

using namespace Ostrel::Vocabulary;
using namespace Ostrel::Storage;

bool IsAll(const std::wstring& text) {
    return Frwk::StringUtility::EqualsNoCase(text, kAllWord);
}

bool IsPlatformWord(const std::wstring& text) {
    uint32_t bitness = 0;
    uint32_t versionClass = 0;
    return IsAll(text) || Reader::GetPlatformType(text, bitness, versionClass);
}

bool IsLanguageWord(const std::wstring& text) {
    uint32_t code = 0;
    return IsAll(text) || Reader::GetLanguageCode(text, code);
}

// The text of the child the reader keeps, and where to point at it.
struct ChildText {
    std::wstring Text;
    Position At;
    bool Present = false;
};

ChildText TextOf(const XmlElement& element, const wchar_t* name) {
    const XmlElement* pChild = LastChild(element, name);
    if (pChild == nullptr) {
        return {std::wstring(), element.At, false};
    }
    return {pChild->Text, pChild->TextAt, true};
}

// True when the bound is present and reads as a whole version.
bool CheckVersionBound(const XmlElement& element, const wchar_t* name, Findings& findings) {
    const XmlAttribute* pBound = element.FindAttribute(name);
    if (pBound == nullptr) {
        return false;
    }
    uint32_t major = 0;
    uint32_t minor = 0;
    uint32_t build = 0;
    uint32_t fourth = 0;
    const int32_t converted =
        SrvFrwk::Unit::ConvertVersion(pBound->Value, major, minor, build, fourth);
    if (converted < 0) {
        findings.Error(pBound->At, Quote(pBound->Value) +
                                       L" is not a version the reader takes (major.minor.build, "
                                       L"minor and build of 1 to 4 digits); it counts as 0.0.0.0");
    } else if (converted == 0) {
        findings.Warning(pBound->At, Quote(pBound->Value) +
                                         L" reads as 0.0.0.0: a version needs major.minor.build");
    }
    return converted == 1;
}

// The targeting attributes of a Registry, IniFile or Control element.
void CheckTargeting(const XmlElement& element, bool check, Findings& findings) {
    if (check) {
        for (const wchar_t* name : {L"platform", L"language", L"product"}) {
            if (element.FindAttribute(name) == nullptr) {
                findings.Error(element.At, L"<" + element.Name + L"> has no " + Quote(name) +
                                               L" attribute, which check=\"yes\" requires");
            }
        }
        if (element.FindAttribute(L"maxversion") == nullptr) {
            findings.Error(element.At,
                           L"<" + element.Name +
                               L"> has no \"maxversion\": with check=\"yes\" the absent "
                               L"bound counts as 0.0.0.0 and the element is always skipped");
        }
    }
    const bool minReadable = CheckVersionBound(element, L"minversion", findings);
    if (CheckVersionBound(element, L"maxversion", findings) && minReadable &&
        SrvFrwk::CompareVersion(AttributeText(element, L"minversion"),
                                AttributeText(element, L"maxversion")) == -1) {
        findings.Error(element.FindAttribute(L"minversion")->At,
                       L"minversion is above maxversion: the element never applies");
    }
}

// Digits as wcstoul reads them (blanks, a sign, 0x), whatever their count.
bool LooksLikeNumber(const std::wstring& text) {
    size_t at = std::min(text.find_first_not_of(L" \t"), text.size());  // text[size()] is 0
    if (text[at] == L'+' || text[at] == L'-') {
        ++at;
    }
    const bool hex = text.compare(at, 2, L"0x") == 0 || text.compare(at, 2, L"0X") == 0;
    if (hex) {
        at += 2;
    } else if (text[at] == L'0' && text.find_first_of(L"89", at) != std::wstring::npos) {
        return false;  // a leading 0 means octal
    }
    return at < text.size() &&
           text.find_first_not_of(hex ? L"0123456789abcdefABCDEF" : L"0123456789", at) ==
               std::wstring::npos;
}

void CheckNumber(const ChildText& value, bool wide, Findings& findings) {
    uint32_t number32 = 0;
    uint64_t number64 = 0;
    if (wide ? ZorvCommon::String::StrToUI64(value.Text, number64)
             : ZorvCommon::String::StrToUl(value.Text, number32)) {
        return;
    }
    findings.Error(value.At, Quote(value.Text) +
                                 (!LooksLikeNumber(value.Text)
                                      ? L" is not a number (decimal, 0x hexadecimal or 0 octal)"
                                  : wide ? L" is out of range for uint64"
                                         : L" is out of range for uint32"));
}

void CheckBinary(const ChildText& value, Findings& findings) {
    if (value.Text.size() < 2) {
        findings.Error(value.At,
                       Quote(value.Text) + L" is too short for binary: two hex digits make a byte");
        return;
    }
    if (value.Text.find_first_not_of(L"0123456789abcdefABCDEF") != std::wstring::npos) {
        findings.Error(value.At, Quote(value.Text) +
                                     L" holds characters that are not hex digits; each pair is "
                                     L"read only up to its first non-hex character");
    }
    if (value.Text.size() % 2 != 0) {
        findings.Warning(
            value.At, Quote(value.Text) + L" has an odd number of digits: the last one is ignored");
    }
}

// Value, Name and Type as the command chain needs them for this action.
void CheckEntry(const XmlElement& control, uint32_t action, bool iniFile, Findings& findings) {
    const ChildText name = TextOf(control, StorageElement::kName);
    const ChildText type = TextOf(control, StorageElement::kType);
    const ChildText value = TextOf(control, StorageElement::kValue);
    uint32_t valueType = ValueTypeName;
    if (type.Present && !Reader::GetValueType(type.Text, valueType)) {
        return;  // reported with the structure
    }
    if (name.Text.empty() && action != VisitorTypeCreate && action != VisitorTypeDelete) {
        findings.Error(
            control.At,
            L"this action needs a <Name>: only create and delete act on the section itself");
    }
    if (!name.Text.empty() && valueType == ValueTypeName && action != VisitorTypeDelete) {
        findings.Error(control.At, L"this action needs a <Type> for its value");
    }
    if (iniFile && (valueType == ValueTypeBinary || valueType == ValueTypeUint64)) {
        findings.Error(type.At, L"INI files hold no " + type.Text + L" values");
    }
    if (action == VisitorTypeDelete || valueType == ValueTypeName || valueType == ValueTypeString) {
        return;
    }
    if (value.Text.empty()) {
        findings.Error(value.At, L"a " + type.Text + L" value needs a <Value>");
    } else if (valueType == ValueTypeBinary) {
        CheckBinary(value, findings);
    } else {
        CheckNumber(value, valueType == ValueTypeUint64, findings);
    }
}

// Each Control in order: the action it becomes and what a create finds.
void CheckControls(const XmlElement& section, bool iniFile, bool check, Findings& findings) {
    bool written = false;  // an earlier entry of this key writes (and so creates it)
    for (const auto& pChild : section.Children) {
        const XmlElement& control = *pChild;
        if (!control.IsNamed(StorageElement::kControl)) {
            continue;
        }
        CheckTargeting(control, check, findings);
        const ChildText actionText = TextOf(control, StorageElement::kAction);
        uint32_t action = 0;
        if (!Reader::GetCommandType(actionText.Text, action)) {
            continue;  // reported with the structure
        }
        const ChildText overwrite = TextOf(control, StorageElement::kOverwrite);
        if (action == VisitorTypeStore && overwrite.Text != L"yes") {
            findings.Warning(actionText.At,
                             L"a store without <Overwrite>yes</Overwrite> acts as a create: it "
                             L"writes only into a key that does not exist yet");
            action = VisitorTypeCreate;
        }
        CheckEntry(control, action, iniFile, findings);
        const bool named = !TextOf(control, StorageElement::kName).Text.empty();
        if (action == VisitorTypeCreate && named) {
            if (iniFile) {
                findings.Warning(actionText.At,
                                 L"a create in an INI file never writes: an INI "
                                 L"section always counts as existing");
            } else if (written) {
                findings.Warning(actionText.At,
                                 L"this create is never written: an earlier entry creates the "
                                 L"key, and a create leaves every value of an existing key "
                                 L"alone (only the first entry is written into a new key)");
            }
        }
        written = written || action == VisitorTypeCreate || action == VisitorTypeStore ||
                  action == VisitorTypeAppend;
    }
    if (LastChild(section, StorageElement::kControl) == nullptr) {
        findings.Warning(section.At,
                         L"<" + section.Name + L"> has no <Control>: the reader skips it");
    }
}

// "$NAME$" texts in an INI path: the four macros the reader expands, and typos of them.
void CheckIniPath(const ChildText& path, Findings& findings) {
    const TextRule::Words macros(std::begin(kPathMacros), std::end(kPathMacros));
    std::wstring expanded;
    for (size_t start = path.Text.find(L'$'); start != std::wstring::npos;) {
        const size_t end = path.Text.find(L'$', start + 1);
        if (end == std::wstring::npos) {
            break;
        }
        const std::wstring macro = path.Text.substr(start, end - start + 1);
        const bool isName = end > start + 1 && macro.find_first_not_of(
                                                   L"$ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklm"
                                                   L"nopqrstuvwxyz_") == std::wstring::npos;
        if (!isName) {
            start = end;
            continue;
        }
        if (!IsOneOf(macro, macros)) {
            findings.Error(path.At, Quote(macro) + L" is not a path macro (" + ListWords(macros) +
                                        L"); it stays in the path as written");
        } else if (expanded.empty()) {
            expanded = macro;
        } else if (macro != expanded) {
            findings.Warning(path.At, L"only the first macro that occurs is expanded; " + macro +
                                          L" stays in the path as written");
        }
        start = path.Text.find(L'$', end + 1);
    }
}

// A child that is present but empty.
void CheckNotEmpty(const ChildText& child, const wchar_t* what, Findings& findings) {
    if (child.Present && child.Text.empty()) {
        findings.Error(child.At, std::wstring(L"the ") + what + L" is empty");
    }
}

void CheckPaths(const XmlElement& section, bool iniFile, Findings& findings) {
    const ChildText path = TextOf(section, StorageElement::kPath);
    if (iniFile) {
        CheckNotEmpty(path, L"INI file path", findings);
        CheckIniPath(path, findings);
        CheckNotEmpty(TextOf(section, StorageElement::kSection), L"INI section name", findings);
        return;
    }
    CheckNotEmpty(path, L"key path", findings);
    std::wstring lower = path.Text;
    std::transform(lower.begin(), lower.end(), lower.begin(), towlower);
    if (lower.find(L"wow6432node") != std::wstring::npos) {
        findings.Warning(path.At,
                         L"the path names Wow6432Node: write the key's own path and "
                         L"<AccessMode>32bit</AccessMode>");
    }
}

}  // namespace

const Grammar& StorageGrammar() {
    static const Grammar grammar = [] {
        using namespace StorageElement;
        using E = const wchar_t*;
        const TextRule any;
        Grammar rows = {
            {kStorage, nullptr, Occurs::Optional, any},
            {L"version", kStorage, Occurs::RequiredAttribute, any},
            {L"check", kStorage, Occurs::OptionalAttribute, OneOf(kBooleans)},
            {L"save", kStorage, Occurs::OptionalAttribute, OneOf(kBooleans)},
            {kRegistry, kStorage, Occurs::Repeated, any},
            {kIniFile, kStorage, Occurs::Repeated, any},
            {kRoot, kRegistry, Occurs::Required, OneOf(kRegistryRoots)},
            {kPath, kRegistry, Occurs::Required, any},
            {kAccessMode, kRegistry, Occurs::Required, OneOf(kAccessModes)},
            {kAccessRight, kRegistry, Occurs::Required, OneOf(kAccessRights)},
            {kControl, kRegistry, Occurs::Repeated, any},
            {kPath, kIniFile, Occurs::Required, any},
            {kSection, kIniFile, Occurs::Required, any},
            {kControl, kIniFile, Occurs::Repeated, any},
            {kName, kControl, Occurs::Optional, any},
            {kType, kControl, Occurs::Optional, OneOf(kValueTypes)},
            {kAction, kControl, Occurs::Required, OneOf(kActions)},
            {kValue, kControl, Occurs::Optional, any},
            {kOverwrite, kControl, Occurs::Optional, OneOf(kBooleans)},
        };
        // The targeting attributes of the sections and of their controls.
        TextRule::Words languages = {kAllWord, kEnglishUs.Text};
        AddWords(languages, kLanguages);
        for (E parent : {kRegistry, kIniFile, kControl}) {
            rows.push_back({L"platform", parent, Occurs::OptionalAttribute,
                            TextRule(&IsPlatformWord, OneOf(kPlatforms).Expected)});
            rows.push_back({L"language", parent, Occurs::OptionalAttribute,
                            TextRule(&IsLanguageWord, ListWords(languages))});
            for (E name : {L"product", L"minversion", L"maxversion"}) {
                rows.push_back({name, parent, Occurs::OptionalAttribute, any});
            }
            rows.push_back({L"assign", parent, Occurs::RequiredAttribute, any});
        }
        return rows;
    }();
    return grammar;
}

void LintStorage(const XmlElement& root, DocumentKind, Findings& findings) {
    CheckStructure(StorageGrammar(), root, findings);
    const bool check = AttributeText(root, L"check") == L"yes";
    for (const auto& pChild : root.Children) {
        const XmlElement& section = *pChild;
        const bool iniFile = section.IsNamed(StorageElement::kIniFile);
        if (!iniFile && !section.IsNamed(StorageElement::kRegistry)) {
            continue;
        }
        CheckTargeting(section, check, findings);
        CheckPaths(section, iniFile, findings);
        CheckControls(section, iniFile, check, findings);
    }
}

}  // namespace Xentool
