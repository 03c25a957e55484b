#include "Util/CommonUtil.h"

#include <algorithm>

#include "Util/Log.h"

namespace CommonUtil {

std::vector<std::string> SplitString(const std::string& input) {
    ApiTracker tracker("std::vector<std::string> CommonUtil::SplitString(const string&)", __LINE__);
    INFOSYNC_LOG(DLOG_INFO, "input : %s", input.c_str());
    std::vector<std::string> pieces;
    for (std::size_t start = 0; start < input.size();) {
        const std::size_t end = std::min(input.find(',', start), input.size());
        pieces.push_back(input.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

}  // namespace CommonUtil
