// Writes what the platform queries see into the file named by its argument:
// "<platform> <major>.<minor> <product type> sp<service pack> <bits>-bit: <classes>".

#include <cstdio>

#include "ZorvComn_Platform.h"

int main(int argc, char** argv) {
    using namespace ZorvCommon::Platform;
    VersionRecord version;
    bool is64bit = false;
    FILE* out = argc == 2 ? std::fopen(argv[1], "wb") : nullptr;
    if (out == nullptr || !GetVersionRecord(version) || !IsWindows64bit(is64bit)) {
        return 1;
    }
    std::fprintf(out, "%u %u.%u %u sp%u %d-bit:", version.PlatformId, version.Major, version.Minor,
                 version.ProductType, version.ServicePackMajor, is64bit ? 64 : 32);
    for (uint32_t versionClass = 0; versionClass <= kLastVersionClass; ++versionClass) {
        if (IsVersionClass(versionClass)) {
            std::fprintf(out, " %u", versionClass);
        }
    }
    std::fclose(out);
    return 0;
}
