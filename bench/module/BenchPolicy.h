#pragma once
// Service policy requests (QueryValue type 1) through the module: at 10 MB against
// XmlLite alone walking the same plaintext from memory, their time per MB at 100 MB
// against 1 MB, and a small document against reading its plaintext file and walking it
// with XmlLite. All print "name value..." lines.

namespace Bench {

class CostClock;
class ModuleHost;
class InstalledFolder;

// Each benchmark writes its documents into scratch folders of its own and points the
// installed folder at them.
bool BenchPolicySizes(const CostClock& clock, ModuleHost& host, InstalledFolder& installed);
bool BenchPolicyRequests(const CostClock& clock, ModuleHost& host, InstalledFolder& installed);

}  // namespace Bench
