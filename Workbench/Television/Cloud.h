/** The local cloud that a television belongs to. */
#pragma once

#include <string>

namespace Television {

/** The folder as an absolute path. @throws std::runtime_error, saying how to make one, when no cloud is in it
 */
std::string RequireCloud(const std::string& folder);

/** The cloud that tv.ini leads to. */
struct Cloud {
    /** Empty where tv.ini names none. */
    std::string folder;
    /** 0 when it does not run. */
    int port = 0;
    /** In one line, with what helps. */
    std::string words;

    static Cloud Find();
};

}  // namespace Television
