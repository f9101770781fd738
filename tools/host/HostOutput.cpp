#include "HostOutput.h"

#include <objbase.h>

#include <cstdio>
#include <type_traits>

#include "JsonWriter.h"
#include "OstrelResult.h"
#include "SystemText.h"

using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::RowProvider;
using SrvFrwk::Interface::RowService;
using SrvFrwk::Interface::WebAccessControlList;
using SrvFrwk::Interface::WebApplication;
using Tools::JsonWriter;

namespace {

void WriteUtf8(FILE* stream, const std::wstring& text) {
    if (text.empty()) {
        return;
    }
    // A UTF-16 unit never takes more than three bytes.
    std::string bytes(text.size() * 3, '\0');
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &bytes[0],
                            static_cast<int>(bytes.size()), nullptr, nullptr);
    fwrite(bytes.data(), 1, static_cast<size_t>(size > 0 ? size : 0), stream);
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

std::wstring GuidText(const GUID& guid) {
    wchar_t text[40] = {};
    StringFromGUID2(guid, text, 40);
    return text;
}

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

template <typename Items, typename Write>
void WriteArray(JsonWriter& json, const wchar_t* key, const Items& items, Write write) {
    json.BeginArray(key);
    for (const auto& item : items) {
        write(item);
    }
    json.EndArray();
}

void WriteStrings(JsonWriter& json, const wchar_t* key, const std::vector<std::wstring>& texts) {
    WriteArray(json, key, texts, [&](const std::wstring& text) { json.String(nullptr, text); });
}

// "Title (N)" and the texts indented below it.
std::wstring ListText(const wchar_t* title, const std::vector<std::wstring>& texts) {
    std::wstring text = title + (L" (" + std::to_wstring(texts.size()) + L")\n");
    for (const std::wstring& line : texts) {
        text += L"  " + line + L"\n";
    }
    return text;
}

template <typename Row>
void WriteRow(JsonWriter& json, const Row& row) {
    json.BeginObject();
    json.String(L"version", row.Version);
    json.String(L"guid", GuidText(RowGuid(row)));
    json.Number(L"moduleType", row.ModuleType);
    json.String(L"moduleName", row.ModuleName);
    json.Number(L"startupType", row.StartupType);
    json.Number(L"loadOption", row.LoadOption);
    json.Number(L"unloadOption", row.UnloadOption);
    json.Number(L"orderOfLoading", row.OrderOfLoading);
    json.Number(L"orderOfUnloading", row.OrderOfUnloading);
    json.Number(L"sharedType", row.SharedType);
    json.String(L"sharedGuid", GuidText(row.SharedGuid));
    if constexpr (std::is_same_v<Row, RowService>) {
        json.Number(L"interfaceType", row.InterfaceType);
    }
    WriteArray(json, L"permission", row.Permission,
               [&](uint32_t slot) { json.Number(nullptr, slot); });
    json.Number(L"dataConversion", row.DataConversion);
    json.String(L"convModuleName", row.ConvModuleName);
    WriteArray(json, L"depends", RowDepends(row),
               [&](const GUID& guid) { json.String(nullptr, GuidText(guid)); });
    json.EndObject();
}

void WriteApplication(JsonWriter& json, const wchar_t* key, const WebApplication& application) {
    json.BeginObject(key);
    json.String(L"label", application.Label);
    json.String(L"identifier", application.Identifier);
    json.String(L"vendor", application.Vendor);
    json.String(L"family", application.Family);
    json.String(L"fileName", application.FileName);
    json.String(L"native", application.Data);
    json.Bool(L"isWow64", application.IsWow64);
    json.EndObject();
}

const struct {
    int32_t Result;
    const wchar_t* Text;
} kResultTexts[] = {
    {Ostrel::kSuccess, L"success"},
    {Ostrel::kElementSkipped, L"success: the last element was skipped"},
    {Ostrel::kNotProvided, L"operation not provided"},
    {Ostrel::kAbsentAccepted, L"success: a value or section was absent"},
    {Ostrel::kWrongState, L"wrong state, or the document is not as expected"},
    {Ostrel::kNotSupported, L"not supported or not allowed"},
    {Ostrel::kInvalidArgument, L"invalid argument"},
    {Ostrel::kInvalidObject, L"invalid object"},
    {Ostrel::kInvalidData, L"invalid data in the document"},
    {Ostrel::kAllocationFailed, L"allocation failed"},
    {Ostrel::kWrongOpenState, L"wrong open state"},
    {Ostrel::kNotFound, L"not found"},
};

}  // namespace

void Print(const std::wstring& text) {
    WriteUtf8(stdout, text);
}

void PrintError(const std::wstring& text) {
    WriteUtf8(stderr, text);
}

template <typename Row>
void PrintRows(const std::vector<Row>& rows, bool json) {
    if (json) {
        JsonWriter writer(true);
        WriteArray(writer, nullptr, rows, [&](const Row& row) { WriteRow(writer, row); });
        Print(writer.Text() + L"\n");
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

template void PrintRows(const ArrayOfRowService& rows, bool json);
template void PrintRows(const ArrayOfRowProvider& rows, bool json);

void PrintWebAccess(const WebAccessControlList& list, bool json) {
    if (json) {
        JsonWriter writer(true);
        writer.BeginObject();
        WriteStrings(writer, L"sites", list.Sites);
        WriteArray(writer, L"applications", list.Applications, [&](const auto& application) {
            WriteApplication(writer, nullptr, application);
        });
        WriteArray(writer, L"filters", list.Filters, [&](const auto& filter) {
            writer.BeginObject();
            writer.String(L"label", filter.Label);
            writer.Number(L"type", filter.FilterType);
            writer.String(L"siteUrl", filter.SiteUrl);
            WriteApplication(writer, L"application", filter.Application);
            writer.EndObject();
        });
        WriteStrings(writer, L"webActivities", list.WebActivities);
        WriteStrings(writer, L"protections", list.Protections);
        writer.EndObject();
        Print(writer.Text() + L"\n");
        return;
    }
    std::wstring text = ListText(L"Sites", list.Sites) + L"Applications (" +
                        std::to_wstring(list.Applications.size()) + L")\n";
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
    Print(text + ListText(L"Web activity logs", list.WebActivities) +
          ListText(L"Protections", list.Protections));
}

std::wstring DescribeResult(int32_t result) {
    for (const auto& known : kResultTexts) {
        if (known.Result == result) {
            return known.Text;
        }
    }
    if ((static_cast<uint32_t>(result) & 0xFFFF0000u) == 0x80070000u) {
        const uint32_t error = static_cast<uint32_t>(result) & 0xFFFFu;
        std::wstring system;
        return L"system error " + std::to_wstring(error) +
               (Tools::SystemText(error, system) ? L": " + system : std::wstring());
    }
    return result < 0 ? L"failure" : L"success";
}
