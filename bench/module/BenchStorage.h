#pragma once
// A storage-control request (SendMessage type 4) that stores many registry values,
// against the same writes by a plain Win32 loop; prints "name value..." lines.

namespace Bench {

class CostClock;
class ModuleHost;
class ScratchFolder;

bool BenchStorageStore(const CostClock& clock, ModuleHost& host, const ScratchFolder& folder);

}  // namespace Bench
