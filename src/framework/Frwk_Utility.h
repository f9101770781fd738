#pragma once
// Framework helpers shared by modules: hex text to bytes, the installed folder, the
// host's own file name and directory, the Windows directory, GUID text to GUID.

#include <windows.h>

#include <string>

#include "ZorvComn_ByteArray.h"

namespace Frwk {
namespace Utility {

bool HexWStringToByteArray(const std::wstring& _wszString, ZorvCommon::ByteArray& _cByteArray);
// HKLM\Software\Ulvenhart\Hearthward "InstalledFolder" as stored; empty on any failure.
std::wstring GetInstalledFolder();
std::wstring GetModuleFileName();
std::wstring GetModuleDirectory();  // ends with a backslash
std::wstring GetWindowsDirectory();
bool T2Guid(const std::wstring& text, GUID& guid);

}  // namespace Utility
}  // namespace Frwk
