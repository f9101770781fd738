#pragma once
// plan: what a storage-control document would do on this system, without doing it.

#include <vector>

#include "xentool_common.h"

namespace Xentool {

std::vector<Command> PlanCommands();

}  // namespace Xentool
