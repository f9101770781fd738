#pragma once
// A generated policy-like document: services of a dozen child elements each, as many as
// make up at least minimumBytes.

#include <string>

namespace XmlTests {

inline std::string GeneratePolicy(size_t minimumBytes) {
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<BaseFramework>\n";
    for (int i = 0; text.size() < minimumBytes; ++i) {
        const std::string n = std::to_string(i);
        text += "  <FrameworkService version=\"1." + n +
                ".0\">\n"
                "    <ServiceGuid>{6B29FC40-CA47-1067-B31D-00DD010662DA}</ServiceGuid>\n"
                "    <ModuleType>eDll</ModuleType>\n"
                "    <ModuleName>Service" +
                n +
                ".dll</ModuleName>\n"
                "    <StartUp>eAutomatic</StartUp>\n"
                "    <LoadOption>eParallelLoad</LoadOption>\n"
                "    <UnloadOption>eParallelUnload</UnloadOption>\n"
                "    <OrderOfLoading>" +
                n +
                "</OrderOfLoading>\n"
                "    <OrderOfUnloading>" +
                n +
                "</OrderOfUnloading>\n"
                "    <Shared SharedType=\"eShared\" "
                "SharedGuid=\"{6B29FC40-CA47-1067-B31D-00DD010662DB}\"/>\n"
                "    <InterfaceType>eInterfaceEx</InterfaceType>\n"
                "    <Permissions>\n"
                "      <Permission type=\"eRead\">eAllow</Permission>\n"
                "      <Permission type=\"eWrite\">eDeny</Permission>\n"
                "    </Permissions>\n"
                "    <DataConversion>eNone</DataConversion>\n"
                "    <ConvModuleName>Conv" +
                n +
                ".dll</ConvModuleName>\n"
                "  </FrameworkService>\n";
    }
    return text + "</BaseFramework>\n";
}

}  // namespace XmlTests
