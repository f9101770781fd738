#pragma once
// The installed product's version, as the storage-control documents compare it.

#include <windows.h>

#include <string>

namespace Ostrel {
namespace Storage {

// HKEY_LOCAL_MACHINE "Software\Ulvenhart\Hearthward" "Version" in the 64-bit view;
// version is empty when the value cannot be read. A missing key or value gives
// 0x8004020B.
[[nodiscard]] HRESULT QueryVersion(std::wstring& version);

}  // namespace Storage
}  // namespace Ostrel
