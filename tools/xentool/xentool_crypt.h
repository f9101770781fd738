#pragma once
// encrypt and decrypt: policy documents to and from their .xen form.

#include <vector>

#include "xentool_common.h"

namespace Xentool {

std::vector<Command> CryptCommands();

}  // namespace Xentool
