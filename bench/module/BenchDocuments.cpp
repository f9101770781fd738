#include "BenchDocuments.h"

#include <cstdio>
#include <cstring>

#include "BenchFile.h"
#include "ZorvComn_CryptDocument.h"

namespace Bench {

namespace {

constexpr const char* kTargeting =
    "platform=\"all\" language=\"all\" product=\"all\" minversion=\"1.0.0\" "
    "maxversion=\"9.9.9\"";

std::string Guid(size_t index) {
    char text[40];
    snprintf(text, sizeof(text), "{%08X-5D9D-4F8A-9818-%012zX}",
             static_cast<unsigned>(index * 2654435761u), index);
    return text;
}

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());  // ASCII key paths only
}

std::string Service(size_t index) {
    const std::string n = std::to_string(index);
    return "  <FrameworkService version=\"2.0." + n + "\">\n    <ServiceGuid>" + Guid(index) +
           "</ServiceGuid>\n"
           "    <Module>eDynamicLinkLibrary</Module>\n"
           "    <ModuleName>SrvBench" +
           n +
           ".dll</ModuleName>\n"
           "    <StartUp>eAutomatic</StartUp>\n"
           "    <Load>eParallelLoad</Load>\n"
           "    <Unload>eSequentialUnload</Unload>\n"
           "    <OrderOfLoading>" +
           n + "</OrderOfLoading>\n    <OrderOfUnloading>" + n +
           "</OrderOfUnloading>\n"
           "    <Shared SharedType=\"eIndependent\" "
           "SharedGuid=\"{00000000-0000-0000-0000-000000000000}\"/>\n"
           "    <Interface>eIFrwkServiceEx</Interface>\n"
           "    <Permissions>\n"
           "      <Permission type=\"eSetup\">eDeny</Permission>\n"
           "      <Permission type=\"eNormal\">eAllow</Permission>\n"
           "      <Permission type=\"eMaintain\">eDeny</Permission>\n"
           "    </Permissions>\n"
           "    <DataConversion>eNoneConversion</DataConversion>\n"
           "    <ConvModuleName>ConvBench" +
           n +
           ".dll</ConvModuleName>\n"
           "    <DependedServices>\n"
           "      <DependedService>" +
           Guid(index + 1) +
           "</DependedService>\n"
           "    </DependedServices>\n"
           "  </FrameworkService>\n";
}

std::string Control(const std::string& assign, const StoredValue& value) {
    return "    <Control " + std::string(kTargeting) + " assign=\"" + assign +
           "\">\n      <Action>store</Action>\n      <Name>" + value.name +
           "</Name>\n      <Type>" + value.typeText + "</Type>\n      <Value>" + value.valueText +
           "</Value>\n      <Overwrite>yes</Overwrite>\n    </Control>\n";
}

std::string Section(const std::string& assign, const std::wstring& keyPath,
                    const std::vector<StoredValue>& values) {
    std::string text = "  <Registry " + std::string(kTargeting) + " assign=\"" + assign +
                       "\">\n    <Root>HKCU</Root>\n    <Path>" + Narrow(keyPath) +
                       "</Path>\n    <AccessMode>default</AccessMode>\n"
                       "    <AccessRight>default</AccessRight>\n";
    for (const StoredValue& value : values) {
        text += Control(assign, value);
    }
    return text + "  </Registry>\n";
}

std::string StorageDocument(const std::string& sections) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<Storage version=\"1.0.0\" check=\"yes\" save=\"yes\">\n" +
           sections + "</Storage>\n";
}

template <typename Number>
std::vector<uint8_t> Bytes(Number number) {
    std::vector<uint8_t> bytes(sizeof(number));
    memcpy(bytes.data(), &number, sizeof(number));
    return bytes;
}

}  // namespace

std::string ServicePolicy(size_t minimumServices, size_t minimumBytes, size_t* services) {
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<BaseFramework>\n";
    size_t count = 0;
    for (; count < minimumServices || text.size() < minimumBytes; ++count) {
        text += Service(count);
    }
    *services = count;
    return text + "</BaseFramework>\n";
}

std::vector<StoredValue> StoredValues(size_t count) {
    std::vector<StoredValue> values;
    for (size_t i = 0; i < count; ++i) {
        const std::string n = std::to_string(i);
        switch (i % 4) {
            case 0: {
                const std::string text = "Setting number " + n;
                const std::wstring wide(text.begin(), text.end());
                const auto* begin = reinterpret_cast<const uint8_t*>(wide.c_str());
                values.push_back({"Text" + n, "string", text, REG_SZ,
                                  std::vector<uint8_t>(begin, begin + (wide.size() + 1) * 2)});
                break;
            }
            case 1:
                values.push_back(
                    {"Count" + n, "uint32", n, REG_DWORD, Bytes(static_cast<uint32_t>(i))});
                break;
            case 2: {
                const uint64_t number = (uint64_t{1} << 33) + i;
                values.push_back(
                    {"Quota" + n, "uint64", std::to_string(number), REG_QWORD, Bytes(number)});
                break;
            }
            default: {
                char hex[9];
                snprintf(hex, sizeof(hex), "%08X", static_cast<unsigned>(i * 2654435761u));
                std::vector<uint8_t> bytes;
                for (int b = 0; b < 8; b += 2) {
                    bytes.push_back(static_cast<uint8_t>(
                        strtoul(std::string(hex + b, 2).c_str(), nullptr, 16)));
                }
                values.push_back({"Stamp" + n, "binary", hex, REG_BINARY, bytes});
                break;
            }
        }
    }
    return values;
}

std::string StoreDocument(const std::wstring& keyPath, const std::vector<StoredValue>& values) {
    return StorageDocument(Section(Narrow(kAssign), keyPath, values));
}

std::string MostlyForeignDocument(const std::wstring& keyPath, size_t minimumBytes) {
    const std::vector<StoredValue> values = StoredValues(8);
    std::string sections;
    for (size_t i = 0; sections.size() < minimumBytes; ++i) {
        sections += Section("other", keyPath + L"\\Other" + std::to_wstring(i), values);
    }
    return StorageDocument(sections + Section(Narrow(kAssign), keyPath, {values.front()}));
}

bool WriteDocument(const std::wstring& path, const char* key, const std::string& text) {
    std::vector<uint8_t> ciphertext;
    if (!ZorvCommon::Storage::EncryptDocumentBytes(
            key, std::vector<uint8_t>(text.begin(), text.end()), &ciphertext)) {
        return false;
    }
    return WriteWholeFile(path, ciphertext.data(), ciphertext.size());
}

}  // namespace Bench
