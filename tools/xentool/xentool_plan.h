#pragma once
// plan: what a storage-control document would do on this system, without doing it: the
// module's own reader reads the document, and its chain runs dry (StorageDryRun.h).

#include <vector>

#include "xentool_common.h"

namespace Xentool {

std::vector<Command> PlanCommands();

}  // namespace Xentool
