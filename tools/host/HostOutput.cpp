#include "HostOutput.h"

#include <objbase.h>

#include <cstdio>
#include <vector>

using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::RowProvider;
using SrvFrwk::Interface::RowService;
using SrvFrwk::Interface::WebAccessControlList;
using SrvFrwk::Interface::WebApplication;

namespace {

void WriteUtf8(FILE* stream, const std::wstring& text) {
    if (text.empty()) {
        return;
    }
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &bytes[0], size,
                        nullptr, nullptr);
    fwrite(bytes.data(), 1, bytes.size(), stream);
    fflush(stream);
}

const wchar_t* Name(const std::vector<const wchar_t*>& names, uint32_t value) {
    return value < names.size() ? names[value] : L"?";
}

const std::vector<const wchar_t*> kModuleTypes = {L"exe", L"dll", L"inline"};
const std::vector<const wchar_t*> kStartupTypes = {L"disabled", L"automatic", L"demand",
                                                   L"prestart"};
const std::vector<const wchar_t*> kLoadOptions = {L"sequential", L"parallel"};
const std::vector<const wchar_t*> kSharedTypes = {L"independent", L"service", L"provider"};
const std::vector<const wchar_t*> kFilterTypes = {L"approved", L"blocked",
                                                  L"blocked_unchanged_request"};

std::wstring Pad(const std::wstring& text, size_t width) {
    return text.size() >= width ? text + L" " : text + std::wstring(width - text.size(), L' ');
}

// "s n - m" for the permission slots: s(etup), n(ormal), -(unnamed slot 2), m(aintain).
std::wstring PermissionText(const uint32_t (&permission)[4]) {
    static const wchar_t kLetters[] = L"sn-m";
    std::wstring text;
    for (int slot = 0; slot < 4; ++slot) {
        text += permission[slot] ? kLetters[slot] : L'.';
    }
    return text;
}

std::wstring JsonGuids(const std::vector<GUID>& guids) {
    std::wstring text = L"[";
    for (size_t i = 0; i < guids.size(); ++i) {
        text += (i ? L", " : L"") + JsonString(GuidText(guids[i]));
    }
    return text + L"]";
}

std::wstring JsonStrings(const std::vector<std::wstring>& texts) {
    std::wstring text = L"[";
    for (size_t i = 0; i < texts.size(); ++i) {
        text += (i ? L", " : L"") + JsonString(texts[i]);
    }
    return text + L"]";
}

const GUID& RowGuid(const RowService& row) {
    return row.ServiceGuid;
}
const GUID& RowGuid(const RowProvider& row) {
    return row.ProviderGuid;
}
const std::vector<GUID>& RowDepends(const RowService& row) {
    return row.DependedServices;
}
const std::vector<GUID>& RowDepends(const RowProvider& row) {
    return row.DependedProviders;
}
std::wstring InterfaceJson(const RowService& row) {
    return L", \"interfaceType\": " + std::to_wstring(row.InterfaceType);
}
std::wstring InterfaceJson(const RowProvider&) {
    return std::wstring();
}

template <typename Row>
void PrintRows(const std::vector<Row>& rows, bool json) {
    if (json) {
        std::wstring text = L"[\n";
        for (size_t i = 0; i < rows.size(); ++i) {
            const Row& row = rows[i];
            text += L"  {\"version\": " + JsonString(row.Version) + L", \"guid\": " +
                    JsonString(GuidText(RowGuid(row))) + L", \"moduleType\": " +
                    std::to_wstring(row.ModuleType) + L", \"moduleName\": " +
                    JsonString(row.ModuleName) + L", \"startupType\": " +
                    std::to_wstring(row.StartupType) + L", \"loadOption\": " +
                    std::to_wstring(row.LoadOption) + L", \"unloadOption\": " +
                    std::to_wstring(row.UnloadOption) + L", \"orderOfLoading\": " +
                    std::to_wstring(row.OrderOfLoading) + L", \"orderOfUnloading\": " +
                    std::to_wstring(row.OrderOfUnloading) + L", \"sharedType\": " +
                    std::to_wstring(row.SharedType) + L", \"sharedGuid\": " +
                    JsonString(GuidText(row.SharedGuid)) + InterfaceJson(row) +
                    L", \"permission\": [" + std::to_wstring(row.Permission[0]) + L", " +
                    std::to_wstring(row.Permission[1]) + L", " +
                    std::to_wstring(row.Permission[2]) + L", " +
                    std::to_wstring(row.Permission[3]) + L"], \"dataConversion\": " +
                    std::to_wstring(row.DataConversion) + L", \"convModuleName\": " +
                    JsonString(row.ConvModuleName) + L", \"depends\": " +
                    JsonGuids(RowDepends(row)) + L"}" + (i + 1 < rows.size() ? L",\n" : L"\n");
        }
        Print(text + L"]\n");
        return;
    }
    std::wstring text = Pad(L"MODULE", 26) + Pad(L"VERSION", 10) + Pad(L"GUID", 39) +
                        Pad(L"TYPE", 7) + Pad(L"STARTUP", 10) + Pad(L"LOAD/UNLOAD", 22) +
                        Pad(L"ORDER", 8) + Pad(L"SHARED", 12) + Pad(L"PERM", 5) + L"DEPENDS\n";
    for (const Row& row : rows) {
        text +=
            Pad(row.ModuleName, 26) + Pad(row.Version, 10) + Pad(GuidText(RowGuid(row)), 39) +
            Pad(Name(kModuleTypes, row.ModuleType), 7) +
            Pad(Name(kStartupTypes, row.StartupType), 10) +
            Pad(std::wstring(Name(kLoadOptions, row.LoadOption)) + L"/" +
                    Name(kLoadOptions, row.UnloadOption),
                22) +
            Pad(std::to_wstring(row.OrderOfLoading) + L"/" + std::to_wstring(row.OrderOfUnloading),
                8) +
            Pad(Name(kSharedTypes, row.SharedType), 12) + Pad(PermissionText(row.Permission), 5) +
            std::to_wstring(RowDepends(row).size()) + L"\n";
    }
    text += std::to_wstring(rows.size()) + L" rows\n";
    Print(text);
}

std::wstring ApplicationJson(const WebApplication& application) {
    return L"{\"label\": " + JsonString(application.Label) + L", \"identifier\": " +
           JsonString(application.Identifier) + L", \"vendor\": " + JsonString(application.Vendor) +
           L", \"family\": " + JsonString(application.Family) + L", \"fileName\": " +
           JsonString(application.FileName) + L", \"native\": " + JsonString(application.Data) +
           L", \"isWow64\": " + (application.IsWow64 ? L"true" : L"false") + L"}";
}

}  // namespace

void Print(const std::wstring& text) {
    WriteUtf8(stdout, text);
}

void PrintError(const std::wstring& text) {
    WriteUtf8(stderr, text);
}

std::wstring GuidText(const GUID& guid) {
    wchar_t text[40] = {};
    StringFromGUID2(guid, text, 40);
    return text;
}

std::wstring JsonString(const std::wstring& text) {
    std::wstring quoted = L"\"";
    for (wchar_t c : text) {
        switch (c) {
            case L'"':
                quoted += L"\\\"";
                break;
            case L'\\':
                quoted += L"\\\\";
                break;
            case L'\n':
                quoted += L"\\n";
                break;
            case L'\r':
                quoted += L"\\r";
                break;
            case L'\t':
                quoted += L"\\t";
                break;
            default:
                if (c < 0x20) {
                    wchar_t escape[8];
                    _snwprintf_s(escape, 8, _TRUNCATE, L"\\u%04x", static_cast<unsigned>(c));
                    quoted += escape;
                } else {
                    quoted += c;
                }
        }
    }
    return quoted + L"\"";
}

void PrintServices(const ArrayOfRowService& rows, bool json) {
    PrintRows(rows, json);
}

void PrintProviders(const ArrayOfRowProvider& rows, bool json) {
    PrintRows(rows, json);
}

void PrintWebAccess(const WebAccessControlList& list, bool json) {
    if (json) {
        std::wstring text =
            L"{\n  \"sites\": " + JsonStrings(list.Sites) + L",\n  \"applications\": [";
        for (size_t i = 0; i < list.Applications.size(); ++i) {
            text += (i ? L", " : L"") + ApplicationJson(list.Applications[i]);
        }
        text += L"],\n  \"filters\": [";
        for (size_t i = 0; i < list.Filters.size(); ++i) {
            const auto& filter = list.Filters[i];
            text += std::wstring(i ? L", " : L"") + L"{\"label\": " + JsonString(filter.Label) +
                    L", \"type\": " + std::to_wstring(filter.FilterType) + L", \"siteUrl\": " +
                    JsonString(filter.SiteUrl) + L", \"application\": " +
                    ApplicationJson(filter.Application) + L"}";
        }
        text += L"],\n  \"webActivities\": " + JsonStrings(list.WebActivities) +
                L",\n  \"protections\": " + JsonStrings(list.Protections) + L"\n}\n";
        Print(text);
        return;
    }
    std::wstring text = L"Sites (" + std::to_wstring(list.Sites.size()) + L")\n";
    for (const auto& site : list.Sites) {
        text += L"  " + site + L"\n";
    }
    text += L"Applications (" + std::to_wstring(list.Applications.size()) + L")\n";
    for (const auto& application : list.Applications) {
        text += L"  " + Pad(application.Label, 16) + Pad(application.FileName, 24) +
                Pad(application.Vendor, 16) + Pad(application.Data, 7) +
                (application.IsWow64 ? L"wow64" : L"") + L"\n";
    }
    text += L"Filters (" + std::to_wstring(list.Filters.size()) + L")\n";
    for (const auto& filter : list.Filters) {
        text += L"  " + Pad(filter.Label, 16) + Pad(Name(kFilterTypes, filter.FilterType), 27) +
                Pad(filter.Application.FileName, 24) + filter.SiteUrl + L"\n";
    }
    text += L"Web activity logs (" + std::to_wstring(list.WebActivities.size()) + L")\n";
    for (const auto& site : list.WebActivities) {
        text += L"  " + site + L"\n";
    }
    text += L"Protections (" + std::to_wstring(list.Protections.size()) + L")\n";
    for (const auto& site : list.Protections) {
        text += L"  " + site + L"\n";
    }
    Print(text);
}
