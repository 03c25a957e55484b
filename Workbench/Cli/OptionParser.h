/** Splits a command line into options and operands, by GLib's rules. */
#pragma once

#include <string>
#include <vector>

#include "Cli/Tool.h"

namespace Cli {

/**
 * Adds what is found to the arguments.
 * @param words without the tool's own name
 * @param onlyLeading whether the first operand ends the options
 * @return the operands
 * @throws UsageError for an unknown option or a value that is missing
 */
std::vector<std::string> ParseOptions(const std::vector<Option>& options,
                                      const std::vector<std::string>& words, bool onlyLeading,
                                      Arguments& arguments);

}  // namespace Cli
