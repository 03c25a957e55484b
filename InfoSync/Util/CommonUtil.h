#pragma once

#include <string>
#include <vector>

namespace CommonUtil {

/** Splits at every comma, without trimming. A trailing comma adds no piece, and the empty text has none. */
std::vector<std::string> SplitString(const std::string& input);

}  // namespace CommonUtil
