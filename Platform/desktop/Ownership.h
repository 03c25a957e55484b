/** Whether a file is this user's own: one that somebody else prepared can make us disclose and overwrite
 * files. */
#pragma once

#include <string>

/**
 * Why the file or folder must not be used: it belongs to somebody other than this user and root, or others
 * than its owner may write to it. What a symbolic link leads to counts, and who made the link. Empty when it
 * may be used, and when there is nothing.
 */
std::string WhyNotOurs(const std::string& path);
