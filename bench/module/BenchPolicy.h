#pragma once
// Service policy requests (QueryValue type 1) through the module against XmlLite alone
// over the plaintext in memory, at several document sizes; and many requests on a small
// document against the plain Win32 steps. Both print "name value" lines.

#include <cstddef>
#include <vector>

namespace Bench {

class CostClock;
class ModuleHost;
class InstalledFolder;

// Each benchmark writes its documents into scratch folders of its own and points the
// installed folder at them.
bool BenchPolicySizes(const CostClock& clock, ModuleHost& host, InstalledFolder& installed,
                      const std::vector<size_t>& megabytes);
bool BenchPolicyRequests(const CostClock& clock, ModuleHost& host, InstalledFolder& installed);

}  // namespace Bench
