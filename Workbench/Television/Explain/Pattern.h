#pragma once

#include "Cli/Pattern.h"

namespace Explain {

using Cli::Number;
using Cli::Pattern;

}  // namespace Explain
